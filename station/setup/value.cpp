#include "station/setup/value.h"

#include <charconv>
#include <cmath>
#include <filesystem>
#include <optional>
#include <string_view>

#include "host/characters.h"
#include "station/words/time_span.h"

namespace orvix::station {
namespace {

struct Unit {
    std::string_view Name;
    std::int64_t Worth;
};

constexpr std::int64_t kMegabyte = 1'000'000;
constexpr Unit kSizeUnits[] = {{"KB", kMegabyte / 1000}, {"MB", kMegabyte}, {"GB", kMegabyte * 1000}};
constexpr std::int64_t kMostBytes = kMegabyte * 1'000'000'000;

/// The whole number that the text is.
std::optional<std::int64_t> NumberIn(std::string_view text) {
    std::int64_t number = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), number);
    if (read.ec != std::errc() || read.ptr != text.data() + text.size()) return std::nullopt;
    return number;
}

std::optional<std::int64_t> SizeOf(std::string_view text) {
    for (const auto& unit : kSizeUnits) {
        if (!text.ends_with(unit.Name)) continue;
        const auto count = NumberIn(text.substr(0, text.size() - unit.Name.size()));
        if (!count || *count < 0 || *count > kMostBytes / unit.Worth) break;
        const auto bytes = *count * unit.Worth;
        if (bytes >= kMegabyte) return bytes;
    }
    return std::nullopt;
}

}  // namespace

std::chrono::milliseconds Value::Span(std::chrono::milliseconds shortest, std::chrono::milliseconds longest) const {
    const auto span = ParseTimeSpan(Text());
    if (!span) throw BadValue("'" + Text() + "' is not a time: " + kTimeSpanForm);
    const auto text = [](std::chrono::milliseconds limit) {
        const auto ms = limit.count();
        constexpr std::int64_t kHour = 3'600'000;
        return ms % kHour == 0 ? std::to_string(ms / kHour) + "h" : std::to_string(ms) + "ms";
    };
    if (*span < shortest || *span > longest) {
        throw BadValue("'" + Text() + "' is not from " + text(shortest) + " to " + text(longest));
    }
    return *span;
}

std::int64_t Value::Size() const {
    const auto bytes = SizeOf(Text());
    if (!bytes) throw BadValue("write \"500MB\" or \"2GB\", at least 1MB");
    return *bytes;
}

void Value::NotWhole(std::int64_t least, std::int64_t most) {
    throw BadValue("write a whole number from " + std::to_string(least) + " to " + std::to_string(most));
}

std::string Value::Checked(std::string text) {
    if (Printable(text) != text) throw BadValue("must be a text in UTF-8 without control characters");
    return text;
}

std::string TypedValue::Text() const {
    // As of an unset variable in a script: it must not pass for an option that is not there.
    if (m_Text.empty()) throw BadValue("the value is empty");
    return Checked(m_Text);
}

std::string TypedValue::Path() const {
    return AbsolutePath(Text());
}

std::vector<std::string> TypedValue::Command() const {
    return {Text().find('/') == std::string::npos ? Text() : Path()};
}

bool TypedValue::Boolean() const {
    return m_Text == "true";
}

double TypedValue::Real() const {
    double number = 0;
    const auto* end = m_Text.data() + m_Text.size();
    const auto read = std::from_chars(m_Text.data(), end, number);
    if (read.ec != std::errc() || read.ptr != end || !std::isfinite(number)) throw BadValue("write a number");
    return number;
}

std::int64_t TypedValue::Whole(std::int64_t least, std::int64_t most) const {
    const auto number = NumberIn(m_Text);
    if (!number || *number < least || *number > most) NotWhole(least, most);
    return *number;
}

std::string AbsolutePath(const std::string& path) {
    return std::filesystem::absolute(path).lexically_normal().string();
}

}  // namespace orvix::station
