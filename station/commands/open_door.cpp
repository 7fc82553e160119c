#include "station/commands/open_door.h"

#include <unistd.h>

#include <climits>

#include "host/error.h"

namespace orvix::station {
namespace {

constexpr char kLockFile[] = "station.lock";

}  // namespace

std::unique_ptr<platform::ProcessLock> LockDataFolder(const std::string& folder) {
    std::unique_ptr<platform::ProcessLock> lock;
    try {
        platform::CreateFolders(folder);
        lock = std::make_unique<platform::ProcessLock>(folder + kLockFile);
    } catch (const Error&) {
        // What it cannot write there, it says where it wants to.
        return nullptr;
    }
    if (const auto holder = lock->Holder()) {
        const auto process = *holder == 0 ? std::string() : " (process " + std::to_string(*holder) + ")";
        throw Error(errors::General, "another station" + process + " has the data folder " + folder +
                                         ": end it first, or name another folder with --data");
    }
    return lock;
}

std::string StationName() {
    char name[HOST_NAME_MAX + 1] = "";
    ::gethostname(name, HOST_NAME_MAX);
    return name;
}

void OpenSocket(Door& door, const std::string& dataFolder, const std::string& name, Output& output) {
    try {
        platform::CreateFolders(dataFolder);
        door.OpenSocket(dataFolder, name);
    } catch (const Error& error) {
        output.Note("this station cannot be asked by nimbo1 health and other commands: " + error.Description);
    }
}

}  // namespace orvix::station
