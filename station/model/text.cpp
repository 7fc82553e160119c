#include "station/model/text.h"

#include <wchar.h>

#include <algorithm>
#include <bitset>
#include <cmath>

#include "host/text.h"
#include "station/words/quantity_text.h"

namespace orvix::station {
namespace {

// What stands for bytes that are no UTF-8; one column wide.
constexpr wchar_t kNoCharacter = 0xFFFD;

std::size_t LengthOf(unsigned char first) {
    if (first < 0xC0) return 1;
    return first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
}

/// Takes one character off a UTF-8 text; a byte that begins none is taken alone.
wchar_t TakeCharacter(std::string_view& text) {
    constexpr unsigned least[] = {0, 0, 0x80, 0x800, 0x10000};
    const auto first = static_cast<unsigned char>(text[0]);
    const auto length = LengthOf(first);
    const auto character = text.substr(0, length);
    text.remove_prefix(1);
    if (first < 0x80) return first;
    unsigned code = first & (0xFFU >> (length + 1));
    for (const char c : character.substr(1)) {
        const auto next = static_cast<unsigned char>(c);
        if ((next & 0xC0U) != 0x80) return kNoCharacter;
        code = code << 6 | (next & 0x3FU);
    }
    const bool isSurrogate = code >= 0xD800 && code < 0xE000;
    if (length == 1 || character.size() < length || code < least[length] || code > 0x10FFFF || isSurrogate) {
        return kNoCharacter;
    }
    text.remove_prefix(length - 1);
    return static_cast<wchar_t>(code);
}

bool IsControl(wchar_t character) {
    return character < ' ' || (character >= 0x7F && character < 0xA0);
}

std::string_view InAscii(wchar_t character) {
    switch (character) {
        case L'°':
            return "";
        case L'×':
            return "x";
        case L'─':
            return "-";
        default:
            return "?";
    }
}

/// A locale that does not know a character says -1.
int WidthOf(wchar_t character) {
    const int width = ::wcwidth(character);
    return width < 0 ? 1 : width;
}

}  // namespace

std::string CodeText(ErrorNumber code) {
    return "0x" + HexText(code);
}

std::string FailureText(const Failure& failure) {
    const auto end = failure.Text.find_last_not_of('.');
    return Printable(failure.Text.substr(0, end + 1)) + " (" + CodeText(failure.Code) + ")";
}

std::string ValueText(const ReadingValue& value) {
    if (const auto* degrees = std::get_if<double>(&value)) return NumberText(*degrees);
    if (const auto* inputs = std::get_if<std::int32_t>(&value)) return NumberText(*inputs);
    const auto* text = std::get_if<std::string>(&value);
    return text == nullptr ? std::string() : *text;
}

std::string ValueWithUnit(const ReadingValue& value) {
    if (std::holds_alternative<std::monostate>(value)) return "--";
    if (const auto* degrees = std::get_if<double>(&value)) {
        return NumberText(std::round(*degrees * 100) / 100) + " °C";
    }
    return Printable(ValueText(value));
}

std::string BitsText(std::int32_t inputs) {
    return std::bitset<8>(static_cast<unsigned>(inputs)).to_string();
}

std::int64_t AgeMilliseconds(const Reading& reading) {
    if (std::holds_alternative<std::monostate>(reading.LastGood)) return -1;
    // The clock may have been set back in between.
    return std::max<std::int64_t>(reading.UnixMilliseconds - reading.LastGoodUnixMilliseconds, 0);
}

std::string FreshnessText(const Reading& reading) {
    std::string quality = NameOf(reading.Quality);
    const auto age = AgeMilliseconds(reading);
    if (age < 0) return quality + ", never read";
    if (reading.Quality == Quality::Good) return quality;
    return quality + ", " + DurationText(std::chrono::milliseconds(age)) + " old";
}

std::string Printable(std::string text) {
    text = ReplaceAll(ReplaceAll(std::move(text), kLineBreak, " | "), std::string(1, kFieldSeparator), " | ");
    const auto steers = [](unsigned char c) { return (c < ' ' && c != '\t') || c == 0x7F; };
    std::replace_if(text.begin(), text.end(), steers, ' ');
    return text;
}

std::string ForTerminal(std::string_view text, bool isUtf8) {
    std::string result;
    while (!text.empty()) {
        auto rest = text;
        const auto character = TakeCharacter(rest);
        if (character == kNoCharacter || IsControl(character)) {
            result += '?';
        } else if (character >= 0x80 && !isUtf8) {
            result += InAscii(character);
        } else {
            result += text.substr(0, text.size() - rest.size());
        }
        text = rest;
    }
    return result;
}

int DisplayWidth(std::string_view text) {
    int width = 0;
    while (!text.empty())
        width += WidthOf(TakeCharacter(text));
    return width;
}

std::string_view BeginningOf(std::string_view text, int columns) {
    auto rest = text;
    while (!rest.empty()) {
        auto next = rest;
        columns -= WidthOf(TakeCharacter(next));
        if (columns < 0) break;
        rest = next;
    }
    return text.substr(0, text.size() - rest.size());
}

std::string Padded(std::string text, int columns) {
    text.append(static_cast<std::size_t>(std::max(columns - DisplayWidth(text), 0)), ' ');
    return text;
}

}  // namespace orvix::station
