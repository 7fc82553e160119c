#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include "host/date.h"

namespace orvix {

using ByteArray = std::vector<std::uint8_t>;
using ByteView = std::span<const std::uint8_t>;

/// Fixed-point number with four decimals: `Scaled` is the value times 10000.
struct Currency {
    std::int64_t Scaled = 0;

    /// Nearest fixed-point value, halves to even. Raises Overflow beyond the 64-bit range and for what is no number.
    static Currency FromDouble(double value);
    double ToDouble() const { return static_cast<double>(Scaled) / 10000.0; }
    friend bool operator==(Currency, Currency) = default;
    friend auto operator<=>(Currency, Currency) = default;
};

/// A null: a value that is known to be absent (an empty field of a record set).
struct Null {
    friend bool operator==(Null, Null) = default;
};

/// A value of any of the types that cross the library's interfaces. A default-constructed variant is empty.
/// A text is also a byte string: one character a byte.
class Variant {
public:
    using Storage = std::variant<std::monostate, Null, bool, std::int16_t, std::int32_t, float, double, Currency, Date,
                                 std::string, ByteArray>;

    Variant() = default;
    Variant(Null value) : m_Value(value) {}
    Variant(bool value) : m_Value(value) {}
    Variant(std::int16_t value) : m_Value(value) {}
    Variant(std::int32_t value) : m_Value(value) {}
    Variant(float value) : m_Value(value) {}
    Variant(double value) : m_Value(value) {}
    Variant(Currency value) : m_Value(value) {}
    Variant(Date value) : m_Value(value) {}
    Variant(std::string value) : m_Value(std::move(value)) {}
    Variant(const char* value) : m_Value(std::string(value)) {}
    Variant(ByteArray value) : m_Value(std::move(value)) {}

    bool IsEmpty() const { return std::holds_alternative<std::monostate>(m_Value); }
    bool IsNull() const { return std::holds_alternative<Null>(m_Value); }
    template <class T>
    const T* As() const {
        return std::get_if<T>(&m_Value);
    }
    const Storage& Get() const { return m_Value; }

    /// Conversions. A number in a text is read with "." as decimal separator, whatever the locale; blanks around it are
    /// ignored. Empty converts to "", 0 and false. Raise TypeMismatch for a value that does not convert (null, byte
    /// array, text that is no number) and Overflow for a number that does not fit. Integers round halves to even.
    std::string ToText() const&;  ///< booleans as "True" and "False", bytes one character each, singles to 7 digits
    std::string ToText() &&;
    std::int16_t ToInteger() const;
    std::int32_t ToLong() const;
    float ToSingle() const;
    double ToDouble() const;
    bool ToBoolean() const;      ///< any number but 0 is true; the texts "True" and "False" in any case
    ByteArray ToBytes() const&;  ///< byte array as it is, text one byte a character; otherwise TypeMismatch
    ByteArray ToBytes() &&;

    friend bool operator==(const Variant&, const Variant&) = default;

private:
    Storage m_Value;
};

using VariantList = std::vector<Variant>;

}  // namespace orvix
