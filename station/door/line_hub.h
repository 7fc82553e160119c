#pragma once

#include <string>

#include "station/door/event_ring.h"
#include "station/model/listener.h"

namespace orvix::station {

/// What bytes on a line are, in a few words: "request to 5: temperature", "answer of 5: 21.5 °C", "part of an answer".
/// Empty for what is none of these.
std::string MeaningOf(const LineEvent& event);

/// Tells clients the bytes on the lines as they pass: the event "line". Costs nothing while nobody listens.
class LineHub : public Listener {
public:
    LineHub(Apartment& home, const std::string& session) : m_Home(home), m_Ring(home, session) {}

    EventRing& Ring() { return m_Ring; }
    void OnLine(const LineEvent& event) override;

private:
    Apartment& m_Home;
    EventRing m_Ring;
};

}  // namespace orvix::station
