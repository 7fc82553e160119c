#include "adapter/cOrvixAdapterNB1.h"
#include "host/database.h"
#include "host/text.h"

namespace orvix {

void cOrvixAdapterNB1::BindSubscriberEvents() {
    ChannelEvents events;
    events.NewWork = [this](const std::string& MemoryMapKey, bool& Handled) {
        m_IPCSubscriber_NewWork(MemoryMapKey, Handled);
    };
    events.QueryDestroy = [this](bool& Cancel) { m_IPCSubscriber_QueryDestroy(Cancel); };
    m_IPCSubscriber->Events(std::move(events));
}

void cOrvixAdapterNB1::BindDriverEvents() {
    ChannelEvents events;
    events.CustomMessage = [this](const std::string& Message, bool& Handled) {
        m_IPCDriver_CustomMessage(Message, Handled);
    };
    events.OnProgress = [this](const std::string& Text, std::int32_t Value, std::int32_t Minimum, std::int32_t Maximum,
                               bool& Handled) { m_IPCDriver_OnProgress(Text, Value, Minimum, Maximum, Handled); };
    events.ServerDestroyed = [this](bool& Handled) { m_IPCDriver_ServerDestroyed(Handled); };
    m_IPCDriver->Events(std::move(events));
}

void cOrvixAdapterNB1::m_IPCDriver_CustomMessage(const std::string& Message, bool& Handled) {
    const auto fields = SplitFields(Message);
    const std::string name = fields.empty() ? std::string() : fields.front();
    if (name == "TASKCOMPLETE") {
        Attempt([&] { TaskComplete(fields); });
    } else if (name == "SOCKETERROR") {
        // A failure that began on the link before, told now, is none of the one that is being made.
        if (!m_TrackDriver->AnyUnanswered(m_SentBeforeConnect)) m_SocketError = true;
        Attempt([&] { SendToHost("Driver error " + fields.at(1) + " - " + fields.at(2)); });
    } else if (name == "CONNECTED") {
        m_Connected = true;
    } else if (name == "DISCONNECTED") {
        m_Connected = false;
    }
    Handled = true;
}

void cOrvixAdapterNB1::TaskComplete(const std::vector<std::string>& fields) {
    const bool busyAnswer = fields.size() > 1 && fields[1] == NumberText(errors::Busy);
    if (!m_TrackDriver->Completed(busyAnswer)) return;
    const SharedData& answer = m_TrackDriver->Answer();
    if (!answer.ResultList.empty()) {
        LoadAnswer(answer.ResultList.front());
    } else if (answer.e != errors::None) {
        m_CurrentTask->e(answer.e);
        m_CurrentTask->eDescr(answer.eDescr);
    } else {
        Attempt([&] { m_CurrentTask->e(Variant(fields.at(1)).ToLong()); });
        Attempt([&] { m_CurrentTask->eDescr(fields.at(2)); });
    }
    // Whatever the answer says of itself, there will be no other.
    m_CurrentTask->CmdExecuted(true);
}

void cOrvixAdapterNB1::LoadAnswer(const ByteArray& state) {
    const std::string id = m_CurrentTask->ID();
    const std::string memoryMapKey = m_CurrentTask->MemoryMapKey();
    const std::int32_t origin = m_CurrentTask->DeviceOrigin();
    try {
        m_CurrentTask->SetSuperState(state);
    } catch (...) {
        const Error error = CurrentError();
        // Loading clears a task first: it becomes what was sent again, so that its device learns of the failure.
        Attempt([&] { m_CurrentTask->SetSuperState(m_TrackDriver->Arguments().at(0)); });
        m_CurrentTask->e(error.Number);
        m_CurrentTask->eDescr(error.Description);
    }
    m_CurrentTask->ID(id);
    m_CurrentTask->MemoryMapKey(memoryMapKey);
    // A state does not carry it, and the task still asks for what it asked for.
    m_CurrentTask->DeviceOrigin(origin);
    m_Tasks.TagChanged(*m_CurrentTask);
}

void cOrvixAdapterNB1::m_IPCDriver_OnProgress(const std::string& Text, std::int32_t Value, std::int32_t Minimum,
                                              std::int32_t Maximum, bool& Handled) {
    Attempt([&] { m_IPCSubscriber->SendProgress(Text, Value, Minimum, Maximum); });
    Handled = true;
}

void cOrvixAdapterNB1::m_IPCDriver_ServerDestroyed(bool& Handled) {
    m_Driver.reset();
    Handled = true;
}

void cOrvixAdapterNB1::m_IPCSubscriber_NewWork(const std::string& MemoryMapKey, bool& Handled) {
    Attempt([&] { NewWork(MemoryMapKey, 0); });
    Handled = true;
}

void cOrvixAdapterNB1::m_IPCSubscriber_QueryDestroy(bool& Cancel) {
    // The link is still in use when the host has gone offline and no tick has come since.
    if (m_OnLine || m_Networking) {
        m_OnLine = false;
        Attempt([&] { ResetConnection(); });
    }
    EndRun();
    Cancel = CloseDriver();
}

bool cOrvixAdapterNB1::CloseDriver() {
    if (!m_Driver || !m_IPCDriver) return false;
    Attempt([&] {
        if (!m_IPCDriver->PeerIsClosing()) m_IPCDriver->ClosePeer();
    });
    return true;
}

}  // namespace orvix
