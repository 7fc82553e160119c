#pragma once

#include <cstdint>
#include <string>

namespace orvix::station {

/// Of the program and the library, as the packages have it.
extern const char* const kVersion;

// Of what is kept, or read by others; docs/upgrades.md tells what is promised of each.

/// Layout of a history (docs/history.md); its user_version.
inline constexpr std::int32_t kHistoryVersion = 2;
inline constexpr int kRecordingVersion = 2;
/// Of the bag that a device file is.
inline constexpr int kDeviceFileVersion = 2;
/// In the paths of the interface for programs: "/api/v1/".
inline constexpr int kApiVersion = 1;
/// Of the topics at an MQTT broker and what stands in them (docs/mqtt.md).
inline constexpr int kTopicsVersion = 1;

/// Version, the commit that it was built from when that is known, formats and features: what --version prints.
std::string VersionText();

}  // namespace orvix::station
