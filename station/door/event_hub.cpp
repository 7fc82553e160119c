#include "station/door/event_hub.h"

#include <utility>

#include "station/door/answers.h"
#include "station/json/json.h"
#include "station/model/clock.h"

namespace orvix::station {

void EventHub::AddChange() {
    // Many changes at the same time are told once.
    if (std::exchange(m_ChangeWaits, true)) return;
    m_Home.Post([self = std::weak_ptr<bool>(m_Lives), this] {
        if (self.expired()) return;
        m_ChangeWaits = false;
        m_Ring.Add("devices", {}, {}, "{}");
    });
}

void EventHub::OnSetup(const BusSetup& /*setup*/) {
    AddChange();
}

void EventHub::OnIdentity(const DeviceIdentity& /*found*/) {
    AddChange();
}

void EventHub::OnLost(const DeviceId& /*device*/) {
    AddChange();
}

void EventHub::OnDeviceGone(const DeviceId& /*device*/) {
    AddChange();
}

void EventHub::OnPortGone(const std::string& /*port*/) {
    AddChange();
}

void EventHub::OnReading(const Reading& reading) {
    m_Ring.Add("reading", reading.Port, reading.Identifier, Dump(ToJson(reading)));
}

void EventHub::OnAlarm(const AlarmEvent& event) {
    auto json = AlarmJson(event.State());
    json.update(Json{{"time", IsoText(event.UnixMilliseconds)}, {"event", "alarm"}, {"change", NameOf(event.What)}});
    m_Ring.Add("alarm", event.Port, event.Identifier, Dump(json));
}

void EventHub::OnTrouble(const std::string& port, const Failure& failure) {
    m_Ring.Add("trouble", port, {},
               Dump({{"time", IsoText(UnixMillisecondsOf(m_Home.DateNow()))},
                     {"event", "trouble"},
                     {"port", port},
                     {"text", failure.Text},
                     {"error", ToJson(failure)}}));
}

}  // namespace orvix::station
