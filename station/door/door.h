#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/real_apartment.h"
#include "station/door/routes.h"
#include "station/door/socket_folder.h"
#include "station/http/http_server.h"

namespace orvix::station {

/// Where a station is asked: at a local socket, which serves its owner and the superuser, and at addresses.
class Door {
public:
    Door(platform::RealApartment& home, StationView station);
    ~Door();
    Door(const Door&) = delete;
    Door& operator=(const Door&) = delete;

    /// Each raises Error when nobody can be answered there. `where`: "127.0.0.1:8080" or "[::1]:8080".
    void OpenSocket(const std::string& folder, const std::string& name);
    void OpenWeb(const std::string& where);
    /// Only "/metrics".
    void OpenMetrics(const std::string& where);

private:
    /// How a client has come in.
    enum class Entrance { Socket, Web, Metrics };

    void Serve(platform::FileDescriptor listening, Entrance entrance);
    void Answer(Entrance entrance, const HttpRequest& request, const HttpReply& reply) const;
    static Right RightOf(Entrance entrance, const HttpRequest& request);

    platform::RealApartment& m_Home;
    const StationView m_Station;
    std::unique_ptr<SocketFolder> m_Folder;
    std::string m_SocketName;
    std::vector<std::unique_ptr<HttpServer>> m_Servers;
};

}  // namespace orvix::station
