#pragma once

#include <functional>
#include <memory>
#include <string>

#include "host/line.h"

namespace orvix::station {

/// Something that happens on a serial line.
struct LineEvent {
    enum class Kind {
        Opened,
        Closed,
        Failed,     ///< the port could not be opened, or an operation on it failed
        Sent,       ///< a request, as the driver sends it
        Received,   ///< bytes that the driver took while it waited for a reply, as many as were there
        Discarded,  ///< bytes that were there before a request and belong to no reply
    };

    Duration Time{0};    ///< of the steady clock that all apartments of the process share
    std::string Port{};  ///< what people call the port
    Kind What = Kind::Opened;
    std::string Bytes{};   ///< of Sent, Received and Discarded
    std::string Reason{};  ///< of Failed
    Duration Lasted{0};    ///< of Sent: how long the writing took; the event is told when it is over
};

/// Called on the thread that uses the line.
using LineListener = std::function<void(const LineEvent&)>;

/// A line whose controls tell a listener what happens on them, and are else those of another line.
class LineTap : public Line {
public:
    /// `line` and `apartment` (which tells the time) outlive this; `port` is what the events call the port.
    LineTap(Line& line, const Apartment& apartment, std::string port, LineListener listener);

    /// The control refers to this object.
    std::unique_ptr<SerialControl> CreateSerialControl() override;

private:
    Line& m_Line;
    const Apartment& m_Apartment;
    const std::string m_Port;
    const LineListener m_Listener;
};

}  // namespace orvix::station
