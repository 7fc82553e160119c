#include "station/sink/alarm_program/alarm_command.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>

#include "host/text.h"
#include "station/model/clock.h"

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

AlarmCommand::~AlarmCommand() {
    if (m_Running) Kill();
}

void AlarmCommand::OnAlarm(const AlarmEvent& event) {
    if (m_Command.empty()) return;
    if (m_Waiting.size() >= kMostWaiting) {
        return TellOf(m_Command[0],
                      "is not run for device " + NumberText(std::int32_t{event.Address}) + ": too many wait");
    }
    m_Waiting.push_back(event);
    RunNext();
}

void AlarmCommand::RunNext() {
    while (!m_Running && !m_Waiting.empty()) {
        const auto event = std::move(m_Waiting.front());
        m_Waiting.pop_front();
        if (!m_Command.empty()) Start(event);
    }
}

void AlarmCommand::Start(const AlarmEvent& event) {
    const auto& program = m_Command[0];
    pid_t process = 0;
    const int failure = SpawnAttributes().Start(process, m_Command, EnvironmentOf(event));
    if (failure != 0) return TellOf(program, std::string("cannot be started: ") + std::strerror(failure));

    m_Running = std::make_unique<Running>();
    m_Running->Program = program;
    m_Running->Process = process;
    m_Running->Handle = platform::FileDescriptor(static_cast<int>(::syscall(SYS_pidfd_open, process, 0)));
    m_Running->End = m_Home.Watch(m_Running->Handle.Get(), POLLIN, [this](short) { TakeEnd(); });
    m_Running->Limit = m_Home.CreateTimer([this] {
        m_Running->IsKilled = true;
        Kill();
    });
    const auto limit = std::chrono::ceil<std::chrono::milliseconds>(m_Limit);
    // Without a handle, for want of descriptors, nothing would tell its end.
    m_Running->Limit->Rearm(m_Running->Handle.IsOpen() ? static_cast<std::int32_t>(limit.count()) : 0, true);
}

void AlarmCommand::Kill() {
    m_Running->Limit->Enabled(false);
    // With what it has started. One that waits for a disk dies when that answers.
    ::kill(-m_Running->Process, SIGKILL);
    if (!m_Running->Handle.IsOpen()) TakeEnd();
}

void AlarmCommand::TakeEnd() {
    const auto ended = std::exchange(m_Running, nullptr);
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
