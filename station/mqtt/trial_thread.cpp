#include "station/mqtt/trial_thread.h"

#include <mosquitto.h>
#include <netdb.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <cerrno>
#include <memory>
#include <utility>
#include <vector>

#include "platform/random_text.h"
#include "station/mqtt/discovery.h"
#include "station/mqtt/topics.h"
#include "station/words/quantity_text.h"

namespace orvix::station {
namespace {

constexpr int kTrialTurn = 1000;
constexpr std::size_t kWordLength = 16;

/// Broken off: nobody wants to know any more.
struct Left {};

std::string NumericAddress(const addrinfo& address) {
    char host[NI_MAXHOST] = "";
    ::getnameinfo(address.ai_addr, address.ai_addrlen, host, sizeof(host), nullptr, 0, NI_NUMERICHOST);
    return host;
}

/// What a host is called in numbers. Raises MqttError.
std::string AddressesOf(const MqttSetup& setup) {
    addrinfo wanted{};
    wanted.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    const int result = ::getaddrinfo(setup.Broker.Host.c_str(), nullptr, &wanted, &found);
    if (result != 0) throw WhyFailed({.Code = MOSQ_ERR_EAI, .SystemCode = result, .Log = {}}, setup);
    const std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> all(found, &::freeaddrinfo);
    int others = -1;
    for (const auto* one = found; one != nullptr; one = one->ai_next)
        ++others;
    return NumericAddress(*found) + (others == 0 ? "" : " and " + Counted(others, "other address", "other addresses"));
}

}  // namespace

TrialThread::TrialThread(MqttSetup setup, Apartment& home, Answers answers)
    : m_Setup(std::move(setup)),
      m_Topic(m_Setup.Begin() + kTestTopic),
      m_Word(platform::RandomText(kWordLength)),
      m_Wake(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      m_Home(&home),
      m_Answers(std::move(answers)) {
    if (!m_Wake.IsOpen()) throw SystemError("the MQTT client", errno);
}

void TrialThread::Run() {
    try {
        GoAllTheWay();
        // The connection has gone by now: the program may end at this word.
        Post([](const Answers& answers) { answers.Done(); });
    } catch (const MqttError& error) {
        ReachBefore(error.Step);
        Post([error](const Answers& answers) { answers.Failed(error.Step, error.Description); });
    } catch (const Left&) {
    }
}

void TrialThread::GoAllTheWay() {
    // Whatever ends the connection, the broker clears what stands there.
    MqttConnection connection(m_Setup, "nimbo1-" + m_Setup.Station + "-test-" + m_Word.substr(0, 4),
                              MqttMessage{m_Topic, {}, true});
    LookUp();
    connection.Connect();
    ReachBefore(MqttStep::Tls);
    LogIn(connection);
    AskForRights(connection);
    AwaitMessage(connection);
    connection.End();
}

void TrialThread::LookUp() {
    Reach(MqttStep::Name, AddressesOf(m_Setup));
    m_Now = MqttStep::Tcp;
}

void TrialThread::LogIn(MqttConnection& connection) {
    m_Now = m_Setup.Broker.Tls ? MqttStep::Tls : MqttStep::Login;
    WorkUntil(connection, [&] {
        if (connection.IsSecure() && m_Now == MqttStep::Tls) {
            m_Now = MqttStep::Login;
            // Whether the station's own certificate is taken is not known yet.
            ReachBefore(MqttStep::Certificate);
        }
        return connection.IsUp();
    });
    ReachBefore(MqttStep::Login);
    Reach(MqttStep::Login, std::string("it takes the station, ") +
                               (m_Setup.User.empty() ? "without a user" : "as user " + m_Setup.User));
}

void TrialThread::AskForRights(MqttConnection& connection) {
    m_Now = MqttStep::Rights;
    std::vector<std::string> topics{m_Topic};
    if (m_Setup.Backfill) topics.push_back(m_Setup.Begin() + kHistoryWantedTopic);
    if (m_Setup.HomeAssistant) topics.push_back(BirthTopic(m_Setup.DiscoveryPrefix));
    std::string heard;
    for (const auto& topic : topics) {
        connection.Subscribe(topic);
        heard.append(heard.empty() ? "" : ", ").append(topic);
    }
    WorkUntil(connection, [&] { return !connection.AwaitsHearing(); });
    // Of a device that is not there, so it changes nothing.
    const DiscoveredStation station{m_Setup.DiscoveryPrefix, m_Setup.Topic, m_Setup.Station};
    if (m_Setup.HomeAssistant) connection.Publish({DiscoveryTopic(station, "test-" + m_Word), {}, true});
    connection.Publish({m_Topic, m_Word, true});
    WorkUntil(connection, [&] { return connection.UnderWay() == 0; });
    if (const auto refusal = connection.TakeRefusal()) throw MqttError(MqttStep::Rights, "it " + *refusal);
    // A broker of 3.1.1 takes what it drops, and does not say so.
    Reach(MqttStep::Rights, m_Setup.Speaks5 ? "it lets the station write and listen to " + heard
                                            : "it lets the station listen to " + heard);
}

void TrialThread::AwaitMessage(MqttConnection& connection) {
    m_Now = MqttStep::Topic;
    bool hasCome = false;
    WorkUntil(connection, [&] {
        hasCome |= connection.TakeHeard()[m_Topic].Payload == m_Word;
        return hasCome;
    });
    Reach(MqttStep::Topic, "what is written to " + m_Topic + " arrives");
}

void TrialThread::WorkUntil(MqttConnection& connection, const std::function<bool()>& holds) {
    while (!holds()) {
        {
            const std::scoped_lock lock(m_Mutex);
            if (m_Home == nullptr) {
                connection.End();
                throw Left();
            }
        }
        connection.Work(m_Wake.Get(), kTrialTurn);
    }
}

void TrialThread::ReachBefore(MqttStep step) {
    // A file that is missing is found before anything is tried.
    if (!m_Reached) return;
    const bool tls = m_Setup.Broker.Tls;
    const auto isNext = [&](MqttStep one) { return one > *m_Reached && one < step; };
    if (isNext(MqttStep::Tcp)) Reach(MqttStep::Tcp, "port " + std::to_string(m_Setup.Broker.Port) + " answers");
    if (tls && isNext(MqttStep::Tls)) Reach(MqttStep::Tls, "it speaks TLS");
    if (tls && isNext(MqttStep::Certificate)) Reach(MqttStep::Certificate, "it is for " + m_Setup.Broker.Host);
}

void TrialThread::Reach(MqttStep step, const std::string& text) {
    m_Reached = step;
    Post([step, text](const Answers& answers) { answers.Reached(step, text); });
}

void TrialThread::Post(std::function<void(const Answers&)> message) {
    const std::scoped_lock lock(m_Mutex);
    if (m_Home != nullptr) m_Home->Post([answers = m_Answers, message = std::move(message)] { message(answers); });
}

void TrialThread::Leave() {
    const std::scoped_lock lock(m_Mutex);
    m_Home = nullptr;
    ::eventfd_write(m_Wake.Get(), 1);
}

}  // namespace orvix::station
