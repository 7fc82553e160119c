#include "station/alarms/alarm_command.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/eventfd.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "host/error.h"
#include "host/text.h"
#include "station/bus/clock.h"

namespace orvix::station {
namespace {

std::vector<std::string> EnvironmentOf(const AlarmEvent& event) {
    std::vector<std::string> variables;
    for (char** variable = environ; *variable != nullptr; ++variable)
        variables.emplace_back(*variable);
    const std::pair<const char*, std::string> own[] = {
        {"EVENT", event.Starts ? "start" : "end"},
        {"ALARM", event.KindText()},
        {"PORT", event.Port},
        {"ADDRESS", NumberText(std::int32_t{event.Address})},
        {"NAME", event.Name},
        {"VALUE", NumberText(event.Value)},
        {"LIMIT", NumberText(event.Limit)},
        {"TIME", IsoText(event.UnixMilliseconds)},
        {"TEXT", event.Text()},
    };
    for (const auto& [name, value] : own)
        variables.push_back(std::string("NIMBO1_") + name + "=" + value);
    return variables;
}

/// The form in which the system takes a list of texts; refers to them.
std::vector<char*> Pointers(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (auto& text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

/// Attributes of a program that is started: a process group of its own, so that all of it can be killed, and the
/// signals as a program expects them, where this one blocks or ignores some.
class SpawnAttributes {
public:
    SpawnAttributes() {
        posix_spawnattr_init(&m_Attributes);
        posix_spawnattr_setflags(&m_Attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
        posix_spawnattr_setpgroup(&m_Attributes, 0);
        sigset_t signals;
        sigemptyset(&signals);
        posix_spawnattr_setsigmask(&m_Attributes, &signals);
        sigaddset(&signals, SIGPIPE);
        posix_spawnattr_setsigdefault(&m_Attributes, &signals);
        posix_spawn_file_actions_init(&m_Files);
        posix_spawn_file_actions_addopen(&m_Files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_adddup2(&m_Files, STDERR_FILENO, STDOUT_FILENO);
    }
    ~SpawnAttributes() {
        posix_spawn_file_actions_destroy(&m_Files);
        posix_spawnattr_destroy(&m_Attributes);
    }
    SpawnAttributes(const SpawnAttributes&) = delete;
    SpawnAttributes& operator=(const SpawnAttributes&) = delete;

    /// Starts a program. Returns 0 or the system's error code.
    int Start(pid_t& process, std::vector<std::string> command, std::vector<std::string> environment) const {
        return posix_spawnp(&process, command[0].c_str(), &m_Files, &m_Attributes, Pointers(command).data(),
                            Pointers(environment).data());
    }

private:
    posix_spawnattr_t m_Attributes{};
    posix_spawn_file_actions_t m_Files{};
};

}  // namespace

AlarmCommand::AlarmCommand(std::vector<std::string> command, Duration limit, Apartment& home,
                           std::function<void(const std::string&)> tell)
    : m_Limit(limit),
      m_Home(home),
      m_Tell(std::move(tell)),
      m_Command(std::move(command)),
      m_StopEvent(eventfd(0, EFD_CLOEXEC)) {
    if (!m_StopEvent.IsOpen()) throw SystemError("cannot prepare the alarm command", errno);
    m_Thread = std::thread([this] { Live(); });
}

AlarmCommand::~AlarmCommand() {
    {
        const std::lock_guard lock(m_Mutex);
        m_Stopping = true;
    }
    m_Wake.notify_one();
    eventfd_write(m_StopEvent.Get(), 1);
    m_Thread.join();
}

void AlarmCommand::Command(std::vector<std::string> command) {
    const std::lock_guard lock(m_Mutex);
    m_Command = std::move(command);
}

void AlarmCommand::OnAlarm(const AlarmEvent& event) {
    {
        const std::lock_guard lock(m_Mutex);
        if (m_Command.empty()) return;
        if (m_Waiting.size() >= kMostWaiting) {
            Tell(m_Command[0] + " is not run for device " + NumberText(std::int32_t{event.Address}) +
                 ": too many wait");
            return;
        }
        m_Waiting.push_back(event);
    }
    m_Wake.notify_one();
}

void AlarmCommand::Live() {
    for (;;) {
        std::unique_lock lock(m_Mutex);
        m_Wake.wait(lock, [this] { return m_Stopping || !m_Waiting.empty(); });
        if (m_Stopping) return;
        const auto event = std::move(m_Waiting.front());
        m_Waiting.pop_front();
        const auto command = m_Command;
        lock.unlock();
        if (command.empty()) continue;
        const auto problem = Run(command, event);
        if (!problem.empty()) Tell(command[0] + " " + problem);
    }
}

std::string AlarmCommand::Run(const std::vector<std::string>& command, const AlarmEvent& event) {
    pid_t process = 0;
    const int failure = SpawnAttributes().Start(process, command, EnvironmentOf(event));
    return failure != 0 ? std::string("cannot be started: ") + std::strerror(failure) : Await(process);
}

std::string AlarmCommand::Await(int process) {
    const platform::FileDescriptor handle(static_cast<int>(::syscall(SYS_pidfd_open, process, 0)));
    pollfd ends[] = {{handle.Get(), POLLIN, 0}, {m_StopEvent.Get(), POLLIN, 0}};
    const auto limit = std::chrono::ceil<std::chrono::milliseconds>(m_Limit);
    int ready = 0;
    do {
        ready = ::poll(ends, 2, static_cast<int>(limit.count()));
    } while (ready < 0 && errno == EINTR);
    const bool ended = ends[0].revents != 0;
    // What it has left behind in the background goes too.
    ::kill(-process, SIGKILL);
    int status = 0;
    ::waitpid(process, &status, 0);
    if (ready == 0) return "was killed after " + std::to_string(limit.count() / 1000) + " s";
    if (!ended || (WIFEXITED(status) && WEXITSTATUS(status) == 0)) return {};
    return WIFEXITED(status) ? "ended with status " + std::to_string(WEXITSTATUS(status))
                             : "ended by signal " + std::to_string(WTERMSIG(status));
}

void AlarmCommand::Tell(const std::string& problem) {
    m_Home.Post([tell = m_Tell, text = "alarm command " + problem] { tell(text); });
}

}  // namespace orvix::station
