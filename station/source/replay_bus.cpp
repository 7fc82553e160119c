#include "station/source/replay_bus.h"

#include <algorithm>
#include <array>
#include <utility>

#include "devices/protocol/frame.h"

namespace orvix::station {
namespace {

constexpr std::chrono::seconds kLookAhead{10};
constexpr std::chrono::seconds kLongestClose{20};

/// For each address, how many others were asked first: the order in which the devices of a bus were read.
std::array<int, 256> TurnsOf(const std::vector<LineEvent>& events) {
    constexpr int kNever = 1000;
    std::array<int, 256> turns;
    turns.fill(kNever);
    int turn = 0;
    for (const auto& event : events) {
        if (event.What != LineEvent::Kind::Sent) continue;
        const auto request = ParseRequest(event.Bytes);
        if (!request) continue;
        auto& first = turns.at(static_cast<std::size_t>(request->address));
        if (first == kNever) first = turn++;
    }
    return turns;
}

/// The bus as it was used, its devices in the order in which they were read: the library has an order of its own.
std::vector<RecordedSetup> SetupsOf(const RecordedBus& recorded) {
    const auto turns = TurnsOf(recorded.Events);
    auto setups = recorded.Setups;
    for (auto& [time, setup] : setups) {
        std::stable_sort(setup.Devices.begin(), setup.Devices.end(), [&](const DeviceSetup& a, const DeviceSetup& b) {
            return turns.at(static_cast<std::size_t>(a.Address)) < turns.at(static_cast<std::size_t>(b.Address));
        });
    }
    return setups;
}

std::int64_t InMilliseconds(Duration time) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(time).count();
}

}  // namespace

ReplayBus::ReplayBus(Station& station, const RecordingHeader& header, const RecordedBus& recorded, Listener& listener)
    : m_StartedUnixMilliseconds(header.StartedUnixMilliseconds),
      m_Setups(SetupsOf(recorded)),
      m_Listener(listener),
      m_Scheduler(FromUnixMilliseconds(m_StartedUnixMilliseconds + InMilliseconds(m_Setups[0].Time))),
      m_Line(recorded.Events, m_Setups[0].Time, kLookAhead + 2 * m_Setups[0].Setup.Every, m_Apartment,
             [this](const LineEvent& event) { TakeEvent(event); }),
      m_Services(station.ServicesFor(m_Setups[0].Setup), m_Apartment, m_Line),
      m_Bus(station.Library, m_Services, m_Setups[0].Setup, *this) {
    m_Apartment.Post([this] { m_Bus.Poll(); });
}

ReplayBus::~ReplayBus() {
    bool closed = false;
    Attempt([&] {
        m_Bus.Close([&] { closed = true; });
        m_Scheduler.RunUntil([&] { return closed; }, kLongestClose);
    });
}

void ReplayBus::RunUntil(Duration time) {
    const auto end = time - m_Setups[0].Time;
    while (m_Scheduler.Now() < end && !Over()) {
        if (IsChangeDue()) Change();
        // Time goes on in leaps, and each request that is matched may bring the change closer.
        const auto stop = std::min(end, ChangeTime());
        m_Scheduler.RunUntil([&] { return Over() || ChangeTime() < stop; }, stop - m_Scheduler.Now());
    }
}

Duration ReplayBus::ChangeTime() const {
    if (m_NextSetup == m_Setups.size()) return Duration::max();
    return m_Scheduler.Now() + (m_Setups[m_NextSetup].Time - m_Line.RecordedNow());
}

bool ReplayBus::IsRemoved(int address) const {
    if (!IsChangeDue()) return false;
    const auto& devices = m_Setups[m_NextSetup].Setup.Devices;
    return std::none_of(devices.begin(), devices.end(),
                        [&](const DeviceSetup& device) { return device.Address == address; });
}

void ReplayBus::Change() {
    const auto& before = m_Setups[m_NextSetup - 1].Setup;
    const auto changes = ChangesBetween(before.Devices, m_Setups[m_NextSetup++].Setup.Devices);
    for (const auto address : changes.Removed)
        m_Listener.OnDeviceGone(IdOf(before.PortLabel, address));
    m_Apartment.Post([this, changes] { m_Bus.Devices(changes); });
}

void ReplayBus::TakeEvent(LineEvent event) {
    event.Port = m_Setups[0].Setup.PortLabel;
    m_Services.OnLine(event);
}

void ReplayBus::OnReading(const Reading& told) {
    if (Over() || IsRemoved(told.Address)) return;
    auto reading = told;
    reading.UnixMilliseconds = m_StartedUnixMilliseconds + InMilliseconds(m_Line.RecordedNow());
    m_Listener.OnReading(reading);
}

void ReplayBus::OnTrouble(const std::string& port, const Failure& failure) {
    if (!Over()) m_Listener.OnTrouble(port, failure);
}

}  // namespace orvix::station
