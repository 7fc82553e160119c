#include <algorithm>
#include <iterator>
#include <utility>

#include "host/error.h"
#include "host/text.h"
#include "soak/model/random_model.h"

namespace orvix::soak {

namespace {

constexpr std::size_t kMostOpen = 30;

}  // namespace

/// A task and what is to come of it: mostly a reading, a few that end without one.
std::unique_ptr<iOrvixTaskNB1> RandomModel::NewTask(AskedTask& asked) {
    constexpr std::int32_t kTimeouts[] = {40, 500, 3000};
    auto task = std::make_unique<cOrvixTaskNB1>(m_Host.Services);
    iOrvixTaskNB1& request = *task;
    asked.Device = Draw(m_Random, std::size(kModelFleet));
    const bool offline = OneIn(m_Random, 50);
    const bool missing = OneIn(m_Random, 50);
    const ModelDevice& device = offline ? kOfflineDevice : missing ? kMissingDevice : kModelFleet[asked.Device];
    request.DeviceAddress(device.Address);
    request.DeviceModel(device.Model);
    request.TimeoutInterval(kTimeouts[Draw(m_Random, std::size(kTimeouts))]);
    if (OneIn(m_Random, 30)) {
        request.GetDeviceList(0);
    } else {
        if (!offline) asked.Token = token::OfRequest(++m_Asked, asked.Device);
        request.GetVar(AnyVariable(device.Model));
        request.Params().emplace_back(std::to_string(asked.Token));
    }
    if (OneIn(m_Random, 4)) Soil(request);
    return task;
}

/// Now and then one that the driver refuses.
ORVIXCNB1_VARS RandomModel::AnyVariable(std::int32_t model) {
    if (OneIn(m_Random, 50)) return ORVIXCNB1_VAR_TEMP_LOG;
    if (model == tests::kSensorModel && OneIn(m_Random, 8)) return ORVIXCNB1_VAR_SERIAL_NUMBER;
    return MeasuredVariable(model);
}

/// What an adapter and a driver write down in a task is theirs: a host may hand in anything.
void RandomModel::Soil(iOrvixTaskNB1& task) {
    task.CmdExecuted(OneIn(m_Random, 2));
    task.CmdSended(OneIn(m_Random, 2));
    task.WaitingMultiPart(OneIn(m_Random, 2));
    task.ArrivalBytes(static_cast<std::int32_t>(Draw(m_Random, 3)));
    task.ArrivalExpectedBytes(static_cast<std::int32_t>(Draw(m_Random, 3)));
    task.ResponseBytes(static_cast<std::int32_t>(Draw(m_Random, 3)));
    task.e(OneIn(m_Random, 2) ? errors::None : errors::Refused);
    task.RtnArgs().emplace_back(std::to_string(token::OfRequest(0, 0)));
}

std::unique_ptr<SharedEntry> RandomModel::EntryOf(const iOrvixTaskNB1& task) {
    auto entry = m_Host.Messaging.CreateSharedEntry();
    entry->Create("");
    entry->Data().ArgumentList.push_back(task.GetSuperState());
    return entry;
}

void RandomModel::AskByEntry() {
    if (m_Life->Ledger.Open() >= kMostOpen) return;
    for (int copies = OneIn(m_Random, 10) ? 3 : 1; copies > 0; --copies) {
        AskedTask asked;
        asked.Entry = EntryOf(*NewTask(asked));
        const std::string key = asked.Entry->Name();
        m_Life->Ledger.Accept(std::move(asked));
        m_Life->Side.Adapter.NewWork(key, AnyPriority());
    }
}

void RandomModel::AskByMessage() {
    if (m_Life->Ledger.Open() >= kMostOpen) return;
    AskedTask asked;
    asked.Entry = EntryOf(*NewTask(asked));
    // An adapter that agrees to be closed takes no more messages.
    asked.CertainlyAccepted = !m_Life->Closing;
    const std::string key = asked.Entry->Name();
    m_Life->Ledger.Accept(std::move(asked));
    m_Life->Side.Subscriber.Endpoint().SendNewWork(key);
}

void RandomModel::AskByObject() {
    if (m_Life->Ledger.Open() >= kMostOpen) return;
    AskedTask asked;
    asked.Object = NewTask(asked);
    if (OneIn(m_Random, 2)) {
        asked.Entry = EntryOf(*asked.Object);
        asked.Object->MemoryMapKey(asked.Entry->Name());
    }
    asked.Object->DeviceOrigin(static_cast<std::int32_t>(Draw(m_Random, 3)));
    iOrvixDevToAdapt& adapter = m_Life->Side.Object;
    if (Attempt([&] { adapter.NewTask(asked.Object, AnyPriority()); })) m_Life->Ledger.Accept(std::move(asked));
}

/// The adapter must not wait for the entry: its own thread holds it.
void RandomModel::AskWithLockedEntry() {
    AskedTask asked;
    asked.Entry = EntryOf(*NewTask(asked));
    asked.Entry->Lock();
    m_Life->Side.Adapter.NewWork(asked.Entry->Name(), AnyPriority());
    if (asked.Entry->Data().e == errors::None) m_Life->Ledger.Violation("a locked task was taken", "");
    asked.Entry->Unlock();
}

/// A task object that is still in the queue is refused.
void RandomModel::QueueAgain() {
    const AskedTask* open = m_Life->Ledger.AnyOpen(m_Random);
    if (!open || !open->Object || open->Object->Executed()) return;
    const auto object = open->Object;
    iOrvixDevToAdapt& adapter = m_Life->Side.Object;
    if (Attempt([&] { adapter.NewTask(object, AnyPriority()); }))
        m_Life->Ledger.Violation("a queued task was taken", "");
}

/// Which tasks ask for the same thing may change while they are queued.
void RandomModel::ChangeAddress() {
    AskedTask* open = m_Life->Ledger.AnyOpen(m_Random);
    if (!open || !open->Object || open->Entry || open->Token == 0 || open->Object->CmdSended()) return;
    const std::size_t device = Draw(m_Random, std::size(kModelFleet));
    if (kModelFleet[device].Model != open->Object->DeviceModel()) return;
    open->Device = device;
    open->Token = token::OfRequest(++m_Asked, device);
    open->Object->DeviceAddress(kModelFleet[device].Address);
    open->Object->Params().back() = std::to_string(open->Token);
}

}  // namespace orvix::soak
