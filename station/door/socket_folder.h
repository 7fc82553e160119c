#pragma once

#include <string>
#include <vector>

#include "platform/file_descriptor.h"

namespace orvix::station {

/// Where stations with one data folder listen, under names that begin alike: in that folder, or beside those with
/// others.
struct StationPlace {
    std::string Folder;  ///< ends with "/"
    std::string Prefix;  ///< of names; empty in the data folder itself
};

/// Where a station with a data folder may listen, the best first: there, else, when it cannot have a socket there, in
/// the folder that the service manager has made for it (RUNTIME_DIRECTORY).
std::vector<StationPlace> PlacesToListen(const std::string& dataFolder);
/// Where it is looked for: the same, and such folders of the service nimbo1, the system's and the user's.
std::vector<StationPlace> PlacesToAsk(const std::string& dataFolder);

/// A place where stations can be asked: the one that has the data folder at "station.sock", those that are played at
/// "replay-<process>.sock".
class SocketFolder {
public:
    /// Raises SystemError for a folder that cannot be opened.
    explicit SocketFolder(StationPlace place);

    /// The names of all sockets there, without the prefix, whether somebody listens or not.
    std::vector<std::string> Names() const;
    /// A socket that listens, open to its owner alone, under that name, in place of one on which nobody listens any
    /// more. Raises SystemError.
    platform::FileDescriptor Listen(const std::string& name) const;
    void Remove(const std::string& name) const;
    /// The path of a socket for this process as long as this lives. It is short, however long the folder's own path
    /// is: a socket's is at most 107 bytes.
    std::string PathOf(const std::string& name) const;

private:
    const StationPlace m_Place;
    platform::FileDescriptor m_Opened;
};

/// What a station listens at that has the folder as its data folder, and one of this process that is played.
inline constexpr char kStationSocket[] = "station.sock";
std::string ReplaySocket();

}  // namespace orvix::station
