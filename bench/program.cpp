#include "bench/program.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string_view>

#include "bench/clocks.h"
#include "bench/test_station.h"

namespace orvix::bench {

Program::Program(const std::string& port, const std::string& every) : m_Folder(NewFolder()) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    m_Started = WallTime();
    m_Process = fork();
    if (m_Process == 0) {
        dup2(ends[1], STDOUT_FILENO);
        execl(NIMBO1_PROGRAM, "nimbo1", "run", "--json", "--data", m_Folder.c_str(), "--port", port.c_str(), "--every",
              every.c_str(), "--device", "1:sensor", "--device", "2:sensor", "--device", "3:sensor",
              static_cast<char*>(nullptr));
        _exit(127);
    }
    close(ends[1]);
    m_Output = ends[0];
}

Program::~Program() {
    kill(m_Process, SIGTERM);
    waitpid(m_Process, nullptr, 0);
    close(m_Output);
    std::error_code ignored;
    std::filesystem::remove_all(m_Folder, ignored);
}

double Program::FirstReading() {
    pollfd output{m_Output, POLLIN, 0};
    std::array<char, 4096> buffer{};
    std::string said;
    while (said.find("\"event\":\"reading\"") == std::string::npos) {
        const ssize_t count = poll(&output, 1, 10000) == 1 ? read(m_Output, buffer.data(), buffer.size()) : 0;
        if (count <= 0) throw std::runtime_error("nimbo1 reads nothing");
        said.append(buffer.data(), static_cast<std::size_t>(count));
    }
    return (WallTime() - m_Started) / 1e6;
}

Usage Program::Used() const {
    constexpr std::string_view kSwitches = "voluntary_ctxt_switches:";
    Usage usage;
    const std::string threads = "/proc/" + std::to_string(m_Process) + "/task";
    for (const auto& thread : std::filesystem::directory_iterator(threads)) {
        double nanoseconds = 0;
        std::ifstream(thread.path() / "schedstat") >> nanoseconds;
        usage.ProcessorMs += nanoseconds / 1e6;
        std::ifstream status(thread.path() / "status");
        for (std::string line; std::getline(status, line);) {
            if (line.starts_with(kSwitches)) usage.WakeUps += std::stod(line.substr(kSwitches.size()));
        }
    }
    return usage;
}

}  // namespace orvix::bench
