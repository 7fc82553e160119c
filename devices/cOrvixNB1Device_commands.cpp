#include <algorithm>

#include "devices/cOrvixNB1Device.h"
#include "devices/list_item.h"

namespace orvix {

void cOrvixNB1Device::iOrvixDevice_TaskCommand(iOrvixTask& Task) {
    Trapped(Task, "iOrvixDevice_TaskCommand", [&] {
        auto& task = dynamic_cast<iOrvixTaskNB1&>(Task);
        task.Cmd(BuildCommand(task));
    });
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
/// text with the place where it was caught.
ErrorNumber cOrvixNB1Device::Trapped(iOrvixTask& task, const char* operation, const std::function<void()>& step) const {
    ErrorNumber number = errors::None;
    std::string text;
    try {
        step();
    } catch (...) {
        const Error error = CurrentError();
        number = error.Number;
        text = error.Description + " (" + error.Source + "." + Label(operation) + ")";
    }
    task.e(number);
    task.eDescr(std::move(text));
    return number;
}

}  // namespace orvix
