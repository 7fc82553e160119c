#include <algorithm>

#include "devices/cOrvixNB1Device.h"
#include "devices/list_item.h"

namespace orvix {

void cOrvixNB1Device::iOrvixDevice_TaskCommand(iOrvixTask& Task) {
    Trapped(Task, "iOrvixDevice_TaskCommand", [&](iOrvixTaskNB1& task) { task.Cmd(BuildCommand(task)); });
}

std::string cOrvixNB1Device::BuildCommand(iOrvixTaskNB1& task) {
    if (task.CmdType() != ORVIXCNB1_TA_GET_VAR) throw Error(errors::General, "undefined cmdtype");
    const std::int32_t varID = FirstItem(task.Params(), "Params").ToLong();
    const auto common = std::find_if(kCommonCommands.begin(), kCommonCommands.end(),
                                     [&](const DeviceCommand& command) { return command.VarID == varID; });
    if (common == kCommonCommands.end() && varID != m_Model.Measurement.VarID) {
        throw Error(errors::General, "undefined VarID");
    }
    Record(varID)->Pending(true);
    return std::string(common != kCommonCommands.end() ? common->Code : m_Model.Measurement.Code);
}

/// Runs one operation on a task and leaves its outcome there: the error number, which is returned too, and the error's
/// text with the place where it was caught. A failure ends the task.
ErrorNumber cOrvixNB1Device::Trapped(iOrvixTask& Task, const char* operation,
                                     const std::function<void(iOrvixTaskNB1&)>& step) const {
    auto* const task = dynamic_cast<iOrvixTaskNB1*>(&Task);
    ErrorNumber number = errors::None;
    std::string text;
    try {
        if (!task) throw Error(errors::TypeMismatch, "The task is none of this library");
        step(*task);
    } catch (...) {
        const Error error = CurrentError();
        number = error.Number;
        text = error.Description + " (" + error.Source + "." + Label(operation) + ")";
    }
    Task.e(number);
    Task.eDescr(std::move(text));
    if (task && number != errors::None) task->CmdExecuted(true);
    return number;
}

}  // namespace orvix
