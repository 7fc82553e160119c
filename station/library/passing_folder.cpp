#include "station/library/passing_folder.h"

#include <stdlib.h>

#include <cerrno>
#include <filesystem>

#include "host/error.h"
#include "station/library/folders.h"

namespace orvix::station {

PassingFolder::PassingFolder() : m_Path((std::filesystem::temp_directory_path() / "nimbo1_XXXXXX").string()) {
    if (::mkdtemp(m_Path.data()) == nullptr) throw SystemError("folder " + m_Path + " cannot be made", errno);
}

PassingFolder::~PassingFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_Path, ignored);
}

StationFolders PassingFolder::Folders() const {
    auto folders = FindFolders(m_Path);
    folders.Configuration = folders.Data + "configuration/";
    return folders;
}

}  // namespace orvix::station
