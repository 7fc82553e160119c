#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "host/apartment.h"

namespace orvix {

/// Serial communications control. Errors of the line are raised as SystemError (the general error with the system's
/// reason); a line that has vanished is opened again by itself at the next write or discard, while PortOpen stays true.
class SerialControl {
public:
    virtual ~SerialControl() = default;

    virtual void DTREnable(bool rhs) = 0;
    virtual void EOFEnable(bool rhs) = 0;
    virtual void Handshaking(std::int32_t rhs) = 0;  ///< 0 none
    virtual void InBufferSize(std::int32_t bytes) = 0;
    virtual void InputLen(std::int32_t bytes) = 0;  ///< how much Input takes; 0 everything available
    virtual void InputMode(std::int32_t rhs) = 0;   ///< 0 text
    virtual void NullDiscard(bool rhs) = 0;
    virtual void OutBufferSize(std::int32_t bytes) = 0;
    virtual void ParityReplace(const std::string& rhs) = 0;
    virtual void RThreshold(std::int32_t rhs) = 0;  ///< 0 no receive events
    virtual void RTSEnable(bool rhs) = 0;
    virtual void Settings(const std::string& rhs) = 0;  ///< baud, parity, data bits, stop bits: "9600,n,8,1"
    virtual void SThreshold(std::int32_t rhs) = 0;      ///< 0 no send events

    virtual void CommPort(std::int16_t rhs) = 0;
    virtual bool PortOpen() const = 0;
    /// Opens the port exclusively, or closes it.
    virtual void PortOpen(bool rhs) = 0;

    /// Writing 0 discards what has been received and not read. Returns what it was, for those who watch the line.
    virtual std::string InBufferCount(std::int32_t rhs) = 0;
    /// Returns when the bytes have left the machine.
    virtual void Output(const std::string& bytes) = 0;
    /// Takes what has been received; does not wait.
    virtual std::string Input() = 0;
    /// Blocks the thread until input is there, at most for the limit; nothing else is delivered meanwhile.
    virtual void WaitForInput(Duration limit) = 0;
};

class Line {
public:
    virtual ~Line() = default;
    virtual std::unique_ptr<SerialControl> CreateSerialControl() = 0;
};

}  // namespace orvix
