#include "station/source/scan_line.h"

#include <algorithm>

#include "devices/protocol/bus_line.h"
#include "devices/protocol/device_models.h"
#include "host/text.h"
#include "station/library/failure_text.h"
#include "tasks/iOrvixTaskNB1.h"

namespace orvix::station {
namespace {

// Far above what an exchange or the opening of a port takes.
constexpr Duration kLongestWait = std::chrono::minutes(2);

/// The model that measures a variable, or may be asked for it.
const DeviceModelTable& ModelThatOffers(ORVIXCNB1_VARS variable) {
    const auto* found = std::find_if(kDeviceModels.begin(), kDeviceModels.end(), [&](const DeviceModelTable* model) {
        return model->Measurement.VarID == variable ||
               (variable == ORVIXCNB1_VAR_SERIAL_NUMBER && model->HasSerialNumber);
    });
    return found == kDeviceModels.end() ? kTemperatureSensor : **found;
}

/// Raises when the payload is no value of this kind.
ReadingValue ValueOf(ORVIXCNB1_VARS variable, const std::string& payload) {
    if (variable == ORVIXCNB1_VAR_SERIAL_NUMBER) return payload;
    const auto value = ModelThatOffers(variable).Decode(payload);
    if (const auto* measured = std::get_if<double>(&value)) return LeadingReal(NumberText(KeptTemperature(*measured)));
    return std::get<std::int32_t>(value);
}

}  // namespace

ScanLine::ScanLine(const Library& library, BusServices& services, std::int32_t timeoutFactor)
    : m_Library(library), m_Host(services), m_TimeoutFactor(timeoutFactor) {
    const auto& host = m_Host.Get();
    const auto& data = m_Host.Setup().Folders.Database;
    m_Host.OnLine = [this](const LineEvent& event) { m_Tracker.Take(event); };
    m_Host.OnReport = [this](const std::string& report) { m_Report = report; };
    m_Messages = host.Database.CreateConnection();
    m_Messages->Open(data + kDatabaseFile, data + kWorkgroupFile, host.Database.Account());

    m_Endpoint = host.Messaging.CreateChannel();
    m_Endpoint->Name("Scan_" + host.Messaging.NewIdentifier());
    m_Endpoint->Events({.CustomMessage = [this](const std::string& message, bool&) { Hear(message); },
                        .NewWork = nullptr,
                        .OnProgress = nullptr,
                        .ServerDestroyed = nullptr,
                        .QueryDestroy = nullptr});
    m_Endpoint->DeliverEvents(true);
    m_Endpoint->Activate(true);

    m_Driver = m_Library.Create<iOrvixDriver>("cOrvixDriverNB1", host);
    m_Driver->Path(data);
    m_Driver->NetRetry(0);
    m_Driver->PortType(kSerialPortType);
    m_Driver->PortAddress(NumberText(std::int32_t{m_Host.Setup().PortNumber}));
    m_Driver->SubscriberIPCName(m_Endpoint->Name());
    m_Endpoint->PeerName(m_Driver->ServerIPCName());
    m_Endpoint->SendCustomMessage("CONNECT");
    Await<PortOpened>();
}

ScanLine::~ScanLine() {
    m_Host.OnReport = nullptr;
    m_Host.OnLine = nullptr;
}

void ScanLine::Hear(const std::string& message) {
    auto said = ParseHostMessage(message);
    if (!std::holds_alternative<std::monostate>(said)) m_Said = std::move(said);
}

template <class Message>
Message ScanLine::Await() {
    m_Said = {};
    m_Report.clear();
    const auto isSaid = [this] { return std::holds_alternative<Message>(m_Said); };
    m_Host.Apartment().PumpUntil([&] { return isSaid() || !m_Report.empty(); }, kLongestWait);
    if (!m_Report.empty()) throw Error(errors::General, FailureOf(*m_Messages, errors::General, m_Report).Text);
    if (!isSaid()) throw Error(errors::General, m_Host.Setup().PortLabel + " hangs");
    return std::get<Message>(m_Said);
}

Variant ScanLine::Execute(const ScanRequest& request, TaskEnded& ended) {
    const auto& model = ModelThatOffers(request.Variable);
    const auto address = NumberText(std::int32_t{request.Address});
    const auto task = m_Library.Create<iOrvixTaskNB1>("cOrvixTaskNB1", m_Host.Get());
    task->DeviceAddress(address);
    task->DeviceModel(model.DeviceModel);
    task->NetTimeoutInterval(m_TimeoutFactor);
    task->GetVar(request.Variable);
    // The device knows the command for a variable; its address gives it its variables.
    const auto device = m_Library.Create<iOrvixDevice>(model.ClassName, m_Host.Get());
    device->Address(address);
    device->TaskCommand(*task);
    if (task->e() != errors::None) throw Error(task->e(), task->eDescr());

    const auto entry = m_Host.Get().Messaging.CreateSharedEntry();
    entry->Create({});
    entry->Data().ArgumentList.push_back(task->GetSuperState());
    m_Endpoint->SendNewWork(entry->Name());
    ended = Await<TaskEnded>();
    if (!entry->Data().ResultList.empty()) task->SetSuperState(entry->Data().ResultList[0]);
    return ended.Number == errors::None && !task->RtnArgs().empty() ? task->RtnArgs()[0] : Variant();
}

ScanAnswer ScanLine::Ask(const ScanRequest& request) {
    m_Exchange.reset();
    TaskEnded ended;
    const auto payload = Execute(request, ended);
    m_Tracker.Settle();
    if (!m_Exchange || m_Exchange->Outcome == Outcome::LineLost) {
        const auto failure = FailureOf(*m_Messages, ended.Number, ended.Report);
        throw Error(failure.Code, failure.Text);
    }
    ScanAnswer answer{*m_Exchange, {}};
    if (ended.Number == errors::None) Attempt([&] { answer.Value = ValueOf(request.Variable, payload.ToText()); });
    return answer;
}

}  // namespace orvix::station
