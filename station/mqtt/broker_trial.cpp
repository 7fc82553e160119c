#include "station/mqtt/broker_trial.h"

#include <thread>
#include <utility>

#include "station/mqtt/topics.h"
#include "station/mqtt/trial_thread.h"
#include "station/words/quantity_text.h"

namespace orvix::station {
namespace {

std::string WhyNoAnswer(MqttStep step, const MqttSetup& setup) {
    const auto port = std::to_string(setup.Broker.Port);
    switch (step) {
        case MqttStep::Name:
            return "the name servers of this machine do not answer";
        case MqttStep::Tcp:
            return "it does not answer: is the address right, the machine on, and port " + port +
                   " open in the firewalls between?";
        case MqttStep::Tls:
        case MqttStep::Certificate:
            return "port " + port + " is open, but nobody speaks TLS there: is it the right one?";
        case MqttStep::Login:
            return "port " + port + " is open, but nobody answers the login there: is it the right one?";
        case MqttStep::Rights:
            return "it does not answer";
        case MqttStep::Topic:
            break;
    }
    return "what is written to " + setup.Begin() + kTestTopic + " does not arrive: let " +
           (setup.User.empty() ? "clients without a user" : "user " + setup.User) + " write and read below " +
           setup.Begin();
}

}  // namespace

BrokerTrial::BrokerTrial(MqttSetup setup, Apartment& home, std::chrono::milliseconds limit, Tell tell,
                         std::function<void()> end)
    : m_Setup(std::move(setup)),
      m_Limit(limit),
      m_Tell(std::move(tell)),
      m_End(std::move(end)),
      m_Timer(home.CreateTimer([this] { TimeOut(); })),
      m_Alive(std::make_shared<bool>(true)) {
    const std::weak_ptr<bool> alive = m_Alive;
    TrialThread::Answers answers;
    answers.Reached = [this, alive](MqttStep step, const std::string& text) {
        if (alive.lock()) Reached(step, text);
    };
    answers.Failed = [this, alive](MqttStep step, const std::string& text) {
        if (alive.lock()) Failed(step, text);
    };
    answers.Done = [this, alive] {
        if (alive.lock()) End();
    };
    m_Thread = std::make_shared<TrialThread>(m_Setup, home, std::move(answers));
    m_Timer->Rearm(static_cast<std::int32_t>(m_Limit.count()), true);
    std::thread([thread = m_Thread] { thread->Run(); }).detach();
}

BrokerTrial::~BrokerTrial() {
    m_Thread->Leave();
}

void BrokerTrial::Reached(MqttStep step, const std::string& text) {
    m_Timer->Rearm(static_cast<std::int32_t>(m_Limit.count()), true);
    m_Tell({step, true, text});
}

void BrokerTrial::Failed(MqttStep step, const std::string& text) {
    m_Tell({step, false, text});
    End();
}

void BrokerTrial::TimeOut() {
    const auto step = m_Thread->Now();
    Failed(step, WhyNoAnswer(step, m_Setup) + " (within " + DurationText(m_Limit) + ")");
}

void BrokerTrial::End() {
    m_Timer->Enabled(false);
    m_Alive.reset();
    m_Thread->Leave();
    m_End();
}

}  // namespace orvix::station
