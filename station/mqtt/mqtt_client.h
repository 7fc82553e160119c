#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <set>
#include <string>

#include "host/apartment.h"
#include "station/model/mqtt_setup.h"
#include "station/model/mqtt_state.h"
#include "station/mqtt/ordered_messages.h"
#include "station/mqtt/outgoing_messages.h"

namespace orvix::station {

class MqttWorker;

/// Keeps a station connected to a broker, on a thread of its own: what is handed over here waits for nothing. It
/// connects again after a pause that grows with each failure.
class MqttClient {
public:
    using Tell = std::function<void(const std::string&)>;

    /// `setup` has a broker and a station. `list` is a file that outlives runs: it has the topics of which the broker
    /// may keep something; empty: they are not kept. `ordered` may be null. `tell` is called in `home` with what people
    /// should know of the connection, a sentence, once for each thing that is wrong and when it is over.
    MqttClient(MqttSetup setup, OutgoingMessages first, std::shared_ptr<OrderedMessages> ordered, std::string list,
               Apartment& home, Tell tell);
    /// The thread ends the connection in order, and by itself: it may have to wait for a name to be looked up.
    ~MqttClient();
    MqttClient(const MqttClient&) = delete;
    MqttClient& operator=(const MqttClient&) = delete;

    void Publish(MqttMessage message);
    // As those of OutgoingMessages.

    void PublishFirst(MqttMessage message);
    void ClearBelow(const std::string& begin, const std::set<std::string>& except = {});
    void ClearEarlier(const std::function<bool(const std::string& topic)>& isClaimed);
    OutgoingMessages::Retained Kept() const;
    std::set<std::string> KeptTopics() const;
    /// The end is wanted, when all that waits has been sent.
    void Leave();
    MqttConnectionState State() const;
    /// Ends the connection when all that waits has been sent, and waits for that, at most so long.
    void Finish(std::chrono::milliseconds limit);

private:
    const std::shared_ptr<MqttWorker> m_Worker;
};

}  // namespace orvix::station
