// Messages of strangers on the channels of adapter and driver.
//
// Input: steps, each a letter from the table at the end and an argument: a line of text, or for the entries' states a
// byte that tells a length and so many bytes. '1F' between the fields of a message is its field separator.

#include <algorithm>

#include "adapter/cOrvixAdapterNB1.h"
#include "devices/protocol/basOrvixNB1.h"
#include "driver/cOrvixDriverNB1.h"
#include "fuzz/support/input.h"
#include "fuzz/support/require.h"
#include "host/property_bag.h"
#include "host/text.h"
#include "tests/support/fake_driver.h"
#include "tests/support/test_host.h"

namespace orvix::fuzz {
namespace {

using std::chrono::milliseconds;
using std::chrono::minutes;

constexpr char kEntry[] = "E";
constexpr std::size_t kMostSteps = 100;
constexpr minutes kForEver{5};

/// An adapter whose driver, and a driver whose adapter, says whatever the input has them say.
class Strangers {
public:
    Strangers();

    bool Step(Input& input);
    /// Whatever has been said, both still do what they are asked and close.
    void End();

private:
    struct StepRow;
    static const StepRow kSteps[];

    void AdapterHears(Input& input) { m_Driver->Send(input.Line()); }
    void AdapterHearsProgress(Input& input) {
        const std::string text = input.Line();
        m_Driver->Peer.Endpoint().SendProgress(text, static_cast<std::int32_t>(text.size()), -1, 1);
    }
    void AdapterHearsHost(Input& input) { m_Host.Endpoint().SendCustomMessage(input.Line()); }
    void AdapterGetsWork(Input& input) { m_Host.Endpoint().SendNewWork(input.Line()); }
    void DriverHears(Input& input) { m_Stranger.Endpoint().SendCustomMessage(input.Line()); }
    void DriverGetsWork(Input& input) { m_Stranger.Endpoint().SendNewWork(input.Line()); }
    void FillEntry(Input& input) { m_Entry->Data().ArgumentList.assign(1, TextToBytes(input.Piece())); }
    void FillEntryWrapped(Input& input);
    void ClearEntry(Input&) { m_Entry->Data().ArgumentList.clear(); }
    void FillResult(Input& input);
    void Submit(Input&);
    void Wait(Input& input) { Run(milliseconds(10 * input.Byte())); }

    std::unique_ptr<SharedEntry> NewReading();
    void Run(Duration time) { m_World.Scheduler.RunFor(time); }
    bool RunUntil(const std::function<bool()>& done) { return m_World.Scheduler.RunUntil(done, kForEver); }

    tests::World m_World;
    tests::TestHost m_Home{m_World};
    tests::RecordingEndpoint m_Host{m_Home.Messaging, "HOST", ""};
    std::shared_ptr<tests::FakeDriver> m_Driver = std::make_shared<tests::FakeDriver>(m_Home);
    cOrvixAdapterNB1 m_AdapterObject{m_Home.Services};
    iOrvixAdapter& m_Adapter = m_AdapterObject;
    cOrvixDriverNB1 m_RealDriver{m_Home.Services};
    tests::RecordingEndpoint m_Stranger{m_Home.Messaging, "STRANGER", ""};
    std::unique_ptr<SharedEntry> m_Entry = m_Home.Messaging.CreateSharedEntry();
    std::vector<std::unique_ptr<SharedEntry>> m_Tasks;
};

Strangers::Strangers() {
    m_Adapter.SubscriberIPCName("HOST");
    m_Adapter.Driver(m_Driver);
    m_Adapter.PortType(2);
    m_Adapter.PortAddress("3");
    m_Adapter.Init();
    m_Adapter.DeviceAdd("5", kTemperatureSensorModel);
    m_Adapter.OnLine(true);
    m_Host.Endpoint().PeerName(m_Adapter.ServerIPCName());
    iOrvixDriver& driver = m_RealDriver;
    driver.SubscriberIPCName("STRANGER");
    driver.PortType(2);
    driver.PortAddress("3");
    m_Stranger.Endpoint().PeerName(driver.ServerIPCName());
    m_Entry->Create(kEntry);
}

void Strangers::FillEntryWrapped(Input& input) {
    PropertyBag bag;
    bag.WriteProperty("State", TextToBytes(input.Piece()));
    m_Entry->Data().ArgumentList.assign(1, bag.Contents());
}

/// Into the work that the adapter has handed over last.
void Strangers::FillResult(Input& input) {
    const ByteArray result = TextToBytes(input.Piece());
    const auto keys = m_Driver->TakeWork();
    if (keys.empty()) return;
    const auto entry = m_Home.Messaging.CreateSharedEntry();
    if (Accepts([&] { entry->Open(keys.back()); })) entry->Data().ResultList.push_back(result);
}

std::unique_ptr<SharedEntry> Strangers::NewReading() {
    cOrvixTaskNB1 object(m_Home.Services);
    iOrvixTaskNB1& task = object;
    task.DeviceAddress("5");
    task.DeviceModel(kTemperatureSensorModel);
    task.Cmd(std::string("\x0B\0", 2));
    task.GetVar(ORVIXCNB1_VAR_TEMPERATURE);
    auto entry = m_Home.Messaging.CreateSharedEntry();
    entry->Create("");
    entry->Data().ArgumentList.push_back(task.GetSuperState());
    return entry;
}

void Strangers::Submit(Input&) {
    m_Tasks.push_back(NewReading());
    m_Adapter.NewWork(m_Tasks.back()->Name(), 0);
}

void Strangers::End() {
    const auto answered = [](const auto& entry) { return entry->WaitForCompletion(0); };
    Require(RunUntil([&] { return std::ranges::all_of(m_Tasks, answered); }), "every task is answered");
    for (const auto& entry : m_Tasks)
        Require(entry->Data().ResultList.size() == 1, "a task is answered once");
    Require(m_Host.ClosePeer(m_Home, kForEver), "the adapter closes when asked");

    const auto work = NewReading();
    m_Stranger.Endpoint().SendNewWork(work->Name());
    Require(RunUntil([&] { return work->Data().Processed; }), "the driver does its work");
    Require(m_Stranger.ClosePeer(m_Home, kForEver), "the driver closes when asked");
}

struct Strangers::StepRow {
    char Letter;
    void (Strangers::*Run)(Input& input);
};

const Strangers::StepRow Strangers::kSteps[] = {
    {'A', &Strangers::AdapterHears},     {'P', &Strangers::AdapterHearsProgress},
    {'H', &Strangers::AdapterHearsHost}, {'N', &Strangers::AdapterGetsWork},
    {'D', &Strangers::DriverHears},      {'W', &Strangers::DriverGetsWork},
    {'E', &Strangers::FillEntry},        {'S', &Strangers::FillEntryWrapped},
    {'C', &Strangers::ClearEntry},       {'R', &Strangers::FillResult},
    {'T', &Strangers::Submit},           {'w', &Strangers::Wait},
};

bool Strangers::Step(Input& input) {
    if (input.Empty()) return false;
    const auto* const row = std::ranges::find(kSteps, static_cast<char>(input.Byte()), &StepRow::Letter);
    if (row != std::end(kSteps)) (this->*row->Run)(input);
    Run(Duration(0));
    return true;
}

}  // namespace
}  // namespace orvix::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace orvix::fuzz;
    Input input(data, size);
    Strangers strangers;
    for (std::size_t step = 0; step < kMostSteps && strangers.Step(input); ++step) {
    }
    strangers.End();
    return 0;
}
