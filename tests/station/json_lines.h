#pragma once

#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

namespace orvix::tests {

using Json = nlohmann::json;

/// The objects that a program prints, one a line.
inline std::vector<Json> Objects(const std::string& lines) {
    std::vector<Json> objects;
    std::istringstream in(lines);
    for (std::string line; std::getline(in, line);)
        objects.push_back(Json::parse(line));
    return objects;
}

}  // namespace orvix::tests
