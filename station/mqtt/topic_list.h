#pragma once

#include <set>
#include <string>

namespace orvix::station {

// A file of topics of which a broker may keep something, one a line. It tells the next run what to clear.

/// Empty when there is none, or it cannot be read.
std::set<std::string> ReadTopicList(const std::string& file);
/// Raises Error naming the file.
void WriteTopicList(const std::string& file, const std::set<std::string>& topics);

}  // namespace orvix::station
