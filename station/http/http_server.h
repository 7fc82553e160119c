#pragma once

#include <memory>
#include <string>

#include "platform/file_descriptor.h"
#include "platform/real_apartment.h"
#include "station/http/crowd.h"
#include "station/http/message.h"

namespace orvix::station {

/// An HTTP/1.1 server at one socket, on the loop of an apartment: no request, however slow its client, blocks the loop,
/// and none is handled anywhere else. Requests have bounds: 32 KB for line and headers, 16 KB for a body, and those
/// of the crowd. A client that takes nothing of its answer for ten seconds is hung up on.
class HttpServer {
public:
    struct Setup {
        Crowd::Limits Clients{};
        std::size_t Streams = 128;        ///< that are read at the same time
        std::size_t AddressStreams = 64;  ///< of them from one address
        HttpHandler Handle;
        /// Makes the answer to a request that the server refuses itself.
        HttpResponse (*Refuse)(int status, const std::string& detail) = nullptr;
    };

    /// `listening`: a socket that listens; it belongs to the server from now on. Raises Error.
    HttpServer(platform::RealApartment& home, platform::FileDescriptor listening, Setup setup);
    /// Hangs up on everybody. Replies that come later go to nobody.
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

private:
    class Daemon;
    std::shared_ptr<Daemon> m_Daemon;
};

/// A socket that listens at a numeric address and port, "127.0.0.1:8080" or "[::1]:8080". Raises Error.
platform::FileDescriptor ListenAt(const std::string& where);

}  // namespace orvix::station
