// A whole bus in virtual time: host, adapter, driver, devices and a line with faults, and what must hold after every
// step whatever the order of events.
//
// Input: 'A' or 'a' for a driver in an apartment of its own, anything else for one in the host's; 'a' and ',' for a
// host that lets go of the adapter in the end without having it closed. Then steps of two characters, a letter from the
// table at the end and an argument, '0' to 'o' for 0 to 63. Other letters are passed over. Steps between two waits are
// done at once, by a timer of the host: so they may come in the middle of an exchange.

#include <algorithm>
#include <optional>

#include "adapter/cOrvixAdapterNB1.h"
#include "devices/iOrvixNB1Device.h"
#include "devices/protocol/basOrvixNB1.h"
#include "driver/cOrvixDriverNB1.h"
#include "fuzz/support/faulty_bus.h"
#include "fuzz/support/input.h"
#include "fuzz/support/require.h"
#include "missions/iOrvixNB1Mission.h"
#include "platform/driver_proxy.h"
#include "tasks/cOrvixTaskNB1.h"
#include "tests/support/test_host.h"

namespace orvix::fuzz {
namespace {

using std::chrono::milliseconds;
using std::chrono::minutes;
using std::chrono::seconds;

constexpr int kArguments = 64;
constexpr int kAddresses = 4;
constexpr int kMostSteps = 200;

/// Far beyond what any task may wait, with the longest pause after an error, a full queue and a dead line.
constexpr minutes kForEver{5};
/// An exchange under way ends within this, and with it the link.
constexpr seconds kLongestExchange{5};

class Bus {
public:
    explicit Bus(bool apart);
    ~Bus();
    Bus(const Bus&) = delete;
    Bus& operator=(const Bus&) = delete;

    /// The host does all steps.
    void Play(Input& input);
    /// The line is fine and time passes: everything is answered, the bus goes offline and closes.
    void End();
    /// The host lets go of the adapter as it is: everything is answered.
    void Abandon();

private:
    struct Request {
        std::unique_ptr<SharedEntry> Entry;
        std::string Address;
        Duration Since{0};
        std::optional<std::vector<ByteArray>> Results;  ///< once it is answered
    };
    struct StepRow;
    static const StepRow kSteps[];

    /// Patience of a task: how long it may take, and how long a character may.
    struct Times {
        std::int32_t Limit;
        std::int32_t Factor;
    };
    static constexpr Times kPatient{.Limit = 2000, .Factor = 10};
    static constexpr Times kImpatient{.Limit = 20, .Factor = 40};

    void Tick(Input& input, Timer& timer);
    void Step(const StepRow& row, int argument);

    // Steps; the argument is 0 to 63.
    template <FaultyBus::Fault Kind>
    void NextReply(int argument) {
        m_Line.NextReply(Kind, argument);
    }
    void HangUp(int) { m_Line.HungUp(true); }
    void Return(int) { m_Line.HungUp(false); }
    void Wait(int argument) { m_Pause = std::max(argument * argument, 1); }
    void OnLine(int argument) { m_Adapter.OnLine(argument % 2 != 0); }
    template <const Times& Patience>
    void Submit(int argument) {
        Submit(argument, Patience);
    }
    void Submit(int argument, const Times& times);
    void StopMission(int argument);
    void GiveUp(int argument);
    void AddDevice(int argument);
    void RemoveDevice(int argument) { m_Adapter.DeviceRemove(Address(argument)); }
    void MonitorDevice(int argument);
    void MonitorVars(int argument) { m_Adapter.MonitorVars(argument % 2 != 0); }
    void MonitorNet(int argument) { m_Adapter.MonitorNet(argument % 2 != 0); }
    void IdleAllowed(int argument) { m_Adapter.IdleAllowed(argument % 2 != 0); }
    void IdleTime(int argument) { m_Adapter.IdleMsecs(argument * 50); }
    void PauseAfterError(int argument) { m_Adapter.IdleAfterErrorMsecs(argument * 50); }
    void PollingTime(int argument) { m_Adapter.PollingMSecs(argument * 50); }
    void Retries(int argument) { m_Adapter.NetRetry(argument % 4); }
    void Port(int argument) { m_Adapter.PortAddress(std::to_string(argument % 3)); }
    void DebugMode(int argument) { m_Adapter.DebugMode(argument % 2 != 0); }
    void Close(int) { m_Subscriber.Endpoint().ClosePeer(); }

