#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/real_apartment.h"
#include "station/door/routes.h"
#include "station/door/socket_folder.h"
#include "station/door/token_book.h"
#include "station/http/http_server.h"
#include "station/model/station_setup.h"

namespace orvix::station {

/// Where a station is asked: at a local socket, which serves its owner and the superuser, and at addresses.
class Door {
public:
    Door(platform::RealApartment& home, StationView station);
    ~Door();
    Door(const Door&) = delete;
    Door& operator=(const Door&) = delete;

    /// Each raises Error when nobody can be answered there.
    void OpenSocket(const StationPlace& place, const std::string& name);
    /// At the address that the setup names. There a token says who may do what; without one everything may be read at
    /// an address of this machine alone, and only the files of the page at any other. Raises Error for another one
    /// without tokens, too.
    void OpenWeb(const WebSetup& setup);
    /// Only "/metrics", for everybody. `where`: "127.0.0.1:9400" or "[::1]:9400".
    void OpenMetrics(const std::string& where);
    /// Reads the file of tokens, again, or forgets them when the setup names none. Raises Error, and changes nothing,
    /// for one that cannot be used.
    void TakeTokens(const WebSetup& setup);

private:
    /// How a client has come in.
    enum class Entrance { Socket, Web, Metrics };

    void Serve(platform::FileDescriptor listening, Entrance entrance);
    void Answer(Entrance entrance, const HttpRequest& request, const HttpReply& reply) const;
    Right RightOf(Entrance entrance, const HttpRequest& request) const;
    static Right RightOfUser(const HttpRequest& request);
    Right RightOnWeb(const HttpRequest& request) const;

    platform::RealApartment& m_Home;
    const StationView m_Station;
    std::unique_ptr<SocketFolder> m_Folder;
    std::string m_SocketName;
    TokenBook m_Tokens;
    std::vector<std::string> m_Hosts;  ///< names that the station is known by
    bool m_IsLocal = false;            ///< the address is one of this machine alone
    std::vector<std::unique_ptr<HttpServer>> m_Servers;
};

}  // namespace orvix::station
