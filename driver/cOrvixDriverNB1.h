#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <random>
#include <span>
#include <string>
#include <vector>

#include "diagnostics/basEventTracer.h"
#include "diagnostics/basPlexaErr.h"
#include "diagnostics/fComm.h"
#include "driver/iOrvixNB1Driver.h"
#include "host/IPlexaLinkTimer.h"
#include "host/iOrvixDriver.h"
#include "host/iPlexaIPCThread.h"
#include "host/object.h"
#include "host/services.h"
#include "tasks/iOrvixTaskNB1.h"

namespace orvix {

/// The driver: owns the serial line and executes one task at a time against the devices. It is configured through
/// iOrvixDriver and then reached by messages only. Fields are joined by the field separator, numbers are decimal.
///
/// It takes the custom messages
///   "CONNECT"                          open the port
///   "DISCONNECT"                       close the port
///   "DEBUGINFO", text, online, state   show a line in the debug window
/// and work items, each the name of a shared entry whose argument list holds a task's super-state, and sends
///   "CONNECTED"                        the port is open
///   "DISCONNECTED"                     the port is closed, or could not be opened
///   "TASKCOMPLETE", e, eDescr          a work item is done, or was refused because the driver is busy
///   "SOCKETERROR", e, eDescr           a task has failed; its "TASKCOMPLETE" follows
///
/// All members stay safe to call after it has agreed to be destroyed.
class cOrvixDriverNB1 final : public Object,
                              public iOrvixDriver,
                              public iOrvixNB1Driver,
                              public iPlexaIPCThread,
                              public IPlexaLinkTimer {
public:
    explicit cOrvixDriverNB1(const Services& services);
    ~cOrvixDriverNB1() override = default;
    cOrvixDriverNB1(const cOrvixDriverNB1&) = delete;
    cOrvixDriverNB1& operator=(const cOrvixDriverNB1&) = delete;

private:
    std::int32_t iOrvixDriver_ThreadID() const override;
    void iOrvixDriver_Path(std::string rhs) override;
    void iOrvixDriver_NetRetry(std::int16_t rhs) override;
    void iOrvixDriver_PortType(std::int32_t rhs) override;
    void iOrvixDriver_PortAddress(std::string rhs) override;
    void iOrvixDriver_PortSettings(std::string rhs) override;
    std::string iOrvixDriver_ServerIPCName() const override;
    void iOrvixDriver_ServerIPCName(std::string rhs) override;
    void iOrvixDriver_SubscriberIPCName(std::string rhs) override;
    void iOrvixDriver_DebugMode(bool rhs) override;
    void iOrvixDriver_LogMode(std::int16_t rhs) override;
    void iOrvixDriver_LogPath(std::string rhs) override;
    void iOrvixDriver_Simulation(bool rhs) override;
    void iOrvixDriver_Init() override;
    void iOrvixNB1Driver_Simulation(bool rhs) override { iOrvixDriver_Simulation(rhs); }
    Channel* iPlexaIPCThread_IPC() const override;
    void IPlexaLinkTimer_FireTimer(const std::string& strTimerLink, std::int32_t lngTimerID) override;

    // Event handlers of the channel.
    void BindEvents();
    void m_IPC_CustomMessage(const std::string& Message, bool& Handled);
    void m_IPC_NewWork(const std::string& MemoryMapKey, bool& Handled);
    void m_IPC_QueryDestroy(bool& Cancel);

    // Message endpoint.
    void DoCommand(const std::vector<std::string>& fields);
    void ShowDebugInfo(const std::vector<std::string>& fields);
    void AcceptWork(const std::string& memoryMapKey);
    void ScheduleWork(const char* tag);
    void SendResult(const char* message, ErrorNumber e, const std::string& eDescr);
    void ReleaseWindow();

    // Port.
    void Connect();
    void OpenPort();
    void Disconnect();
    SerialControl& MSComm1() const;

    // Execution of a work item.
    Error ProcessEntry(const std::string& tag);
    void ExecuteTask(SharedData& data);
    void NetRequest();
    void Dispatch();
    void DispatchVariable();
    void Succeed() {}
    void CheckMissionBytes();
    void ExchangeWithRetries();
    void Simulate();
    void SimulateVariable();
    void SimulateTemperature();
    void SimulateInputs();
    void WaitSimulatedDelay();
    double SimulationField(const char* controlName) const;
    void ShowActivity(bool active);

    struct DispatchRow;
    void RunRow(std::span<const DispatchRow> rows, std::int32_t value, const char* failure);
    /// Unless the condition holds, fails the task with the host's text for a task that is not executed.
    void Require(bool condition, const char* failure);

    /// The error in flight, its description extended by where it passed: " (source.cOrvixDriverNB1.place)".
    static Error ErrorAt(const std::string& place);

    /// What the driver owns until it agrees to be destroyed. Raises General once it is released.
    template <class T>
    static T& Held(const std::unique_ptr<T>& object) {
        if (!object) throw Error(errors::General, "the driver has been shut down");
        return *object;
    }

    const Services& m_Services;
    cPlexaERR PlexaERR;
    cEventTracer m_Tracer;
    std::string m_Path;
    std::int32_t m_PortType = 0;
    std::string m_PortAddress;
    std::int16_t m_NetRetry = 0;
    bool m_DebugMode = false;
    bool m_Simulation = false;
    /// The control has been given the port number since the last change of the port.
    bool m_PortPrepared = false;
    bool m_Connected = false;
    /// A work item has been accepted and not been answered yet: it holds the one work slot, whatever the port does.
    bool m_Busy = false;
    std::string m_WorkKey;
    /// Of the simulated reply.
    std::optional<Countdown> m_Countdown;
    std::minstd_rand m_Random;
    std::unique_ptr<LinkTimer> m_LinkTimer;
    std::unique_ptr<fComm> m_fComm;
    std::unique_ptr<iOrvixTaskNB1> m_Task;
    std::shared_ptr<HostDatabase> m_Database;
    std::unique_ptr<Channel> m_IPC;
};

}  // namespace orvix
