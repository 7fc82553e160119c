#pragma once

#include <string>

namespace orvix::station {

/// Takes the echo out of what comes on a line whose converter echoes what it sends. It does so after three requests in
/// a row have come back, until three in a row, with other bytes behind them, have not.
class EchoFilter {
public:
    /// What has come: the echo, which nobody below is to see, with what stood before it, and what follows it.
    struct Parts {
        std::string Echo;
        std::string Rest;
    };

    /// The port was opened: another converter may be at it.
    void Reset() { *this = {}; }
    /// A request is about to be sent.
    void Send(const std::string& request);
    /// Bytes have come. While the request is expected back, bytes are kept until all of it is there.
    Parts Take(const std::string& bytes);
    /// What is kept, and kept no longer.
    std::string TakeKept();

private:
    bool m_IsOn = false;
    int m_InARow = 0;        ///< requests that came back; while it is on, that did not
    std::string m_Request;   ///< the latest
    std::string m_Received;  ///< since it was sent, until it has come back or what came is kept no longer
    bool m_HasReceived = false;
    bool m_IsBack = false;
};

}  // namespace orvix::station
