#include "host/characters.h"

#include <algorithm>

#include "host/text.h"

namespace orvix {
namespace {

bool IsContinuation(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80;
}

std::size_t LengthOf(unsigned char first) {
    if (first < 0xC0) return 1;
    return first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
}

}  // namespace

char32_t TakeCharacter(std::string_view& text) {
    constexpr char32_t least[] = {0, 0, 0x80, 0x800, 0x10000};
    const auto first = static_cast<unsigned char>(text[0]);
    const auto length = LengthOf(first);
    const auto character = text.substr(0, length);
    text.remove_prefix(1);
    if (first < 0x80) return first;
    char32_t code = first & (0xFFU >> (length + 1));
    for (const char c : character.substr(1)) {
        if (!IsContinuation(c)) return kNoCharacter;
        code = code << 6 | (static_cast<unsigned char>(c) & 0x3FU);
    }
    const bool isSurrogate = code >= 0xD800 && code < 0xE000;
    if (length == 1 || character.size() < length || code < least[length] || code > 0x10FFFF || isSurrogate) {
        return kNoCharacter;
    }
    text.remove_prefix(length - 1);
    return code;
}

std::size_t BegunCharacter(std::string_view text) {
    const auto most = std::min<std::size_t>(text.size(), 3);
    for (std::size_t length = 1; length <= most; ++length) {
        const char byte = text[text.size() - length];
        if (!IsContinuation(byte)) return LengthOf(static_cast<unsigned char>(byte)) > length ? length : 0;
    }
    return 0;
}

bool IsControl(char32_t character) {
    if (character < 0xA0) return character < ' ' || character >= 0x7F;
    constexpr std::pair<char32_t, char32_t> kMarks[] = {
        {0x061C, 0x061C}, {0x200E, 0x200F}, {0x2028, 0x202E}, {0x2066, 0x206F}};
    return std::any_of(std::begin(kMarks), std::end(kMarks), [character](const auto& marks) {
        return character >= marks.first && character <= marks.second;
    });
}

std::size_t HarmlessLength(std::string_view text) {
    const auto isHarmless = [](char c) { return (c >= ' ' && c < 0x7F) || c == '\n' || c == '\t'; };
    return static_cast<std::size_t>(std::find_if_not(text.begin(), text.end(), isHarmless) - text.begin());
}

std::string Harmless(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    while (!text.empty()) {
        const auto plain = HarmlessLength(text);
        result += text.substr(0, plain);
        text.remove_prefix(plain);
        if (text.empty()) break;
        auto rest = text;
        const auto character = TakeCharacter(rest);
        const bool isRefused = character == kNoCharacter || IsControl(character);
        if (isRefused && !text.starts_with(kLineBreak)) {
            result += '?';
        } else {
            result += text.substr(0, text.size() - rest.size());
        }
        text = rest;
    }
    return result;
}

std::string Printable(std::string_view text) {
    constexpr std::string_view kBetween = " | ";
    auto line = ReplaceAll(std::string(text), std::string_view(&kFieldSeparator, 1), kBetween);
    return ReplaceAll(ReplaceAll(Harmless(line), kLineBreak, kBetween), "\n", kBetween);
}

}  // namespace orvix
