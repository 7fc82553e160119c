#include "station/setup/toml_tree.h"

// The only source that knows the parser, whose own inline functions are not this project's to warn about.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"
#pragma GCC diagnostic ignored "-Wshadow"
// In a debug build the parser asserts what a key begins with before it reports it as an error.
#define TOML_ASSERT(condition) static_cast<void>(0)
#include <toml++/toml.h>
#pragma GCC diagnostic pop

namespace orvix::station {
namespace {

TextPlace PlaceOf(const toml::source_region& region) {
    return {region.begin.line, region.begin.column};
}

TomlNode TreeOf(const toml::node& node) {
    TomlNode tree{PlaceOf(node.source()), {}};
    if (const auto* table = node.as_table()) {
        auto& members = tree.Data.emplace<TomlNode::Table>();
        for (const auto& [key, value] : *table)
            members.push_back({std::string(key.str()), PlaceOf(key.source()), TreeOf(value)});
    } else if (const auto* array = node.as_array()) {
        auto& list = tree.Data.emplace<TomlNode::List>();
        for (const auto& value : *array)
            list.push_back(TreeOf(value));
    } else if (const auto* text = node.as_string()) {
        tree.Data = text->get();
    } else if (const auto* whole = node.as_integer()) {
        tree.Data = whole->get();
    } else if (const auto* real = node.as_floating_point()) {
        tree.Data = real->get();
    } else if (const auto* flag = node.as_boolean()) {
        tree.Data = flag->get();
    }
    return tree;
}

}  // namespace

TomlNode ParseToml(std::string_view text) {
    try {
        return TreeOf(toml::parse(text));
    } catch (const toml::parse_error& error) {
        throw TomlError(PlaceOf(error.source()), std::string(error.description()));
    }
}

}  // namespace orvix::station
