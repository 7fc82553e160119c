#include "tests/station/program.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <utility>

namespace orvix::tests {
namespace {

// Takes what a pipe holds; closes it at its end.
void Drain(int& pipe, std::string& into) {
    std::array<char, 4096> bytes;
    const auto count = read(pipe, bytes.data(), bytes.size());
    if (count > 0) {
        into.append(bytes.data(), static_cast<std::size_t>(count));
    } else {
        close(std::exchange(pipe, -1));
    }
}

}  // namespace

Program::Program(std::vector<std::string> arguments) {
    std::array<int, 2> out{};
    std::array<int, 2> err{};
    if (pipe2(out.data(), O_CLOEXEC) != 0 || pipe2(err.data(), O_CLOEXEC) != 0) abort();
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, err[1], STDERR_FILENO);

    arguments.insert(arguments.begin(), NIMBO1_PROGRAM);
    std::vector<char*> argv;
    for (auto& argument : arguments)
        argv.push_back(argument.data());
    argv.push_back(nullptr);
    std::vector<std::string> environment{"HOME=" + m_Folder.Path, "PATH=/usr/bin:/bin"};
    for (const char* name : {"XDG_RUNTIME_DIR", "ASAN_OPTIONS", "UBSAN_OPTIONS", "TSAN_OPTIONS", "LSAN_OPTIONS"}) {
        if (const char* value = getenv(name)) environment.push_back(std::string(name) + "=" + value);
    }
    std::vector<char*> envp;
    for (auto& variable : environment)
        envp.push_back(variable.data());
    envp.push_back(nullptr);

    if (posix_spawn(&m_Process, NIMBO1_PROGRAM, &actions, nullptr, argv.data(), envp.data()) != 0) abort();
    posix_spawn_file_actions_destroy(&actions);
    close(out[1]);
    close(err[1]);
    m_OutPipe = out[0];
    m_ErrPipe = err[0];
}

Program::~Program() {
    if (m_Process > 0) {
        Signal(SIGKILL);
        Finish();
    }
}

void Program::Signal(int number) const {
    kill(m_Process, number);
}

bool Program::ReadSome() {
    std::array<pollfd, 2> pipes{pollfd{m_OutPipe, POLLIN, 0}, pollfd{m_ErrPipe, POLLIN, 0}};
    if (m_OutPipe < 0 && m_ErrPipe < 0) return false;
    poll(pipes.data(), pipes.size(), -1);
    if (m_OutPipe >= 0 && pipes[0].revents != 0) Drain(m_OutPipe, m_Result.Out);
    if (m_ErrPipe >= 0 && pipes[1].revents != 0) Drain(m_ErrPipe, m_Result.Err);
    return true;
}

bool Program::AwaitOutput(const std::string& text) {
    for (;;) {
        const auto at = m_Result.Out.find(text, m_Awaited);
        if (at != std::string::npos) {
            m_Awaited = at + text.size();
            return true;
        }
        if (!ReadSome()) return false;
    }
}

bool Program::AwaitError(const std::string& text) {
    while (m_Result.Err.find(text) == std::string::npos) {
        if (!ReadSome()) return false;
    }
    return true;
}

ProgramResult Program::Finish() {
    while (ReadSome()) {
    }
    int status = 0;
    waitpid(std::exchange(m_Process, -1), &status, 0);
    m_Result.Status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return m_Result;
}

}  // namespace orvix::tests
