#include "driver/cOrvixDriverNB1.h"

#include <utility>

#include "devices/protocol/bus_line.h"
#include "tasks/cOrvixTaskNB1.h"

namespace orvix {

namespace {

/// The control's own defaults, written out so that the line does not depend on them.
void ApplyLineSettings(SerialControl& line) {
    line.DTREnable(true);
    line.EOFEnable(false);
    line.Handshaking(0);
    line.InBufferSize(1024);
    line.InputLen(0);
    line.InputMode(0);
    line.NullDiscard(false);
    line.OutBufferSize(512);
    line.ParityReplace("?");
    line.RThreshold(0);
    line.RTSEnable(false);
    line.Settings(kLineSettings);
    line.SThreshold(0);
}

}  // namespace

// Simulated readings need no unpredictable seed; the thread's number keeps the buses of one process apart.
cOrvixDriverNB1::cOrvixDriverNB1(const Services& services)
    : m_Services(services),
      PlexaERR(services),
      m_Tracer(services),
      m_Path(services.Stores.Paths().LibraryFolder()),
      m_Random(static_cast<std::minstd_rand::result_type>(services.Apartment.ThreadID())) {
    m_Tracer.LogPath(m_Path);
    m_LinkTimer = services.Messaging.CreateLinkTimer();
    m_IPC = services.Messaging.CreateChannel();
    m_IPC->DeliverEvents(true);
    m_IPC->Name("Driver_NB1" + services.Messaging.NewIdentifier());
    BindEvents();
    m_IPC->ActivateReporting(true);
    m_fComm = std::make_unique<fComm>(services);
    ApplyLineSettings(MSComm1());
    m_Task = std::make_unique<cOrvixTaskNB1>(services);
}

Error cOrvixDriverNB1::ErrorAt(const std::string& place) {
    Error error = CurrentError();
    error.Description += " (" + error.Source + ".cOrvixDriverNB1." + place + ")";
    return error;
}

std::int32_t cOrvixDriverNB1::iOrvixDriver_ThreadID() const {
    return m_Services.Apartment.ThreadID();
}

void cOrvixDriverNB1::iOrvixDriver_Path(std::string rhs) {
    Paths& paths = m_Services.Stores.Paths();
    paths.MakeCurrent(rhs);
    m_Path = paths.Normalise(rhs);
    m_Database = m_Services.Database.CreateConnection();
    PlexaERR.SetMessageProvider(m_Database);
    m_Database->Reset();
    m_Database->Open(m_Path + kDatabaseFile, m_Path + kWorkgroupFile, m_Services.Database.Account());
}

void cOrvixDriverNB1::iOrvixDriver_NetRetry(std::int16_t rhs) {
    m_NetRetry = rhs;
}

void cOrvixDriverNB1::iOrvixDriver_PortType(std::int32_t rhs) {
    if (rhs == m_PortType) return;
    if (rhs != kSerialPortType) throw Error(errors::General, "Invalid PortType");
    m_PortType = rhs;
    m_PortPrepared = false;
    DebugMode(m_DebugMode);
}

void cOrvixDriverNB1::iOrvixDriver_PortAddress(std::string rhs) {
    if (rhs == m_PortAddress) return;
    m_PortAddress = std::move(rhs);
    m_PortPrepared = false;
    DebugMode(m_DebugMode);
}

// The line always runs with the settings made at creation.
void cOrvixDriverNB1::iOrvixDriver_PortSettings(std::string) {}

std::string cOrvixDriverNB1::iOrvixDriver_ServerIPCName() const {
    return m_IPC->Name();
}

void cOrvixDriverNB1::iOrvixDriver_ServerIPCName(std::string rhs) {
    m_IPC->Name(rhs);
}

void cOrvixDriverNB1::iOrvixDriver_SubscriberIPCName(std::string rhs) {
    m_IPC->PeerName(rhs);
}

void cOrvixDriverNB1::iOrvixDriver_DebugMode(bool rhs) {
    m_DebugMode = rhs;
    if (!m_fComm) return;
    if (rhs) {
        m_fComm->Init(m_PortType, m_PortAddress, rhs);
    } else {
        m_fComm->DestroyOwnObjects();
    }
    m_fComm->Visible(rhs);
}

void cOrvixDriverNB1::iOrvixDriver_LogMode(std::int16_t rhs) {
    m_Tracer.LogMode(rhs != 0);
}

void cOrvixDriverNB1::iOrvixDriver_LogPath(std::string rhs) {
    m_Tracer.LogPath(rhs);
}

void cOrvixDriverNB1::iOrvixDriver_Simulation(bool rhs) {
    m_Simulation = rhs;
}

void cOrvixDriverNB1::iOrvixDriver_Init() {}

Channel* cOrvixDriverNB1::iPlexaIPCThread_IPC() const {
    return nullptr;
}

}  // namespace orvix
