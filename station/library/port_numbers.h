#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "station/library/bus_services.h"

namespace orvix::station {

/// The numbers that ports bear in variable tags. The settings keep that of a port which is, or was, there. One that has
/// never been seen, such as a mistyped one, has a number in this program alone, and so have all where the settings
/// cannot be written.
class PortNumbers {
public:
    explicit PortNumbers(StationFolders folders) : m_Folders(std::move(folders)) {}

    /// Raises General when the settings hold something else.
    std::int16_t Of(const std::string& port);

private:
    const StationFolders m_Folders;
    std::map<std::string, std::int16_t> m_Passing;
};

}  // namespace orvix::station
