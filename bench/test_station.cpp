#include "bench/test_station.h"

#include <stdlib.h>

#include <cerrno>
#include <filesystem>

#include "host/error.h"

namespace orvix::bench {

std::string NewFolder() {
    std::string folder = (std::filesystem::temp_directory_path() / "nb1_bench_XXXXXX").string();
    if (mkdtemp(folder.data()) == nullptr) throw SystemError("cannot create a folder", errno);
    return folder + "/";
}

TestStation::TestStation()
    : m_Folder(NewFolder()),
      m_Station({.Data = m_Folder + "data/", .Configuration = m_Folder + "config/", .Library = m_Folder},
                NIMBO1_LIBRARY) {}

TestStation::~TestStation() {
    std::error_code ignored;
    std::filesystem::remove_all(m_Folder, ignored);
}

station::ServicesSetup TestStation::ServicesFor(std::int16_t port, const std::string& path) {
    station::BusSetup setup;
    setup.PortNumber = port;
    setup.PortPath = path;
    return m_Station.ServicesFor(setup);
}

}  // namespace orvix::bench
