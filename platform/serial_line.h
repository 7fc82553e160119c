#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "host/line.h"

namespace orvix::platform {

/// The serial ports of this machine. A control made here opens its port for itself alone: a port in use is an error, as
/// is one that is no serial device. What a control does not offer (handshaking, receive and send events, binary input,
/// an end-of-file character, dropping of zero bytes) cannot be switched on: General is raised.
class SerialLine : public Line {
public:
    /// `ports`: device file of each port number. A number without one is the machine's own serial port: 1 is
    /// /dev/ttyS0.
    explicit SerialLine(std::map<std::int16_t, std::string> ports) : m_Ports(std::move(ports)) {}

    /// The control refers to this object.
    std::unique_ptr<SerialControl> CreateSerialControl() override;

    std::string DeviceFile(std::int16_t port) const;

private:
    std::map<std::int16_t, std::string> m_Ports;
};

}  // namespace orvix::platform
