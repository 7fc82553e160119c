#include "station/sink/alarm_program/alarm_command.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "host/text.h"
#include "station/model/clock.h"
#include "station/words/quantity_text.h"

namespace orvix::station {
namespace {

std::vector<std::string> EnvironmentOf(const AlarmEvent& event) {
    std::vector<std::string> variables;
    for (char** variable = environ; *variable != nullptr; ++variable)
        variables.emplace_back(*variable);
    const std::pair<const char*, std::string> own[] = {
        {"EVENT", NameOf(event.What)},
        {"ALARM_ID", event.Alarm},
        {"ALARM", event.KindText()},
        {"PORT", event.Port},
        {"ADDRESS", AddressText(event.Address)},
        {"DEVICE", event.Identifier},
        {"NAME", event.Name},
        {"VALUE", NumberText(event.Value)},
        {"LIMIT", NumberText(event.Limit)},
        {"TIME", IsoText(event.UnixMilliseconds)},
        {"STARTED", IsoText(event.Started)},
        {"TEXT", event.Text()},
        {"ACKNOWLEDGED_BY", event.Acknowledged ? event.Acknowledged->By : ""},
        {"COMMENT", event.Acknowledged ? event.Acknowledged->Comment : ""},
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

/// The signals that this program ignores and others do not expect to be: those of writing, and the one of a terminal
/// that the live screen does without.
constexpr int kIgnored[] = {SIGPIPE, SIGXFSZ, SIGTSTP};

/// Attributes of a program that is started: a process group of its own, so that all of it can be killed, and the
/// signals as a program expects them.
class SpawnAttributes {
public:
    SpawnAttributes() {
        posix_spawnattr_init(&m_Attributes);
        posix_spawnattr_setflags(&m_Attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
        posix_spawnattr_setpgroup(&m_Attributes, 0);
        sigset_t signals;
        sigemptyset(&signals);
        posix_spawnattr_setsigmask(&m_Attributes, &signals);
        for (const int signal : kIgnored)
            sigaddset(&signals, signal);
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

/// What went wrong with a program that has ended; empty: nothing.
std::string ProblemOf(int status) {
    if (WIFSIGNALED(status)) return "ended by signal " + std::to_string(WTERMSIG(status));
    return WEXITSTATUS(status) == 0 ? "" : "ended with status " + std::to_string(WEXITSTATUS(status));
}

}  // namespace

AlarmCommand::AlarmCommand(std::vector<std::string> command, Duration limit, platform::RealApartment& home,
                           std::function<void(const std::string&)> tell)
    : m_Limit(limit), m_Home(home), m_Tell(std::move(tell)), m_Command(std::move(command)) {}

void AlarmCommand::OnAlarm(const AlarmEvent& event) {
    // What goes on was told by an earlier session.
    if (m_Command.empty() || event.What == AlarmChange::Continued) return;
    auto& queue = m_Queues[event.Id()];
    queue.Dropped += std::erase_if(queue.Waiting, [&](const AlarmEvent& waiting) {
        return waiting.Kind == event.Kind && waiting.Input == event.Input;
    });
    queue.Waiting.push_back(event);
    RunNext();
}

void AlarmCommand::Close() {
    std::size_t waiting = 0;
    for (auto& [device, queue] : std::exchange(m_Queues, {})) {
        waiting += queue.Waiting.size();
        if (queue.Now) ::kill(-queue.Now->Process, SIGKILL);
    }
    if (waiting > 0)
        TellOf(m_Command.empty() ? "" : m_Command[0], "is not run for the last " + Counted(waiting, "alarm"));
}

std::size_t AlarmCommand::Runs() const {
    return static_cast<std::size_t>(
        std::count_if(m_Queues.begin(), m_Queues.end(), [](const auto& item) { return item.second.Now != nullptr; }));
}

/// Devices take turns.
void AlarmCommand::RunNext() {
    const auto isReady = [](const auto& item) { return !item.second.Now && !item.second.Waiting.empty(); };
    while (Runs() < kMostRunning) {
        auto next = std::find_if(m_Queues.upper_bound(m_Latest), m_Queues.end(), isReady);
        if (next == m_Queues.end()) next = std::find_if(m_Queues.begin(), m_Queues.end(), isReady);
        if (next == m_Queues.end()) return;
        m_Latest = next->first;
        RunFor(next->second);
    }
}

void AlarmCommand::RunFor(Queue& queue) {
    const auto event = std::move(queue.Waiting.front());
    queue.Waiting.pop_front();
    if (m_Command.empty()) return;
    if (const auto dropped = std::exchange(queue.Dropped, 0); dropped > 0) {
        TellOf(m_Command[0], "was not run for " + Counted(dropped, "alarm") + " of " + event.Port + ", " + event.Name +
                                 ": newer ones came while it was running");
    }
    Start(queue, event);
}

void AlarmCommand::Start(Queue& queue, const AlarmEvent& event) {
    const auto& program = m_Command[0];
    pid_t process = 0;
    const int failure = SpawnAttributes().Start(process, m_Command, EnvironmentOf(event));
    if (failure != 0) return TellOf(program, std::string("cannot be started: ") + std::strerror(failure));

    queue.Now = std::make_unique<Running>();
    auto& running = *queue.Now;
    running.Program = program;
    running.Process = process;
    running.Handle = platform::FileDescriptor(static_cast<int>(::syscall(SYS_pidfd_open, process, 0)));
    running.End = m_Home.Watch(running.Handle.Get(), POLLIN, [this, &queue](short) { TakeEnd(queue); });
    running.Limit = m_Home.CreateTimer([this, &queue] {
        queue.Now->IsKilled = true;
        Kill(queue);
    });
    const auto limit = std::chrono::ceil<std::chrono::milliseconds>(m_Limit);
    // Without a handle, for want of descriptors, nothing would tell its end.
    running.Limit->Rearm(running.Handle.IsOpen() ? static_cast<std::int32_t>(limit.count()) : 0, true);
}

void AlarmCommand::Kill(Queue& queue) {
    queue.Now->Limit->Enabled(false);
    // With what it has started. One that waits for a disk dies when that answers.
    ::kill(-queue.Now->Process, SIGKILL);
    if (!queue.Now->Handle.IsOpen()) TakeEnd(queue);
}

void AlarmCommand::TakeEnd(Queue& queue) {
    const auto ended = std::exchange(queue.Now, nullptr);
    // What it has left behind in the background goes too.
    ::kill(-ended->Process, SIGKILL);
    int status = 0;
    ::waitpid(ended->Process, &status, 0);
    const auto problem =
        ended->IsKilled ? "was killed after " +
                              std::to_string(std::chrono::duration_cast<std::chrono::seconds>(m_Limit).count()) + " s"
                        : ProblemOf(status);
    if (!problem.empty()) TellOf(ended->Program, problem);
    RunNext();
}

void AlarmCommand::TellOf(const std::string& program, const std::string& problem) const {
    m_Tell("alarm command " + program + " " + problem);
}

}  // namespace orvix::station
