#include "platform/ini_text.h"

#include <charconv>
#include <cstddef>
#include <utility>
#include <vector>

namespace orvix::platform {

namespace {

constexpr std::string_view kBlanks = " \t\r";

std::string_view Trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

bool NeedsEscape(std::string_view text, std::size_t at) {
    const auto code = static_cast<unsigned char>(text[at]);
    if (code < 0x20 || code == 0x7F) return true;
    if (code == ' ') return at == 0 || at + 1 == text.size();
    return std::string_view("%=[];#").find(text[at]) != std::string_view::npos;
}

std::string Escaped(std::string_view text) {
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    std::string escaped;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (NeedsEscape(text, at)) {
            const auto code = static_cast<unsigned char>(text[at]);
            escaped += {'%', kDigits[code >> 4U], kDigits[code & 0x0FU]};
        } else {
            escaped += text[at];
        }
    }
    return escaped;
}

std::string Unescaped(std::string_view text) {
    std::string plain;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const std::string_view digits = text.substr(at + 1, 2);
        unsigned code = 0;
        const auto read = std::from_chars(digits.data(), digits.data() + digits.size(), code, 16);
        if (text[at] == '%' && digits.size() == 2 && read.ptr == digits.data() + 2) {
            plain += static_cast<char>(code);
            at += 2;
        } else {
            plain += text[at];
        }
    }
    return plain;
}

struct IniLine {
    enum class Form { Other, Section, Entry } Kind = Form::Other;
    std::string Name;
    std::string Value;
};

IniLine ParseLine(std::string_view line) {
    line = Trimmed(line);
    if (line.empty() || line.front() == ';' || line.front() == '#') return {};
    if (line.size() >= 2 && line.front() == '[' && line.back() == ']') {
        return {IniLine::Form::Section, Unescaped(Trimmed(line.substr(1, line.size() - 2))), {}};
    }
    const std::size_t equals = line.find('=');
    if (equals == std::string_view::npos) return {};
    return {IniLine::Form::Entry, Unescaped(Trimmed(line.substr(0, equals))),
            Unescaped(Trimmed(line.substr(equals + 1)))};
}

std::vector<std::string_view> Lines(std::string_view text) {
    std::vector<std::string_view> lines;
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        lines.push_back(text.substr(0, end));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
    return lines;
}

/// Where a key stands, or else where it would go.
struct Place {
    std::optional<std::string> Value;
    bool SectionFound = false;
    std::size_t Line = 0;
};

Place Find(const std::vector<std::string_view>& lines, std::string_view section, std::string_view key) {
    Place place;
    bool inSection = false;
    for (std::size_t at = 0; at < lines.size(); ++at) {
        IniLine line = ParseLine(lines[at]);
        if (line.Kind == IniLine::Form::Section) {
            inSection = line.Name == section;
            place.SectionFound = place.SectionFound || inSection;
        }
        if (!inSection || line.Kind == IniLine::Form::Other) continue;
        if (line.Kind == IniLine::Form::Entry && line.Name == key) return {std::move(line.Value), true, at};
        place.Line = at + 1;
    }
    return place;
}

}  // namespace

std::optional<std::string> IniValue(std::string_view text, std::string_view section, std::string_view key) {
    return Find(Lines(text), section, key).Value;
}

std::string WithIniValue(std::string_view text, std::string_view section, std::string_view key,
                         std::string_view value) {
    std::vector<std::string_view> lines = Lines(text);
    const Place place = Find(lines, section, key);
    const std::string heading = "[" + Escaped(section) + "]";
    const std::string entry = Escaped(key) + "=" + Escaped(value);
    if (place.Value) {
        lines[place.Line] = entry;
    } else if (place.SectionFound) {
        lines.insert(lines.begin() + static_cast<std::ptrdiff_t>(place.Line), entry);
    } else {
        lines.insert(lines.end(), {heading, entry});
    }
    std::string changed;
    for (const std::string_view line : lines)
        changed.append(line).append("\n");
    return changed;
}

}  // namespace orvix::platform
