#pragma once

#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "station/door/socket_folder.h"
#include "station/http/http_client.h"
#include "station/json/json.h"

namespace orvix::station {

/// What one running station has answered.
struct StationAnswer {
    pid_t Process = 0;  ///< 0 when it cannot be told
    std::string Text;
    std::string Failure;  ///< why there is no text, in a sentence; empty when there is
};

/// Asks all stations of a data folder, those that are played too. `question` names no socket. Raises Error when none is
/// running.
std::vector<StationAnswer> AskStations(const std::string& folder, HttpQuestion question);

/// The station that has a data folder, or one of that folder that is played, to be asked things.
class AskedStation {
public:
    /// `socket`: the name of its socket.
    explicit AskedStation(std::string folder, std::string socket = kStationSocket)
        : m_Folder(std::move(folder)), m_Socket(std::move(socket)) {}

    /// What it answers; nothing when no station runs there. Raises Error with the sentence of a problem.
    std::optional<std::string> Text(HttpQuestion question) const;
    /// The same as JSON; null for an empty answer.
    std::optional<Json> Ask(HttpQuestion question) const;
    /// All of a list; `path` has no query.
    std::optional<std::vector<Json>> List(const std::string& path, const char* key) const;
    /// What the station calls the bus on a port, or without one the only bus that it has; nothing when none runs, or it
    /// has another port. Raises Error without a port when it has several, or none yet.
    std::optional<std::string> BusOn(const std::optional<std::string>& portPath) const;
    /// The public id of a device on a bus. Raises Error when the station does not read it.
    std::string IdOf(const std::string& bus, int address) const;

private:
    const std::string m_Folder;
    const std::string m_Socket;
};

/// The names of the sockets of all stations of a data folder, whether they still run or not.
std::set<std::string> SocketsOf(const std::string& folder);

}  // namespace orvix::station
