#include "tests/support/test_host.h"

#include <cerrno>
#include <sstream>

#include "host/error.h"
#include "host/text.h"

namespace orvix::tests {

TestHost::TestHost(World& world, std::int32_t threadID)
    : Shared(world),
      Apartment(world.Scheduler, threadID),
      Messaging(world.Directory, Apartment),
      Line(Apartment),
      Services{Apartment, Messaging, Line, Stores, Database, Reports, Viewer, State} {}

std::unique_ptr<SharedEntry> EntryWith(Messaging& messaging, ByteArray state, const std::string& name) {
    auto entry = messaging.CreateSharedEntry();
    entry->Create(name);
    entry->Data().ArgumentList.push_back(std::move(state));
    return entry;
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
    const auto record = [this](const std::string& event, bool& handled) {
        m_Received.push_back(ReplaceAll(event, std::string(1, kFieldSeparator), " | "));
        handled = true;
    };
    ChannelEvents events;
    events.CustomMessage = record;
    events.NewWork = [record](const std::string& key, bool& handled) { record("work:" + key, handled); };
    events.OnProgress = [record](const std::string& text, std::int32_t value, std::int32_t minimum,
                                 std::int32_t maximum, bool& handled) {
        std::ostringstream event;
        event << "progress:" << text << ':' << value << ':' << minimum << ':' << maximum;
        record(event.str(), handled);
    };
    events.ServerDestroyed = [this](bool& handled) { handled = ServerDestroyed = true; };
    events.QueryDestroy = [this](bool& cancel) { cancel = RefuseDestroy; };
    m_Channel->Events(std::move(events));
    m_Channel->DeliverEvents(true);
    m_Channel->Name(name);
    m_Channel->PeerName(peer);
    m_Channel->Activate(true);
}

bool RecordingEndpoint::ClosePeer(TestHost& host, Duration limit) {
    constexpr std::int32_t kAskingInterval = 100;
    const auto asking = host.Apartment.CreateTimer([this] { m_Channel->ClosePeer(); });
    asking->Rearm(kAskingInterval, true);
    return host.Shared.Scheduler.RunUntil([this] { return ServerDestroyed; }, limit);
}

}  // namespace orvix::tests
