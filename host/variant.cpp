#include "host/variant.h"

#include <charconv>
#include <cmath>
#include <limits>
#include <utility>

#include "host/error.h"
#include "host/text.h"

namespace orvix {

namespace {

constexpr std::int64_t kCurrencyScale = 10000;
constexpr int kCurrencyDecimals = 4;

[[noreturn]] void RaiseTypeMismatch(std::string_view value, std::string_view target) {
    throw Error(errors::TypeMismatch, std::string(value) + " is no " + std::string(target));
}

[[noreturn]] void RaiseOverflow(std::string_view target) {
    throw Error(errors::Overflow, "number does not fit a " + std::string(target));
}

std::string_view Trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(' ');
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

double ParseNumber(std::string_view text) {
    std::string_view number = Trimmed(text);
    if (number.starts_with('+') && !number.starts_with("+-")) number.remove_prefix(1);
    const char* const end = number.data() + number.size();
    double value = 0;
    const auto [stop, error] = std::from_chars(number.data(), end, value);
    if (error == std::errc::invalid_argument || stop != end || !std::isfinite(value)) {
        RaiseTypeMismatch('"' + std::string(text) + '"', "number");
    }
    if (error == std::errc::result_out_of_range) RaiseOverflow("double");
    return value;
}

std::string CurrencyText(Currency value) {
    const bool negative = value.Scaled < 0;
    const std::uint64_t bits = static_cast<std::uint64_t>(value.Scaled);
    const std::uint64_t magnitude = negative ? 0 - bits : bits;
    std::string text = (negative ? "-" : "") + std::to_string(magnitude / kCurrencyScale);
    if (const std::uint64_t fraction = magnitude % kCurrencyScale; fraction != 0) {
        const std::string digits = std::to_string(fraction);
        text.append(".").append(kCurrencyDecimals - digits.size(), '0').append(digits);
        text.erase(text.find_last_not_of('0') + 1);
    }
    return text;
}

struct ToTextVisitor {
    std::string operator()(std::monostate) const { return {}; }
    std::string operator()(Null) const { RaiseTypeMismatch("null", "text"); }
    std::string operator()(bool value) const { return value ? "True" : "False"; }
    std::string operator()(std::int16_t value) const { return NumberText(std::int32_t{value}); }
    std::string operator()(std::int32_t value) const { return NumberText(value); }
    std::string operator()(float value) const { return NumberText(value); }
    std::string operator()(double value) const { return NumberText(value); }
    std::string operator()(Currency value) const { return CurrencyText(value); }
    std::string operator()(Date value) const { return Format(value, "dd/mm/yyyy hh:nn:ss"); }
    std::string operator()(const std::string& value) const { return value; }
    std::string operator()(const ByteArray& value) const { return BytesToText(value); }
};

/// A true boolean is -1, as in byte images.
struct ToDoubleVisitor {
    double operator()(std::monostate) const { return 0; }
    double operator()(Null) const { RaiseTypeMismatch("null", "number"); }
    double operator()(bool value) const { return value ? -1 : 0; }
    double operator()(std::int16_t value) const { return value; }
    double operator()(std::int32_t value) const { return value; }
    double operator()(float value) const { return double{value}; }
    double operator()(double value) const { return value; }
    double operator()(Currency value) const { return value.ToDouble(); }
    double operator()(Date value) const { return value.Days; }
    double operator()(const std::string& value) const { return ParseNumber(value); }
    double operator()(const ByteArray&) const { RaiseTypeMismatch("byte array", "number"); }
};

template <class Integer>
Integer RoundTo(double value, std::string_view target) {
    const double rounded = std::nearbyint(value);
    if (!(rounded >= double{std::numeric_limits<Integer>::min()} &&
          rounded <= double{std::numeric_limits<Integer>::max()})) {
        RaiseOverflow(target);
    }
    return static_cast<Integer>(rounded);
}

}  // namespace

Currency Currency::FromDouble(double value) {
    constexpr double kLimit = 9223372036854775808.0;  // 2^63
    const double scaled = std::nearbyint(value * static_cast<double>(kCurrencyScale));
    if (!(scaled >= -kLimit && scaled < kLimit)) RaiseOverflow("currency");
    return {static_cast<std::int64_t>(scaled)};
}

std::string Variant::ToText() const& {
    return std::visit(ToTextVisitor{}, m_Value);
}

std::string Variant::ToText() && {
    if (auto* text = std::get_if<std::string>(&m_Value)) return std::move(*text);
    return std::as_const(*this).ToText();
}

std::int16_t Variant::ToInteger() const {
    return RoundTo<std::int16_t>(ToDouble(), "16-bit integer");
}

std::int32_t Variant::ToLong() const {
    if (const auto* value = As<std::int32_t>()) return *value;
    return RoundTo<std::int32_t>(ToDouble(), "32-bit integer");
}

float Variant::ToSingle() const {
    if (const auto* value = As<float>()) return *value;
    const double value = ToDouble();
    if (std::isfinite(value) && std::abs(value) > double{std::numeric_limits<float>::max()}) RaiseOverflow("single");
    return static_cast<float>(value);
}

double Variant::ToDouble() const {
    return std::visit(ToDoubleVisitor{}, m_Value);
}

bool Variant::ToBoolean() const {
    if (const auto* value = As<bool>()) return *value;
    if (const auto* text = As<std::string>()) {
        const std::string_view word = Trimmed(*text);
        if (EqualsIgnoringCase(word, "True")) return true;
        if (EqualsIgnoringCase(word, "False")) return false;
    }
    return ToDouble() != 0;
}

ByteArray Variant::ToBytes() && {
    if (auto* bytes = std::get_if<ByteArray>(&m_Value)) return std::move(*bytes);
    return std::as_const(*this).ToBytes();
}

ByteArray Variant::ToBytes() const& {
    if (const auto* bytes = As<ByteArray>()) return *bytes;
    if (const auto* text = As<std::string>()) return TextToBytes(*text);
    RaiseTypeMismatch("value", "byte array");
}

}  // namespace orvix
