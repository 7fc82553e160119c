#pragma once

#include <sys/stat.h>
#include <termios.h>

#include <cerrno>
#include <chrono>
#include <cstddef>
#include <string>

#include "host/apartment.h"
#include "platform/file_descriptor.h"

namespace orvix::platform {

/// How characters travel on a line.
struct SerialFormat {
    speed_t Speed = B0;
    tcflag_t CharacterFlags = 0;  ///< data bits, parity and stop bits, as the terminal's control modes
    Duration CharacterTime{0};    ///< from the start bit to the end of the last stop bit
};

/// Reads "baud,parity,data bits,stop bits": a usual baud rate from 300 to 230400, n, e or o, 7 or 8, 1 or 2. Raises
/// General for any other text.
SerialFormat ParseSerialFormat(const std::string& settings);

/// A serial device, open for one user alone, raw and without flow control. Nobody else can open it meanwhile, root
/// included as long as it asks for the device's lock. What it was set to before comes back when it is closed.
/// Every member raises SystemError, `name` first, when the device has failed or vanished.
class SerialDevice {
public:
    /// Raises General for a path that is no serial device. `name` is the device's name in errors.
    SerialDevice(std::string name, const std::string& path, const SerialFormat& format);
    SerialDevice(const SerialDevice&) = delete;
    SerialDevice& operator=(const SerialDevice&) = delete;
    ~SerialDevice();

    void Format(const SerialFormat& format);
    /// Sets a modem line (TIOCM_DTR or TIOCM_RTS); a device without modem lines ignores it.
    void ModemLine(int line, bool on);

    /// Whether the path names another device by now.
    bool IsReplaced(const std::string& path) const;
    /// Takes what has been received and not read; of a flood only the beginning, the rest is dropped. False when the
    /// device is hung up or gone.
    bool DiscardInput(std::string& discarded);
    /// Returns when the last bit has left the machine. A device that takes nothing for two seconds is an error.
    void Write(const std::string& bytes);
    /// What has been received, at most `limit` bytes.
    std::string Read(std::size_t limit);
    /// Waits until there is something to read, or a failure to be told by Read; a signal may end the wait early.
    void WaitForInput(Duration limit) const;

private:
    using Clock = std::chrono::steady_clock;

    void OpenExclusively(const std::string& path);
    void Queue(const std::string& bytes);
    void WaitUntilSent(Clock::time_point started, std::size_t count);
    /// Bytes that the system still holds for output.
    int BytesQueued() const;
    bool TransmitterEmpty() const;
    [[noreturn]] void Fail(const char* what, int systemCode = errno) const;

    std::string m_Name;
    FileDescriptor m_File;
    struct stat m_Identity {};
    termios m_Before{};
    Duration m_CharacterTime{0};
    bool m_HasModemLines = false;
    bool m_KnowsTransmitter = false;  ///< whether the device tells when its transmitter is empty
};

}  // namespace orvix::platform
