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
    for (const auto& place : PlacesToListen(folder)) {
        // What it cannot write there, it says where it wants to.
        const bool isLockable = Attempt([&] {
            platform::CreateFolders(place.Folder);
            lock = std::make_unique<platform::ProcessLock>(place.Folder + place.Prefix + kLockFile);
        });
        if (isLockable) break;
    }
    const auto holder = lock ? lock->Holder() : std::nullopt;
    if (!holder) return lock;
    const auto process = *holder == 0 ? std::string() : " (process " + std::to_string(*holder) + ")";
    throw Error(errors::General, "another station" + process + " has the data folder " + folder +
                                     ": end it first, or name another folder with --data");
}

std::string StationName() {
    char name[HOST_NAME_MAX + 1] = "";
    ::gethostname(name, HOST_NAME_MAX);
    return name;
}

void OpenSocket(Door& door, const std::string& dataFolder, const std::string& name, Output& output) {
    std::string failures;
    for (const auto& place : PlacesToListen(dataFolder)) {
        try {
            platform::CreateFolders(place.Folder);
            return door.OpenSocket(place, name);
        } catch (const Error& error) {
            failures.append(failures.empty() ? "" : "; ").append(error.Description);
        }
    }
    output.Note("this station cannot be asked by nimbo1 health and other commands: " + failures);
}

}  // namespace orvix::station
