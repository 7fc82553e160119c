#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

namespace orvix {

class SQLDevices;
class SQLPlantDevices;
class iOrvixDevice;
class iOrvixDevices;
class iOrvixDriver;

/// The object that the host configures: devices, work and the link to the bus. Times are in milliseconds; those with a
/// floor are stored as 100 when below.
class iOrvixAdapter {
public:
    virtual ~iOrvixAdapter() = default;

    /// Folder of the host database and, until LogPath is written, of the trace files.
    std::string Path() const { return iOrvixAdapter_Path(); }
    void Path(std::string rhs) { iOrvixAdapter_Path(std::move(rhs)); }
    /// Text of the port.
    std::string Address() const { return iOrvixAdapter_Address(); }
    /// Always 2.
    std::int32_t AdapterType() const { return iOrvixAdapter_AdapterType(); }
    std::shared_ptr<iOrvixDriver> Driver() const { return iOrvixAdapter_Driver(); }
    void Driver(std::shared_ptr<iOrvixDriver> rhs) { iOrvixAdapter_Driver(std::move(rhs)); }
    /// Registered devices; null before Init and after the destroy request.
    iOrvixDevices* Devices() const { return iOrvixAdapter_Devices(); }
    iOrvixDevices* UnregisteredDevices() const { return iOrvixAdapter_UnregisteredDevices(); }
    orvix::SQLDevices* SQLDevices() const { return iOrvixAdapter_SQLDevices(); }
    orvix::SQLPlantDevices* SQLPlantDevices() const { return iOrvixAdapter_SQLPlantDevices(); }
    /// Periodic discovery of the devices on the bus.
    bool MonitorNet() const { return iOrvixAdapter_MonitorNet(); }
    void MonitorNet(bool rhs) { iOrvixAdapter_MonitorNet(rhs); }
    /// Periodic reading of the monitored variables.
    bool MonitorVars() const { return iOrvixAdapter_MonitorVars(); }
    void MonitorVars(bool rhs) { iOrvixAdapter_MonitorVars(rhs); }
    /// The link is in use: the port cannot be changed.
    bool Networking() const { return iOrvixAdapter_Networking(); }
    std::int32_t NetTimeoutShortInterval() const { return iOrvixAdapter_NetTimeoutShortInterval(); }
    void NetTimeoutShortInterval(std::int32_t rhs) { iOrvixAdapter_NetTimeoutShortInterval(rhs); }
    std::int32_t NetTimeoutLongInterval() const { return iOrvixAdapter_NetTimeoutLongInterval(); }
    void NetTimeoutLongInterval(std::int32_t rhs) { iOrvixAdapter_NetTimeoutLongInterval(rhs); }
    /// Extra attempts of a failed exchange.
    std::int32_t NetRetry() const { return iOrvixAdapter_NetRetry(); }
    void NetRetry(std::int32_t rhs) { iOrvixAdapter_NetRetry(rhs); }
    /// The three port properties raise Validation while Networking.
    std::int32_t PortType() const { return iOrvixAdapter_PortType(); }
    void PortType(std::int32_t rhs) { iOrvixAdapter_PortType(rhs); }
    std::string PortAddress() const { return iOrvixAdapter_PortAddress(); }
    void PortAddress(std::string rhs) { iOrvixAdapter_PortAddress(std::move(rhs)); }
    std::string PortSettings() const { return iOrvixAdapter_PortSettings(); }
    void PortSettings(std::string rhs) { iOrvixAdapter_PortSettings(std::move(rhs)); }
    /// The link may be dropped when there is nothing to do.
    bool IdleAllowed() const { return iOrvixAdapter_IdleAllowed(); }
    void IdleAllowed(bool rhs) { iOrvixAdapter_IdleAllowed(rhs); }
    /// Idle time before the link is dropped; floor 100.
    std::int32_t IdleMsecs() const { return iOrvixAdapter_IdleMsecs(); }
    void IdleMsecs(std::int32_t rhs) { iOrvixAdapter_IdleMsecs(rhs); }
    /// Pause after a failed connection; floor 100.
    std::int32_t IdleAfterErrorMsecs() const { return iOrvixAdapter_IdleAfterErrorMsecs(); }
    void IdleAfterErrorMsecs(std::int32_t rhs) { iOrvixAdapter_IdleAfterErrorMsecs(rhs); }
    /// Period of discovery and longest period of variable polling; floor 100.
    std::int32_t PollingMSecs() const { return iOrvixAdapter_PollingMSecs(); }
    void PollingMSecs(std::int32_t rhs) { iOrvixAdapter_PollingMSecs(rhs); }
    /// Writing true starts the connection loop.
    bool OnLine() const { return iOrvixAdapter_OnLine(); }
    void OnLine(bool rhs) { iOrvixAdapter_OnLine(rhs); }
    /// Name of the adapter's host channel.
    std::string ServerIPCName() const { return iOrvixAdapter_ServerIPCName(); }
    void ServerIPCName(std::string rhs) { iOrvixAdapter_ServerIPCName(std::move(rhs)); }
    /// Name of the host endpoint that receives the adapter's messages.
    std::string SubscriberIPCName() const { return iOrvixAdapter_SubscriberIPCName(); }
    void SubscriberIPCName(std::string rhs) { iOrvixAdapter_SubscriberIPCName(std::move(rhs)); }
    bool DebugMode() const { return iOrvixAdapter_DebugMode(); }
    void DebugMode(bool rhs) { iOrvixAdapter_DebugMode(rhs); }
    /// Not 0: tracing is on.
    std::int16_t LogMode() const { return iOrvixAdapter_LogMode(); }
    void LogMode(std::int16_t rhs) { iOrvixAdapter_LogMode(rhs); }
    std::string LogPath() const { return iOrvixAdapter_LogPath(); }
    void LogPath(std::string rhs) { iOrvixAdapter_LogPath(std::move(rhs)); }
    bool Simulation() const { return iOrvixAdapter_Simulation(); }
    void Simulation(bool rhs) { iOrvixAdapter_Simulation(rhs); }
    std::int32_t ThreadID() const { return iOrvixAdapter_ThreadID(); }
    /// Opens the database, makes devices, channels and timers, and configures the driver.
    void Init() { iOrvixAdapter_Init(); }
    /// Adds a device; null when the collection refuses it.
    std::shared_ptr<iOrvixDevice> DeviceAdd(const std::string& Address, std::int32_t DeviceModel) {
        return iOrvixAdapter_DeviceAdd(Address, DeviceModel);
    }
    void DeviceRemove(const std::string& Address) { iOrvixAdapter_DeviceRemove(Address); }
    /// Always false: ask Devices.
    bool DeviceExists(const std::string& Address) { return iOrvixAdapter_DeviceExists(Address); }
    /// Queues the task that a shared memory entry holds; priority 1 puts it first. Returns false in every case.
    bool NewWork(const std::string& MemoryMapKey, std::int32_t Priority) {
        return iOrvixAdapter_NewWork(MemoryMapKey, Priority);
    }

private:
    virtual std::string iOrvixAdapter_Path() const = 0;
    virtual void iOrvixAdapter_Path(std::string rhs) = 0;
    virtual std::string iOrvixAdapter_Address() const = 0;
    virtual std::int32_t iOrvixAdapter_AdapterType() const = 0;
    virtual std::shared_ptr<iOrvixDriver> iOrvixAdapter_Driver() const = 0;
    virtual void iOrvixAdapter_Driver(std::shared_ptr<iOrvixDriver> rhs) = 0;
    virtual iOrvixDevices* iOrvixAdapter_Devices() const = 0;
    virtual iOrvixDevices* iOrvixAdapter_UnregisteredDevices() const = 0;
    virtual orvix::SQLDevices* iOrvixAdapter_SQLDevices() const = 0;
    virtual orvix::SQLPlantDevices* iOrvixAdapter_SQLPlantDevices() const = 0;
    virtual bool iOrvixAdapter_MonitorNet() const = 0;
    virtual void iOrvixAdapter_MonitorNet(bool rhs) = 0;
    virtual bool iOrvixAdapter_MonitorVars() const = 0;
    virtual void iOrvixAdapter_MonitorVars(bool rhs) = 0;
    virtual bool iOrvixAdapter_Networking() const = 0;
    virtual std::int32_t iOrvixAdapter_NetTimeoutShortInterval() const = 0;
    virtual void iOrvixAdapter_NetTimeoutShortInterval(std::int32_t rhs) = 0;
    virtual std::int32_t iOrvixAdapter_NetTimeoutLongInterval() const = 0;
    virtual void iOrvixAdapter_NetTimeoutLongInterval(std::int32_t rhs) = 0;
    virtual std::int32_t iOrvixAdapter_NetRetry() const = 0;
    virtual void iOrvixAdapter_NetRetry(std::int32_t rhs) = 0;
    virtual std::int32_t iOrvixAdapter_PortType() const = 0;
    virtual void iOrvixAdapter_PortType(std::int32_t rhs) = 0;
    virtual std::string iOrvixAdapter_PortAddress() const = 0;
    virtual void iOrvixAdapter_PortAddress(std::string rhs) = 0;
    virtual std::string iOrvixAdapter_PortSettings() const = 0;
    virtual void iOrvixAdapter_PortSettings(std::string rhs) = 0;
    virtual bool iOrvixAdapter_IdleAllowed() const = 0;
    virtual void iOrvixAdapter_IdleAllowed(bool rhs) = 0;
    virtual std::int32_t iOrvixAdapter_IdleMsecs() const = 0;
    virtual void iOrvixAdapter_IdleMsecs(std::int32_t rhs) = 0;
    virtual std::int32_t iOrvixAdapter_IdleAfterErrorMsecs() const = 0;
    virtual void iOrvixAdapter_IdleAfterErrorMsecs(std::int32_t rhs) = 0;
    virtual std::int32_t iOrvixAdapter_PollingMSecs() const = 0;
    virtual void iOrvixAdapter_PollingMSecs(std::int32_t rhs) = 0;
    virtual bool iOrvixAdapter_OnLine() const = 0;
    virtual void iOrvixAdapter_OnLine(bool rhs) = 0;
    virtual std::string iOrvixAdapter_ServerIPCName() const = 0;
    virtual void iOrvixAdapter_ServerIPCName(std::string rhs) = 0;
    virtual std::string iOrvixAdapter_SubscriberIPCName() const = 0;
    virtual void iOrvixAdapter_SubscriberIPCName(std::string rhs) = 0;
    virtual bool iOrvixAdapter_DebugMode() const = 0;
    virtual void iOrvixAdapter_DebugMode(bool rhs) = 0;
    virtual std::int16_t iOrvixAdapter_LogMode() const = 0;
    virtual void iOrvixAdapter_LogMode(std::int16_t rhs) = 0;
    virtual std::string iOrvixAdapter_LogPath() const = 0;
    virtual void iOrvixAdapter_LogPath(std::string rhs) = 0;
    virtual bool iOrvixAdapter_Simulation() const = 0;
    virtual void iOrvixAdapter_Simulation(bool rhs) = 0;
    virtual std::int32_t iOrvixAdapter_ThreadID() const = 0;
    virtual void iOrvixAdapter_Init() = 0;
    virtual std::shared_ptr<iOrvixDevice> iOrvixAdapter_DeviceAdd(const std::string& Address,
                                                                  std::int32_t DeviceModel) = 0;
    virtual void iOrvixAdapter_DeviceRemove(const std::string& Address) = 0;
    virtual bool iOrvixAdapter_DeviceExists(const std::string& Address) = 0;
    virtual bool iOrvixAdapter_NewWork(const std::string& MemoryMapKey, std::int32_t Priority) = 0;
};

}  // namespace orvix
