#pragma once

#include <cstdint>
#include <string>

namespace orvix::station {

/// Puts a history that cannot be used out of the way, beside itself under a name with the time, and a new one with all
/// rows that can still be read in its place. The file must not be open. `now` is milliseconds since 1970. Returns a
/// sentence that says what was done. Raises Error when nothing could be done; the file is as it was then.
std::string ReplaceUnusableHistory(const std::string& file, std::int64_t now);

}  // namespace orvix::station
