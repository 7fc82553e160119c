#include "station/mqtt/mqtt_worker.h"

#include <sys/eventfd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "host/error.h"
#include "station/model/clock.h"
#include "station/mqtt/discovery.h"
#include "station/mqtt/topic_list.h"
#include "station/mqtt/topics.h"
#include "station/words/quantity_text.h"

namespace orvix::station {
namespace {

constexpr std::chrono::milliseconds kFirstPause{1000};
constexpr std::chrono::milliseconds kMostPause{60'000};
// A connection that lasts as long is one.
constexpr std::chrono::seconds kShort{10};
// What waits at the end has as long to be sent ...
constexpr std::chrono::seconds kLastWords{2};
// ... by a broker that answers within this time.
constexpr std::chrono::milliseconds kLastPatience{500};
constexpr int kLastTurn = 100;
// All that is kept is not sent more often.
constexpr std::chrono::seconds kAllAgain{2};
// What a slow broker has missed is not told more often.
constexpr std::chrono::minutes kSlowSilence{10};
constexpr int kTurn = 1000;
// Brokers take 20 unacknowledged messages of a client by default: some places are left to what holds now.
constexpr std::size_t kMostBesideOrdered = 16;

}  // namespace

MqttWorker::MqttWorker(MqttSetup setup, OutgoingMessages first, std::shared_ptr<OrderedMessages> ordered,
                       std::string list, Apartment& home, std::function<void(const std::string&)> tell)
    : m_Setup(std::move(setup)),
      m_Begin(m_Setup.Begin()),
      m_ListFile(std::move(list)),
      m_Ordered(std::move(ordered)),
      m_Wake(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      m_LongestPause(kFirstPause),
      m_Outgoing(std::move(first)),
      m_Home(&home),
      m_Tell(std::move(tell)) {
    if (!m_Wake.IsOpen()) throw SystemError("the MQTT client", errno);
    m_Outgoing.Put({m_Begin + kStatusTopic, kOnline, true});
}

void MqttWorker::Run() {
    while (!IsLeft()) {
        const auto why = Serve();
        if (IsLeft()) break;
        TellFailed(why);
        std::unique_lock lock(m_Mutex);
        m_Changed.wait_for(lock, Pause(), [this] { return m_LeftAt.has_value(); });
    }
    const std::scoped_lock lock(m_Mutex);
    m_HasEnded = true;
    m_Changed.notify_all();
}

std::string MqttWorker::Serve() {
    std::string why;
    m_UpSince.reset();
    m_IsToldUp = false;
    try {
        MqttConnection connection(m_Setup, "nimbo1-" + m_Setup.Station,
                                  MqttMessage{m_Begin + kStatusTopic, kOffline, true});
        connection.Connect();
        while (!IsDone(connection))
            Attend(connection);
        connection.End();
    } catch (const std::exception& error) {
        why = error.what();
    }
    if (m_Ordered) m_Ordered->Disconnected();
    m_WasShort = m_UpSince && Clock::now() - *m_UpSince < kShort;
    if (m_UpSince && !m_WasShort) m_LongestPause = kFirstPause;
    Change([this](OutgoingMessages& outgoing) {
        outgoing.Disconnected();
        m_State.Since.reset();
    });
    return why;
}

void MqttWorker::Attend(MqttConnection& connection) {
    connection.Work(m_Wake.Get(), IsLeft() ? kLastTurn : kTurn);
    eventfd_t count = 0;
    ::eventfd_read(m_Wake.Get(), &count);
    if (!connection.IsUp()) return;
    if (!m_UpSince) Begin(connection);
    Listen(connection);
    KeepList();
    TakeAnswers(connection);
    HandOver(connection);
    if (m_Ordered) HandOverOrdered(connection);
    TellSlow();
    // Two clients of one name that throw each other out are not well because they are connected now.
    if (!m_IsToldUp && (!m_WasShort || Clock::now() - *m_UpSince > kShort)) TellConnected();
}

void MqttWorker::Begin(MqttConnection& connection) {
    m_UpSince = Clock::now();
    if (m_Setup.HomeAssistant) connection.Subscribe(BirthTopic(m_Setup.DiscoveryPrefix));
    if (m_Ordered) {
        connection.Subscribe(m_Begin + kHistoryWantedTopic);
        m_Ordered->Connected([this] { Wake(); });
    }
    Change([this](OutgoingMessages&) { m_State.Since = UnixMilliseconds(); });
    TellAll();
}

void MqttWorker::Listen(MqttConnection& connection) {
    const auto birth = BirthTopic(m_Setup.DiscoveryPrefix);
    for (const auto& [topic, said] : connection.TakeHeard()) {
        if (topic != birth) {
            m_Ordered->Heard(said.Payload, said.WasKept);
        } else if (said.Payload == kBirth && !said.WasKept) {
            m_IsBirthHeard = true;
        }
    }
    // Home Assistant that was started knows nothing. Who says so without end is not to keep the station from all else.
    if (!m_IsBirthHeard || Clock::now() - m_ToldAllAt < kAllAgain) return;
    m_IsBirthHeard = false;
    TellAll();
}

void MqttWorker::KeepList() {
    {
        const std::scoped_lock lock(m_Mutex);
        if (m_Outgoing.TakeTopicsChanged()) m_ListWaits = true;
    }
    if (!m_ListWaits || m_ListFile.empty()) return;
    try {
        WriteTopicList(m_ListFile, KeptTopics());
        m_ListWaits = false;
    } catch (const Error& error) {
        if (!std::exchange(m_IsToldList, true)) {
            Tell("what it keeps of devices that are removed while the station is stopped will stay there: " +
                 error.Description);
        }
    }
}

void MqttWorker::TellAll() {
    m_ToldAllAt = Clock::now();
    Change([this](OutgoingMessages& outgoing) {
        outgoing.TellAll({m_Setup.DiscoveryPrefix + "/", m_Begin + kStatusTopic});
    });
}

void MqttWorker::HandOver(MqttConnection& connection) {
    while (connection.UnderWay() < connection.MostUnderWay()) {
        std::optional<MqttMessage> message;
        {
            const std::scoped_lock lock(m_Mutex);
            message = m_Outgoing.Next();
        }
        if (!message) return;
        connection.Publish(*message);
    }
}

/// Behind what holds now; but a broker that is slow with that does not stop them.
void MqttWorker::HandOverOrdered(MqttConnection& connection) {
    if (IsLeft()) return;
    const auto most = std::min(kMostBesideOrdered, connection.MostUnderWay());
    while (connection.UnderWay() < most || connection.OrderedUnderWay() == 0) {
        const auto message = m_Ordered->Next();
        if (!message) return;
        connection.Publish(*message);
    }
}

void MqttWorker::TakeAnswers(MqttConnection& connection) {
    for (const auto& topic : connection.TakeCleared()) {
        const std::scoped_lock lock(m_Mutex);
        m_Outgoing.Cleared(topic);
    }
    for (const auto& [number, reason] : connection.TakeAnswered())
        m_Ordered->Answered(number, reason);
    const auto refusal = connection.TakeRefusal();
    if (!refusal || !m_Refusal.empty()) return;
    Change([&](OutgoingMessages&) { m_Refusal = *refusal; });
    Tell(m_Refusal);
}

bool MqttWorker::IsDone(const MqttConnection& connection) {
    const std::scoped_lock lock(m_Mutex);
    if (!m_LeftAt) return false;
    const bool isSent = m_Outgoing.IsEmpty() && connection.UnderWay() == 0;
    return !connection.IsUp() || isSent || connection.StandsStill() > kLastPatience ||
           Clock::now() - *m_LeftAt > kLastWords;
}

void MqttWorker::TellConnected() {
    m_IsToldUp = true;
    std::uint64_t dropped = 0;
    bool isAgain = false;
    Change([&](OutgoingMessages& outgoing) {
        dropped = outgoing.TakeDropped();
        isAgain = !std::exchange(m_State.Trouble, {}).empty();
    });
    const auto missing = !isAgain || dropped == 0 ? "" : "; " + Counted(dropped, "live state") + " not sent";
    Tell((isAgain ? "connected again" : "connected") + missing + "; topics begin with " + m_Begin);
}

void MqttWorker::TellSlow() {
    if (!m_IsToldUp || (m_ToldSlowAt && Clock::now() - *m_ToldSlowAt < kSlowSilence)) return;
    std::uint64_t dropped = 0;
    Change([&](OutgoingMessages& outgoing) { dropped = outgoing.IsEmpty() ? outgoing.TakeDropped() : 0; });
    if (dropped == 0) return;
    m_ToldSlowAt = Clock::now();
    Tell("it was too slow: " + Counted(dropped, "live state") + " not sent, but newer ones in their places");
}

void MqttWorker::TellFailed(const std::string& why) {
    bool isOther = false;
    Change([&](OutgoingMessages&) { isOther = std::exchange(m_State.Trouble, why) != why; });
    if (isOther) Tell(why + "; it is tried again and again");
}

void MqttWorker::Tell(const std::string& text) {
    const std::scoped_lock lock(m_Mutex);
    if (m_Home == nullptr) return;
    m_Home->Post([tell = m_Tell, line = "MQTT broker " + m_Setup.Broker.Name() + ": " + text] { tell(line); });
}

/// Many stations lose their broker at the same time, and are not to come back so.
std::chrono::milliseconds MqttWorker::Pause() {
    const auto longest = m_LongestPause;
    m_LongestPause = std::min(longest * 2, kMostPause);
    return std::chrono::milliseconds(
        std::uniform_int_distribution<std::int64_t>(longest.count() / 2, longest.count())(m_Random));
}

bool MqttWorker::IsLeft() {
    const std::scoped_lock lock(m_Mutex);
    return m_LeftAt.has_value();
}

void MqttWorker::Change(const std::function<void(OutgoingMessages&)>& change) {
    bool isWaiting = false;
    {
        const std::scoped_lock lock(m_Mutex);
        const bool wasEmpty = m_Outgoing.IsEmpty();
        change(m_Outgoing);
        isWaiting = wasEmpty && !m_Outgoing.IsEmpty();
    }
    if (isWaiting) Wake();
}

void MqttWorker::Wake() {
    ::eventfd_write(m_Wake.Get(), 1);
}

OutgoingMessages::Retained MqttWorker::Kept() {
    const std::scoped_lock lock(m_Mutex);
    return m_Outgoing.Kept();
}

std::set<std::string> MqttWorker::KeptTopics() {
    const std::scoped_lock lock(m_Mutex);
    return m_Outgoing.KeptTopics();
}

MqttConnectionState MqttWorker::State() {
    const std::scoped_lock lock(m_Mutex);
    auto state = m_State;
    if (state.Trouble.empty()) state.Trouble = m_Refusal;
    return state;
}

void MqttWorker::Leave() {
    {
        const std::scoped_lock lock(m_Mutex);
        m_Home = nullptr;
        if (!m_LeftAt) m_LeftAt = Clock::now();
    }
    m_Changed.notify_all();
    Wake();
}

void MqttWorker::WaitForEnd(std::chrono::milliseconds limit) {
    std::unique_lock lock(m_Mutex);
    m_Changed.wait_for(lock, limit, [this] { return m_HasEnded || !m_Outgoing.IsConnected(); });
}

}  // namespace orvix::station
