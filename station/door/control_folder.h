#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "platform/file_descriptor.h"

namespace orvix::station {

/// The data folder as the place where stations listen: the first in "station.sock", each further one in
/// "station-<process>.sock".
class ControlFolder {
public:
    /// Raises SystemError for a folder that cannot be opened.
    explicit ControlFolder(const std::string& folder);

    /// The names of all sockets there, whether somebody listens or not.
    std::vector<std::string> Names() const;
    /// A connection to one of them; nothing when nobody listens. Raises SystemError when it cannot be told, such as
    /// for want of rights.
    std::optional<platform::FileDescriptor> Connect(const std::string& name) const;
    /// A socket that listens, open to its owner alone, under that name. Raises SystemError.
    platform::FileDescriptor Listen(const std::string& name) const;
    void Remove(const std::string& name) const;

private:
    /// Short, however long the folder's own path is: a socket's is at most 107 bytes.
    std::string PathOf(const std::string& name) const;

    std::string m_Folder;
    platform::FileDescriptor m_Opened;
};

/// Who has the other end of a local socket.
struct Peer {
    pid_t Process = 0;
    uid_t User = 0;
};
Peer PeerOf(const platform::FileDescriptor& socket);

}  // namespace orvix::station
