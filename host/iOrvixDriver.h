#pragma once

#include <cstdint>
#include <string>
#include <utility>

namespace orvix {

/// The object that owns the serial line. It is configured here and given its work by messages.
class iOrvixDriver {
public:
    virtual ~iOrvixDriver() = default;

    std::int32_t ThreadID() const { return iOrvixDriver_ThreadID(); }
    /// Folder of the host database. Raises when the database does not open.
    void Path(std::string rhs) { iOrvixDriver_Path(std::move(rhs)); }
    /// Extra exchange attempts; below 0 counts as 0.
    void NetRetry(std::int16_t rhs) { iOrvixDriver_NetRetry(rhs); }
    /// Raises General for any type but 2.
    void PortType(std::int32_t rhs) { iOrvixDriver_PortType(rhs); }
    /// Port number as text.
    void PortAddress(std::string rhs) { iOrvixDriver_PortAddress(std::move(rhs)); }
    /// Accepted and not applied: the line always runs at 9600 baud, no parity, 8 data bits, 1 stop bit.
    void PortSettings(std::string rhs) { iOrvixDriver_PortSettings(std::move(rhs)); }
    /// Name of the driver's message channel.
    std::string ServerIPCName() const { return iOrvixDriver_ServerIPCName(); }
    void ServerIPCName(std::string rhs) { iOrvixDriver_ServerIPCName(std::move(rhs)); }
    /// Name of the endpoint that receives the driver's messages.
    void SubscriberIPCName(std::string rhs) { iOrvixDriver_SubscriberIPCName(std::move(rhs)); }
    /// Shows or hides the debug window.
    void DebugMode(bool rhs) { iOrvixDriver_DebugMode(rhs); }
    /// Not 0: tracing is on.
    void LogMode(std::int16_t rhs) { iOrvixDriver_LogMode(rhs); }
    void LogPath(std::string rhs) { iOrvixDriver_LogPath(std::move(rhs)); }
    /// Results are made from the debug window's fields; the line is not touched.
    void Simulation(bool rhs) { iOrvixDriver_Simulation(rhs); }
    void Init() { iOrvixDriver_Init(); }

private:
    virtual std::int32_t iOrvixDriver_ThreadID() const = 0;
    virtual void iOrvixDriver_Path(std::string rhs) = 0;
    virtual void iOrvixDriver_NetRetry(std::int16_t rhs) = 0;
    virtual void iOrvixDriver_PortType(std::int32_t rhs) = 0;
    virtual void iOrvixDriver_PortAddress(std::string rhs) = 0;
    virtual void iOrvixDriver_PortSettings(std::string rhs) = 0;
    virtual std::string iOrvixDriver_ServerIPCName() const = 0;
    virtual void iOrvixDriver_ServerIPCName(std::string rhs) = 0;
    virtual void iOrvixDriver_SubscriberIPCName(std::string rhs) = 0;
    virtual void iOrvixDriver_DebugMode(bool rhs) = 0;
    virtual void iOrvixDriver_LogMode(std::int16_t rhs) = 0;
    virtual void iOrvixDriver_LogPath(std::string rhs) = 0;
    virtual void iOrvixDriver_Simulation(bool rhs) = 0;
    virtual void iOrvixDriver_Init() = 0;
};

}  // namespace orvix
