#pragma once

#include <string>

#include "station/library/bus_services.h"

namespace orvix::station {

/// A data folder that goes with the object: who works in it neither sees nor changes the devices that this user has
/// registered.
class PassingFolder {
public:
    /// Raises SystemError.
    PassingFolder();
    ~PassingFolder();
    PassingFolder(const PassingFolder&) = delete;
    PassingFolder& operator=(const PassingFolder&) = delete;

    StationFolders Folders() const;

private:
    std::string m_Path;
};

}  // namespace orvix::station
