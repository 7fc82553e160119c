#include "station/library/bus.h"

#include "devices/protocol/bus_line.h"
#include "devices/protocol/device_models.h"
#include "host/iOrvixTask.h"
#include "host/text.h"
#include "station/library/failure_text.h"
#include "tasks/iOrvixTaskNB1.h"

namespace orvix::station {
namespace {

constexpr std::int32_t kClosePeriodMs = 20;
constexpr int kMostCloseAttempts = 500;

}  // namespace

Bus::Bus(const Library& library, BusServices& services, BusSetup setup, Listener& listener)
    : m_Library(library),
      m_Host(services),
      m_Setup(std::move(setup)),
      m_Listener(listener),
      m_Tracker(m_Setup.Retries, m_Setup.ReplyLimit(), [this](const Exchange& exchange) { Take(exchange); }),
      m_Readings(services.Apartment(), m_Setup.PortLabel,
                 {.Queue = [this](int address) { return QueueSerialNumber(address); },
                  .SerialNumber = [this](int address) { return SerialNumberOf(address); }},
                 listener),
      m_Silent(m_Setup.Every),
      m_Jumps(m_Setup.Plausible.MaxStep, 2 * m_Setup.Every + std::chrono::seconds(1)),
      m_RoundTimer(services.Apartment().CreateTimer([this] { AskSilentDevice(); })) {
    m_Host.OnLine = [this](const LineEvent& event) { Take(event); };
    m_Host.OnReport = [this](const std::string& report) {
        auto failure = Explain(errors::General, report);
        m_LinkTrouble = failure.Text;
        Trouble(failure);
    };
    m_Host.OnDebugLine = [this](const std::string& line) { m_Listener.OnMessage(m_Setup.PortLabel, line); };

    auto& messaging = m_Host.Get().Messaging;
    m_Endpoint = messaging.CreateChannel();
    m_Endpoint->Name("Station_" + messaging.NewIdentifier());
    m_Endpoint->Events({
        .CustomMessage = [this](const std::string& message, bool&) { m_Endpoint_CustomMessage(message); },
        .NewWork = nullptr,
        .OnProgress = [this](const std::string& text, std::int32_t value, std::int32_t, std::int32_t,
                             bool&) { m_Endpoint_OnProgress(text, value); },
        .ServerDestroyed = [this](bool&) { m_Closed(); },
        .QueryDestroy = nullptr,
    });
    m_Endpoint->DeliverEvents(true);
    m_Endpoint->Activate(true);

    Configure();
    for (auto& device : m_Setup.Devices)
        device.Name = AddDevice(device);
}

void Bus::Configure() {
    const auto& folders = m_Host.Setup().Folders;
    m_Messages = m_Host.Get().Database.CreateConnection();
    m_Messages->Open(folders.Database + kDatabaseFile, folders.Database + kWorkgroupFile,
                     m_Host.Get().Database.Account());

    m_Adapter = m_Library.Create<iOrvixAdapter>("cOrvixAdapterNB1", m_Host.Get());
    m_Endpoint->PeerName(m_Adapter->ServerIPCName());
    m_Adapter->SubscriberIPCName(m_Endpoint->Name());
    m_Adapter->Path(folders.Database);
    m_Adapter->PortType(kSerialPortType);
    m_Adapter->PortAddress(NumberText(std::int32_t{m_Setup.PortNumber}));
    m_Adapter->NetRetry(m_Setup.Retries);
    m_Adapter->PollingMSecs(static_cast<std::int32_t>(m_Setup.Every.count()));
    m_Adapter->DebugMode(m_Setup.Debug);
    m_Adapter->LogPath(folders.Data + "Log");
    m_Adapter->LogMode(m_Setup.Trace ? 1 : 0);
    m_Adapter->Driver(CreateDriver());
    m_Adapter->Init();
}

std::shared_ptr<iOrvixDriver> Bus::CreateDriver() {
    if (!m_Setup.DriverThread) return m_Library.Create<iOrvixDriver>("cOrvixDriverNB1", m_Host.Get());
    m_DriverThread = std::make_unique<DriverThread>(m_Library, m_Host);
    return m_DriverThread->TakeDriver();
}

std::string Bus::AddDevice(const DeviceSetup& setup) {
    const auto address = NumberText(setup.Address);
    auto& devices = *m_Adapter->Devices();
    const auto device = devices.Exists(address) ? devices.Item(address) : m_Adapter->DeviceAdd(address, setup.Model);
    if (!device) throw Error(errors::General, "the library does not accept device " + address);
    if (device->DeviceModel() != setup.Model) {
        throw Error(errors::General,
                    "device " + address + " is registered as model " + NumberText(device->DeviceModel()));
    }
    if (!setup.Name.empty()) device->Name(setup.Name);
    const auto varID = MeasuredVariable(setup.Model);
    device->MonitorVar(varID, kPolled, static_cast<std::int32_t>(m_Setup.Every.count()));
    device->Monitor(true);
    device->ConnectedEx(true);
    WatchRecord(device, varID);
    if (setup.SerialNumber) m_Readings.Settle(setup.Address, *setup.SerialNumber);
    return device->Name();
}

void Bus::Devices(const DeviceChanges& changes) {
    const auto doAll = [this](const auto& items, const auto& step) {
        for (const auto& item : items) {
            try {
                step(item);
            } catch (const Error& error) {
                Trouble(Explain(error.Number, error.Description));
            }
        }
    };
    doAll(changes.Removed, [this](int address) {
        m_Silent.Forget(address);
        m_Readings.Forget(address);
        m_Jumps.Forget(address);
        m_Again.erase(address);
        m_Adapter->DeviceRemove(NumberText(std::int32_t{address}));
    });
    doAll(changes.Added, [this](const DeviceSetup& device) { AddDevice(device); });
    doAll(changes.Renamed, [this](const DeviceSetup& device) {
        m_Adapter->Devices()->Item(NumberText(std::int32_t{device.Address}))->Name(device.Name);
    });
}

void Bus::Poll() {
    m_Adapter->OnLine(true);
    m_Adapter->MonitorVars(true);
}

void Bus::Take(const LineEvent& event) {
    if (event.What == LineEvent::Kind::Failed) m_LineFailed = true;
    m_Listener.OnLine(event);
    m_Tracker.Take(event);
}

void Bus::Take(const Exchange& exchange) {
    m_Exchange = exchange;
    m_Listener.OnExchange(exchange);
}

void Bus::Take(const TaskFailed& failed) {
    m_Tracker.Settle();
    auto failure = Explain(failed.Number, failed.Report);
    if (m_Exchange) {
        failure = FailureOf(*m_Exchange, failure);
    } else if (failed.Number == errors::Validation && !m_LineFailed) {
        failure.Code = errors::NotExecuted;
    }
    m_TaskFailure = failure;
}

void Bus::m_Endpoint_CustomMessage(const std::string& message) {
    const auto parsed = ParseHostMessage(message);
    if (const auto* failed = std::get_if<TaskFailed>(&parsed)) Take(*failed);
    if (const auto* trouble = std::get_if<LinkTrouble>(&parsed)) Trouble(Explain(errors::General, trouble->Report));
    m_Listener.OnMessage(m_Setup.PortLabel, HostMessageText(message));
}

void Bus::m_Endpoint_OnProgress(const std::string& text, std::int32_t value) {
    constexpr std::int32_t submitted = 20;
    if (value == submitted) {
        m_Exchange.reset();
        m_LineFailed = false;
        m_TaskFailure.reset();
    }
    m_Listener.OnMessage(m_Setup.PortLabel, text + " " + NumberText(value) + " %");
}

Failure Bus::Explain(ErrorNumber number, const std::string& report) const {
    return FailureOf(*m_Messages, number, report);
}

Failure Bus::CauseOf(int address, Failure said) const {
    return m_Exchange && m_Exchange->Address == address ? FailureOf(*m_Exchange, std::move(said)) : said;
}

void Bus::Trouble(const Failure& failure) {
    if (failure.Detail == m_LastTrouble) return;
    m_LastTrouble = failure.Detail;
    m_Listener.OnTrouble(m_Setup.PortLabel, failure);
}

void Bus::ReopenTrace() {
    if (!m_Setup.Trace) return;
    m_Adapter->LogMode(0);
    m_Adapter->LogMode(1);
}

void Bus::GiveSign(std::function<void()> given) {
    if (!m_DriverThread) return given();
    m_DriverThread->Post(std::move(given));
}

void Bus::Close(std::function<void()> closed) {
    m_Closed = std::move(closed);
    for (const auto& reading : m_Jumps.TakeHeld())
        m_Readings.Take(reading);
    m_CloseTimer = m_Host.Apartment().CreateTimer([this] { AskToClose(); });
    m_CloseTimer->Rearm(kClosePeriodMs, true);
    AskToClose();
}

void Bus::AskToClose() {
    if (++m_CloseAttempts > kMostCloseAttempts) {
        m_CloseTimer->Enabled(false);
        m_Closed();
    } else if (!m_Endpoint->PeerIsClosing()) {
        m_Endpoint->ClosePeer();
    }
}

}  // namespace orvix::station
