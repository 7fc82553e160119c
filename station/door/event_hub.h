#pragma once

#include <memory>
#include <string>

#include "station/door/event_ring.h"
#include "station/model/listener.h"

namespace orvix::station {

/// Tells clients what happens in a station: "reading", "alarm", "trouble", and "devices" when the buses or devices have
/// changed.
class EventHub : public Listener {
public:
    EventHub(Apartment& home, const std::string& session) : m_Home(home), m_Ring(home, session) {}

    EventRing& Ring() { return m_Ring; }

    void OnSetup(const BusSetup& setup) override;
    void OnIdentity(const DeviceIdentity& found) override;
    void OnReading(const Reading& reading) override;
    void OnTrouble(const std::string& port, const Failure& failure) override;
    void OnAlarm(const AlarmEvent& event) override;
    void OnLost(const DeviceId& device) override;
    void OnDeviceGone(const DeviceId& device) override;
    void OnPortGone(const std::string& port) override;

private:
    void AddChange();

    Apartment& m_Home;
    EventRing m_Ring;
    bool m_ChangeWaits = false;  ///< buses or devices have changed, which will be told
    const std::shared_ptr<bool> m_Lives = std::make_shared<bool>(true);
};

}  // namespace orvix::station
