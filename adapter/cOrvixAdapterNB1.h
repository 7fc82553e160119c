#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "adapter/connection_table.h"
#include "adapter/iOrvixNB1Adapter.h"
#include "adapter/task_queue.h"
#include "devices/cOrvixDevicesNB1.h"
#include "diagnostics/basEventTracer.h"
#include "diagnostics/basPlexaErr.h"
#include "host/iOrvixAdapter.h"
#include "host/iOrvixDevToAdapt.h"
#include "host/iOrvixDriver.h"
#include "host/iPlexaIPCThread.h"
#include "host/object.h"
#include "host/services.h"

namespace orvix {

/// The object that the host configures: it holds the devices of one bus and the queue of tasks, tells the driver when
/// to open and drop the link, reads the monitored variables, and passes on what driver and devices report.
///
/// It runs from Init to the destroy request: only then it takes work, has devices, and its timers tick. Every member is
/// safe to call before and after. Whatever a callback of the host leads to, even the destroy request or another Init,
/// what a step is at work with lives on: queue, timers and devices are emptied and switched off, and go with the
/// adapter.
class cOrvixAdapterNB1 final : public Object,
                               public iOrvixAdapter,
                               public iOrvixDevToAdapt,
                               public iPlexaIPCThread,
                               public iOrvixNB1Adapter {
public:
    explicit cOrvixAdapterNB1(const Services& services);
    ~cOrvixAdapterNB1() override;

private:
    // Configuration
    std::string iOrvixAdapter_Path() const override { return m_Path; }
    void iOrvixAdapter_Path(std::string rhs) override;
    std::string iOrvixAdapter_Address() const override { return m_Address; }
    std::int32_t iOrvixAdapter_AdapterType() const override { return 2; }
    std::shared_ptr<iOrvixDriver> iOrvixAdapter_Driver() const override { return m_Driver; }
    void iOrvixAdapter_Driver(std::shared_ptr<iOrvixDriver> rhs) override;
    iOrvixDevices* iOrvixAdapter_Devices() const override { return m_Running ? m_DevicesEvt.get() : nullptr; }
    iOrvixDevices* iOrvixAdapter_UnregisteredDevices() const override {
        return m_Running ? m_UnregisteredDevices.get() : nullptr;
    }
    orvix::SQLDevices* iOrvixAdapter_SQLDevices() const override { return m_Running ? m_SQLDevices.get() : nullptr; }
    orvix::SQLPlantDevices* iOrvixAdapter_SQLPlantDevices() const override {
        return m_Running ? m_SQLPlantDevices.get() : nullptr;
    }
    bool iOrvixAdapter_MonitorNet() const override { return m_MonitorNet; }
    void iOrvixAdapter_MonitorNet(bool rhs) override;
    bool iOrvixAdapter_MonitorVars() const override { return m_MonitorVars; }
    void iOrvixAdapter_MonitorVars(bool rhs) override;
    bool iOrvixAdapter_Networking() const override { return m_Networking; }
    std::int32_t iOrvixAdapter_NetTimeoutShortInterval() const override { return m_NetTimeoutShortInterval; }
    void iOrvixAdapter_NetTimeoutShortInterval(std::int32_t rhs) override { m_NetTimeoutShortInterval = rhs; }
    std::int32_t iOrvixAdapter_NetTimeoutLongInterval() const override { return m_NetTimeoutLongInterval; }
    void iOrvixAdapter_NetTimeoutLongInterval(std::int32_t rhs) override { m_NetTimeoutLongInterval = rhs; }
    std::int32_t iOrvixAdapter_NetRetry() const override { return m_NetRetry; }
    void iOrvixAdapter_NetRetry(std::int32_t rhs) override;
    std::int32_t iOrvixAdapter_PortType() const override { return m_PortType; }
    void iOrvixAdapter_PortType(std::int32_t rhs) override;
    std::string iOrvixAdapter_PortAddress() const override { return m_PortAddress; }
    void iOrvixAdapter_PortAddress(std::string rhs) override;
    std::string iOrvixAdapter_PortSettings() const override { return m_PortSettings; }
    void iOrvixAdapter_PortSettings(std::string rhs) override;
    bool iOrvixAdapter_IdleAllowed() const override { return m_IdleAllowed; }
    void iOrvixAdapter_IdleAllowed(bool rhs) override { m_IdleAllowed = rhs; }
    std::int32_t iOrvixAdapter_IdleMsecs() const override { return m_IdleMsecs; }
    void iOrvixAdapter_IdleMsecs(std::int32_t rhs) override;
    std::int32_t iOrvixAdapter_IdleAfterErrorMsecs() const override { return m_IdleAfterErrorMsecs; }
    void iOrvixAdapter_IdleAfterErrorMsecs(std::int32_t rhs) override;
    std::int32_t iOrvixAdapter_PollingMSecs() const override { return m_PollingMSecs; }
    void iOrvixAdapter_PollingMSecs(std::int32_t rhs) override;
    bool iOrvixAdapter_OnLine() const override { return m_OnLine; }
    void iOrvixAdapter_OnLine(bool rhs) override;
    std::string iOrvixAdapter_ServerIPCName() const override { return m_IPCSubscriber->Name(); }
    void iOrvixAdapter_ServerIPCName(std::string rhs) override { m_IPCSubscriber->Name(rhs); }
    std::string iOrvixAdapter_SubscriberIPCName() const override { return m_IPCSubscriber->PeerName(); }
    void iOrvixAdapter_SubscriberIPCName(std::string rhs) override { m_IPCSubscriber->PeerName(rhs); }
    bool iOrvixAdapter_DebugMode() const override { return m_DebugMode; }
    void iOrvixAdapter_DebugMode(bool rhs) override;
    std::int16_t iOrvixAdapter_LogMode() const override { return m_LogMode; }
    void iOrvixAdapter_LogMode(std::int16_t rhs) override;
    std::string iOrvixAdapter_LogPath() const override { return m_LogPath; }
    void iOrvixAdapter_LogPath(std::string rhs) override;
    bool iOrvixAdapter_Simulation() const override { return m_Simulation; }
    void iOrvixAdapter_Simulation(bool rhs) override;
    std::int32_t iOrvixAdapter_ThreadID() const override { return m_Services.Apartment.ThreadID(); }
    void iOrvixAdapter_Init() override;
    bool iOrvixNB1Adapter_Busy() const override { return m_Busy; }
    Channel* iPlexaIPCThread_IPC() const override { return nullptr; }

    /// Raises Validation while the link is in use.
    void CheckPortIsFree();
    void RebuildAddress();
    void SetLogPath(const std::string& path);
    void OpenDatabase();
    void CreateDriverChannel();
    void CreateTimers();
    /// Sets the intervals; the timers stay switched off.
    void PrepareTimers();
    /// Every call to a driver in another apartment waits, and what is delivered meanwhile may be another Init.
    void ConfigureDriver(iOrvixDriver& driver, std::uint64_t run);
    /// Neither the destroy request nor another Init has come since that run began.
    bool IsStillRunning(std::uint64_t run) const { return m_Running && m_Run == run; }
    /// Ends what Init began: every task, the timers' ticking, the devices.
    void EndRun();

    // Devices
    std::shared_ptr<iOrvixDevice> iOrvixAdapter_DeviceAdd(const std::string& Address,
                                                          std::int32_t DeviceModel) override;
    void iOrvixAdapter_DeviceRemove(const std::string& Address) override;
    bool iOrvixAdapter_DeviceExists(const std::string&) override { return false; }
    void m_DevicesEvt_ItemsChanged();

    /// Which of the two nets has changed while devices were mounted.
    struct NetChanges {
        bool Registered = false;
        bool Unregistered = false;
    };
    /// Brings both collections up to date with the addresses found on the bus: what is listed is connected, what is not
    /// listed is not. A failure is reported, also to the host.
    void MountDevices(const VariantList& list);
    NetChanges MountListed(const VariantList& list);
    NetChanges MountAddress(const std::string& address);
    bool MountRegistered(const RegisteredDevice& registered);
    bool MountUnregistered(const std::string& address);
    bool HasDeviceOfModel(std::int32_t deviceModel) const;

    // Connection loop
    void m_tmrComm_Tick();
    /// One step of the loop: never waits, and rearms the timer for the next.
    void AdvanceConnection();
    /// Resets the link; queued tasks are processed all the same when there is a port number.
    void StepOffline();
    void RunConnectionRow(const ConnectionRow& row);
    void Run(ConnectionAction action);
    void LeaveIdle();
    /// The queue is empty and the adapter online: plans work, or lets the idle time run.
    void PlanOrIdle();
    void ResumeWork();
    void StartIdleTime();
    void DropIdleLink();
    void TickOnDemand();
    void StepFailed(const Error& error);
    void SetState(ConnectionState state);
    /// Sets a state in which the link is in use.
    void EnterState(ConnectionState state);
    void SendConnect();
    void DisconnectIfConnected();
    /// Ends the link: tasks fail, the driver is told to disconnect, devices are no longer connected.
    void ResetConnection();
    void ReplyFast();
    void StopTicking();
    /// Makes the loop run again, also out of an idle state.
    void WakeLoop();
    void DebugComm(std::string_view suffix, std::string_view stateName);
    /// Debug line for the driver's window and the trace; only in debug mode.
    void SendDebugInfo(const std::string& text, std::string_view stateName = {});
    /// Tells the host of activity on the link: '0' none, '1' an error, '2' starting or resuming.
    void NotifyActivity(char digit);
    void SendToHost(const std::string& message);
    /// Rearms a timer, if the adapter runs.
    void Rearm(const std::unique_ptr<Timer>& timer, std::int32_t intervalMs, bool enabled) const;

    // Tasks
    bool iOrvixAdapter_NewWork(const std::string& MemoryMapKey, std::int32_t Priority) override;
    bool iOrvixDevToAdapt_NewTask(const std::shared_ptr<iOrvixTask>& Task, std::int32_t Priority) override;
    TaskRef NewEmptyTask() const;
    TaskRef NewTaskWithID() const;
    /// Raises when the adapter takes no work, or the task's shared entry holds none.
    void LoadWork(iOrvixTaskNB1& task);
    /// Raises what keeps a shared entry from being read: there is none, or this thread has locked it.
    void RequireReadable(const std::string& memoryMapKey);
    /// Ends a task that cannot be queued with an error.
    void RefuseWork(iOrvixTaskNB1& task, const Error& error);
    /// A step is at work on the task: it has left the queue, or is about to, and has not ended.
    bool IsInHand(const iOrvixTaskNB1& task) const;
    void AddTask(const TaskRef& task, std::int32_t priority);
    void RequireRunning() const;
    /// Submits the head task, or completes it once its answer is there.
    void ProcessNextTask();
    void SendTask(const TaskRef& task);
    /// Has the device build the command. Returns false when the task needs no exchange.
    bool PrepareCommand(iOrvixTaskNB1& task);
    void CompleteTask(const TaskRef& task);
    void TakeResult(iOrvixTaskNB1& task);
    /// Has the device interpret the answer. A task that timed out, or whose answer is incomplete, has failed, and
    /// leaves its variable invalid.
    void InterpretAnswer(iOrvixTaskNB1& task);
    /// Ends the head task with an error and tells the host.
    void FailTask(iOrvixTaskNB1& task, ErrorNumber code, const std::string& description);
    /// Gives every queued task the error; those of live devices end with it.
    void FailPendingTasks(ErrorNumber ErrorCode);
    /// Gives every queued task the error; those that `ends` accepts end with it.
    void FailTasks(ErrorNumber ErrorCode, const std::function<bool(const iOrvixTaskNB1&)>& ends);
    /// The first other task that has the tag, so asks for the same thing, or null.
    TaskRef LinkedTaskExists(const iOrvixTaskNB1& Task, const std::string& Tag);
    /// Answers all tasks that ask for the same thing.
    void PullLinkedTasks(iOrvixTaskNB1& Task);
    /// Loads a task from its shared memory entry. What an exchange has left in the state is none of this one's.
    void TakeState(iOrvixTaskNB1& task);
    /// Loads a task that still stands in its shared memory entry, and gives one that the library made its intervals.
    void ReadTask(iOrvixTaskNB1& task);
    void GiveIntervals(iOrvixTaskNB1& task) const;
    /// Makes a task the one whose answer is awaited; a request still unanswered is given up.
    void SetCurrentTask(TaskRef task);
    /// No answer is awaited for the task any more, if it is the current one.
    void StopAwaiting(const iOrvixTaskNB1& task);
    void SendTaskProgress(const iOrvixTaskNB1& task, std::int32_t percent);
    [[noreturn]] void TraceAndRaise(const char* traceName, const char* label);

    // Polling
    void m_tmrPolling_Tick();
    void m_tmrPollingDevices_Tick();
    void iOrvixDevToAdapt_DeviceMonitorChanged(iOrvixDevice& Device) override;
    void iOrvixDevToAdapt_DeviceVarChanged(iOrvixDevice& Device, VariableRecord& Var) override;
    void ApplyPollingSettings();
    void PlanPolling();
    void PlanDiscovery();
    void PlanVariables();
    bool IsPolled(const iOrvixDevice& device) const;
    void PlanVariable(const iOrvixDevice& device, const VariableRecord& variable);

    // Channels
    void m_IPCDriver_CustomMessage(const std::string& Message, bool& Handled);
    void m_IPCDriver_OnProgress(const std::string& Text, std::int32_t Value, std::int32_t Minimum, std::int32_t Maximum,
                                bool& Handled);
    void m_IPCDriver_ServerDestroyed(bool& Handled);
    void m_IPCSubscriber_NewWork(const std::string& MemoryMapKey, bool& Handled);
    void m_IPCSubscriber_QueryDestroy(bool& Cancel);
    void BindSubscriberEvents();
    void BindDriverEvents();
    void TaskComplete(const std::vector<std::string>& fields);
    void LoadAnswer(const ByteArray& state);
    bool CloseDriver();

    static constexpr std::int32_t kTickInterval = 10;
    static constexpr std::int32_t kConnectionTimeLimit = 3000;
    /// Floor of the intervals that a host sets.
    static constexpr std::int32_t kShortestInterval = 100;

    const Services& m_Services;
    cPlexaERR PlexaERR;
    cEventTracer m_Tracer;

    std::string m_Path;
    std::string m_LogPath;
    std::string m_Address;
    std::string m_PortAddress;
    std::string m_PortSettings;
    std::int32_t m_PortType = 0;
    std::int32_t m_NetTimeoutShortInterval = 3000;
    std::int32_t m_NetTimeoutLongInterval = 3000;
    std::int32_t m_NetRetry = 3;
    std::int32_t m_IdleMsecs = 6000;
    std::int32_t m_IdleAfterErrorMsecs = 4000;
    std::int32_t m_PollingMSecs = 7000;
    std::int16_t m_LogMode = 0;
    bool m_MonitorNet = false;
    bool m_MonitorVars = false;
    bool m_IdleAllowed = false;
    bool m_OnLine = false;
    bool m_DebugMode = false;
    bool m_Simulation = false;

    std::shared_ptr<iOrvixDriver> m_Driver;
    std::shared_ptr<HostDatabase> m_HostDatabase;
    std::unique_ptr<orvix::SQLDevices> m_SQLDevices;
    std::unique_ptr<orvix::SQLPlantDevices> m_SQLPlantDevices;
    std::unique_ptr<Channel> m_IPCSubscriber;
    std::unique_ptr<Channel> m_IPCDriver;
    std::unique_ptr<CallTracker> m_TrackDriver;

    /// Between Init and the destroy request.
    bool m_Running = false;
    /// How often Init has begun a run.
    std::uint64_t m_Run = 0;

    /// Registered devices; the adapter handles the change notification of this collection only.
    const std::unique_ptr<cOrvixDevicesNB1> m_DevicesEvt = std::make_unique<cOrvixDevicesNB1>(m_Services);
    EventConnection m_ItemsChanged;
    const std::unique_ptr<cOrvixDevicesNB1> m_UnregisteredDevices = std::make_unique<cOrvixDevicesNB1>(m_Services);
    bool m_Mounting = false;

    TaskQueue m_Tasks;
    /// What steps are at work on, the innermost last: a callback may wait, and so let another step run.
    std::vector<TaskRef> m_InHand;
    /// The task whose answer the driver sends next.
    TaskRef m_CurrentTask;

    std::unique_ptr<Timer> m_tmrComm;
    std::unique_ptr<Timer> m_tmrTimeout;
    std::unique_ptr<Timer> m_tmrPolling;
    std::unique_ptr<Timer> m_tmrPollingDevices;
    ConnectionState m_State = ConnectionState::DISCONNECTED;
    std::int32_t m_TickCount = 0;
    bool m_Connected = false;
    bool m_SocketError = false;
    /// What the last step failed with; empty when it did not fail.
    std::string m_StepFailure;
    /// Work items that were sent before the latest "CONNECT".
    std::uint64_t m_SentBeforeConnect = 0;
    bool m_KeepTicking = false;
    bool m_Networking = false;
    bool m_Busy = false;

    std::int32_t m_VarPollingInterval = 7000;
    bool m_NetDiscoveryDone = false;
    bool m_VarPollingArmed = false;
};

}  // namespace orvix
