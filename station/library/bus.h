#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "host/iOrvixAdapter.h"
#include "host/iOrvixDevice.h"
#include "host/iOrvixDevices.h"
#include "host/iOrvixDriver.h"
#include "station/library/bus_services.h"
#include "station/library/driver_thread.h"
#include "station/library/host_message.h"
#include "station/library/identified_readings.h"
#include "station/library/jump_check.h"
#include "station/library/library.h"
#include "station/library/silent_devices.h"
#include "station/line/exchange_tracker.h"
#include "station/model/bus_setup.h"
#include "station/model/device_file.h"
#include "station/model/device_setup.h"
#include "station/model/listener.h"
#include "station/model/reading.h"
#include "tasks/iOrvixTaskNB1.h"

namespace orvix::station {

/// One serial bus: adapter, driver and devices of the library, and the endpoint at which the station hears of them.
/// It lives on its apartment's thread.
class Bus {
public:
    /// Configures the library and adds the devices. `listener` is told on this thread what the library tells
    /// and what happens on the line. Raises Error when the library refuses.
    Bus(const Library& library, BusServices& services, BusSetup setup, Listener& listener);

    /// What it is used as; devices without a name have the one that the library gave them.
    const BusSetup& Setup() const { return m_Setup; }
    /// Adds, removes and renames devices, so that they are those. What is not taken is told as trouble.
    void Devices(const DeviceChanges& changes);
    /// Writes the trace, when there is one, into a file that is there.
    void ReopenTrace();
    /// Goes online and reads every device's measured value once a period, from now on.
    void Poll();
    /// Goes online and reads one variable of one device, before what else waits. Messages go on meanwhile.
    Reading Read(int address, ORVIXCNB1_VARS variable);
    /// The same of what the device measures.
    Reading Read(int address);
    /// Goes online, reads the device, gives it what a file of a mission has, and makes the file of it. `format`:
    /// kFileFormatText, kFileFormatReport or kFileFormatDevice.
    DeviceFile Export(int address, std::int32_t format);
    /// Calls `given` when no thread of the bus is in an exchange, on any of them.
    void GiveSign(std::function<void()> given);
    /// Takes the library down in order, then calls `closed`.
    void Close(std::function<void()> closed);

private:
    // Whether the adapter asks for a variable once a period.
    static constexpr std::int32_t kPolled = 1;
    static constexpr std::int32_t kLeftOut = 0;
    // Where the adapter puts a task.
    static constexpr std::int32_t kLastInQueue = 0;
    static constexpr std::int32_t kFirstInQueue = 1;

    void Configure();
    std::shared_ptr<iOrvixDriver> CreateDriver();
    /// Returns the name that the device has.
    std::string AddDevice(const DeviceSetup& device);
    void WatchRecord(const std::shared_ptr<iOrvixDevice>& device, std::int32_t varID);
    /// Null when there is none, or none any more: an adapter that closes has no devices.
    std::shared_ptr<iOrvixDevice> FindDevice(const std::string& address) const;
    void TellReadings();
    /// Why the value of the latest exchange may be wrong.
    Doubt DoubtOf(const Reading& reading) const;
    /// Tells a reading, unless it jumps: then once the device has been read again.
    void TellWhenSure(const Reading& reading);
    /// What became of the poll whose reading that is.
    SilentDevices::Poll PollOf(const Reading& reading) const;
    void PlanPoll(const Reading& reading, VariableRecord& record);
    /// Once a round while a device does not answer.
    void AskSilentDevice();
    void AskToClose();

    void Take(const LineEvent& event);
    void Take(const Exchange& exchange);
    void Take(const TaskFailed& failed);

    void m_Endpoint_CustomMessage(const std::string& message);
    void m_Endpoint_OnProgress(const std::string& text, std::int32_t value);

    /// Hands in a task; its entry is complete when it has ended.
    std::unique_ptr<SharedEntry> Queue(iOrvixTaskNB1& task, int address, std::int32_t model, ORVIXCNB1_VARS variable,
                                       std::int32_t priority);
    std::unique_ptr<SharedEntry> QueueSerialNumber(int address);
    std::optional<std::string> SerialNumberOf(int address) const;
    bool ExecuteTask(int address, std::int32_t model, ORVIXCNB1_VARS variable, Failure& failure);
    void SupplyRecord(iOrvixDevice& device, ORVIXCNB1_VARS variable, Variant value) const;
    /// The reading of a device that is not there.
    Reading Unread(int address, ORVIXCNB1_VARS variable) const;
    Reading MakeReading(iOrvixDevice& device, std::int32_t varID) const;
    Failure Explain(ErrorNumber number, const std::string& report) const;
    /// Why a reading of the task that is over has no value, when nothing better is known than what is said.
    Failure CauseOf(int address, Failure said) const;
    void Trouble(const Failure& failure);

    const Library& m_Library;
    BusServices& m_Host;
    BusSetup m_Setup;
    Listener& m_Listener;
    // The line tells these until the driver is gone.
    ExchangeTracker m_Tracker;
    // About the latest task: its last exchange, whether the line has failed, and the driver's latest error.
    std::optional<Exchange> m_Exchange;
    bool m_LineFailed = false;
    std::optional<Failure> m_TaskFailure;

    /// Addresses whose measured record has been written in this turn.
    std::set<std::string> m_Written;
    IdentifiedReadings m_Readings;
    SilentDevices m_Silent;
    JumpCheck m_Jumps;
    /// What devices are read again with, by address.
    std::map<int, std::unique_ptr<SharedEntry>> m_Again;
    std::unique_ptr<Timer> m_RoundTimer;

    std::shared_ptr<HostDatabase> m_Messages;
    std::unique_ptr<Channel> m_Endpoint;
    std::unique_ptr<DriverThread> m_DriverThread;
    std::shared_ptr<iOrvixAdapter> m_Adapter;

    std::string m_LastTrouble;
    std::string m_LinkTrouble;

    std::unique_ptr<Timer> m_CloseTimer;
    std::function<void()> m_Closed;
    int m_CloseAttempts = 0;
};

}  // namespace orvix::station
