#include "station/source/scan_line.h"

#include "devices/protocol/basOrvixNB1.h"
#include "devices/protocol/frame.h"
#include "host/text.h"
#include "station/library/failure_text.h"
#include "tasks/iOrvixTaskNB1.h"

namespace orvix::station {
namespace {

constexpr std::int32_t kSerialPortType = 2;

// Far above what an exchange or the opening of a port takes.
constexpr Duration kLongestWait = std::chrono::minutes(2);

using Kind = ScanOutcome::Kind;

/// The driver lets each model be asked for what it offers, and only a sensor for a serial number.
std::int32_t ModelThatOffers(ORVIXCNB1_VARS variable) {
    return variable == ORVIXCNB1_VAR_INPUTBYTE ? kDigitalModuleModel : kTemperatureSensorModel;
}

const char* ClassOf(std::int32_t model) {
    return model == kDigitalModuleModel ? "cOrvixNB1DM" : "cOrvixNB1TP";
}

/// Raises when the payload is no value of this kind.
ReadingValue ValueOf(ORVIXCNB1_VARS variable, const std::string& payload) {
    switch (variable) {
        case ORVIXCNB1_VAR_TEMPERATURE:
            return BytesToReal(payload);
        case ORVIXCNB1_VAR_INPUTBYTE:
            if (payload.size() != 1) throw Error(errors::TypeMismatch, "inputs are one byte");
            return std::int32_t{static_cast<unsigned char>(payload[0])};
        default:
            return payload;
    }
}

Kind KindOf(ErrorNumber code, bool anythingReceived) {
    switch (code) {
        case errors::TimeOut:
            return anythingReceived ? Kind::Garbled : Kind::Silent;
        case errors::Refused:
            return Kind::Refused;
        default:
            return Kind::Garbled;
    }
}

bool IsOfTheDevice(ErrorNumber code) {
    return code == errors::TimeOut || code == errors::Refused || code == errors::BadFrame || code == errors::Checksum;
}

}  // namespace

void LineBytes::Take(const LineEvent& event) {
    if (event.What == LineEvent::Kind::Received) Received += event.Bytes;
    if (event.What == LineEvent::Kind::Discarded) Discarded = true;
}

ScanLine::ScanLine(const Library& library, BusServices& services, LineBytes& line, std::int32_t timeoutFactor)
    : m_Library(library), m_Host(services), m_Line(line), m_TimeoutFactor(timeoutFactor) {
    const auto& host = m_Host.Get();
    const auto& data = m_Host.Setup().Folders.Data;
    m_Host.OnReport = [this](const std::string& report) { m_Report = report; };
    m_Messages = host.Database.CreateConnection();
    m_Messages->Open(data + "Orvix.mdb", data + "Orvix.mdw", host.Database.Account());

    m_Endpoint = host.Messaging.CreateChannel();
    m_Endpoint->Name("Scan_" + host.Messaging.NewIdentifier());
    m_Endpoint->Events({.CustomMessage =
                            [this](const std::string& message, bool&) {
                                auto fields = SplitFields(message);
                                if (fields[0] == m_Awaited) m_Said = std::move(fields);
                            },
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
    Await("CONNECTED");
}

ScanLine::~ScanLine() {
    m_Host.OnReport = nullptr;
}

std::vector<std::string> ScanLine::Await(const std::string& message) {
    m_Awaited = message;
    m_Said.reset();
    m_Report.clear();
    m_Host.Apartment().PumpUntil([this] { return m_Said || !m_Report.empty(); }, kLongestWait);
    if (!m_Report.empty()) throw Error(errors::General, ExplainFailure(*m_Messages, errors::General, m_Report).Text);
    if (!m_Said) throw Error(errors::General, m_Host.Setup().PortLabel + " hangs");
    return *m_Said;
}

ScanLine::Answer ScanLine::Execute(const ScanRequest& request) {
    const auto model = ModelThatOffers(request.Variable);
    const auto address = NumberText(std::int32_t{request.Address});
    const auto task = m_Library.Create<iOrvixTaskNB1>("cOrvixTaskNB1", m_Host.Get());
    task->DeviceAddress(address);
    task->DeviceModel(model);
    task->NetTimeoutInterval(m_TimeoutFactor);
    task->GetVar(request.Variable);
    // The device knows the command for a variable; its address gives it its variables.
    const auto device = m_Library.Create<iOrvixDevice>(ClassOf(model), m_Host.Get());
    device->Address(address);
    device->TaskCommand(*task);
    if (task->e() != errors::None) throw Error(task->e(), task->eDescr());

    const auto entry = m_Host.Get().Messaging.CreateSharedEntry();
    entry->Create({});
    entry->Data().ArgumentList.push_back(task->GetSuperState());
    m_Endpoint->SendNewWork(entry->Name());
    const auto said = Await("TASKCOMPLETE");
    if (!entry->Data().ResultList.empty()) task->SetSuperState(entry->Data().ResultList[0]);
    Answer answer{LeadingNumber(said.at(1)), said.at(2), {}};
    if (answer.Number == errors::None && !task->RtnArgs().empty()) answer.Value = task->RtnArgs()[0];
    return answer;
}

ScanOutcome ScanLine::Ask(const ScanRequest& request) {
    m_Line = {};
    const auto answer = Execute(request);
    ScanOutcome outcome;
    outcome.EarlierBytes = m_Line.Discarded;
    if (answer.Number == errors::None) {
        const bool isValue = Attempt([&] { outcome.Value = ValueOf(request.Variable, answer.Value.ToText()); });
        outcome.What = isValue ? Kind::Answered : Kind::Garbled;
    } else {
        const auto failure = ExplainFailure(*m_Messages, answer.Number, answer.Text);
        if (!IsOfTheDevice(failure.Code)) throw Error(failure.Code, failure.Text);
        outcome.What = KindOf(failure.Code, !m_Line.Received.empty());
    }
    const auto length = FrameLength(m_Line.Received);
    outcome.MoreBytes = length && m_Line.Received.size() > *length;
    return outcome;
}

}  // namespace orvix::station
