#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/apartment.h"
#include "station/model/mqtt_setup.h"

namespace orvix::station {

/// What a broker has passed on.
struct MqttHeard {
    std::string Topic;
    std::string Payload;
    bool WasKept = false;  ///< by the broker, from before
};

/// What is listened to, "+" and "#" standing for any levels.
struct MqttTopic {
    std::string Filter;
    /// The broker need not wait until one is taken, and may leave some out: the next one tells what holds.
    bool MayBeMissed = false;
};

class SubscriberThread;

/// Listens to a broker on a thread of its own, and connects again after a pause that grows with each failure. When the
/// one who hears is slow, the broker waits.
class MqttSubscriber {
public:
    /// All are called in `home`.
    struct Events {
        std::function<void()> Connected;
        std::function<void(const std::vector<MqttHeard>&)> Heard;
        /// The connection has failed or ended; again and again, as long as there is none.
        std::function<void(const std::string& why)> Lost;
    };

    /// `first`: topics that are listened to. `setup` has a broker; who it is of makes no difference to it.
    MqttSubscriber(MqttSetup setup, std::vector<MqttTopic> first, Apartment& home, Events events);
    /// The thread ends by itself: it may have to wait for a name to be looked up.
    ~MqttSubscriber();
    MqttSubscriber(const MqttSubscriber&) = delete;
    MqttSubscriber& operator=(const MqttSubscriber&) = delete;

    /// Listens to these, too, with each connection. One after the other, so that a broker does not have to drop of what
    /// it has kept for them.
    void Listen(const std::vector<MqttTopic>& topics);

private:
    const std::shared_ptr<SubscriberThread> m_Thread;
};

}  // namespace orvix::station
