#pragma once

#include <microhttpd.h>

#include <cstddef>
#include <string>

#include "station/http/message.h"

namespace orvix::station {

/// The socket of a client; -1 when there is none any more.
int SocketOf(MHD_Connection* connection);
/// Its numeric address; empty of a local one.
std::string PeerOf(MHD_Connection* connection);

/// A request without its body.
struct RequestHead {
    HttpRequest Request;
    std::size_t Bytes = 0;  ///< of path, parameters and headers
};
RequestHead HeadOf(MHD_Connection* connection, const char* path, const char* method);

}  // namespace orvix::station
