#pragma once

#include <string>

#include "station/source/bus_thread.h"

namespace orvix::bench {

/// A station as the program has it, in a folder that goes with this.
class TestStation {
public:
    TestStation();
    ~TestStation();
    TestStation(const TestStation&) = delete;
    TestStation& operator=(const TestStation&) = delete;

    station::StationResources& Shared() { return m_Station; }
    station::ServicesSetup ServicesFor(std::int16_t port, const std::string& path);

private:
    std::string m_Folder;
    station::StationResources m_Station;
};

/// A new folder with the name's ending "/", for temporary files.
std::string NewFolder();

}  // namespace orvix::bench
