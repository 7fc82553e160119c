#include "driver/cOrvixDriverNB1.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "devices/protocol/basOrvixNB1.h"
#include "driver/exchange.h"
#include "host/text.h"

namespace orvix {

namespace {

/// Models that a row allows; unused places repeat one.
using Models = std::array<std::int32_t, 2>;

constexpr char kCallback[] = "IPlexaLinkTimer_FireTimer";

constexpr std::int32_t kEveryModel = -1;
constexpr Models kAny = {kEveryModel, kEveryModel};
constexpr Models kSensor = {kTemperatureSensorModel, kTemperatureSensorModel};
constexpr Models kDigital = {kDigitalModuleModel, kDigitalModuleModel};
constexpr Models kLogger = {kMissionLoggerModel, kMissionLoggerModel};
constexpr Models kWithStatus = {kMissionLoggerModel, kStatusOnlyModel};

const Variant& Param(iOrvixTaskNB1& task, std::size_t position) {
    const VariantList& params = task.Params();
    if (params.size() < position) {
        throw Error(errors::MissingItem, "the task has no parameter " + std::to_string(position));
    }
    return params[position - 1];
}

}  // namespace

void cOrvixDriverNB1::IPlexaLinkTimer_FireTimer(const std::string& strTimerLink, std::int32_t) {
    Error outcome(errors::None, {});
    try {
        outcome = ProcessEntry(strTimerLink);
    } catch (...) {
        outcome = ErrorAt(kCallback);
    }
    Attempt([&] { SendResult("TASKCOMPLETE", outcome.Number, outcome.Description); });
    m_Busy = false;
}

/// Returns the task's result code and text, or the failure to process the entry, which then holds it.
Error cOrvixDriverNB1::ProcessEntry(const std::string& tag) {
    const auto entry = m_Services.Messaging.CreateSharedEntry();
    entry->Open(m_WorkKey);
    entry->Lock();  // until the handle goes
    SharedData& data = entry->Data();
    try {
        Error result(errors::None, {});
        if (tag == "ExecuteTask") {
            ExecuteTask(data);
            result = Error(m_Task->e(), m_Task->eDescr());
        } else if (tag == "CancelTask") {
            data.Cancelled = true;
        }
        data.Processed = true;
        return result;
    } catch (...) {
        Error failure = ErrorAt(kCallback);
        data.e = failure.Number;
        data.eDescr = failure.Description;
        return failure;
    }
}

void cOrvixDriverNB1::ExecuteTask(SharedData& data) {
    iOrvixTaskNB1& task = Held(m_Task);
    if (data.ArgumentList.empty()) throw Error(errors::MissingItem, "work item " + m_WorkKey + " holds no task");
    task.SetSuperState(data.ArgumentList.front());
    NetRequest();
    task.CmdExecuted(true);
    data.ArgumentList.erase(data.ArgumentList.begin());
    data.ResultList.push_back(task.GetSuperState());
}

/// Leaves its outcome, also a failure, in the task.
void cOrvixDriverNB1::NetRequest() {
    ShowActivity(true);
    Error outcome(errors::None, {});
    try {
        if (m_Simulation) {
            Simulate();
        } else {
            Dispatch();
        }
    } catch (...) {
        outcome = ErrorAt("NetRequest Port " + m_PortAddress);
        m_Tracer.TraceEvent(outcome.Description);
        Attempt([&] { SendResult("SOCKETERROR", outcome.Number, outcome.Description); });
    }
    // Also of a failure: nothing more is to come for this task.
    m_Task->ArrivalExpectedBytes(m_Task->ResponseBytes());
    m_Task->e(outcome.Number);
    m_Task->eDescr(outcome.Description);
    m_Countdown.reset();
    ShowActivity(false);
}

struct cOrvixDriverNB1::DispatchRow {
    std::int32_t Value;
    Models Allowed;
    void (cOrvixDriverNB1::*Action)();
};

void cOrvixDriverNB1::RunRow(std::span<const DispatchRow> rows, std::int32_t value, const char* failure) {
    const auto row = std::find_if(rows.begin(), rows.end(), [&](const DispatchRow& it) { return it.Value == value; });
    Require(row != rows.end(), failure);
    const auto& allowed = row->Allowed;
    const bool fits = std::find(allowed.begin(), allowed.end(), m_Task->DeviceModel()) != allowed.end();
    Require(fits || allowed == kAny, "Invalid device model");
    (this->*row->Action)();
}

void cOrvixDriverNB1::Require(bool condition, const char* failure) {
    PlexaERR.Check(condition, errors::Validation, errors::NotExecuted, failure);
}

void cOrvixDriverNB1::Dispatch() {
    static constexpr DispatchRow kRows[] = {
        {ORVIXCNB1_TA_GET_VAR, kAny, &cOrvixDriverNB1::DispatchVariable},
        {ORVIXCNB1_TA_GET_DEVICELIST, kAny, &cOrvixDriverNB1::Succeed},
        {ORVIXCNB1_TA_START_MISSION, kLogger, &cOrvixDriverNB1::Succeed},
        {ORVIXCNB1_TA_STOP_MISSION, kLogger, &cOrvixDriverNB1::CheckMissionBytes},
    };
    RunRow(kRows, m_Task->CmdType(), "Invalid CmdType");
}

void cOrvixDriverNB1::DispatchVariable() {
    static constexpr DispatchRow kRows[] = {
        {ORVIXCNB1_VAR_SERIAL_NUMBER, kSensor, &cOrvixDriverNB1::ExchangeWithRetries},
        {ORVIXCNB1_VAR_TEMPERATURE, kSensor, &cOrvixDriverNB1::ExchangeWithRetries},
        {ORVIXCNB1_VAR_STATUS, kWithStatus, &cOrvixDriverNB1::Succeed},
        {ORVIXCNB1_VAR_TEMP_LOG, kLogger, &cOrvixDriverNB1::Succeed},
        {ORVIXCNB1_VAR_INPUTBYTE, kDigital, &cOrvixDriverNB1::ExchangeWithRetries},
    };
    RunRow(kRows, m_Task->VarID(), "Invalid var");
}

/// No exchange is defined for missions; the request must be well-formed all the same.
void cOrvixDriverNB1::CheckMissionBytes() {
    Param(*m_Task, 1).ToBytes();
}

void cOrvixDriverNB1::ExchangeWithRetries() {
    ExchangeRequest request{
        Variant(m_Task->DeviceAddress()).ToInteger(), m_Task->Cmd().ToText(), m_Task->NetTimeoutInterval(), {}};
    if (m_Task->Params().size() >= 2) request.Payload = Param(*m_Task, 2).ToText();
    ExchangeResult result;
    int attempt = 0;
    do {
        result = Exchange(m_Services.Apartment, MSComm1(), PlexaERR, request);
    } while (result.Number != errors::None && attempt++ < m_NetRetry);
    PlexaERR.Check(result.Number == errors::None, errors::Validation, result.Text);
    m_Task->RtnArgs().emplace_back(std::move(result.Reply));
}

void cOrvixDriverNB1::Simulate() {
    static constexpr DispatchRow kRows[] = {
        {ORVIXCNB1_TA_GET_VAR, kAny, &cOrvixDriverNB1::SimulateVariable},
        {ORVIXCNB1_TA_SET_VAR, kAny, &cOrvixDriverNB1::Succeed},
        {ORVIXCNB1_TA_GET_DEVICELIST, kAny, &cOrvixDriverNB1::Succeed},
    };
    constexpr double kLongest = std::numeric_limits<std::int32_t>::max();
    m_Countdown.emplace(m_Services.Apartment);
    m_Countdown->Interval(
        static_cast<std::int32_t>(std::nearbyint(std::clamp(SimulationField("txtSymDelay"), 0.0, kLongest))));
    m_Countdown->Start();
    RunRow(kRows, m_Task->CmdType(), "Invalid CmdType");
}

void cOrvixDriverNB1::SimulateVariable() {
    static constexpr DispatchRow kRows[] = {
        {ORVIXCNB1_VAR_SERIAL_NUMBER, kSensor, &cOrvixDriverNB1::Succeed},
        {ORVIXCNB1_VAR_TEMPERATURE, kSensor, &cOrvixDriverNB1::SimulateTemperature},
        {ORVIXCNB1_VAR_INPUTBYTE, kDigital, &cOrvixDriverNB1::SimulateInputs},
    };
    RunRow(kRows, m_Task->VarID(), "Invalid var");
}

void cOrvixDriverNB1::SimulateTemperature() {
    WaitSimulatedDelay();
    const double min = SimulationField("txtSymMin");
    const double max = SimulationField("txtSymMax");
    const double random = std::generate_canonical<double, 32>(m_Random);
    const double value = (max - min + 1) * random + min;
    float single = Variant(value).ToSingle();
    // Rounded down, so that the end of the range is not reached.
    if (static_cast<double>(single) > value) single = std::nextafter(single, -std::numeric_limits<float>::infinity());
    m_Task->RtnArgs().emplace_back(RealToBytes(single));
}

void cOrvixDriverNB1::SimulateInputs() {
    WaitSimulatedDelay();
    m_Task->RtnArgs().emplace_back(m_fComm->Text("txtSymDig"));
}

void cOrvixDriverNB1::WaitSimulatedDelay() {
    m_Services.Apartment.Block(std::max(m_Countdown->Remaining(), Duration::zero()));
}

double cOrvixDriverNB1::SimulationField(const char* controlName) const {
    return LeadingReal(m_fComm->Text(controlName));
}

void cOrvixDriverNB1::ShowActivity(bool active) {
    if (m_DebugMode) m_fComm->Activity(active);
}

}  // namespace orvix
