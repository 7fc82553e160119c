#include "soak/soak_bus.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "devices/protocol/device_models.h"
#include "host/text.h"

namespace orvix::soak {

namespace {

using namespace std::chrono_literals;

constexpr Duration kLongestAnswer = 2min;
constexpr Duration kLongestSilence = 1min;
constexpr std::int32_t kPolled = 1;

/// The first line of a report, without the device file and without the places that it has passed.
std::string KindOf(std::string report) {
    for (const char* bracket : {" (PlexaERR.", " (OrvixNimbo1Lib.", "\r"})
        report.resize(std::min(report.find(bracket), report.size()));
    const auto file = report.find(" (/");
    if (file != std::string::npos) report.erase(file, report.find(')', file) + 1 - file);
    return report;
}

}  // namespace

SoakBus::SoakBus(const Services& services, std::shared_ptr<iOrvixDriver> driver, std::uint32_t seed, Counts& counts)
    : m_Services(services),
      m_Random(seed),
      m_Counts(counts),
      m_Side(services, "SOAK", std::move(driver)),
      m_LastReading(services.Apartment.Now()),
      m_Timer(services.Apartment.CreateTimer([this] { Act(); })) {
    for (const Measurement& device : kFleet)
        Watch(device);
    iOrvixAdapter& adapter = m_Side.Adapter;
    adapter.NetRetry(1);
    adapter.PollingMSecs(2000);
    adapter.IdleMsecs(500);
    adapter.OnLine(true);
    adapter.MonitorVars(true);
    m_Timer->Rearm(100, true);
}

void SoakBus::Watch(const Measurement& device) {
    const auto added = m_Side.Adapter.DeviceAdd(NumberText(device.Address), device.Model);
    const std::int32_t variable = MeasuredVariable(device.Model);
    added->MonitorVar(variable, kPolled, 0);
    added->Monitor(true);
    added->ConnectedEx(true);
    added->VarsEx().Item(NumberText(variable))->OnValid([this, device](VariableRecord& record) {
        if (!record.Valid()) return;
        const Duration now = m_Services.Apartment.Now();
        ++m_Counts.Readings;
        m_LastReading = m_ReadAt[device.Address] = now;
        if (device.Fits(record.Value(), now)) return;
        ++m_Counts.WrongValues;
        std::fprintf(stderr, "wrong value of device %d: %s\n", device.Address, record.Value().ToText().c_str());
    });
}

/// One thing that a host does, and a look at what has come of the earlier ones. Nothing here may wait for a driver in
/// another apartment: in virtual time that one may be within an exchange.
void SoakBus::Act() {
    iOrvixAdapter& adapter = m_Side.Adapter;
    switch (Draw(m_Random, 100)) {
        case 0:
            adapter.OnLine(false);
            break;
        case 1:
            adapter.IdleAllowed(!adapter.IdleAllowed());
            break;
        case 2:
            adapter.PollingMSecs(static_cast<std::int32_t>(500 + Draw(m_Random, 3000)));
            break;
        case 3:
            adapter.IdleAfterErrorMsecs(static_cast<std::int32_t>(100 + Draw(m_Random, 4000)));
            break;
        default:
            if (!adapter.OnLine()) adapter.OnLine(true);
            Ask();
    }
    Listen();
    Sweep();
    // A digital module's answer ends its polling.
    for (const Measurement& device : kFleet) {
        const auto variable = NumberText(std::int32_t{MeasuredVariable(device.Model)});
        adapter.Devices()->Item(NumberText(device.Address))->VarsEx().Item(variable)->MonitorFlag(kPolled);
    }
    m_Timer->Rearm(static_cast<std::int32_t>(50 + Draw(m_Random, 1500)), true);
}

/// Now and then several ask for the same thing, or for a device that is not there.
void SoakBus::Ask() {
    constexpr int kTimeouts[] = {40, 2000, 20000};
    const Measurement device =
        Draw(m_Random, 50) == 0 ? Measurement{77, 106} : kFleet[Draw(m_Random, std::size(kFleet))];
    for (std::uint32_t copies = Draw(m_Random, 10) == 0 ? 3 : 1; copies > 0; --copies) {
        const int timeout = kTimeouts[Draw(m_Random, std::size(kTimeouts))];
        const auto priority = static_cast<std::int32_t>(Draw(m_Random, 2));
        const auto variable = MeasuredVariable(device.Model);
        m_Asked.push_back({m_Side.Ask(NumberText(device.Address), device.Model, variable, 10, timeout, priority),
                           device.Address, m_Services.Apartment.Now()});
        ++m_Counts.Tasks;
    }
}

void SoakBus::Sweep() {
    const Duration now = m_Services.Apartment.Now();
    std::erase_if(m_Asked, [&](const Asked& asked) {
        const bool answered = asked.Entry->WaitForCompletion(0);
        if (answered) CheckAnswer(asked);
        const bool lost = !answered && now - asked.When > kLongestAnswer;
        if (lost) ++m_Counts.LostTasks;
        return answered || lost;
    });
    if (now - m_LastReading > kLongestSilence) {
        ++m_Counts.Stalls;
        m_LastReading = now;
    }
}

/// A task that has succeeded has brought a reading of its own device.
void SoakBus::CheckAnswer(const Asked& asked) {
    if (!asked.Entry->Succeeded()) {
        ++m_Counts.Errors["task: " + KindOf(asked.Entry->Data().eDescr)];
    } else if (m_ReadAt[asked.Address] < asked.When) {
        ++m_Counts.WrongAnswers;
    }
}

void SoakBus::Listen() {
    constexpr std::string_view kDriverError = "Driver error ";
    for (const auto& message : m_Side.Subscriber.Take()) {
        const auto text = message.find(" - ");
        if (message.starts_with(kDriverError) && text != std::string::npos) {
            ++m_Counts.Errors["driver: " + KindOf(message.substr(text + 3))];
        } else if (message.starts_with("ERROR")) {
            ++m_Counts.Errors["adapter: " + KindOf(message)];
        }
    }
}

void SoakBus::Finish() {
    m_Timer->Enabled(false);
    m_Services.Apartment.PumpUntil(
        [this] {
            Sweep();
            return m_Asked.empty();
        },
        kLongestAnswer);
    m_Counts.LostTasks += m_Asked.size();
    m_Asked.clear();
    const auto closing = m_Services.Apartment.CreateTimer([this] {
        if (!m_Side.Subscriber.Endpoint().PeerIsClosing()) m_Side.Subscriber.Endpoint().ClosePeer();
    });
    closing->Rearm(20, true);
    if (!m_Services.Apartment.PumpUntil([this] { return m_Side.Subscriber.ServerDestroyed; }, 1min))
        ++m_Counts.NotClosed;
}

}  // namespace orvix::soak
