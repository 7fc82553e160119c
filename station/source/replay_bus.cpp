#include "station/source/replay_bus.h"

#include <algorithm>
#include <set>
#include <utility>
#include <vector>

#include "devices/protocol/frame.h"

namespace orvix::station {
namespace {

constexpr std::chrono::seconds kLongestClose{20};

/// How far from its time a request is looked for.
Duration LookAheadOf(const BusSetup& setup) {
    return std::chrono::seconds(10) + 2 * setup.Every;
}

/// Devices in the order in which they were asked from a time on: the library has an order of its own.
std::vector<DeviceSetup> InOrderOfTurns(std::vector<DeviceSetup> devices, RecordedEvents& events, Duration until) {
    auto rest = devices.begin();
    for (std::size_t place = 0; rest != devices.end(); ++place) {
        const auto* event = events.Ahead(place, until);
        if (event == nullptr) break;
        if (event->What != LineEvent::Kind::Sent) continue;
        const auto request = ParseRequest(event->Bytes);
        const auto asked = std::find_if(rest, devices.end(), [&](const DeviceSetup& device) {
            return request && device.Address == request->address;
        });
        if (asked == devices.end()) continue;
        std::rotate(rest, asked, asked + 1);
        ++rest;
    }
    return devices;
}

BusSetup AsUsed(BusSetup setup, RecordedEvents& events, Duration began) {
    setup.Devices = InOrderOfTurns(std::move(setup.Devices), events, began + LookAheadOf(setup));
    return setup;
}

std::int64_t InMilliseconds(Duration time) {
    return std::chrono::round<std::chrono::milliseconds>(time).count();
}

}  // namespace

ReplayBus::ReplayBus(StationResources& station, const BusSetup& setup, RecordedEvents& events, Duration began,
                     std::int64_t startedUnixMilliseconds, TellThen tell)
    : m_StartedUnixMilliseconds(startedUnixMilliseconds),
      m_Events(events),
      m_Tell(std::move(tell)),
      m_Scheduler(FromUnixMilliseconds(startedUnixMilliseconds + InMilliseconds(began))),
      m_Line(events, began, LookAheadOf(setup), m_Apartment,
             [this, port = setup.PortLabel](LineEvent event) {
                 event.Port = port;
                 m_Services.OnLine(event);
             }),
      m_Services(station.ServicesFor(setup), m_Apartment, m_Line),
      m_Bus(station.Library, m_Services, AsUsed(setup, events, began), *this) {}

ReplayBus::~ReplayBus() {
    ReplayBus::Close();
}

void ReplayBus::Close() {
    if (std::exchange(m_IsClosed, true)) return;
    bool closed = false;
    Attempt([&] {
        m_Bus.Close([&] { closed = true; });
        m_Scheduler.RunUntil([&] { return closed; }, kLongestClose);
    });
}

void ReplayBus::Poll() {
    m_Apartment.Post([this] { m_Bus.Poll(); });
}

void ReplayBus::Devices(const DeviceChanges& changes) {
    auto ordered = changes;
    ordered.Added = InOrderOfTurns(changes.Added, m_Events, m_Line.RecordedNow() + LookAheadOf(Setup()));
    m_Apartment.Post([this, ordered] { m_Bus.Devices(ordered); });
}

void ReplayBus::RunUntil(Duration time) {
    // Time goes on in leaps: each request that is matched sets it.
    const auto isThere = [&] { return Over() || m_Line.RecordedNow() >= time; };
    while (!isThere())
        m_Scheduler.RunUntil(isThere, time - m_Line.RecordedNow());
}

void ReplayBus::OnIdentity(const DeviceIdentity& identity) {
    if (Over()) return;
    m_Tell(m_Line.RecordedNow(), [identity](Listener& listener) { listener.OnIdentity(identity); });
}

void ReplayBus::OnReading(const Reading& told) {
    if (Over()) return;
    const auto now = m_Line.RecordedNow();
    auto reading = told;
    reading.UnixMilliseconds = m_StartedUnixMilliseconds + InMilliseconds(now);
    m_Tell(now, [reading](Listener& listener) { listener.OnReading(reading); });
}

void ReplayBus::OnTrouble(const std::string& port, const Failure& failure) {
    if (Over()) return;
    m_Tell(m_Line.RecordedNow(), [port, failure](Listener& listener) { listener.OnTrouble(port, failure); });
}

void ReplayBus::OnLine(const LineEvent& event) {
    m_Tell(event.Time, [event](Listener& listener) { listener.OnLine(event); });
}

void ReplayBus::OnExchange(const Exchange& exchange) {
    if (Over()) return;
    m_Tell(m_Line.RecordedNow(), [exchange](Listener& listener) { listener.OnExchange(exchange); });
}

}  // namespace orvix::station
