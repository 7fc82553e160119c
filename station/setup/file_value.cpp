#include "station/setup/file_value.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <optional>

#include "station/setup/nearest_name.h"

namespace orvix::station {

void Complaints::Add(TextPlace at, const std::string& key, const std::string& text) {
    const auto place = m_File + ":" + std::to_string(at.Line) + ":" + std::to_string(at.Column) + ": ";
    m_Lines.insert({at, place + (key.empty() ? "" : key + ": ") + text});
}

std::vector<std::string> Complaints::Lines() const {
    std::vector<std::string> lines;
    for (const auto& line : m_Lines)
        lines.push_back(line.Text);
    return lines;
}

std::string FileValue::Text() const {
    const auto* text = Node.As<std::string>();
    if (text == nullptr || text->empty()) throw BadValue("write a non-empty text in quotes");
    return Checked(*text);
}

std::string FileValue::Path() const {
    return PathFrom(Text());
}

std::string FileValue::PathFrom(const std::string& text) const {
    return AbsolutePath((std::filesystem::path(Wrong.File()).parent_path() / text).string());
}

bool FileValue::Boolean() const {
    const auto* value = Node.As<bool>();
    if (value == nullptr) throw BadValue("write true or false");
    return *value;
}

double FileValue::Real() const {
    std::optional<double> value;
    if (const auto* real = Node.As<double>()) value = *real;
    if (const auto* whole = Node.As<std::int64_t>()) value = static_cast<double>(*whole);
    if (!value || !std::isfinite(*value)) throw BadValue("write a number");
    return *value;
}

std::int64_t FileValue::Whole(std::int64_t least, std::int64_t most) const {
    const auto* value = Node.As<std::int64_t>();
    if (value == nullptr || *value < least || *value > most) NotWhole(least, most);
    return *value;
}

std::vector<std::string> FileValue::Texts() const {
    const auto* list = Node.As<TomlNode::List>();
    if (list == nullptr) throw BadValue("write a list of texts, such as [\"one\", \"another\"]");
    std::vector<std::string> texts;
    for (const auto& node : *list) {
        // An argument of a program may be a script of several lines.
        const auto* text = node.As<std::string>();
        if (text == nullptr || text->empty() || text->find('\0') != std::string::npos) {
            throw BadValue("write texts in quotes, none of them empty, without zero characters");
        }
        texts.push_back(*text);
    }
    return texts;
}

std::vector<std::string> FileValue::Command() const {
    auto texts = Texts();
    if (!texts.empty() && texts[0].find('/') != std::string::npos) texts[0] = PathFrom(texts[0]);
    return texts;
}

const TomlNode::Table& FileValue::Members() const {
    const auto* table = Node.As<TomlNode::Table>();
    if (table == nullptr) throw BadValue("this must be a table: [" + Key + "]");
    return *table;
}

const TomlMember* FileValue::Member(const std::string& name) const {
    const auto& members = Members();
    const auto found =
        std::find_if(members.begin(), members.end(), [&](const auto& member) { return member.Name == name; });
    return found == members.end() ? nullptr : &*found;
}

void FileValue::EachTable(const std::function<void(const FileValue&)>& read) const {
    const auto* list = Node.As<TomlNode::List>();
    if (list == nullptr) throw BadValue("write [[...]] with two brackets: there may be several");
    for (std::size_t index = 0; index < list->size(); ++index) {
        if ((*list)[index].As<TomlNode::Table>() == nullptr) throw BadValue("each must be a table");
        read(FileValue((*list)[index], Key + "[" + std::to_string(index) + "]", Wrong));
    }
}

void FileValue::Complain(const std::string& name, const std::string& text) const {
    const auto* member = Member(name);
    Wrong.Add(member != nullptr ? member->Value.At : Node.At, member != nullptr ? Key + "." + name : Key, text);
}

void ReadTable(const FileValue& table, const std::vector<FileKey>& keys) {
    for (const auto& member : table.Members()) {
        const auto name = table.Key.empty() ? member.Name : table.Key + "." + member.Name;
        const auto known =
            std::find_if(keys.begin(), keys.end(), [&](const auto& key) { return key.Name == member.Name; });
        if (known == keys.end()) {
            std::vector<std::string> names;
            names.reserve(keys.size());
            for (const auto& key : keys)
                names.push_back(key.Name);
            const auto nearest = NearestName(member.Name, names);
            table.Wrong.Add(member.At, name,
                            "there is no such key" + (nearest.empty() ? "" : "; did you mean " + nearest + "?"));
            continue;
        }
        try {
            known->Read(FileValue(member.Value, name, table.Wrong));
        } catch (const BadValue& bad) {
            table.Wrong.Add(member.Value.At, name, bad.what());
        }
    }
}

}  // namespace orvix::station
