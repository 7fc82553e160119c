#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "host/apartment.h"
#include "station/door/control_folder.h"

namespace orvix::station {

/// Where a running station is asked things by its owner: a local socket in its data folder. A client sends one line, a
/// request, and gets "ok" and lines of text, or "error: " and a sentence; then the connection is closed.
///
/// Clients are served on a thread of their own, a few at a time, for seconds at most: one that neither sends nor reads
/// holds up nobody. The owner and the superuser are served.
class ControlServer {
public:
    /// What the requests are answered with; called on the apartment of the station.
    using Requests = std::map<std::string, std::function<std::string()>>;

    /// Raises SystemError when the folder takes no socket.
    ControlServer(const std::string& folder, Apartment& home, Requests requests);
    ~ControlServer();
    ControlServer(const ControlServer&) = delete;
    ControlServer& operator=(const ControlServer&) = delete;

    /// The process of the station that had the folder before this one.
    std::optional<pid_t> OtherStation() const { return m_Other; }

private:
    class Service;

    ControlFolder m_Folder;
    std::string m_Name;
    std::optional<pid_t> m_Other;
    std::shared_ptr<Service> m_Service;
    std::thread m_Thread;
};

}  // namespace orvix::station
