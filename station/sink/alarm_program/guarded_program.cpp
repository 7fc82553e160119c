#include "station/sink/alarm_program/guarded_program.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "host/error.h"
#include "platform/signals_blocked.h"
#include "station/sink/alarm_program/program_check.h"

namespace orvix::station {
namespace {

/// What the guard tells at the end.
struct Report {
    int Error = 0;   ///< the system's, when the program could not be run
    int Status = 0;  ///< else how it ended, in the form of waitpid
};

/// A program in the form in which the system takes it.
struct Call {
    const char* File;
    char** Arguments;
    char** Environment;
};

/// The form in which the system takes a list of texts; refers to them.
std::vector<char*> Pointers(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (auto& text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

// What follows, up to Guard, runs in copies of this process that have one thread only. What another thread had locked
// stays locked there, so there is no memory from the heap, no exception, nothing but calls of the system.

constexpr int kReport = 3;

// The signals that this program ignores and others do not expect to be: those of writing, and the one of a terminal
// that the live screen does without.
constexpr int kIgnored[] = {SIGPIPE, SIGXFSZ, SIGTSTP};

void Tell(const Report& report) {
    // A pipe takes so little at once. Whoever should read it may be gone.
    [[maybe_unused]] const auto written = ::write(kReport, &report, sizeof report);
}

[[noreturn]] void Become(const Call& call) {
    ::setpgid(0, 0);
    for (const int signal : kIgnored)
        ::signal(signal, SIG_DFL);
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    ::execve(call.File, call.Arguments, call.Environment);
    Tell({errno, 0});
    ::_exit(1);
}

/// Standard input and output of the program; no other file stays open, such as the port or what holds a lock.
void SetUpFiles(int report) {
    ::dup2(::open("/dev/null", O_RDONLY | O_CLOEXEC), STDIN_FILENO);
    ::dup2(STDERR_FILENO, STDOUT_FILENO);
    if (report != kReport) ::dup2(report, kReport);
    ::fcntl(kReport, F_SETFD, FD_CLOEXEC);
    ::close_range(kReport + 1, ~0U, 0);
}

/// Kills the children that there are. Returns whether there is one that can be killed.
bool KillChildren() {
    char list[4096];
    const int file = ::open("/proc/thread-self/children", O_RDONLY | O_CLOEXEC);
    auto rest = ::read(file, list, sizeof list);
    ::close(file);
    bool isAny = false;
    pid_t child = 0;
    // Each number is followed by a space; one that is cut off is in the next list.
    for (const char* c = list; rest > 0; ++c, --rest) {
        constexpr int kBase = 10;
        if (*c != ' ') {
            child = child * kBase + (*c - '0');
            continue;
        }
        isAny = ::kill(child, SIGKILL) == 0 || isAny;
        child = 0;
    }
    return isAny;
}

/// What a child that is killed has started becomes a child of the guard.
void EndAll(pid_t program, Report& report) {
    // Does most where the kernel has no list of children.
    ::kill(-program, SIGKILL);
    while (KillChildren()) {
        int status = 0;
        if (::waitpid(-1, &status, 0) == program) report.Status = status;
    }
}

/// Takes what has ended. Returns whether the program has.
bool HasEnded(pid_t program, Report& report) {
    for (;;) {
        int status = 0;
        const pid_t child = ::waitpid(-1, &status, WNOHANG);
        if (child == program) report.Status = status;
        if (child <= 0 || child == program) return child == program;
    }
}

/// Until the program has ended, or the guard is asked for the end.
void Watch(pid_t program, Report& report) {
    sigset_t signals;
    ::sigemptyset(&signals);
    ::sigaddset(&signals, SIGCHLD);
    ::sigaddset(&signals, SIGTERM);
    int signal = 0;
    while (signal != SIGTERM && !HasEnded(program, report))
        ::sigwait(&signals, &signal);
}

/// All signals are blocked.
[[noreturn]] void Guard(const Call& call, int report, pid_t station) {
    ::setpgid(0, 0);
    ::signal(SIGCHLD, SIG_DFL);
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);
    SetUpFiles(report);
    if (::getppid() != station) ::_exit(1);
    const pid_t program = ::fork();
    if (program == 0) Become(call);
    if (program < 0) {
        Tell({errno, 0});
        ::_exit(1);
    }
    Report how;
    Watch(program, how);
    EndAll(program, how);
    Tell(how);
    ::_exit(0);
}

}  // namespace

GuardedProgram::GuardedProgram(std::vector<std::string> command, std::vector<std::string> environment) {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) throw SystemError("no pipe", errno);
    m_Report = platform::FileDescriptor(ends[0]);
    const platform::FileDescriptor report(ends[1]);
    const auto file = FileOfProgram(command[0]);
    auto arguments = Pointers(command);
    auto variables = Pointers(environment);
    const Call call{file.c_str(), arguments.data(), variables.data()};
    const pid_t station = ::getpid();
    // The copy of this process does not know what to do about them.
    const platform::SignalsBlocked blocked;
    const pid_t guard = ::fork();
    if (guard == 0) Guard(call, report.Get(), station);
    if (guard < 0) throw SystemError("no process", errno);
    m_Guard = guard;
}

GuardedProgram::~GuardedProgram() {
    Kill();
}

void GuardedProgram::Kill() const {
    if (m_Guard) ::kill(*m_Guard, SIGTERM);
}

std::string GuardedProgram::TakeProblem() {
    Report report;
    const auto size = ::read(m_Report.Get(), &report, sizeof report);
    int status = 0;
    ::waitpid(*m_Guard, &status, 0);
    m_Guard.reset();
    if (size != sizeof report) report.Status = status;
    if (report.Error != 0) return std::string("cannot be started: ") + std::strerror(report.Error);
    if (WIFSIGNALED(report.Status)) return "ended by signal " + std::to_string(WTERMSIG(report.Status));
    const int code = WEXITSTATUS(report.Status);
    return code == 0 ? "" : "ended with status " + std::to_string(code);
}

}  // namespace orvix::station
