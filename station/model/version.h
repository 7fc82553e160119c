#pragma once

#include <cstdint>
#include <string>

namespace orvix::station {

/// Version of the program and the library, the same as that of the packages.
extern const char* const kVersion;

// Versions of what is stored, or read by others; docs/upgrades.md tells what is promised about each.

/// Layout of a history (docs/history.md); its user_version.
inline constexpr std::int32_t kHistoryVersion = 2;
inline constexpr int kRecordingVersion = 2;
/// Of the bag in a device file.
inline constexpr int kDeviceFileVersion = 2;
/// In the paths of the interface for programs: "/api/v1/".
inline constexpr int kApiVersion = 1;
/// Of topics and payloads at MQTT brokers (docs/mqtt.md).
inline constexpr int kTopicsVersion = 1;

/// What --version prints: version, commit if known, formats and features.
std::string VersionText();

}  // namespace orvix::station
