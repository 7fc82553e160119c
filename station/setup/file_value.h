#pragma once

#include <algorithm>
#include <functional>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "station/setup/toml_tree.h"
#include "station/setup/value.h"

namespace orvix::station {

/// What is wrong with a configuration, by where it stands.
class Complaints {
public:
    explicit Complaints(std::string file) : m_File(std::move(file)) {}

    /// `key` may be empty.
    void Add(TextPlace at, const std::string& key, const std::string& text);
    bool Any() const { return !m_Lines.empty(); }
    const std::string& File() const { return m_File; }
    /// By position.
    std::vector<std::string> Lines() const;

private:
    struct Line {
        TextPlace At;
        std::string Text;
        auto operator<=>(const Line&) const = default;
    };
    std::string m_File;
    std::set<Line> m_Lines;
};

/// A value of a configuration file with its key.
class FileValue : public Value {
public:
    FileValue(const TomlNode& node, std::string key, Complaints& wrong)
        : Node(node), Key(std::move(key)), Wrong(wrong) {}

    std::string Text() const override;
    std::string Path() const override;
    bool Boolean() const override;
    double Real() const override;
    std::int64_t Whole(std::int64_t least, std::int64_t most) const override;
    std::vector<std::string> Texts() const override;
    std::vector<std::string> Command() const override;

    /// Raises BadValue when it is none.
    const TomlNode::Table& Members() const;
    /// The member with this name, which a table has; null when it has none.
    const TomlMember* Member(const std::string& name) const;
    /// Calls `read` with each table of an array of tables.
    void EachTable(const std::function<void(const FileValue&)>& read) const;
    /// Complains of the member with this name, or of the table when it has none.
    void Complain(const std::string& name, const std::string& text) const;

    /// A path that begins at the folder of the file.
    std::string PathFrom(const std::string& text) const;

    const TomlNode& Node;
    const std::string Key;  ///< whole, such as "bus[0].device[1].low"
    Complaints& Wrong;
};

/// A key that a table may have, and what its value does.
struct FileKey {
    std::string Name;
    std::function<void(const FileValue&)> Read;
};

/// Reads the values of a table; each unknown key and each value that cannot be used is a complaint.
void ReadTable(const FileValue& table, const std::vector<FileKey>& keys);

}  // namespace orvix::station
