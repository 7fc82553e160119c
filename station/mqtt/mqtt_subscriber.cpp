#include "station/mqtt/mqtt_subscriber.h"

#include <sys/eventfd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <random>
#include <string_view>
#include <thread>
#include <utility>

#include "host/error.h"
#include "platform/file_descriptor.h"
#include "platform/random_text.h"
#include "station/mqtt/mqtt_connection.h"

namespace orvix::station {
namespace {

constexpr std::chrono::milliseconds kShortestAbsence{1000};
constexpr std::chrono::milliseconds kLongestAbsence{30'000};
constexpr int kSubscriberTurn = 1000;
constexpr std::size_t kMostUnheard = 20'000;
constexpr std::size_t kIdCharacters = 8;

}  // namespace

/// May outlive the subscriber.
class SubscriberThread {
public:
    SubscriberThread(MqttSetup setup, std::vector<MqttTopic> first, Apartment& home, MqttSubscriber::Events events)
        : m_Setup(std::move(setup)),
          m_Client("nimbo1-collect-" + platform::RandomText(kIdCharacters)),
          m_Wake(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
          m_Home(&home),
          m_Events(std::move(events)),
          m_Topics(std::move(first)) {
        if (!m_Wake.IsOpen()) throw SystemError("the MQTT client", errno);
    }

    static void Run(const std::shared_ptr<SubscriberThread>& self) {
        auto pause = kShortestAbsence;
        std::mt19937 random{std::random_device()()};
        while (!self->IsLeft()) {
            bool wasUp = false;
            const auto why = self->Serve(self, wasUp);
            self->Post(self, [why](const MqttSubscriber::Events& events) { events.Lost(why); });
            pause = wasUp ? kShortestAbsence : std::min(pause * 2, kLongestAbsence);
            // Many lose their broker at the same time, and are not to come back so.
            std::uniform_int_distribution<std::int64_t> any(pause.count() / 2, pause.count());
            std::unique_lock lock(self->m_Mutex);
            self->m_Changed.wait_for(lock, std::chrono::milliseconds(any(random)),
                                     [&] { return self->m_Home == nullptr; });
        }
    }

    void Listen(const std::vector<MqttTopic>& topics) {
        {
            const std::scoped_lock lock(m_Mutex);
            m_Topics.insert(m_Topics.end(), topics.begin(), topics.end());
        }
        ::eventfd_write(m_Wake.Get(), 1);
    }

    void Leave() {
        {
            const std::scoped_lock lock(m_Mutex);
            m_Home = nullptr;
        }
        m_Changed.notify_all();
        ::eventfd_write(m_Wake.Get(), 1);
    }

private:
    using Self = std::shared_ptr<SubscriberThread>;

    std::string Serve(const Self& self, bool& wasUp) {
        m_Asked = 0;
        m_Heard.clear();
        try {
            MqttConnection connection(m_Setup, m_Client, std::nullopt);
            connection.HearWith([this](const std::string& topic, std::string_view payload, bool wasKept) {
                m_Heard.push_back({topic, std::string(payload), wasKept});
            });
            connection.Connect();
            while (!IsLeft()) {
                connection.Work(m_Wake.Get(), kSubscriberTurn);
                eventfd_t count = 0;
                ::eventfd_read(m_Wake.Get(), &count);
                if (!connection.IsUp()) continue;
                if (!std::exchange(wasUp, true)) {
                    Post(self, [](const MqttSubscriber::Events& events) { events.Connected(); });
                }
                Ask(connection);
                Deliver(self);
            }
            connection.End();
        } catch (const std::exception& error) {
            return error.what();
        }
        return {};
    }

    void Ask(MqttConnection& connection) {
        if (const auto refusal = connection.TakeRefusal()) throw Error(errors::General, "it " + *refusal);
        if (connection.AwaitsHearing()) return;
        MqttTopic topic;
        {
            const std::scoped_lock lock(m_Mutex);
            if (m_Asked == m_Topics.size()) return;
            topic = m_Topics[m_Asked++];
        }
        connection.Subscribe(topic.Filter, topic.MayBeMissed);
    }

    void Deliver(const Self& self) {
        if (m_Heard.empty()) return;
        std::unique_lock lock(m_Mutex);
        m_Changed.wait(lock, [this] { return m_Unheard < kMostUnheard || m_Home == nullptr; });
        m_Unheard += m_Heard.size();
        lock.unlock();
        Post(self, [self, heard = std::exchange(m_Heard, {})](const MqttSubscriber::Events& events) {
            events.Heard(heard);
            {
                const std::scoped_lock counted(self->m_Mutex);
                self->m_Unheard -= heard.size();
            }
            self->m_Changed.notify_all();
        });
    }

    /// Who has left is told nothing any more.
    void Post(const Self& self, std::function<void(const MqttSubscriber::Events&)> tell) {
        const std::scoped_lock lock(m_Mutex);
        if (m_Home == nullptr) return;
        m_Home->Post([self, tell = std::move(tell)] {
            if (!self->IsLeft()) tell(self->m_Events);
        });
    }

    bool IsLeft() {
        const std::scoped_lock lock(m_Mutex);
        return m_Home == nullptr;
    }

    const MqttSetup m_Setup;
    const std::string m_Client;
    platform::FileDescriptor m_Wake;

    // The thread's own:
    std::size_t m_Asked = 0;  ///< of the topics, in this connection
    std::vector<MqttHeard> m_Heard;

    std::mutex m_Mutex;  ///< guards what follows
    std::condition_variable m_Changed;
    Apartment* m_Home;  ///< null: the subscriber has gone
    const MqttSubscriber::Events m_Events;
    std::vector<MqttTopic> m_Topics;
    std::size_t m_Unheard = 0;
};

MqttSubscriber::MqttSubscriber(MqttSetup setup, std::vector<MqttTopic> first, Apartment& home, Events events)
    : m_Thread(std::make_shared<SubscriberThread>(std::move(setup), std::move(first), home, std::move(events))) {
    std::thread([thread = m_Thread] { SubscriberThread::Run(thread); }).detach();
}

MqttSubscriber::~MqttSubscriber() {
    m_Thread->Leave();
}

void MqttSubscriber::Listen(const std::vector<MqttTopic>& topics) {
    m_Thread->Listen(topics);
}

}  // namespace orvix::station
