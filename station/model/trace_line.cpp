#include "station/model/trace_line.h"

#include <algorithm>
#include <string_view>

#include "host/text.h"

namespace orvix::station {
namespace {

constexpr std::string_view kSeparator = ": ";

// Takes the last field off a line; nothing when there is only one left.
std::optional<std::string> TakeLastField(std::string& line) {
    const auto at = line.rfind(kSeparator);
    if (at == std::string::npos) return std::nullopt;
    auto field = line.substr(at + kSeparator.size());
    line.resize(at);
    return field;
}

bool IsTime(const std::string& text) {
    constexpr std::string_view form = "dddddddd dddddd";
    return std::equal(text.begin(), text.end(), form.begin(), form.end(),
                      [](char c, char expected) { return expected == 'd' ? c >= '0' && c <= '9' : c == expected; });
}

}  // namespace

std::optional<TraceLine> ParseTraceLine(std::string line) {
    const auto text = TakeLastField(line);
    const auto time = TakeLastField(line);
    const auto thread = TakeLastField(line);
    const auto module = TakeLastField(line);
    if (!module || !IsTime(*time)) return std::nullopt;
    return TraceLine{
        .Day = time->substr(0, 4) + "-" + time->substr(4, 2) + "-" + time->substr(6, 2),
        .Clock = time->substr(9, 2) + ":" + time->substr(11, 2) + ":" + time->substr(13, 2),
        .Program = line,
        .Thread = LeadingNumber(*thread),
        .Text = *text,
    };
}

}  // namespace orvix::station
