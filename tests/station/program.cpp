#include "tests/station/program.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <utility>

namespace orvix::tests {

const char* const kProgram = NIMBO1_PROGRAM;
const char* const kLibrary = NIMBO1_LIBRARY;

std::string ContentsOf(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

int FreePort() {
    const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof(address);
    EXPECT_EQ(::bind(socket, reinterpret_cast<sockaddr*>(&address), size), 0);
    EXPECT_EQ(::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size), 0);
    ::close(socket);
    return ntohs(address.sin_port);
}

Program::Program(std::vector<std::string> arguments) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    for (const auto& [descriptor, file] : {std::pair(STDOUT_FILENO, m_Out), {STDERR_FILENO, m_Err}})
        posix_spawn_file_actions_addopen(&actions, descriptor, file.c_str(), O_WRONLY | O_CREAT, 0600);

    arguments.insert(arguments.begin(), kProgram);
    std::vector<char*> argv;
    for (auto& argument : arguments)
        argv.push_back(argument.data());
    argv.push_back(nullptr);
    setenv("HOME", m_Folder.Path.c_str(), 1);
    for (const char* name : {"XDG_CONFIG_HOME", "XDG_DATA_HOME"})
        unsetenv(name);
    if (posix_spawn(&m_Process, kProgram, &actions, nullptr, argv.data(), environ) != 0) abort();
    posix_spawn_file_actions_destroy(&actions);
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

bool Program::Await(const std::string& text, const std::string& file, std::size_t& begin) {
    for (bool ended = false;; poll(nullptr, 0, 5)) {
        const auto at = ContentsOf(file).find(text, begin);
        if (at != std::string::npos) {
            begin = at + text.size();
            return true;
        }
        if (ended) return false;
        siginfo_t info{};
        waitid(P_PID, static_cast<id_t>(m_Process), &info, WEXITED | WNOHANG | WNOWAIT);
        ended = info.si_pid != 0;
    }
}

ProgramResult Program::Finish() {
    int status = 0;
    waitpid(std::exchange(m_Process, -1), &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), ContentsOf(m_Out), ContentsOf(m_Err)};
}

void ExpectOneLine(const std::vector<std::string>& arguments, int status, const std::string& says) {
    SCOPED_TRACE(testing::PrintToString(arguments));
    const auto result = RunProgram(arguments);
    EXPECT_EQ(result.Status, status);
    EXPECT_EQ(result.Out, "");
    EXPECT_EQ(std::count(result.Err.begin(), result.Err.end(), '\n'), 1) << result.Err;
    EXPECT_NE(result.Err.find(says), std::string::npos) << result.Err;
}

}  // namespace orvix::tests
