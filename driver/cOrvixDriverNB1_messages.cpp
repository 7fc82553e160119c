#include "driver/cOrvixDriverNB1.h"

#include <utility>

#include "host/text.h"

namespace orvix {

void cOrvixDriverNB1::BindEvents() {
    ChannelEvents events;
    events.CustomMessage = [this](const std::string& Message, bool& Handled) { m_IPC_CustomMessage(Message, Handled); };
    events.NewWork = [this](const std::string& MemoryMapKey, bool& Handled) { m_IPC_NewWork(MemoryMapKey, Handled); };
    events.QueryDestroy = [this](bool& Cancel) { m_IPC_QueryDestroy(Cancel); };
    m_IPC->Events(std::move(events));
}

void cOrvixDriverNB1::m_IPC_CustomMessage(const std::string& Message, bool& Handled) {
    try {
        DoCommand(SplitFields(Message));
    } catch (...) {
        PlexaERR.ReportIn("cOrvixDriverNB1.m_IPC_CustomMessage");
    }
    Handled = true;
}

void cOrvixDriverNB1::m_IPC_NewWork(const std::string& MemoryMapKey, bool& Handled) {
    AcceptWork(MemoryMapKey);
    Handled = true;
}

void cOrvixDriverNB1::m_IPC_QueryDestroy(bool& Cancel) {
    Cancel = m_Busy;
    if (Cancel) return;
    if (m_Connected) Disconnect();
    m_LinkTimer.reset();
    m_Task.reset();
    ReleaseWindow();
}

void cOrvixDriverNB1::DoCommand(const std::vector<std::string>& fields) {
    const std::string command = fields.empty() ? std::string() : fields.front();
    if (command == "CONNECT") Connect();
    if (command == "DEBUGINFO") ShowDebugInfo(fields);
    if (command == "DISCONNECT") Disconnect();
}

void cOrvixDriverNB1::ShowDebugInfo(const std::vector<std::string>& fields) {
    constexpr std::size_t kFields = 4;
    if (fields.size() < kFields) throw Error(errors::MissingItem, "DEBUGINFO wants a text, online and a state");
    Held(m_fComm).Info(fields[1], Variant(fields[2]).ToBoolean(), fields[3]);
}

void cOrvixDriverNB1::AcceptWork(const std::string& memoryMapKey) {
    if (m_Busy) {
        Attempt([&] { SendResult("TASKCOMPLETE", errors::Busy, PlexaERR.GetMessageText(errors::Busy)); });
        return;
    }
    m_WorkKey = memoryMapKey;
    try {
        ScheduleWork("ExecuteTask");
    } catch (...) {
        PlexaERR.ReportIn("cOrvixDriverNB1.m_IPC_NewWork");
        Attempt([&] { ScheduleWork("CancelTask"); });
    }
}

void cOrvixDriverNB1::ScheduleWork(const char* tag) {
    Held(m_LinkTimer).Schedule(*this, tag, 0);
    m_Busy = true;
}

void cOrvixDriverNB1::SendResult(const char* message, ErrorNumber e, const std::string& eDescr) {
    m_IPC->SendCustomMessage(JoinFields({message, NumberText(e), eDescr}));
}

void cOrvixDriverNB1::ReleaseWindow() {
    if (!m_fComm) return;
    if (auto& line = m_fComm->MSComm1) {
        Attempt([&] {
            if (line->PortOpen()) line->PortOpen(false);
        });
        line.reset();
    }
    m_fComm->Unload();
    m_fComm.reset();
}

}  // namespace orvix
