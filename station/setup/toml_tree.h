#pragma once

#include <compare>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace orvix::station {

/// Where something stands in a text; from 1.
struct TextPlace {
    std::uint32_t Line = 0;
    std::uint32_t Column = 0;
    auto operator<=>(const TextPlace&) const = default;
};

struct TomlMember;

/// A value of a TOML text.
struct TomlNode {
    using List = std::vector<TomlNode>;
    using Table = std::vector<TomlMember>;

    TextPlace At;
    /// monostate: a date or a time, which no key here has
    std::variant<std::monostate, bool, std::int64_t, double, std::string, List, Table> Data;

    /// Null for a value of another kind.
    template <class T>
    const T* As() const {
        return std::get_if<T>(&Data);
    }
};

struct TomlMember {
    std::string Name;
    TextPlace At;  ///< of the name
    TomlNode Value;
};

class TomlError : public std::runtime_error {
public:
    TomlError(TextPlace at, const std::string& what) : std::runtime_error(what), At(at) {}
    TextPlace At;
};

/// The table that the text is. Raises TomlError for what is no TOML.
TomlNode ParseToml(std::string_view text);

}  // namespace orvix::station
