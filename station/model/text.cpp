#include "station/model/text.h"

#include <wchar.h>

#include <algorithm>
#include <bitset>
#include <cmath>

#include "host/characters.h"
#include "host/text.h"
#include "station/words/quantity_text.h"

namespace orvix::station {
namespace {

std::string_view InAscii(char32_t character) {
    switch (character) {
        case U'°':
            return "";
        case U'×':
            return "x";
        case U'─':
            return "-";
        default:
            return "?";
    }
}

/// A locale that does not know a character says -1.
int WidthOf(char32_t character) {
    const int width = ::wcwidth(static_cast<wchar_t>(character));
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

std::string FreshnessText(const Reading& reading) {
    std::string quality = NameOf(reading.Quality);
    if (reading.Quality == Quality::Doubtful) return quality + ": " + NameOf(reading.Why);
    if (!reading.Age) return quality + ", never read";
    if (reading.Quality == Quality::Good) return quality;
    return quality + ", " + DurationText(*reading.Age) + " old";
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
