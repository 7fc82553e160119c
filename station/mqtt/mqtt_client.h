#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "host/apartment.h"
#include "station/model/mqtt_setup.h"
#include "station/mqtt/outgoing_messages.h"

namespace orvix::station {

class MqttWorker;

/// Keeps a station connected to a broker, on a thread of its own: what is handed over here waits for nothing. It
/// connects again after a pause that grows with each failure. Topics begin behind "BASE/STATION/".
class MqttClient {
public:
    using Tell = std::function<void(const std::string&)>;

    /// `setup` has a broker and a station. `kept`: what the broker is to keep, by topic. `tell` is called in `home`
    /// with what people should know of the connection, a sentence, once for each thing that is wrong and when it is
    /// over.
    MqttClient(MqttSetup setup, OutgoingMessages::Retained kept, Apartment& home, Tell tell);
    /// The thread ends the connection in order, and by itself: it may have to wait for a name to be looked up.
    ~MqttClient();
    MqttClient(const MqttClient&) = delete;
    MqttClient& operator=(const MqttClient&) = delete;

    void Publish(MqttMessage message);
    /// Of all retained topics that begin like this the broker is to keep nothing.
    void ClearBelow(const std::string& begin);
    OutgoingMessages::Retained Kept() const;
    /// Ends the connection when all that waits has been sent, and waits for that, at most so long.
    void Finish(std::chrono::milliseconds limit);

private:
    const std::shared_ptr<MqttWorker> m_Worker;
};

}  // namespace orvix::station
