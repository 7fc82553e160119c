#include "host/text.h"

#include <algorithm>
#include <charconv>

namespace orvix {

namespace {

constexpr int kSingleDigits = 7;
constexpr int kDoubleDigits = 15;

template <class Real>
std::string GeneralFormat(Real value, int digits) {
    if (value == 0) return "0";
    char text[32];
    char* const end = std::to_chars(std::begin(text), std::end(text), value, std::chars_format::general, digits).ptr;
    std::replace(text, end, 'e', 'E');
    return {text, end};
}

template <class Integer>
std::string IntegerText(Integer value, int base) {
    char text[16];
    return {text, std::to_chars(std::begin(text), std::end(text), value, base).ptr};
}

/// Where a number may begin: behind blanks and a plus sign.
std::string_view AtNumber(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
    if (text.starts_with('+') && !text.starts_with("+-")) text.remove_prefix(1);
    return text;
}

/// ASCII only, so that the result does not depend on the locale.
char Lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

}  // namespace

std::string JoinFields(std::initializer_list<std::string_view> fields) {
    std::size_t size = fields.size();
    for (const std::string_view field : fields)
        size += field.size();
    std::string message;
    message.reserve(size);
    for (const std::string_view field : fields)
        message.append(field).push_back(kFieldSeparator);
    if (!message.empty()) message.pop_back();
    return message;
}

std::vector<std::string> SplitFields(std::string_view message) {
    std::vector<std::string> fields;
    for (;;) {
        const std::size_t end = message.find(kFieldSeparator);
        fields.emplace_back(message.substr(0, end));
        if (end == std::string_view::npos) return fields;
        message.remove_prefix(end + 1);
    }
}

std::string ReplaceAll(std::string text, std::string_view from, std::string_view to) {
    if (from.empty() || text.find(from) == std::string::npos) return text;
    std::string result;
    std::size_t start = 0;
    for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, start)) {
        result.append(text, start, at - start).append(to);
        start = at + from.size();
    }
    return result.append(text, start);
}

std::string NumberText(float value) {
    return GeneralFormat(value, kSingleDigits);
}

std::string NumberText(double value) {
    return GeneralFormat(value, kDoubleDigits);
}

std::string NumberText(std::int32_t value) {
    return IntegerText(value, 10);
}

std::string HexText(std::int32_t value) {
    std::string text = IntegerText(static_cast<std::uint32_t>(value), 16);
    for (char& c : text) {
        if (c >= 'a') c = static_cast<char>(c - 'a' + 'A');
    }
    return text;
}

std::int32_t LeadingNumber(std::string_view text) {
    text = AtNumber(text);
    std::int32_t number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

double LeadingReal(std::string_view text) {
    text = AtNumber(text);
    const std::size_t first = text.find_first_not_of('-');
    const bool isNumber =
        first != std::string_view::npos && (text[first] == '.' || (text[first] >= '0' && text[first] <= '9'));
    double number = 0;
    if (isNumber) std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

bool EqualsIgnoringCase(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) { return Lower(x) == Lower(y); });
}

std::string BytesToText(ByteView bytes) {
    return {bytes.begin(), bytes.end()};
}

ByteArray TextToBytes(std::string_view text) {
    return {text.begin(), text.end()};
}

}  // namespace orvix
