#define TOML_IMPLEMENTATION
#include "station/configuration/toml_value.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <numeric>

#include "simulator/device_arguments.h"

namespace orvix::station {
namespace {

struct Unit {
    std::string_view Name;
    std::int64_t Worth;
};

constexpr Unit kAgeUnits[] = {{"h", 1}, {"d", 24}, {"w", std::int64_t{7} * 24}};
constexpr std::int64_t kMostHours = std::int64_t{100} * 366 * 24;

constexpr std::int64_t kMegabyte = 1'000'000;
constexpr Unit kSizeUnits[] = {{"KB", kMegabyte / 1000}, {"MB", kMegabyte}, {"GB", kMegabyte * 1000}};
constexpr std::int64_t kMostBytes = kMegabyte * 1'000'000'000;

/// A whole number and its unit, from `least` to `most`; nothing for any other text.
template <std::size_t Count>
std::optional<std::int64_t> CountOf(std::string_view text, const Unit (&units)[Count], std::int64_t least,
                                    std::int64_t most) {
    std::int64_t count = 0;
    const auto number = std::from_chars(text.data(), text.data() + text.size(), count);
    if (number.ec != std::errc() || count < 0) return std::nullopt;
    const std::string_view rest(number.ptr, static_cast<std::size_t>(text.data() + text.size() - number.ptr));
    for (const auto& unit : units) {
        if (unit.Name != rest || count > most / unit.Worth || count * unit.Worth < least) continue;
        return count * unit.Worth;
    }
    return std::nullopt;
}

/// How many letters to change, put in or leave out to make one text of the other.
std::size_t Distance(const std::string& a, const std::string& b) {
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < a.size(); ++i) {
        auto diagonal = row[0]++;
        for (std::size_t j = 0; j < b.size(); ++j) {
            const auto changed = diagonal + (a[i] == b[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({changed, diagonal + 1, row[j] + 1});
        }
    }
    return row.back();
}

}  // namespace

void Complaints::Add(const toml::source_position& at, const std::string& key, const std::string& text) {
    const auto place = m_File + ":" + std::to_string(at.line) + ":" + std::to_string(at.column) + ": ";
    m_Lines.insert({at.line, at.column, place + (key.empty() ? "" : key + ": ") + text});
}

std::vector<std::string> Complaints::Lines() const {
    std::vector<std::string> lines;
    for (const auto& line : m_Lines)
        lines.push_back(line.Text);
    return lines;
}

std::string NearestName(const std::string& key, const std::vector<std::string>& names) {
    // With more than half of its letters to be changed, a key means something else.
    const auto most = (key.size() + 1) / 2;
    std::string nearest;
    // Of names as near as each other, the one that begins like the key is meant.
    auto best = std::pair(most + 1, std::size_t{0});
    for (const auto& name : names) {
        const auto likeness = std::mismatch(key.begin(), key.end(), name.begin(), name.end());
        const auto unlike = static_cast<std::size_t>(key.end() - likeness.first);
        const auto rank = std::pair(Distance(key, name), unlike);
        if (rank >= best) continue;
        best = rank;
        nearest = name;
    }
    return nearest;
}

std::string TomlValue::Text() const {
    const auto text = Node.value_exact<std::string>();
    if (!text || text->empty()) throw BadValue("write a text in quotes, and not an empty one");
    if (text->find('\0') != std::string::npos) throw BadValue("a text without zero characters is wanted");
    return *text;
}

std::string TomlValue::Path() const {
    return std::filesystem::absolute(Text()).lexically_normal().string();
}

bool TomlValue::Boolean() const {
    const auto value = Node.value_exact<bool>();
    if (!value) throw BadValue("write true or false");
    return *value;
}

double TomlValue::Real() const {
    const auto value = Node.is_number() ? Node.value<double>() : std::nullopt;
    if (!value || !std::isfinite(*value)) throw BadValue("write a number");
    return *value;
}

std::int64_t TomlValue::Whole(std::int64_t least, std::int64_t most) const {
    const auto value = Node.value_exact<std::int64_t>();
    if (!value || *value < least || *value > most) {
        throw BadValue("write a whole number from " + std::to_string(least) + " to " + std::to_string(most));
    }
    return *value;
}

std::chrono::milliseconds TomlValue::Period() const {
    try {
        return simulator::ParseDuration(Text());
    } catch (const simulator::ArgumentError& error) {
        throw BadValue(error.what());
    }
}

std::chrono::hours TomlValue::Age() const {
    const auto hours = CountOf(Text(), kAgeUnits, 1, kMostHours);
    if (!hours) throw BadValue("write \"36h\", \"90d\" or \"4w\", up to a hundred years");
    return std::chrono::hours(*hours);
}

std::int64_t TomlValue::Size() const {
    const auto bytes = CountOf(Text(), kSizeUnits, kMegabyte, kMostBytes);
    if (!bytes) throw BadValue("write \"500MB\" or \"2GB\", at least 1MB");
    return *bytes;
}

std::vector<std::string> TomlValue::Texts() const {
    const auto* array = Node.as_array();
    if (array == nullptr) throw BadValue("write a list of texts, such as [\"program\", \"argument\"]");
    std::vector<std::string> texts;
    for (const auto& node : *array)
        texts.push_back(TomlValue{node, Key, Wrong}.Text());
    return texts;
}

const toml::table& TomlValue::Table() const {
    const auto* table = Node.as_table();
    if (table == nullptr) throw BadValue("this must be a table: [" + Key + "]");
    return *table;
}

}  // namespace orvix::station
