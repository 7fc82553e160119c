#include "station/library/bus.h"

#include "devices/protocol/bus_line.h"
#include "devices/protocol/device_models.h"
#include "host/iOrvixTask.h"
#include "host/text.h"
#include "station/library/doubt.h"
#include "station/library/failure_text.h"
#include "station/model/clock.h"
#include "tasks/iOrvixTaskNB1.h"

namespace orvix::station {
namespace {

constexpr std::int32_t kPolled = 1;

// Where the adapter puts a task.
constexpr std::int32_t kLastInQueue = 0;
constexpr std::int32_t kFirstInQueue = 1;
constexpr std::int32_t kLeftOut = 0;

// How long a task may wait for the link to come up before its own time counts.
constexpr std::chrono::seconds kLinkLimit{5};

constexpr std::int32_t kClosePeriodMs = 20;
constexpr int kMostCloseAttempts = 500;

ReadingValue ValueOf(const VariableRecord& record) {
    const auto text = record.Value().ToText();
    switch (record.VarID()) {
        case ORVIXCNB1_VAR_TEMPERATURE:
            return LeadingReal(text);
        case ORVIXCNB1_VAR_INPUTBYTE:
            return text.size() == 1 ? static_cast<unsigned char>(text[0]) : record.Value().ToLong();
        default:
            return SerialText(text);
    }
}

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
    if (!device) throw Error(errors::General, "the library does not take device " + address);
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

void Bus::WatchRecord(const std::shared_ptr<iOrvixDevice>& device, std::int32_t varID) {
    device->VarsEx().Item(NumberText(varID))->OnValid([this, address = device->Address()](VariableRecord&) {
        // A record is written more than once while an answer is applied: only what stands at the end of the turn
        // counts.
        if (m_Written.empty()) m_Host.Apartment().Post([this] { TellReadings(); });
        m_Written.insert(address);
    });
    device->VarsEx().Item(NumberText(std::int32_t{ORVIXCNB1_VAR_SERIAL_NUMBER}))->OnValid([this](VariableRecord&) {
        m_Host.Apartment().Post([this] { m_Readings.Look(); });
    });
}

std::shared_ptr<iOrvixDevice> Bus::FindDevice(const std::string& address) const {
    auto* devices = m_Adapter ? m_Adapter->Devices() : nullptr;
    return devices != nullptr && devices->Exists(address) ? devices->Item(address) : nullptr;
}

void Bus::TellReadings() {
    for (const auto& address : std::exchange(m_Written, {})) {
        const auto device = FindDevice(address);
        if (!device) continue;
        const auto varID = MeasuredVariable(device->DeviceModel());
        auto reading = MakeReading(*device, varID);
        if (reading.Valid()) {
            m_LastTrouble.clear();
        } else {
            reading.Error = m_TaskFailure.value_or(CauseOf(reading.Address, reading.Error));
        }
        auto& record = *device->VarsEx().Item(NumberText(varID));
        // The answer of some models clears the flag, so it is always set.
        record.MonitorFlag(kPolled);
        if (reading.Valid()) reading.Why = DoubtOf(reading);
        if (m_Setup.PlainPolling) {
            m_Listener.OnReading(reading);
        } else {
            PlanPoll(reading, record);
            TellWhenSure(reading);
        }
    }
}

Doubt Bus::DoubtOf(const Reading& reading) const {
    const bool isKnown = m_Exchange && m_Exchange->Address == reading.Address && m_Exchange->Outcome == Outcome::Good &&
                         m_Exchange->Asked == DeviceModelOf(reading.Model).Measurement.Code;
    return station::DoubtOf(reading, isKnown ? &*m_Exchange : nullptr, m_Setup.Plausible);
}

void Bus::TellWhenSure(const Reading& reading) {
    const bool isLineIll = m_Exchange && m_Exchange->Address == reading.Address && m_Exchange->FollowsDamage;
    const auto [told, again] = m_Jumps.Take(reading, m_Host.Apartment().Now(), isLineIll);
    for (const auto& sure : told)
        m_Readings.Take(sure);
    if (!again) return;
    const auto task = m_Library.Create<iOrvixTaskNB1>("cOrvixTaskNB1", m_Host.Get());
    m_Again[reading.Address] =
        Queue(*task, reading.Address, reading.Model, MeasuredVariable(reading.Model), kFirstInQueue);
}

SilentDevices::Poll Bus::PollOf(const Reading& reading) const {
    using Poll = SilentDevices::Poll;
    if (reading.Valid()) return Poll::Answered;
    if (!m_Exchange || m_Exchange->Address != reading.Address) return Poll::Unknown;
    switch (m_Exchange->Outcome) {
        case Outcome::Good:
        case Outcome::Refused:
            return Poll::Answered;
        case Outcome::LineLost:
            return Poll::Unknown;
        default:
            return Poll::Unanswered;
    }
}

void Bus::PlanPoll(const Reading& reading, VariableRecord& record) {
    const bool wasPlanned = m_Silent.Any();
    m_Silent.Ended(reading.Address, PollOf(reading), m_Host.Apartment().Now());
    if (m_Silent.IsLeftOut(reading.Address)) record.MonitorFlag(kLeftOut);
    if (m_Silent.Any() && !wasPlanned) m_RoundTimer->Rearm(static_cast<std::int32_t>(m_Setup.Every.count()), true);
}

void Bus::AskSilentDevice() {
    if (!m_Silent.Any()) return m_RoundTimer->Enabled(false);
    const auto address = m_Silent.NextToAsk(m_Host.Apartment().Now());
    if (!address) return;
    const auto device = FindDevice(NumberText(std::int32_t{*address}));
    if (device) device->VarsEx().Item(NumberText(MeasuredVariable(device->DeviceModel())))->MonitorFlag(kPolled);
}

Reading Bus::MakeReading(iOrvixDevice& device, std::int32_t varID) const {
    Reading reading;
    reading.UnixMilliseconds = UnixMillisecondsOf(m_Host.Apartment().DateNow());
    reading.Port = m_Setup.PortLabel;
    reading.Address = LeadingNumber(device.Address());
    reading.Model = device.DeviceModel();
    reading.Name = device.Name();
    reading.Variable = NameOf(varID);
    const auto key = NumberText(varID);
    if (!device.VarsEx().Exists(key) || !device.VarsEx().Item(key)->Valid()) {
        reading.Error = Explain(errors::NotExecuted, "there is no valid value");
        return reading;
    }
    const auto record = device.VarsEx().Item(key);
    if (!Attempt([&] { reading.Value = ValueOf(*record); })) {
        reading.Error = {errors::BadFrame, "the device's answer is no value of this kind", record->Value().ToText()};
    }
    return reading;
}

void Bus::Poll() {
    m_Adapter->OnLine(true);
    m_Adapter->MonitorVars(true);
}

Reading Bus::Read(int address, ORVIXCNB1_VARS variable) {
    const auto device = m_Adapter->Devices()->Item(NumberText(std::int32_t{address}));
    m_Adapter->OnLine(true);
    Failure failure;
    const bool done = ExecuteTask(address, device->DeviceModel(), variable, failure);
    auto reading = MakeReading(*device, variable);
    if (!done) {
        reading.Value = {};
        reading.Error = failure;
    }
    if (!reading.Valid()) return reading;
    if (variable == MeasuredVariable(reading.Model)) reading.Why = DoubtOf(reading);
    reading.Quality = reading.IsGood() ? Quality::Good : Quality::Doubtful;
    reading.LastGood = reading.Value;
    reading.LastGoodUnixMilliseconds = reading.UnixMilliseconds;
    reading.Age = std::chrono::milliseconds(0);
    return reading;
}

std::optional<Failure> Bus::Export(int address, const ExportTarget& target) {
    const auto device = m_Adapter->Devices()->Item(NumberText(std::int32_t{address}));
    const auto& model = DeviceModelOf(device->DeviceModel());
    std::vector<ORVIXCNB1_VARS> variables{model.Measurement.VarID};
    if (model.HasSerialNumber) variables.push_back(ORVIXCNB1_VAR_SERIAL_NUMBER);
    for (const auto variable : variables) {
        auto reading = Read(address, variable);
        if (!reading.Valid()) return std::move(reading.Error);
    }
    SupplyRecord(*device, ORVIXCNB1_VAR_STATUS, device->DefaultVar()->Value().ToText());
    // The bus carries no log: that of a live device is empty.
    SupplyRecord(*device, ORVIXCNB1_VAR_TEMP_LOG, ByteArray{});
    m_LinkTrouble.clear();
    if (SaveDevice(*device, target)) return std::nullopt;
    return Failure{errors::General, m_LinkTrouble, m_LastTrouble};
}

/// The device makes the record, with its name and tag, when it is asked for the command that reads it.
void Bus::SupplyRecord(iOrvixDevice& device, ORVIXCNB1_VARS variable, Variant value) const {
    const auto task = m_Library.Create<iOrvixTaskNB1>("cOrvixTaskNB1", m_Host.Get());
    task->GetVar(variable);
    device.TaskCommand(*task);
    const auto record = device.VarsEx().Item(NumberText(std::int32_t{variable}));
    record->Value(std::move(value));
    record->Pending(false);
    record->Valid(true);
}

std::unique_ptr<SharedEntry> Bus::Queue(iOrvixTaskNB1& task, int address, std::int32_t model, ORVIXCNB1_VARS variable,
                                        std::int32_t priority) {
    task.DeviceAddress(NumberText(std::int32_t{address}));
    task.DeviceModel(model);
    task.NetTimeoutInterval(m_Setup.TimeoutFactor);
    task.TimeoutInterval(static_cast<std::int32_t>(m_Setup.LongestExchange().count()));
    task.GetVar(variable);

    auto entry = m_Host.Get().Messaging.CreateSharedEntry();
    entry->Create({});
    entry->Lock();
    entry->Data().ArgumentList.push_back(task.GetSuperState());
    entry->Unlock();
    m_Adapter->NewWork(entry->Name(), priority);
    return entry;
}

std::unique_ptr<SharedEntry> Bus::QueueSerialNumber(int address) {
    // Of a digital module the driver takes such a request only as one to a sensor.
    const auto task = m_Library.Create<iOrvixTaskNB1>("cOrvixTaskNB1", m_Host.Get());
    return Queue(*task, address, kTemperatureSensorModel, ORVIXCNB1_VAR_SERIAL_NUMBER, kLastInQueue);
}

std::optional<std::string> Bus::SerialNumberOf(int address) const {
    const auto device = FindDevice(NumberText(std::int32_t{address}));
    const auto key = NumberText(std::int32_t{ORVIXCNB1_VAR_SERIAL_NUMBER});
    if (!device || !device->VarsEx().Exists(key) || !device->VarsEx().Item(key)->Valid()) return std::nullopt;
    return device->VarsEx().Item(key)->Value().ToText();
}

bool Bus::ExecuteTask(int address, std::int32_t model, ORVIXCNB1_VARS variable, Failure& failure) {
    m_LinkTrouble.clear();
    const auto task = m_Library.Create<iOrvixTaskNB1>("cOrvixTaskNB1", m_Host.Get());
    const auto entry = Queue(*task, address, model, variable, kLastInQueue);
    const auto limit = m_Setup.LongestExchange() + kLinkLimit;
    const auto answered = [&] { return entry->WaitForCompletion(0) || !m_LinkTrouble.empty() || m_CloseTimer; };
    m_Host.Apartment().PumpUntil(answered, limit);
    if (!entry->WaitForCompletion(0)) {
        failure = {errors::NotConnected, m_LinkTrouble.empty() ? "the task was not answered" : m_LinkTrouble,
                   m_LastTrouble};
        return false;
    }
    entry->Lock();
    const Error outcome(entry->Data().e, entry->Data().eDescr);
    entry->Unlock();
    if (outcome.Number != errors::None)
        failure = m_TaskFailure.value_or(CauseOf(address, Explain(outcome.Number, outcome.Description)));
    return outcome.Number == errors::None;
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
