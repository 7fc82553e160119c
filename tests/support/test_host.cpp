#include "tests/support/test_host.h"

#include <cerrno>

#include "host/error.h"
#include "host/text.h"

namespace orvix::tests {

TestHost::TestHost(World& world, std::int32_t threadID)
    : Shared(world),
      Apartment(world.Scheduler, threadID),
      Messaging(world.Directory, Apartment),
      Line(Apartment),
      Services{Apartment, Messaging, Line, Stores, Database, Reports, Viewer, State} {}

bool RecordingViewer::Found() {
    ++Searches;
    return IsThere;
}

bool RecordingViewer::Send(const std::string& line, Duration limit) {
    if (Hangs) {
        m_Apartment.Block(limit);
        throw SystemError("viewer", ETIMEDOUT);
    }
    Lines.push_back(line);
    return true;
}

RecordingEndpoint::RecordingEndpoint(orvix::Messaging& messaging, const std::string& name, const std::string& peer)
    : m_Channel(messaging.CreateChannel()) {
    const auto record = [this](const std::string& event) {
        m_Received.push_back(ReplaceAll(event, std::string(1, kFieldSeparator), " | "));
    };
    ChannelEvents events;
    events.CustomMessage = [record](const std::string& message, bool& handled) {
        record(message);
        handled = true;
    };
    events.NewWork = [record](const std::string& key, bool& handled) {
        record("work:" + key);
        handled = true;
    };
    events.OnProgress = [record](const std::string& text, std::int32_t value, std::int32_t minimum,
                                 std::int32_t maximum, bool& handled) {
        record("progress:" + text + ":" + std::to_string(value) + ":" + std::to_string(minimum) + ":" +
               std::to_string(maximum));
        handled = true;
    };
    events.ServerDestroyed = [this](bool& handled) { handled = ServerDestroyed = true; };
    events.QueryDestroy = [this](bool& cancel) { cancel = RefuseDestroy; };
    m_Channel->Events(std::move(events));
    m_Channel->DeliverEvents(true);
    m_Channel->Name(name);
    m_Channel->PeerName(peer);
    m_Channel->Activate(true);
}

}  // namespace orvix::tests
