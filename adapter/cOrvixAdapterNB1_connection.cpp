#include <utility>

#include "adapter/cOrvixAdapterNB1.h"
#include "host/text.h"

namespace orvix {

namespace {

constexpr std::int32_t kHighestTickCount = 999;

std::string BooleanText(bool value) {
    return Variant(value).ToText();
}

/// Whether an address begins with digits that are not all zero: a sign or a blank makes it a name.
bool BeginsWithPortNumber(std::string_view address) {
    const std::string_view digits = address.substr(0, address.find_first_not_of("0123456789"));
    return digits.find_first_not_of('0') != std::string_view::npos;
}

}  // namespace

void cOrvixAdapterNB1::m_tmrComm_Tick() {
    m_TickCount = m_TickCount % kHighestTickCount + 1;
    try {
        AdvanceConnection();
        m_StepFailure.clear();
    } catch (...) {
        StepFailed(CurrentError());
    }
    m_Busy = !m_Tasks.Empty();
}

void cOrvixAdapterNB1::AdvanceConnection() {
    if (!m_OnLine) return StepOffline();
    const ConnectionInputs inputs{m_Connected, m_SocketError, m_tmrTimeout->Expired()};
    if (const ConnectionRow* row = FindConnectionRow(m_State, inputs)) return RunConnectionRow(*row);
    if (m_State == ConnectionState::CONNECTED_IDLE) return LeaveIdle();
    if (m_Tasks.Empty()) return PlanOrIdle();
    ProcessNextTask();
    ReplyFast();
}

void cOrvixAdapterNB1::StepOffline() {
    ResetConnection();
    NotifyActivity('0');
    DebugComm(" OFFLINE", StateName(m_State));
    if (m_Tasks.Empty()) {
        m_KeepTicking = false;
        StopTicking();
    } else if (BeginsWithPortNumber(m_PortAddress)) {
        ProcessNextTask();
        ReplyFast();
    }
}

void cOrvixAdapterNB1::RunConnectionRow(const ConnectionRow& row) {
    if (!row.DebugSuffix.empty()) DebugComm(row.DebugSuffix, StateName(row.Next));
    for (const ConnectionAction action : row.Actions)
        Run(action);
    SetState(row.Next);
    if (row.Networking) m_Networking = true;
    if (row.Activity != 0) NotifyActivity(row.Activity);
}

void cOrvixAdapterNB1::Run(ConnectionAction action) {
    switch (action) {
        case ConnectionAction::None:
            return;
        case ConnectionAction::SendConnect:
            return SendConnect();
        case ConnectionAction::LimitConnectionTime:
            return Rearm(m_tmrTimeout, kConnectionTimeLimit, true);
        case ConnectionAction::StopTimeout:
            return m_tmrTimeout->Enabled(false);
        case ConnectionAction::DisconnectIfConnected:
            return DisconnectIfConnected();
        case ConnectionAction::ResetConnection:
            return ResetConnection();
        case ConnectionAction::PauseAfterError:
            Rearm(m_tmrTimeout, m_IdleAfterErrorMsecs, true);
            return Rearm(m_tmrComm, m_IdleAfterErrorMsecs, true);
        case ConnectionAction::ReplyFast:
            return ReplyFast();
    }
}

void cOrvixAdapterNB1::LeaveIdle() {
    DebugComm(" IDLE - RECONNECT", StateName(ConnectionState::DISCONNECTED));
    EnterState(ConnectionState::DISCONNECTED);
    ReplyFast();
}

void cOrvixAdapterNB1::PlanOrIdle() {
    PlanPolling();
    if (!m_Tasks.Empty()) {
        if (m_State == ConnectionState::WAITING_FOR_IDLE) ResumeWork();
        ReplyFast();
    } else if (m_State != ConnectionState::WAITING_FOR_IDLE) {
        StartIdleTime();
    } else if (!m_IdleAllowed) {
        TickOnDemand();
    } else if (m_tmrTimeout->Expired()) {
        DropIdleLink();
    } else {
        ReplyFast();
    }
}

void cOrvixAdapterNB1::ResumeWork() {
    m_tmrTimeout->Enabled(false);
    EnterState(ConnectionState::CONNECTED_WORKING);
    NotifyActivity('2');
}

void cOrvixAdapterNB1::StartIdleTime() {
    DebugComm(" WAITING FOR IDLE...", StateName(ConnectionState::WAITING_FOR_IDLE));
    Rearm(m_tmrTimeout, m_IdleMsecs, true);
    ReplyFast();
    EnterState(ConnectionState::WAITING_FOR_IDLE);
    NotifyActivity('0');
}

void cOrvixAdapterNB1::DropIdleLink() {
    DebugComm(" IDLE!", StateName(ConnectionState::CONNECTED_IDLE));
    DisconnectIfConnected();
    m_tmrTimeout->Enabled(false);
    EnterState(ConnectionState::CONNECTED_IDLE);
    NotifyActivity('0');
    TickOnDemand();
}

void cOrvixAdapterNB1::TickOnDemand() {
    if (std::exchange(m_KeepTicking, false)) {
        ReplyFast();
    } else {
        StopTicking();
    }
}

void cOrvixAdapterNB1::StepFailed(const Error& error) {
    m_SocketError = true;
    // The step is tried again with every tick, and most often fails the same way.
    if (std::exchange(m_StepFailure, error.Description) == error.Description) return;
    SendDebugInfo("OrvixNimbo1Lib.cOrvixAdapterNB1.m_tmrComm_Tick - ERROR " + error.Description,
                  BooleanText(m_Networking));
    Attempt([&] { SendToHost("ERROR: " + error.Description); });
}

void cOrvixAdapterNB1::SetState(ConnectionState state) {
    m_State = state;
}

void cOrvixAdapterNB1::EnterState(ConnectionState state) {
    SetState(state);
    m_Networking = true;
}

void cOrvixAdapterNB1::SendConnect() {
    m_IPCDriver->SendCustomMessage("CONNECT");
    m_Connected = false;
    // An error of the link before must not tear down the one that is being made.
    m_SocketError = false;
    m_SentBeforeConnect = m_TrackDriver->SentCount();
}

void cOrvixAdapterNB1::DisconnectIfConnected() {
    // A driver that has gone has no link left to drop.
    if (m_Connected) Attempt([&] { m_IPCDriver->SendCustomMessage("DISCONNECT"); });
}

void cOrvixAdapterNB1::ResetConnection() {
    m_tmrTimeout->Enabled(false);
    m_SocketError = false;
    SetState(ConnectionState::DISCONNECTED);
    m_Networking = false;
    FailPendingTasks(errors::NotConnected);
    if (m_IPCDriver) Attempt([&] { m_IPCDriver->SendCustomMessage("DISCONNECT"); });
    m_Connected = false;
    MountDevices({});
    m_NetDiscoveryDone = false;
    m_VarPollingArmed = false;
}

void cOrvixAdapterNB1::ReplyFast() {
    Rearm(m_tmrComm, kTickInterval, true);
}

void cOrvixAdapterNB1::StopTicking() {
    Rearm(m_tmrComm, kTickInterval, false);
}

void cOrvixAdapterNB1::WakeLoop() {
    m_KeepTicking = true;
    ReplyFast();
}

void cOrvixAdapterNB1::Rearm(const std::unique_ptr<Timer>& timer, std::int32_t intervalMs, bool enabled) const {
    if (m_Running) timer->Rearm(intervalMs, enabled);
}

void cOrvixAdapterNB1::DebugComm(std::string_view suffix, std::string_view stateName) {
    SendDebugInfo("Comm " + NumberText(m_TickCount) + std::string(suffix), stateName);
}

void cOrvixAdapterNB1::SendDebugInfo(const std::string& text, std::string_view stateName) {
    if (!m_DebugMode) return;
    // Without a driver there is no debug window to show the line in; the work goes on all the same.
    Attempt([&] { m_IPCDriver->SendCustomMessage(JoinFields({"DEBUGINFO", text, BooleanText(m_OnLine), stateName})); });
    m_Tracer.TraceEvent(text);
}

void cOrvixAdapterNB1::NotifyActivity(char digit) {
    SendToHost(JoinFields({"ORVIX_CNN_ACTIVITY", std::string_view(&digit, 1)}));
}

void cOrvixAdapterNB1::SendToHost(const std::string& message) {
    m_IPCSubscriber->SendCustomMessage(message);
}

}  // namespace orvix
