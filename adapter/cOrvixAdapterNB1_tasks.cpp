#include <algorithm>
#include <limits>
#include <utility>

#include "adapter/cOrvixAdapterNB1.h"
#include "devices/protocol/device_models.h"
#include "host/text.h"
#include "tasks/cOrvixTaskNB1.h"

namespace orvix {

namespace {

constexpr std::int32_t kFirstInQueue = 1;
constexpr std::int32_t kSubmitted = 20;
constexpr std::int32_t kCompleted = 100;
constexpr char kRefusedID[] = "XX";
constexpr char kIncomplete[] = "incomplete answer";

/// Both intervals of a task that nobody has given any.
constexpr std::int32_t kClearedInterval = 10;

/// Enters a task in the list of those that steps are at work on, while this lives.
class AtWork {
public:
    AtWork(std::vector<TaskRef>& all, TaskRef task) : m_All(all) { m_All.push_back(std::move(task)); }
    ~AtWork() { m_All.pop_back(); }
    AtWork(const AtWork&) = delete;
    AtWork& operator=(const AtWork&) = delete;

private:
    std::vector<TaskRef>& m_All;
};

/// Nothing was read: what the variable holds is no reading of now.
void Invalidate(iOrvixDevice& device, const iOrvixTaskNB1& task) {
    if (task.CmdType() != ORVIXCNB1_TA_GET_VAR) return;
    const std::string key = NumberText(std::int32_t{task.VarID()});
    if (device.VarsEx().Exists(key)) device.VarsEx().Item(key)->Valid(false);
}

}  // namespace

TaskRef cOrvixAdapterNB1::NewEmptyTask() const {
    return std::make_shared<cOrvixTaskNB1>(m_Services);
}

TaskRef cOrvixAdapterNB1::NewTaskWithID() const {
    TaskRef task = NewEmptyTask();
    task->ID(m_Services.Messaging.NewIdentifier());
    return task;
}

bool cOrvixAdapterNB1::iOrvixAdapter_NewWork(const std::string& MemoryMapKey, std::int32_t Priority) {
    const TaskRef task = NewEmptyTask();
    task->MemoryMapKey(MemoryMapKey);
    try {
        LoadWork(*task);
    } catch (...) {
        RefuseWork(*task, CurrentError());
        return false;
    }
    task->e(errors::None);
    task->eDescr("");
    AddTask(task, Priority);
    return false;
}

void cOrvixAdapterNB1::LoadWork(iOrvixTaskNB1& task) {
    RequireRunning();
    const std::string key = task.MemoryMapKey();
    if (!key.empty()) {
        TakeState(task);
        // Reading never fails by itself: what it leaves behind tells whether there was anything to read.
        if (task.CmdType() == ORVIXCNB1_TA_NONE) {
            RequireReadable(key);
            throw Error(errors::General, "The shared entry \"" + key + "\" holds no task");
        }
    }
    task.ID(m_Services.Messaging.NewIdentifier());
}

void cOrvixAdapterNB1::RequireReadable(const std::string& memoryMapKey) {
    const auto entry = m_Services.Messaging.CreateSharedEntry();
    entry->Open(memoryMapKey);
    entry->Lock();
}

void cOrvixAdapterNB1::RefuseWork(iOrvixTaskNB1& task, const Error& error) {
    if (!task.MemoryMapKey().empty()) TakeState(task);
    task.e(error.Number);
    task.eDescr(error.Description + " (" + error.Source + ".cOrvixAdapterNB1.m_IPCSubscriber_NewWork)");
    task.ID(kRefusedID);
    task.Executed(true);
}

bool cOrvixAdapterNB1::iOrvixDevToAdapt_NewTask(const std::shared_ptr<iOrvixTask>& Task, std::int32_t Priority) {
    const TaskRef task = std::dynamic_pointer_cast<iOrvixTaskNB1>(Task);
    if (!task) throw Error(errors::TypeMismatch, "NewTask: this is no task of this library");
    RequireRunning();
    if (m_Tasks.Holds(*task) || IsInHand(*task)) {
        throw Error(errors::General, "NewTask: the task \"" + task->Name() + "\" has not ended yet");
    }
    task->ForgetExchange();
    task->ID(m_Services.Messaging.NewIdentifier());
    AddTask(task, Priority);
    return true;
}

bool cOrvixAdapterNB1::IsInHand(const iOrvixTaskNB1& task) const {
    return std::any_of(m_InHand.begin(), m_InHand.end(), [&](const TaskRef& it) { return it.get() == &task; });
}

void cOrvixAdapterNB1::AddTask(const TaskRef& task, std::int32_t priority) {
    if (priority == kFirstInQueue) {
        m_Tasks.AddFirst(task);
    } else {
        m_Tasks.Append(task);
    }
    ReplyFast();
}

void cOrvixAdapterNB1::RequireRunning() const {
    if (!m_Running) throw Error(errors::General, "The adapter takes work only between Init and its shutdown");
}

void cOrvixAdapterNB1::ProcessNextTask() {
    if (m_Tasks.Empty()) return;
    const TaskRef task = m_Tasks.Head();
    const AtWork atWork(m_InHand, task);
    try {
        if (HasOutcome(*task)) {
            CompleteTask(task);
        } else if (!task->CmdSended()) {
            SendTask(task);
        }
    } catch (...) {
        const Error error = CurrentError();
        m_Tracer.PLXTrcV("OrvixNimbo1Lib.cOrvixAdapterNB1.ProcessNextTask - Err.Description", error.Description);
        FailTask(*task, error.Number, error.Description);
    }
}

void cOrvixAdapterNB1::SendTask(const TaskRef& task) {
    ReadTask(*task);
    SendTaskProgress(*task, kSubmitted);
    SendDebugInfo("Processing " + task->Name() + " of " + std::to_string(m_Tasks.Count()) + " ...", "PROCESS NEW TASK");
    SetCurrentTask(task);
    if (!PrepareCommand(*task)) return;
    task->CmdSended(true);
    if (task->e() != errors::None) return FailTask(*task, task->e(), task->eDescr());
    m_TrackDriver->Arguments().assign(1, task->GetSuperState());
    m_TrackDriver->ExecuteAsync();
}

bool cOrvixAdapterNB1::PrepareCommand(iOrvixTaskNB1& task) {
    switch (task.CmdType()) {
        case ORVIXCNB1_TA_GET_VAR: {
            const auto device = m_DevicesEvt->Item(task.DeviceAddress());
            if (device->DeviceOrigin() == kDeviceOriginFile) {
                task.CmdSended(true);
                task.CmdExecuted(true);
                task.e(errors::None);
                return false;
            }
            device->TaskCommand(task);
            return true;
        }
        case ORVIXCNB1_TA_GET_DEVICELIST:
        case ORVIXCNB1_TA_START_MISSION:
        case ORVIXCNB1_TA_STOP_MISSION:
            task.e(errors::None);
            return true;
        default:
            return true;
    }
}

void cOrvixAdapterNB1::CompleteTask(const TaskRef& task) {
    m_Tasks.Remove(*task);
    // First of all: what a callback waits for meanwhile may be another task's answer, or bring a late one of this task.
    StopAwaiting(*task);
    // A linked task, and one that a lost connection has ended, has been published already.
    if (!task->Executed()) TakeResult(*task);
    SendTaskProgress(*task, kCompleted);
}

void cOrvixAdapterNB1::TakeResult(iOrvixTaskNB1& task) {
    switch (task.CmdType()) {
        case ORVIXCNB1_TA_GET_VAR:
        case ORVIXCNB1_TA_SET_VAR:
        case ORVIXCNB1_TA_START_MISSION:
        case ORVIXCNB1_TA_STOP_MISSION:
            InterpretAnswer(task);
            break;
        case ORVIXCNB1_TA_GET_DEVICELIST:
            if (task.e() == errors::None) MountDevices(task.RtnArgs());
            break;
        default:
            break;
    }
    SendDebugInfo("Executed " + task.Name() + " - Result " + (task.e() == errors::None ? "success" : task.eDescr()));
    PullLinkedTasks(task);
    task.Executed(true);
}

void cOrvixAdapterNB1::InterpretAnswer(iOrvixTaskNB1& task) {
    const auto device = m_DevicesEvt->Item(task.DeviceAddress());
    const bool timedOut = task.Timeout();
    const ErrorNumber driverResult = task.e();
    const std::string driverText = task.eDescr();
    device->ResponseInterpreter(task);
    // The driver has answered, or never will: what has not come by now does not come.
    const bool incomplete = task.WaitingMultiPart() && task.e() == errors::None;
    if (incomplete) {
        task.WaitingMultiPart(false);
        task.e(driverResult != errors::None ? driverResult : errors::General);
        task.eDescr(driverResult != errors::None ? driverText : kIncomplete);
    }
    if (timedOut || incomplete) Invalidate(*device, task);
}

void cOrvixAdapterNB1::FailTask(iOrvixTaskNB1& task, ErrorNumber code, const std::string& description) {
    m_Tasks.Remove(task);
    StopAwaiting(task);
    if (!task.Executed()) {
        task.e(code);
        task.eDescr(description);
        task.Executed(true);
    }
    SendToHost(JoinFields({"ERROR", description}));
}

void cOrvixAdapterNB1::FailPendingTasks(ErrorNumber ErrorCode) {
    FailTasks(ErrorCode, [](const iOrvixTaskNB1& task) { return task.DeviceOrigin() == kDeviceOriginLive; });
}

void cOrvixAdapterNB1::FailTasks(ErrorNumber ErrorCode, const std::function<bool(const iOrvixTaskNB1&)>& ends) {
    const std::string text = PlexaERR.GetMessageText(ErrorCode);
    SetCurrentTask(NewEmptyTask());
    m_Tasks.ForEach([&](const TaskRef& task) {
        if (task->Executed()) return;
        ReadTask(*task);
        task->e(ErrorCode);
        task->eDescr(text);
        if (ends(*task)) task->Executed(true);
    });
    m_Tasks.RemoveExecutedHeads();
}

TaskRef cOrvixAdapterNB1::LinkedTaskExists(const iOrvixTaskNB1& Task, const std::string& Tag) {
    try {
        return m_Tasks.FindLinked(Task, Tag);
    } catch (...) {
        TraceAndRaise("OrvixNimbo1Lib.cOrvixAdapterNB1.LinkedTaskExists - Err.Description,",
                      "cOrvixAdapterNB1.LinkedTaskExists(Task)");
    }
}

void cOrvixAdapterNB1::PullLinkedTasks(iOrvixTaskNB1& Task) {
    try {
        const std::string tag = Task.Tag();
        while (const TaskRef linked = LinkedTaskExists(Task, tag)) {
            // It has been sent itself when the interpreter has waited: its own answer would end it once more.
            StopAwaiting(*linked);
            linked->ReadLinkedResult(Task);
        }
    } catch (...) {
        TraceAndRaise("OrvixNimbo1Lib.cOrvixAdapterNB1.PullLinkedTasks - Err.Description,",
                      "cOrvixAdapterNB1.PullLinkedTasks(Task)");
    }
}

void cOrvixAdapterNB1::TraceAndRaise(const char* traceName, const char* label) {
    m_Tracer.PLXTrcV(traceName, CurrentError().Description);
    PlexaERR.ErrorIn(label);
}

void cOrvixAdapterNB1::TakeState(iOrvixTaskNB1& task) {
    task.ReadMemory();
    task.ForgetExchange();
}

void cOrvixAdapterNB1::ReadTask(iOrvixTaskNB1& task) {
    if (task.MemoryReaded()) return;
    TakeState(task);
    GiveIntervals(task);
    m_Tasks.TagChanged(task);
}

void cOrvixAdapterNB1::GiveIntervals(iOrvixTaskNB1& task) const {
    if (task.TimeoutInterval() != kClearedInterval || task.NetTimeoutInterval() != kClearedInterval) return;
    // An attempt waits five times the factor for its reply; the rest is room for sending it and for the loop.
    const std::int64_t factor = std::max(m_Services.Reports.NetTimeoutInterval(), 0);
    const std::int64_t attempts = std::int64_t{std::max(m_NetRetry, 0)} + 1;
    constexpr std::int64_t kLongest = std::numeric_limits<std::int32_t>::max();
    const std::int64_t forOne = std::min(5 * factor + 300, kLongest);
    task.NetTimeoutInterval(static_cast<std::int32_t>(factor));
    task.TimeoutInterval(static_cast<std::int32_t>(std::min(attempts * forOne + 500, kLongest)));
}

void cOrvixAdapterNB1::SetCurrentTask(TaskRef task) {
    if (m_TrackDriver) m_TrackDriver->GiveUp();
    m_CurrentTask = std::move(task);
}

void cOrvixAdapterNB1::StopAwaiting(const iOrvixTaskNB1& task) {
    if (m_CurrentTask.get() == &task) SetCurrentTask(NewEmptyTask());
}

void cOrvixAdapterNB1::SendTaskProgress(const iOrvixTaskNB1& task, std::int32_t percent) {
    if (task.CmdType() == ORVIXCNB1_TA_GET_DEVICELIST) return;
    m_IPCSubscriber->SendProgress(task.Name(), percent, 0, 100);
}

}  // namespace orvix
