#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <set>
#include <string>

#include "host/apartment.h"
#include "platform/file_descriptor.h"
#include "station/model/mqtt_setup.h"
#include "station/model/mqtt_state.h"
#include "station/mqtt/mqtt_connection.h"
#include "station/mqtt/ordered_messages.h"
#include "station/mqtt/outgoing_messages.h"

namespace orvix::station {

/// What the thread of a client does. It may outlive the client.
class MqttWorker {
public:
    MqttWorker(MqttSetup setup, OutgoingMessages first, std::shared_ptr<OrderedMessages> ordered, std::string list,
               Apartment& home, std::function<void(const std::string&)> tell);

    /// Connects again and again, until nobody wants it any more.
    void Run();

    // What others call, from their threads.

    void Change(const std::function<void(OutgoingMessages&)>& change);
    OutgoingMessages::Retained Kept();
    std::set<std::string> KeptTopics();
    MqttConnectionState State();
    /// The end is wanted. Nobody is told anything any more.
    void Leave();
    /// At once while there is no connection, whose beginning may take long.
    void WaitForEnd(std::chrono::milliseconds limit);

private:
    using Clock = std::chrono::steady_clock;

    /// From the connection to its end, for the reason that is returned.
    std::string Serve();
    void Attend(MqttConnection& connection);
    /// Writes the list, when it has changed: a topic stands there before the broker hears of it.
    void KeepList();
    /// Has everything sent that the broker is to keep.
    void TellAll();
    /// What there is to listen to, and what to say first.
    void Begin(MqttConnection& connection);
    void Listen(MqttConnection& connection);
    void HandOver(MqttConnection& connection);
    void HandOverOrdered(MqttConnection& connection);
    void Wake();
    void TakeAnswers(MqttConnection& connection);
    /// Returns whether all has been sent, or the time for that is over.
    bool IsDone(const MqttConnection& connection);
    bool IsLeft();
    void TellConnected();
    void TellSlow();
    void TellFailed(const std::string& why);
    void Tell(const std::string& text);
    std::chrono::milliseconds Pause();

    const MqttSetup m_Setup;
    const std::string m_Begin;  ///< of all topics
    const std::string m_ListFile;
    const std::shared_ptr<OrderedMessages> m_Ordered;
    platform::FileDescriptor m_Wake;

    // The thread's own:
    bool m_ListWaits = false;  ///< to be written
    bool m_IsToldList = false;
    std::mt19937 m_Random{std::random_device()()};
    std::chrono::milliseconds m_LongestPause;
    std::optional<Clock::time_point> m_UpSince;
    bool m_IsToldUp = false;
    bool m_IsBirthHeard = false;
    Clock::time_point m_ToldAllAt;
    bool m_WasShort = false;  ///< the broker ended the connection before right after it was up
    std::optional<Clock::time_point> m_ToldSlowAt;

    std::mutex m_Mutex;  ///< guards what follows
    std::condition_variable m_Changed;
    OutgoingMessages m_Outgoing;
    MqttConnectionState m_State;  ///< its trouble has been told
    std::string m_Refusal;        ///< what the broker does not take, as it was told; empty: nothing
    Apartment* m_Home;            ///< null: the client has gone
    std::function<void(const std::string&)> m_Tell;
    std::optional<Clock::time_point> m_LeftAt;
    bool m_HasEnded = false;
};

}  // namespace orvix::station