    static std::string Address(int argument) { return std::to_string(argument % kAddresses + 1); }
    iOrvixDevice* Device(const std::string& address);
    void Run(Duration time) { m_World.Scheduler.RunFor(time); }
    bool RunUntil(const std::function<bool()>& done) { return m_World.Scheduler.RunUntil(done, kForEver); }

    // What must hold.
    void Check();
    void CheckRequest(Request& request);
    void CheckPayload(const Request& request);
    void CheckDevices();
    void CheckLink();
    bool AllAnswered() const;

    tests::World m_World;
    tests::TestHost m_Host{m_World, 1};
    tests::TestHost m_Other{m_World, 2};
    tests::TestHost& m_DriverHost;
    FaultyBus m_Line{m_DriverHost.Line};
    tests::RecordingEndpoint m_Subscriber{m_Host.Messaging, "HOST", ""};
    std::optional<cOrvixAdapterNB1> m_Object{m_Host.Services};
    iOrvixAdapter& m_Adapter{*m_Object};
    std::vector<Request> m_Requests;
    std::optional<Duration> m_OfflineSince{Duration(0)};
    int m_Steps = 0;
    std::int32_t m_Pause = 0;  ///< until the next steps, in milliseconds
    bool m_Done = false;
};

Bus::Bus(bool apart) : m_DriverHost(apart ? m_Other : m_Host) {
    std::shared_ptr<iOrvixDriver> driver = std::make_shared<cOrvixDriverNB1>(m_DriverHost.Services);
    if (apart) driver = std::make_shared<platform::DriverProxy>(m_Host.Apartment, m_Other.Apartment, std::move(driver));
    m_Adapter.SubscriberIPCName("HOST");
    m_Adapter.Driver(std::move(driver));
    m_Adapter.PortType(2);
    m_Adapter.PortAddress("3");
    m_Adapter.Init();
    m_Subscriber.Endpoint().PeerName(m_Adapter.ServerIPCName());
}

/// The driver goes on its own thread, some messages later.
Bus::~Bus() {
    m_Object.reset();
    Run(Duration(0));
}

void Bus::Submit(int argument, const Times& times) {
    static constexpr ORVIXCNB1_VARS kVariables[] = {ORVIXCNB1_VAR_TEMPERATURE, ORVIXCNB1_VAR_SERIAL_NUMBER,
                                                    ORVIXCNB1_VAR_INPUTBYTE, ORVIXCNB1_VAR_STATUS};
    Request request{m_Host.Messaging.CreateSharedEntry(), Address(argument), m_World.Scheduler.Now(), {}};
    const iOrvixDevice* const device = Device(request.Address);
    cOrvixTaskNB1 object(m_Host.Services);
    iOrvixTaskNB1& task = object;
    task.DeviceAddress(request.Address);
    task.DeviceModel(device != nullptr ? device->DeviceModel() : kTemperatureSensorModel);
    task.TimeoutInterval(times.Limit);
    task.NetTimeoutInterval(times.Factor);
    task.GetVar(kVariables[argument / kAddresses % 4]);
    request.Entry->Create("");
    request.Entry->Data().ArgumentList.push_back(task.GetSuperState());
    m_Adapter.NewWork(request.Entry->Name(), argument / (kArguments / 2));
    m_Requests.push_back(std::move(request));
}

void Bus::StopMission(int argument) {
    auto* const device = dynamic_cast<iOrvixNB1Device*>(Device(Address(argument)));
    if (device == nullptr) return;
    Request request{m_Host.Messaging.CreateSharedEntry(), Address(argument), m_World.Scheduler.Now(), {}};
    device->Mission().Terminate(*request.Entry);
    m_Requests.push_back(std::move(request));
}

/// The host no longer wants the answer.
void Bus::GiveUp(int argument) {
    if (!m_Requests.empty()) {
        m_Requests.erase(m_Requests.begin() + argument % static_cast<std::ptrdiff_t>(m_Requests.size()));
    }
}

void Bus::AddDevice(int argument) {
    const bool digital = argument / kAddresses % 2 != 0;
    m_Adapter.DeviceAdd(Address(argument), digital ? kDigitalModuleModel : kTemperatureSensorModel);
}

void Bus::MonitorDevice(int argument) {
    iOrvixDevice* const device = Device(Address(argument));
    if (device == nullptr) return;
    device->ConnectedEx(true);
    device->Monitor(argument / kAddresses % 2 == 0);
    device->MonitorVar(device->DefaultVar()->VarID(), 1, argument * 10);
}

iOrvixDevice* Bus::Device(const std::string& address) {
    const iOrvixDevices* const devices = m_Adapter.Devices();
    return devices != nullptr && devices->Exists(address) ? devices->Item(address).get() : nullptr;
}

void Bus::Check() {
    for (Request& request : m_Requests)
        CheckRequest(request);
    CheckDevices();
    CheckLink();
}

void Bus::CheckRequest(Request& request) {
    const SharedData& data = request.Entry->Data();
    if (request.Results) {
        Require(data.ResultList == *request.Results, "a task is answered once");
    } else if (request.Entry->WaitForCompletion(0)) {
        Require(data.ResultList.size() == 1, "an answer is one result");
        request.Results = data.ResultList;
        CheckPayload(request);
    } else {
        Require(data.ResultList.empty(), "a result completes its task");
        Require(m_World.Scheduler.Now() - request.Since < kForEver, "no task waits for ever");
    }
}

void Bus::CheckPayload(const Request& request) {
    cOrvixTaskNB1 object(m_Host.Services);
    iOrvixTaskNB1& task = object;
    task.SetSuperState(request.Results->front());
    const bool succeeded = task.e() == errors::None;
    Require(succeeded == request.Entry->Succeeded(), "entry and task agree on success");
    Require(task.DeviceAddress() == request.Address, "an answer is that of the device asked");
    if (!succeeded) return;
    Require(task.RtnArgs().size() == 1, "a success brings one payload");
    Require(m_Line.HasSent(request.Address, task.RtnArgs().front().ToText()), "a payload was sent by its device");
}

/// A record of a valid reading holds what its device has sent.
void Bus::CheckDevices() {
    const iOrvixDevices* const devices = m_Adapter.Devices();
    if (devices == nullptr) return;
    for (const auto& device : devices->NewEnum()) {
        const auto record = device->DefaultVar();
        if (!record->Valid()) continue;
        const Variant& value = record->Value();
        const std::string payload = value.As<float>() != nullptr ? RealToBytes(value.ToSingle()) : value.ToText();
        Require(m_Line.HasSent(device->Address(), payload), "a valid value was sent by its device");
    }
}

void Bus::CheckLink() {
    const Duration now = m_World.Scheduler.Now();
    if (m_Adapter.OnLine()) {
        m_OfflineSince.reset();
    } else if (!m_OfflineSince) {
        m_OfflineSince = now;
    } else if (now - *m_OfflineSince > kLongestExchange) {
        Require(!m_DriverHost.Line.Open, "offline, the port is closed");
        Require(!m_Adapter.Networking() && !m_Object->Busy(), "offline, nothing is in use");
    }
}

bool Bus::AllAnswered() const {
    return std::ranges::all_of(m_Requests, [](const Request& it) { return it.Entry->WaitForCompletion(0); });
}

void Bus::End() {
    m_Line.Mend();
    MonitorVars(0);
    MonitorNet(0);
    if (!m_Subscriber.ServerDestroyed && !m_Subscriber.Endpoint().PeerIsClosing()) OnLine(1);
    Require(RunUntil([&] { return AllAnswered(); }), "on a line that is fine every task is answered");
    Require(RunUntil([&] { return !m_Object->Busy(); }), "a bus with nothing to do is not busy");
    Check();
    OnLine(0);
    Run(kLongestExchange + seconds(1));
    m_OfflineSince = Duration(0);
    Check();
    Require(m_Subscriber.ClosePeer(m_Host, kForEver), "a bus closes when asked");
    Require(m_Adapter.Driver() == nullptr, "a closed bus has released its driver");
    Check();
}

void Bus::Abandon() {
    m_Object.reset();
    Require(AllAnswered(), "an adapter that goes answers every task");
    for (Request& request : m_Requests)
        CheckRequest(request);
}

struct Bus::StepRow {
    char Letter;
    void (Bus::*Run)(int argument);
    bool WaitsForDriver = false;  ///< the host's thread stands until the driver's has done it
};

const Bus::StepRow Bus::kSteps[] = {
    // Of the line: what becomes of the next reply; hang-up and return.
    {'g', &Bus::NextReply<FaultyBus::Fault::None>},
    {'l', &Bus::NextReply<FaultyBus::Fault::Late>},
    {'c', &Bus::NextReply<FaultyBus::Fault::Cut>},
    {'f', &Bus::NextReply<FaultyBus::Fault::Flipped>},
    {'d', &Bus::NextReply<FaultyBus::Fault::Doubled>},
    {'n', &Bus::NextReply<FaultyBus::Fault::Missing>},
    {'r', &Bus::NextReply<FaultyBus::Fault::Refused>},
    {'h', &Bus::HangUp},
    {'b', &Bus::Return},
    // Time: the argument's square in milliseconds.
    {'t', &Bus::Wait},
    // Of the host.
    {'O', &Bus::OnLine},
    {'T', &Bus::Submit<Bus::kPatient>},
    {'U', &Bus::Submit<Bus::kImpatient>},
    {'S', &Bus::StopMission},
    {'X', &Bus::GiveUp},
    {'D', &Bus::AddDevice},
    {'R', &Bus::RemoveDevice},
    {'M', &Bus::MonitorDevice},
    {'V', &Bus::MonitorVars},
    {'N', &Bus::MonitorNet},
    {'I', &Bus::IdleAllowed},
    {'J', &Bus::IdleTime},
    {'E', &Bus::PauseAfterError},
    {'Y', &Bus::PollingTime},
    {'Z', &Bus::Retries, true},
    {'P', &Bus::Port, true},
    {'B', &Bus::DebugMode, true},
    {'Q', &Bus::Close},
};

void Bus::Play(Input& input) {
    std::unique_ptr<Timer> timer;
    timer = m_Host.Apartment.CreateTimer([&] { Tick(input, *timer); });
    timer->Rearm(1, true);
    Require(m_World.Scheduler.RunUntil([this] { return m_Done; }, std::chrono::hours(24)), "the host gets its turn");
}

void Bus::Tick(Input& input, Timer& timer) {
    // What a step waits for must not bring the next steps.
    timer.Enabled(false);
    m_Pause = 0;
    while (m_Pause == 0 && m_Steps < kMostSteps && !input.Empty()) {
        const char letter = static_cast<char>(input.Byte());
        const int argument = (input.Byte() - '0') & (kArguments - 1);
        const auto* const row = std::ranges::find(kSteps, letter, &StepRow::Letter);
        if (row != std::end(kSteps)) Step(*row, argument);
        ++m_Steps;
    }
    m_Done = m_Pause == 0;
    if (!m_Done) timer.Rearm(m_Pause, true);
}

void Bus::Step(const StepRow& row, int argument) {
    // In virtual time nobody can wait for a thread that waits for its line.
    if (row.WaitsForDriver && m_DriverHost.Line.Waiting) return;
    Accepts([&] { (this->*row.Run)(argument); });
    Check();
}

}  // namespace
}  // namespace orvix::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace orvix::fuzz;
    Input input(data, size);
    const char setting = static_cast<char>(input.Byte());
    Bus bus(setting == 'A' || setting == 'a');
    bus.Play(input);
    if (setting == 'a' || setting == ',') {
        bus.Abandon();
    } else {
        bus.End();
    }
    return 0;
}
