#pragma once

#include <functional>
#include <memory>
#include <string>

#include "host/line.h"
#include "station/model/line_event.h"

namespace orvix::station {

/// A line whose controls tell a listener what happens on them, and are else those of another line, except that they
/// keep back what the converter echoes.
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
