#include "devices/cOrvixNB1Device.h"
#include "devices/list_item.h"

namespace orvix {

namespace {

constexpr std::int32_t kMonitorIntervalPerRate = 1000;

}  // namespace

void cOrvixNB1Device::iOrvixDevice_ResponseInterpreter(iOrvixTask& Task) {
    Trapped(Task, "iOrvixDevice_ResponseInterpreter", [&](iOrvixTaskNB1& task) { TakePart(task); });
}

/// Adds a part to the answer and applies the answer once all its bytes are there.
void cOrvixNB1Device::TakePart(iOrvixTaskNB1& task) {
    PlexaERR.Check(!task.Timeout(), errors::Validation, errors::TimeOut);
    if (task.WaitingMultiPart()) {
        std::int32_t total = 0;
        if (__builtin_add_overflow(task.ArrivalBytes(), task.ResponseBytes(), &total)) {
            throw Error(errors::Overflow, "The answer is too long");
        }
        task.Arrival(task.Arrival().ToText() + task.Response().ToText());
        task.ArrivalBytes(total);
    } else {
        task.Arrival(task.Response());
        task.ArrivalBytes(task.ResponseBytes());
    }
    const bool complete = task.ArrivalBytes() == task.ArrivalExpectedBytes();
    task.WaitingMultiPart(!complete);
    if (!complete) return;
    const ErrorNumber number = ResponseInterpreterEx(task);
    if (number != errors::None) throw Error(number, task.eDescr());
}

ErrorNumber cOrvixNB1Device::ResponseInterpreterEx(iOrvixTaskNB1& task) {
    return Trapped(task, "ResponseInterpreterEx", [this](iOrvixTaskNB1& answered) { ApplyAnswer(answered); });
}

void cOrvixNB1Device::ApplyAnswer(iOrvixTaskNB1& task) {
    switch (task.CmdType()) {
        case ORVIXCNB1_TA_GET_VAR:
            return ApplyVariable(task);
        case ORVIXCNB1_TA_START_MISSION:
            return ApplyMissionChange(task, "Start Mission");
        case ORVIXCNB1_TA_STOP_MISSION:
            return ApplyMissionChange(task, "Stop Mission");
        default:
            throw Error(errors::General, "undefined CmdType");
    }
}

void cOrvixNB1Device::ApplyVariable(iOrvixTaskNB1& task) {
    const std::int32_t varID = FirstItem(task.Params(), "Params").ToLong();
    if (task.e() != errors::None) Attempt([&] { Record(varID)->Valid(false); });
    CheckDriverResult(task);
    if (varID != m_Model.Measurement.VarID && varID != ORVIXCNB1_VAR_TEMP_LOG && varID != ORVIXCNB1_VAR_SERIAL_NUMBER) {
        throw Error(errors::General, "undefined VarID");
    }
    const VariableRef record = Record(varID);
    const bool live = m_DeviceOrigin != kDeviceOriginFile;
    if (live) StoreVariable(*record, task);
    record->Valid(true);
    record->Pending(false);
    if (live) FinishVariable(*record);
}

void cOrvixNB1Device::StoreVariable(VariableRecord& record, iOrvixTaskNB1& task) {
    record.Valid(false);
    if (record.VarID() == ORVIXCNB1_VAR_SERIAL_NUMBER) {
        record.Value(FirstItem(task.RtnArgs(), "RtnArgs"));
    } else if (record.VarID() == m_Model.Measurement.VarID) {
        StoreReading(record, FirstItem(task.RtnArgs(), "RtnArgs"));
        record.MonitorInterval(MissionInterval());
    }
}

/// What follows from a variable that has become valid.
void cOrvixNB1Device::FinishVariable(VariableRecord& record) {
    // Who heard of the value may have removed the device: then there is nobody to tell more.
    if (!m_Mission) return;
    const auto mission = LiveMission();
    if (record.VarID() == ORVIXCNB1_VAR_TEMP_LOG) {
        if (mission->IsTempLogChanged()) NotifyTempLogChanged();
        if (mission->GetNewAlarm()) NotifyNewAlarm();
    } else if (record.VarID() == m_Model.Measurement.VarID) {
        if (m_Model.ReadingSetsMonitorFlag) record.MonitorFlag(MissionMonitorFlag());
        if (mission->IsStatusChanged()) NotifyStatusChanged();
        if (mission->IsTempLogChanged()) RequestVarToAdapter(ORVIXCNB1_VAR_TEMP_LOG);
        if (mission->GetNewAlarm()) NotifyNewAlarm();
    }
}

void cOrvixNB1Device::ApplyMissionChange(iOrvixTaskNB1& task, const char* action) {
    CheckDriverResult(task);
    if (m_DeviceOrigin == kDeviceOriginFile) {
        throw Error(errors::General, std::string("unsupported action ") + action);
    }
    const VariableRef record = Record(ORVIXCNB1_VAR_STATUS);
    record->Valid(false);
    record->MonitorInterval(MissionInterval());
    record->Value(FirstItem(task.RtnArgs(), "RtnArgs"));
    record->Valid(true);
    record->Pending(false);
    record->MonitorFlag(MissionMonitorFlag());
    NotifyMonitorChanged();
    NotifyStatusChanged();
    NotifyTempLogChanged();
}

/// A failed exchange is a failure whatever was asked: its answer is not looked at.
void cOrvixNB1Device::CheckDriverResult(const iOrvixTaskNB1& task) {
    PlexaERR.Check(task.e() == errors::None, errors::Validation, task.eDescr());
}

std::int32_t cOrvixNB1Device::MissionInterval() {
    return static_cast<iOrvixNB1Mission&>(*LiveMission()).Rate() * kMonitorIntervalPerRate;
}

std::int32_t cOrvixNB1Device::MissionMonitorFlag() {
    return static_cast<iOrvixNB1Mission&>(*LiveMission()).InProgress() ? 1 : 0;
}

}  // namespace orvix
