#pragma once

namespace orvix::station {

/// Of the program and the library, as the packages have it.
extern const char* const kVersion;

}  // namespace orvix::station
