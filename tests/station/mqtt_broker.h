#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <mosquitto.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <condition_variable>
#include <fstream>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/file_descriptor.h"
#include "tests/station/program.h"
#include "tests/support/test_folder.h"

namespace orvix::tests {

/// Starts another program, whose output is dropped.
inline pid_t StartTool(std::vector<std::string> command) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    for (const int output : {STDOUT_FILENO, STDERR_FILENO})
        posix_spawn_file_actions_addopen(&actions, output, "/dev/null", O_WRONLY, 0);
    std::vector<char*> arguments;
    for (auto& word : command)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    pid_t process = -1;
    EXPECT_EQ(posix_spawnp(&process, arguments[0], &actions, nullptr, arguments.data(), environ), 0) << command[0];
    posix_spawn_file_actions_destroy(&actions);
    return process;
}

inline void RunTool(const std::vector<std::string>& command) {
    int status = -1;
    ::waitpid(StartTool(command), &status, 0);
    EXPECT_EQ(status, 0) << command[0];
}

/// A broker on a free port of this machine.
class Broker {
public:
    /// `settings`: more lines of its configuration.
    explicit Broker(const std::string& settings = "allow_anonymous true\n") {
        std::ofstream(m_Folder.Path + "/conf") << "listener " << Port << " 127.0.0.1\nuser root\n" << settings;
        Start();
    }
    ~Broker() { Kill(); }
    Broker(const Broker&) = delete;
    Broker& operator=(const Broker&) = delete;

    void Start() {
        m_Process = StartTool({"/usr/sbin/mosquitto", "-c", m_Folder.Path + "/conf"});
        while (!Listens() && ::waitpid(m_Process, nullptr, WNOHANG) == 0)
            ::poll(nullptr, 0, 5);
        ASSERT_TRUE(Listens());
    }
    void Signal(int number) const { ::kill(m_Process, number); }
    void Kill() {
        if (m_Process < 0) return;
        Signal(SIGKILL);
        ::waitpid(std::exchange(m_Process, -1), nullptr, 0);
    }

    const int Port = FreePort();

private:
    bool Listens() const {
        const platform::FileDescriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(static_cast<std::uint16_t>(Port));
        return ::connect(socket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
    }

    TestFolder m_Folder;
    pid_t m_Process = -1;
};

/// Hears all that a broker passes on.
class Subscriber {
public:
    struct Message {
        std::string Topic;
        std::string Payload;
        bool WasKept;  ///< by the broker, from before
    };

    explicit Subscriber(const Broker& broker, const char* client = nullptr)
        : m_Client(mosquitto_new(client, true, this)) {
        mosquitto_connect_callback_set(m_Client,
                                       [](mosquitto* self, void*, int) { mosquitto_subscribe(self, nullptr, "#", 1); });
        mosquitto_message_callback_set(m_Client, [](mosquitto*, void* self, const mosquitto_message* message) {
            static_cast<Subscriber*>(self)->Take(*message);
        });
        mosquitto_loop_start(m_Client);
        EXPECT_EQ(mosquitto_connect(m_Client, "127.0.0.1", broker.Port, 60), MOSQ_ERR_SUCCESS);
    }
    ~Subscriber() {
        mosquitto_disconnect(m_Client);
        mosquitto_loop_stop(m_Client, true);
        mosquitto_destroy(m_Client);
    }
    Subscriber(const Subscriber&) = delete;
    Subscriber& operator=(const Subscriber&) = delete;

    void Say(const std::string& topic, const std::string& payload) {
        mosquitto_publish(m_Client, nullptr, topic.c_str(), static_cast<int>(payload.size()), payload.data(), 1, false);
    }

    using IsWanted = std::function<bool(const std::string& payload)>;

    /// The first message on a topic whose payload is as wanted, behind the one awaited before.
    Message Await(const std::string& topic, const IsWanted& isWanted) { return AwaitAny(topic, isWanted, true); }
    Message Await(const std::string& topic, const std::string& payload) {
        return Await(topic, [&](const std::string& text) { return text == payload; });
    }
    /// The same on any topic that ends like this.
    Message AwaitAny(const std::string& end, const IsWanted& isWanted, bool isWhole = false) {
        std::unique_lock lock(m_Mutex);
        std::optional<Message> found;
        m_Came.wait_for(lock, std::chrono::minutes(1), [&] {
            for (; !found && m_Heard < m_Messages.size(); ++m_Heard) {
                const auto& message = m_Messages[m_Heard];
                const bool isOnTopic = isWhole ? message.Topic == end : message.Topic.ends_with(end);
                if (isOnTopic && isWanted(message.Payload)) found = message;
            }
            return found.has_value();
        });
        EXPECT_TRUE(found) << end;
        return found.value_or(Message{});
    }

private:
    void Take(const mosquitto_message& message) {
        const std::scoped_lock lock(m_Mutex);
        const auto* bytes = static_cast<const char*>(message.payload);
        m_Messages.push_back(
            {message.topic, std::string(bytes, static_cast<std::size_t>(message.payloadlen)), message.retain});
        m_Came.notify_all();
    }

    mosquitto* m_Client;
    std::mutex m_Mutex;
    std::condition_variable m_Came;
    std::vector<Message> m_Messages;
    std::size_t m_Heard = 0;
};

}  // namespace orvix::tests
