#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "host/apartment.h"
#include "station/model/mqtt_setup.h"
#include "station/mqtt/mqtt_failure.h"

namespace orvix::station {

class TrialThread;

/// What has become of a step on the way to a broker.
struct TrialStep {
    MqttStep Step;
    bool IsGood;
    std::string Text;  ///< what was found, or why it failed and what helps; a sentence without its end
};

/// Goes the way to a broker once, step by step, as a station would: it listens to a topic that is there for this,
/// BASE/STATION/test, and writes to it. It comes under a name of its own, so that a station is not thrown out, and
/// leaves nothing behind. Lives in `home`.
class BrokerTrial {
public:
    using Tell = std::function<void(const TrialStep&)>;

    /// `setup` has a broker and a station. `limit`: for each step. `tell` is called in `home` for each step in their
    /// order, last for the one that fails; then `end`.
    BrokerTrial(MqttSetup setup, Apartment& home, std::chrono::milliseconds limit, Tell tell,
                std::function<void()> end);
    /// A trial that has not ended is broken off.
    ~BrokerTrial();
    BrokerTrial(const BrokerTrial&) = delete;
    BrokerTrial& operator=(const BrokerTrial&) = delete;

private:
    void Reached(MqttStep step, const std::string& text);
    void Failed(MqttStep step, const std::string& text);
    void TimeOut();
    void End();

    const MqttSetup m_Setup;
    const std::chrono::milliseconds m_Limit;
    const Tell m_Tell;
    const std::function<void()> m_End;
    std::unique_ptr<Timer> m_Timer;
    std::shared_ptr<bool> m_Alive;  ///< null: nothing is told any more
    std::shared_ptr<TrialThread> m_Thread;
};

}  // namespace orvix::station
