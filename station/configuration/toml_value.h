#pragma once

// Compiled once, where TOML_IMPLEMENTATION stands. The parser's own inline functions are not this project's to warn
// about.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"
#pragma GCC diagnostic ignored "-Wshadow"
#define TOML_HEADER_ONLY 0
// In a debug build the parser asserts what a key begins with before it reports it as an error.
#define TOML_ASSERT(condition) static_cast<void>(0)
#include <toml++/toml.h>
#pragma GCC diagnostic pop

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <iterator>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace orvix::station {

/// What is wrong with a configuration, by where it stands.
class Complaints {
public:
    explicit Complaints(std::string file) : m_File(std::move(file)) {}

    /// `key` may be empty.
    void Add(const toml::source_position& at, const std::string& key, const std::string& text);
    bool Any() const { return !m_Lines.empty(); }
    /// By position.
    std::vector<std::string> Lines() const;

private:
    struct Line {
        std::uint32_t Row;
        std::uint32_t Column;
        std::string Text;
        auto operator<=>(const Line&) const = default;
    };
    std::string m_File;
    std::set<Line> m_Lines;
};

/// Why a value cannot be used; the value's place is known to who reads it.
class BadValue : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A value with its key. The readers raise BadValue for one of another kind.
struct TomlValue {
    const toml::node& Node;
    std::string Key;  ///< whole, such as "bus[0].device[1].low"
    Complaints& Wrong;

    /// Not empty.
    std::string Text() const;
    /// Absolute.
    std::string Path() const;
    bool Boolean() const;
    double Real() const;
    std::int64_t Whole(std::int64_t least, std::int64_t most) const;
    /// As on the command line.
    std::chrono::milliseconds Period() const;
    /// "36h", "90d", "4w"; at least one hour, at most a hundred years.
    std::chrono::hours Age() const;
    /// Bytes: "500MB", "2GB"; at least 1 MB.
    std::int64_t Size() const;
    std::vector<std::string> Texts() const;
    const toml::table& Table() const;
    /// Calls `read` with each table of an array of tables.
    template <class Read>
    void EachTable(Read read) const {
        const auto* array = Node.as_array();
        if (array == nullptr) throw BadValue("write [[...]] with two brackets: there may be several");
        for (std::size_t index = 0; index < array->size(); ++index) {
            const auto* table = array->get(index)->as_table();
            if (table == nullptr) throw BadValue("each must be a table");
            read(TomlValue{*table, Key + "[" + std::to_string(index) + "]", Wrong});
        }
    }
};

/// A key that a table may have, and what its value does.
template <class Target>
struct TomlKey {
    const char* Name;
    void (*Read)(const TomlValue& value, Target& target);
};

/// The name most like `key`; empty when none is.
std::string NearestName(const std::string& key, const std::vector<std::string>& names);

/// Reads the values of a table; each unknown key and each value that cannot be used is a complaint.
template <class Target, std::size_t Count>
void ReadTable(const TomlValue& table, const TomlKey<Target> (&keys)[Count], Target& target) {
    for (const auto& [key, node] : table.Table()) {
        const std::string name(key.str());
        const TomlValue value{node, table.Key.empty() ? name : table.Key + "." + name, table.Wrong};
        const auto* known =
            std::find_if(std::begin(keys), std::end(keys), [&](const auto& k) { return name == k.Name; });
        try {
            if (known != std::end(keys)) {
                known->Read(value, target);
                continue;
            }
            std::vector<std::string> names;
            for (const auto& k : keys)
                names.emplace_back(k.Name);
            const auto nearest = NearestName(name, names);
            value.Wrong.Add(key.source().begin, value.Key,
                            "there is no such key" + (nearest.empty() ? "" : "; did you mean " + nearest + "?"));
        } catch (const BadValue& bad) {
            value.Wrong.Add(node.source().begin, value.Key, bad.what());
        }
    }
}

}  // namespace orvix::station
