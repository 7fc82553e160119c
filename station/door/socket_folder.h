#pragma once

#include <string>
#include <vector>

#include "platform/file_descriptor.h"

namespace orvix::station {

/// A folder as the place where stations can be asked: the one that has it as its data folder at "station.sock", those
/// that are played at "replay-<process>.sock".
class SocketFolder {
public:
    /// Raises SystemError for a folder that cannot be opened.
    explicit SocketFolder(const std::string& folder);

    /// The names of all sockets there, whether somebody listens or not.
    std::vector<std::string> Names() const;
    /// A socket that listens, open to its owner alone, under that name, in place of one on which nobody listens any
    /// more. Raises SystemError.
    platform::FileDescriptor Listen(const std::string& name) const;
    void Remove(const std::string& name) const;
    /// The path of a socket for this process as long as this lives. It is short, however long the folder's own path
    /// is: a socket's is at most 107 bytes.
    std::string PathOf(const std::string& name) const;

private:
    std::string m_Folder;
    platform::FileDescriptor m_Opened;
};

/// What a station listens at that has the folder as its data folder, and one of this process that is played.
inline constexpr char kStationSocket[] = "station.sock";
std::string ReplaySocket();

}  // namespace orvix::station
