#pragma once

#include <functional>
#include <string>

#include "host/apartment.h"

namespace orvix::station {

/// Something that happens on a serial line.
struct LineEvent {
    enum class Kind {
        Opened,
        Closed,
        Failed,     ///< the port could not be opened, or an operation on it failed
        Sent,       ///< a request, as the driver sends it
        Received,   ///< bytes that the driver took while it waited for a reply, as many as were there
        Echoed,     ///< the request, echoed, and what came before it: kept back, so that the driver reads on behind it
        Discarded,  ///< bytes that were there before a request and belong to no reply
        Waited,     ///< the driver has waited for bytes, and none were there
    };

    Duration Time{0};    ///< of the steady clock that all apartments of the process share
    std::string Port{};  ///< what people call the port
    Kind What = Kind::Opened;
    std::string Bytes{};   ///< of Sent, Received, Echoed and Discarded
    std::string Reason{};  ///< of Failed
    Duration Lasted{0};    ///< of Sent: how long the writing took; the event is told when it is over
};

/// Called on the thread that uses the line.
using LineListener = std::function<void(const LineEvent&)>;

}  // namespace orvix::station
