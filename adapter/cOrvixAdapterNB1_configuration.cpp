#include <algorithm>
#include <limits>
#include <utility>

#include "adapter/cOrvixAdapterNB1.h"

namespace orvix {

namespace {

std::int16_t DriverRetries(std::int32_t netRetry) {
    return static_cast<std::int16_t>(std::clamp<std::int32_t>(netRetry, 0, std::numeric_limits<std::int16_t>::max()));
}

}  // namespace

cOrvixAdapterNB1::cOrvixAdapterNB1(const Services& services)
    : m_Services(services), PlexaERR(services), m_Tracer(services) {
    try {
        m_Path = m_Services.Stores.Paths().LibraryFolder();
        SetLogPath(m_Path);
        m_IPCSubscriber = m_Services.Messaging.CreateChannel();
        m_IPCSubscriber->DeliverEvents(true);
        BindSubscriberEvents();
        m_IPCSubscriber->Name("AdapterNB1_" + m_Services.Messaging.NewIdentifier());
        m_IPCSubscriber->Activate(true);
        CreateTimers();
        m_ItemsChanged = m_DevicesEvt->ItemsChanged([this] { m_DevicesEvt_ItemsChanged(); });
    } catch (...) {
        TraceAndRaise("OrvixNimbo1Lib.cOrvixAdapterNB1.Class_Initialize-Error", "cOrvixAdapterNB1.Class_Initialize");
    }
}

cOrvixAdapterNB1::~cOrvixAdapterNB1() {
    EndRun();
    m_IPCDriver.reset();
    m_TrackDriver.reset();
    m_IPCSubscriber.reset();
    m_HostDatabase.reset();
}

void cOrvixAdapterNB1::iOrvixAdapter_Path(std::string rhs) {
    try {
        m_Path = m_Services.Stores.Paths().Normalise(rhs);
        SetLogPath(m_Path);
        if (m_Driver) m_Driver->Path(m_Path);
    } catch (...) {
        TraceAndRaise("OrvixNimbo1Lib.cOrvixAdapterNB1.iOrvixAdapter_Path-rhs",
                      "cOrvixAdapterNB1.iOrvixAdapter_Path(rhs)");
    }
}

void cOrvixAdapterNB1::iOrvixAdapter_Driver(std::shared_ptr<iOrvixDriver> rhs) {
    m_Driver = std::move(rhs);
}

void cOrvixAdapterNB1::iOrvixAdapter_MonitorNet(bool rhs) {
    m_MonitorNet = rhs;
    ApplyPollingSettings();
}

void cOrvixAdapterNB1::iOrvixAdapter_MonitorVars(bool rhs) {
    m_MonitorVars = rhs;
    ApplyPollingSettings();
}

void cOrvixAdapterNB1::iOrvixAdapter_PollingMSecs(std::int32_t rhs) {
    m_PollingMSecs = std::max(rhs, kShortestInterval);
    ApplyPollingSettings();
}

void cOrvixAdapterNB1::iOrvixAdapter_IdleMsecs(std::int32_t rhs) {
    m_IdleMsecs = std::max(rhs, kShortestInterval);
}

void cOrvixAdapterNB1::iOrvixAdapter_IdleAfterErrorMsecs(std::int32_t rhs) {
    m_IdleAfterErrorMsecs = std::max(rhs, kShortestInterval);
}

void cOrvixAdapterNB1::iOrvixAdapter_NetRetry(std::int32_t rhs) {
    m_NetRetry = rhs;
    if (m_Driver) m_Driver->NetRetry(DriverRetries(rhs));
}

void cOrvixAdapterNB1::iOrvixAdapter_PortType(std::int32_t rhs) {
    CheckPortIsFree();
    m_PortType = rhs;
    RebuildAddress();
    if (m_Driver) m_Driver->PortType(rhs);
}

void cOrvixAdapterNB1::iOrvixAdapter_PortAddress(std::string rhs) {
    CheckPortIsFree();
    m_PortAddress = std::move(rhs);
    RebuildAddress();
    if (m_Driver) m_Driver->PortAddress(m_PortAddress);
}

void cOrvixAdapterNB1::iOrvixAdapter_PortSettings(std::string rhs) {
    CheckPortIsFree();
    m_PortSettings = std::move(rhs);
    if (m_Driver) m_Driver->PortSettings(m_PortSettings);
}

void cOrvixAdapterNB1::CheckPortIsFree() {
    PlexaERR.Check(!m_Networking, errors::Validation, errors::Busy);
}

void cOrvixAdapterNB1::RebuildAddress() {
    m_Address = m_Services.Stores.Paths().PortAddressText(m_PortType, m_PortAddress);
}

void cOrvixAdapterNB1::iOrvixAdapter_OnLine(bool rhs) {
    m_OnLine = rhs;
    WakeLoop();
}

void cOrvixAdapterNB1::iOrvixAdapter_DebugMode(bool rhs) {
    m_DebugMode = rhs;
    if (m_Driver) m_Driver->DebugMode(rhs);
}

void cOrvixAdapterNB1::iOrvixAdapter_LogMode(std::int16_t rhs) {
    m_LogMode = rhs;
    m_Tracer.LogMode(rhs != 0);
    if (m_Driver) m_Driver->LogMode(rhs);
}

void cOrvixAdapterNB1::iOrvixAdapter_LogPath(std::string rhs) {
    SetLogPath(rhs);
    if (m_Driver) m_Driver->LogPath(m_LogPath);
}

void cOrvixAdapterNB1::SetLogPath(const std::string& path) {
    m_LogPath = path;
    m_Tracer.LogPath(path);
}

void cOrvixAdapterNB1::iOrvixAdapter_Simulation(bool rhs) {
    m_Simulation = rhs;
    if (m_Driver) m_Driver->Simulation(rhs);
}

void cOrvixAdapterNB1::iOrvixAdapter_Init() {
    try {
        if (m_Running) Attempt([&] { ResetConnection(); });
        EndRun();
        OpenDatabase();
        CreateDriverChannel();
        m_TrackDriver = m_Services.Messaging.CreateCallTracker();
        m_SentBeforeConnect = 0;
        m_Running = true;
        const std::uint64_t run = ++m_Run;
        SetCurrentTask(NewEmptyTask());
        PrepareTimers();
        for (iOrvixDevices* devices : {m_DevicesEvt.get(), m_UnregisteredDevices.get()})
            devices->Adapter(this);
        // Held, since a driver in another apartment is waited for, and what is delivered meanwhile may release it.
        if (const auto driver = m_Driver) ConfigureDriver(*driver, run);
        if (!IsStillRunning(run)) return;
        const auto registered = m_SQLDevices->Addresses();
        MountDevices(VariantList(registered.begin(), registered.end()));
        if (m_OnLine) ApplyPollingSettings();
    } catch (...) {
        PlexaERR.ErrorIn("cOrvixAdapterNB1.iOrvixAdapter_Init");
    }
}

void cOrvixAdapterNB1::OpenDatabase() {
    auto& database = m_Services.Database;
    m_HostDatabase = database.CreateConnection();
    PlexaERR.SetMessageProvider(m_HostDatabase);
    m_HostDatabase->Open(m_Path + kDatabaseFile, m_Path + kWorkgroupFile, database.Account());
    m_SQLDevices = database.CreateDevices(m_HostDatabase);
    m_SQLDevices->Path(m_Path);
    m_SQLDevices->Load();
    m_SQLPlantDevices = database.CreatePlantDevices(m_HostDatabase);
    m_SQLPlantDevices->Path(m_Path);
    m_SQLPlantDevices->Load();
}

void cOrvixAdapterNB1::CreateDriverChannel() {
    m_IPCDriver = m_Services.Messaging.CreateChannel();
    m_IPCDriver->DeliverEvents(true);
    BindDriverEvents();
    m_IPCDriver->Name("AdapterNB1DrvIN_" + m_Services.Messaging.NewIdentifier());
    m_IPCDriver->ActivateReporting(true);
}

void cOrvixAdapterNB1::CreateTimers() {
    auto& apartment = m_Services.Apartment;
    m_tmrPolling = apartment.CreateTimer([this] { m_tmrPolling_Tick(); });
    m_tmrPollingDevices = apartment.CreateTimer([this] { m_tmrPollingDevices_Tick(); });
    m_tmrComm = apartment.CreateTimer([this] { m_tmrComm_Tick(); });
    m_tmrTimeout = apartment.CreateTimer({});
}

void cOrvixAdapterNB1::PrepareTimers() {
    Rearm(m_tmrPolling, m_PollingMSecs, false);
    Rearm(m_tmrPollingDevices, m_VarPollingInterval, false);
    Rearm(m_tmrComm, kTickInterval, false);
    Rearm(m_tmrTimeout, kConnectionTimeLimit, false);
}

void cOrvixAdapterNB1::ConfigureDriver(iOrvixDriver& driver, std::uint64_t run) {
    driver.Path(m_Path);
    const std::string server = driver.ServerIPCName();
    // Another Init that came meanwhile has made the channels anew, and told the driver all that follows.
    if (!IsStillRunning(run)) return;
    m_IPCDriver->PeerName(server);
    m_TrackDriver->Start("ADAPTER_NB1_" + m_Services.Messaging.NewIdentifier(), server);
    driver.SubscriberIPCName(m_IPCDriver->Name());
    driver.DebugMode(m_DebugMode);
    driver.LogMode(m_LogMode);
    driver.LogPath(m_LogPath);
    driver.Simulation(m_Simulation);
    driver.PortType(m_PortType);
    driver.PortAddress(m_PortAddress);
    driver.NetRetry(DriverRetries(m_NetRetry));
}

void cOrvixAdapterNB1::EndRun() {
    if (!m_Running) return;
    m_Running = false;
    for (const auto* timer : {&m_tmrComm, &m_tmrPolling, &m_tmrPollingDevices, &m_tmrTimeout})
        Attempt([&] { (*timer)->Enabled(false); });
    // Of any origin, also what came in while offline: nobody else would ever answer it.
    Attempt([&] { FailTasks(errors::NotConnected, [](const iOrvixTaskNB1&) { return true; }); });
    m_Busy = false;
    for (iOrvixDevices* devices : {m_DevicesEvt.get(), m_UnregisteredDevices.get()})
        Attempt([&] { devices->Destroy(); });
}

}  // namespace orvix
