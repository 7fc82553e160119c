#include "station/recording/replay_bus.h"

#include <algorithm>
#include <array>
#include <utility>

#include "devices/protocol/frame.h"

namespace orvix::station {
namespace {

constexpr std::chrono::seconds kLookAhead{10};
constexpr std::chrono::seconds kLongestClose{20};

std::vector<LineEvent> EventsOfBus(const Recording& recording, std::size_t index) {
    std::vector<LineEvent> events;
    for (const auto& recorded : recording.Events) {
        if (recorded.Bus == index) events.push_back(recorded.Event);
    }
    return events;
}

/// The bus as it was used, its devices in the order in which they were read: the library has an order of its own.
BusSetup SetupOf(const Recording& recording, std::size_t index) {
    auto setup = recording.Header.Buses[index];
    constexpr int kNever = 1000;
    std::array<int, 256> turns;
    turns.fill(kNever);
    int turn = 0;
    for (const auto& recorded : recording.Events) {
        if (recorded.Bus != index || recorded.Event.What != LineEvent::Kind::Sent) continue;
        const auto request = ParseRequest(recorded.Event.Bytes);
        if (!request) continue;
        auto& first = turns.at(static_cast<std::size_t>(request->address));
        if (first == kNever) first = turn++;
    }
    std::stable_sort(setup.Devices.begin(), setup.Devices.end(), [&](const DeviceSetup& a, const DeviceSetup& b) {
        return turns.at(static_cast<std::size_t>(a.Address)) < turns.at(static_cast<std::size_t>(b.Address));
    });
    return setup;
}

}  // namespace

ReplayBus::ReplayBus(Station& station, const Recording& recording, std::size_t index, ReplayEvents events)
    : m_StartedUnixMilliseconds(recording.Header.StartedUnixMilliseconds),
      m_Scheduler(FromUnixMilliseconds(m_StartedUnixMilliseconds)),
      m_Line(EventsOfBus(recording, index), kLookAhead + 2 * recording.Header.Buses[index].Every, m_Apartment),
      m_Services(station.ServicesFor(recording.Header.Buses[index], nullptr), m_Apartment, m_Line),
      m_Bus(station.Library, m_Services, SetupOf(recording, index), EventsOf(std::move(events))) {
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
    if (time > m_Scheduler.Now()) m_Scheduler.RunUntil([this] { return Over(); }, time - m_Scheduler.Now());
}

BusEvents ReplayBus::EventsOf(ReplayEvents events) {
    return {
        .OnReading =
            [this, tell = std::move(events.OnReading)](Reading reading) {
                const auto recorded = std::chrono::duration_cast<std::chrono::milliseconds>(m_Line.RecordedNow());
                reading.UnixMilliseconds = m_StartedUnixMilliseconds + recorded.count();
                if (!Over()) tell(reading);
            },
        .OnTrouble =
            [this, tell = std::move(events.OnTrouble)](const Failure& failure) {
                if (!Over()) tell(m_Services.Setup().PortLabel, failure);
            },
        .OnMessage = [](const std::string&) {},
        .OnLine = nullptr,
    };
}

}  // namespace orvix::station
