#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <optional>
#include <string>

#include "host/apartment.h"
#include "platform/file_descriptor.h"
#include "station/model/mqtt_setup.h"
#include "station/mqtt/mqtt_connection.h"
#include "station/mqtt/mqtt_failure.h"

namespace orvix::station {

/// What the thread of a trial does. It may outlive the trial: looking up a name cannot be broken off.
class TrialThread {
public:
    /// Called in `home`, until the trial has gone.
    struct Answers {
        std::function<void(MqttStep step, const std::string& text)> Reached;
        std::function<void(MqttStep step, const std::string& text)> Failed;
        std::function<void()> Done;
    };

    TrialThread(MqttSetup setup, Apartment& home, Answers answers);

    void Run();

    // What others call, from their threads.

    /// The step that is under way.
    MqttStep Now() const { return m_Now; }
    /// Nobody wants to know any more.
    void Leave();

private:
    /// Raises MqttError where it does not get further, and Left.
    void GoAllTheWay();
    void LookUp();
    void LogIn(MqttConnection& connection);
    void AskForRights(MqttConnection& connection);
    void AwaitMessage(MqttConnection& connection);
    /// Works until something holds, or nobody wants to know any more.
    void WorkUntil(MqttConnection& connection, const std::function<bool()>& holds);
    void Reach(MqttStep step, const std::string& text);
    /// The steps of the connection before this one have worked.
    void ReachBefore(MqttStep step);
    void Post(std::function<void(const Answers&)> message);

    const MqttSetup m_Setup;
    const std::string m_Topic;  ///< that the trial writes to and listens to
    const std::string m_Word;   ///< what it writes there
    platform::FileDescriptor m_Wake;
    std::optional<MqttStep> m_Reached;  ///< the last one that was told
    std::atomic<MqttStep> m_Now{MqttStep::Name};

    std::mutex m_Mutex;  ///< guards what follows
    Apartment* m_Home;   ///< null: the trial has gone
    Answers m_Answers;
};

}  // namespace orvix::station
