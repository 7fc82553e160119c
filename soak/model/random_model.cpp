#include "soak/model/random_model.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "host/error.h"
#include "host/text.h"

namespace orvix::soak {

namespace {

using namespace std::chrono_literals;

constexpr std::int32_t kPolled = 1;
constexpr std::int32_t kAskingToCloseMs = 20;
constexpr int kDeepest = 3;
constexpr std::size_t kKeysKept = 500;
/// More often than Init waits for the driver.
constexpr std::uint32_t kMostHops = 14;
constexpr char kHostName[] = "MODEL";
constexpr char kDeviceFile[] = "/device";

/// Raises the depth for as long as the host waits or is told something.
class Within {
public:
    explicit Within(int& depth) : m_Depth(depth) { ++m_Depth; }
    ~Within() { --m_Depth; }
    Within(const Within&) = delete;
    Within& operator=(const Within&) = delete;

private:
    int& m_Depth;
};

}  // namespace

RandomModel::Life::Life(RandomModel& model, std::shared_ptr<iOrvixDriver> driver)
    : Ledger(model.m_Host.Services, model.m_Counts),
      Side(model.m_Host.Services, kHostName, std::move(driver)),
      Acting(model.m_Host.Apartment.CreateTimer([&model] { model.Act(); })) {}

RandomModel::RandomModel(tests::Placement placement, std::uint32_t seed)
    : m_Random(seed), m_Apart(placement == tests::Placement::ApartmentOfItsOwn) {
    m_Devices.OnRequest = [this] { PassEvent(); };
    m_Meddled.Decide = [this](const std::string& message) { return FateOf(message); };
    m_Meddled.Work = [this](const std::string& key) {
        m_WorkKeys.push_back(key);
        if (m_WorkKeys.size() > kKeysKept) m_WorkKeys.pop_front();
        return OneIn(m_Random, 100) ? 2 : 1;
    };
}

void RandomModel::Run(std::uint64_t events) {
    while (m_Counts.Events < events) {
        // Short lives as well as long ones.
        const std::uint32_t longest = 10U << Draw(m_Random, 11);
        Live(std::min(events, m_Counts.Events + 1 + Draw(m_Random, longest)));
    }
}

std::unique_ptr<RandomModel::Life> RandomModel::NewLife() {
    std::shared_ptr<iOrvixDriver> driver = std::make_shared<cOrvixDriverNB1>(m_DriverServices);
    if (m_Apart) {
        driver = std::make_shared<platform::DriverProxy>(m_Host.Apartment, m_DriverHost.Apartment, std::move(driver));
    }
    return std::make_unique<Life>(*this, std::move(driver));
}

void RandomModel::Live(std::uint64_t end) {
    m_Life = NewLife();
    ++m_Lives;
    m_Life->Side.Adapter.NetRetry(1);
    AddDevices();
    SwitchOnline();
    m_Life->Acting->Rearm(1, true);
    m_World.Scheduler.RunUntil([&] { return m_Counts.Events >= end || m_Life->Side.Subscriber.ServerDestroyed; }, 24h);
    Close();
}

void RandomModel::Close() {
    AskToClose();
    const tests::RecordingEndpoint& subscriber = m_Life->Side.Subscriber;
    TaskLedger& ledger = m_Life->Ledger;
    if (!m_World.Scheduler.RunUntil([&] { return subscriber.ServerDestroyed; }, 2min))
        ledger.Violation("adapter did not close", "within two minutes");
    if (!m_Life->StartedAgain) ledger.RequireAllEnded("closing");
    ledger.ReleaseAll();
    m_Life.reset();
    m_World.Scheduler.RunFor(0ms);
    CheckEntriesAreGone();
}

void RandomModel::CheckEntriesAreGone() {
    for (const std::string& key : std::exchange(m_WorkKeys, {})) {
        const auto entry = m_Host.Messaging.CreateSharedEntry();
        if (Attempt([&] { entry->Open(key); })) ++m_Counts.Violations["entry left behind"];
    }
}

/// What a test would look at is thrown away.
void RandomModel::PassEvent() {
    ++m_Counts.Events;
    m_DriverHost.Line.Log.clear();
    for (tests::TestHost* host : {&m_Host, &m_Other}) {
        host->Reports.All.clear();
        host->Database.Opened.clear();
    }
}

tests::MeddledMessaging::Fate RandomModel::FateOf(const std::string&) {
    PassEvent();
    switch (Draw(m_Random, 50)) {
        case 0:
            return {0};
        case 1:
            return {2};
        case 2:
            return {1, 1ms + std::chrono::milliseconds(Draw(m_Random, 400))};
        case 3:
            return {2, 1ms + std::chrono::milliseconds(Draw(m_Random, 400))};
        default:
            return {};
    }
}

void RandomModel::AddDevices() {
    iOrvixAdapter& adapter = m_Life->Side.Adapter;
    for (const ModelDevice& device : kModelFleet) {
        if (adapter.Devices() && !adapter.Devices()->Exists(device.Address))
            adapter.DeviceAdd(device.Address, device.Model);
        if (!adapter.Devices() || !adapter.Devices()->Exists(device.Address)) return;
        Watch(*adapter.Devices()->Item(device.Address));
    }
    AddOfflineDevice();
}

/// A device from a file, which is read without an exchange.
void RandomModel::AddOfflineDevice() {
    iOrvixDevices& devices = *m_Life->Side.Adapter.Devices();
    std::string& file = m_Host.Stores.FileContents[kDeviceFile];
    if (file.empty()) file = BytesToText(devices.Item(kModelFleet[0].Address)->GetSuperState());
    devices.AddFromFile(kDeviceFile);
}

void RandomModel::Watch(iOrvixDevice& device) {
    const std::string address = device.Address();
    const auto* const known =
        std::ranges::find_if(kModelFleet, [&](const ModelDevice& it) { return it.Address == address; });
    const auto index = static_cast<std::size_t>(known - std::begin(kModelFleet));
    device.MonitorVar(MeasuredVariable(known->Model), kPolled, 0);
    device.Monitor(true);
    device.ConnectedEx(true);
    for (const auto& [key, record] : device.VarsEx())
        record->OnValid([this, index](VariableRecord& it) { Told(index, it); });
}

/// What is told as valid has been answered by that device. The host may do anything in return.
void RandomModel::Told(std::size_t device, VariableRecord& record) {
    PassEvent();
    if (record.Valid()) {
        const auto number = token::In(record.Value());
        if (!number || token::DeviceOf(*number) != device)
            m_Life->Ledger.Violation("value of no answer", record.Value().ToText());
        else if (token::IsPoll(*number))
            m_Life->Ledger.PollEnded(*number);
    }
    if (m_Depth >= kDeepest || !OneIn(m_Random, 20)) return;
    const Within within(m_Depth);
    const Within telling(m_Telling);
    DoSomething();
    if (OneIn(m_Random, 2)) WaitForATask();
}

void RandomModel::Act() {
    m_Life->Acting->Rearm(static_cast<std::int32_t>(1 + Draw(m_Random, OneIn(m_Random, 20) ? 500 : 30)), true);
    if (m_Depth >= kDeepest) return;
    PassEvent();
    m_Life->Side.Subscriber.Take();
    m_Life->Ledger.Sweep(m_Depth == 0);
    const Within within(m_Depth);
    DoSomething();
}

void RandomModel::DoSomething() {
    static constexpr struct {
        std::uint32_t Weight;
        void (RandomModel::*Do)();
    } kThings[] = {
        {300, &RandomModel::AskByEntry},   {100, &RandomModel::AskByMessage},     {150, &RandomModel::AskByObject},
        {10, &RandomModel::QueueAgain},    {20, &RandomModel::ChangeAddress},     {20, &RandomModel::WaitForATask},
        {20, &RandomModel::SwitchOnline},  {20, &RandomModel::ChangeSettings},    {10, &RandomModel::ChangeRetries},
        {5, &RandomModel::ExchangeDevice}, {2, &RandomModel::InitAgain},          {20, &RandomModel::SendForeign},
        {1, &RandomModel::AskToClose},     {5, &RandomModel::AskWithLockedEntry}, {10, &RandomModel::DoSomethingSoon},
    };
    static constexpr std::uint32_t kAll = [] {
        std::uint32_t all = 0;
        for (const auto& thing : kThings)
            all += thing.Weight;
        return all;
    }();
    std::uint32_t drawn = Draw(m_Random, kAll);
    const auto* thing = std::begin(kThings);
    while (drawn >= thing->Weight)
        drawn -= (thing++)->Weight;
    (this->*thing->Do)();
}

void RandomModel::WaitForATask() {
    const AskedTask* open = m_Life->Ledger.AnyOpen(m_Random);
    if (m_Depth > kDeepest || !open || !open->Entry) return;
    const auto entry = m_Host.Messaging.CreateSharedEntry();
    entry->Open(open->Entry->Name());
    // The adapter, on the same thread, must not wait for the lock when it ends the task.
    if (OneIn(m_Random, 4)) Attempt([&] { entry->Lock(); });
    const Within within(m_Depth);
    entry->WaitForCompletion(static_cast<std::int32_t>(1 + Draw(m_Random, 300)));
}

void RandomModel::SwitchOnline() {
    iOrvixAdapter& adapter = m_Life->Side.Adapter;
    adapter.OnLine(!adapter.OnLine());
}

void RandomModel::ChangeSettings() {
    iOrvixAdapter& adapter = m_Life->Side.Adapter;
    const auto interval = static_cast<std::int32_t>(100 + Draw(m_Random, 2000));
    switch (Draw(m_Random, 6)) {
        case 0:
            return adapter.IdleAllowed(!adapter.IdleAllowed());
        case 1:
            return adapter.IdleMsecs(interval);
        case 2:
            return adapter.IdleAfterErrorMsecs(interval);
        case 3:
            return adapter.PollingMSecs(interval);
        case 4:
            return adapter.MonitorNet(!adapter.MonitorNet());
        default:
            return adapter.MonitorVars(!adapter.MonitorVars());
    }
}

void RandomModel::ChangeRetries() {
    if (!DriverCanBeCalled()) return;
    const Within within(m_Depth);
    m_Life->Side.Adapter.NetRetry(static_cast<std::int32_t>(Draw(m_Random, 3)));
}

void RandomModel::ExchangeDevice() {
    iOrvixAdapter& adapter = m_Life->Side.Adapter;
    adapter.DeviceRemove(kModelFleet[Draw(m_Random, std::size(kModelFleet))].Address);
    AddDevices();
}

/// Ends every task that came before; one whose notification this happens in ends with its step.
void RandomModel::InitAgain() {
    if (!DriverCanBeCalled() || m_Life->Side.Subscriber.ServerDestroyed) return;
    m_Life->StartedAgain = m_Life->StartedAgain || m_Life->Closing;
    const Within within(m_Depth);
    // A message that is still under way is no task yet.
    m_Host.Apartment.PumpUntil([] { return false; }, Duration::zero());
    const std::uint64_t before = m_Counts.Events;
    PassEvent();
    Attempt([&] { m_Life->Side.Adapter.Init(); });
    if (m_Telling == 0) m_Life->Ledger.RequireEndedBefore(before, "Init");
    AddDevices();
}

void RandomModel::SendForeign() {
    static const std::string kMessages[] = {
        JoinFields({"TASKCOMPLETE", "0", ""}),
        JoinFields({"TASKCOMPLETE", NumberText(errors::Busy), "busy"}),
        JoinFields({"TASKCOMPLETE", "x", "no number"}),
        "TASKCOMPLETE",
        JoinFields({"SOCKETERROR", "10061", "foreign"}),
        "SOCKETERROR",
        "CONNECTED",
        "DISCONNECTED",
        "taskcomplete",
        "",
    };
    m_Meddled.SendForeign(kMessages[Draw(m_Random, std::size(kMessages))]);
}

/// In a message, which may come while the adapter waits for a driver elsewhere, at any of its waits.
void RandomModel::DoSomethingSoon() {
    DoAfterHops(m_Lives, Draw(m_Random, kMostHops));
}

void RandomModel::DoAfterHops(std::uint64_t life, std::uint32_t hops) {
    m_Host.Apartment.Post([this, life, hops] {
        if (!m_Life || m_Lives != life || m_Depth >= kDeepest) return;
        if (hops > 0) {
            m_DriverHost.Apartment.Post([this, life, hops] { DoAfterHops(life, hops - 1); });
            return;
        }
        PassEvent();
        const Within within(m_Depth);
        DoSomething();
    });
}

void RandomModel::AskToClose() {
    if (m_Life->Closing) return;
    tests::RecordingEndpoint& subscriber = m_Life->Side.Subscriber;
    subscriber.Endpoint().PeerName(m_Life->Side.Adapter.ServerIPCName());
    m_Life->Closing = m_Host.Apartment.CreateTimer([&subscriber] { subscriber.Endpoint().ClosePeer(); });
    m_Life->Closing->Rearm(kAskingToCloseMs, true);
    subscriber.Endpoint().ClosePeer();
}

}  // namespace orvix::soak
