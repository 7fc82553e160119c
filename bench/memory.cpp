#include "bench/memory.h"

#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <stdexcept>
#include <string>

#include "host/error.h"

namespace orvix::bench {

double MemoryOf(pid_t process, const char* line) {
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    for (std::string text; std::getline(status, text);) {
        if (text.starts_with(std::string(line) + ":"))
            return std::stod(text.substr(std::string(line).size() + 1)) / 1024;
    }
    throw std::runtime_error("no memory figures of process " + std::to_string(process));
}

double InFreshMemory(const std::function<double()>& measure) {
    int ends[2];
    if (pipe(ends) != 0) throw std::runtime_error("no pipe");
    const pid_t child = fork();
    if (child == 0) {
        const auto tell = [&] {
            // What the parent has freed and kept would hide what the measured takes.
            malloc_trim(0);
            const double figure = measure();
            [[maybe_unused]] const auto count = write(ends[1], &figure, sizeof(figure));
        };
        _exit(Attempt(tell) ? 0 : 1);
    }
    close(ends[1]);
    double figure = 0;
    const bool told = read(ends[0], &figure, sizeof(figure)) == static_cast<ssize_t>(sizeof(figure));
    close(ends[0]);
    waitpid(child, nullptr, 0);
    if (!told) throw std::runtime_error("the child that measures has failed");
    return figure;
}

double PeakMemory(const std::function<void()>& action) {
    return InFreshMemory([&] {
        std::ofstream("/proc/self/clear_refs") << "5";
        const double before = MemoryOf(getpid(), "VmRSS");
        action();
        return MemoryOf(getpid(), "VmHWM") - before;
    });
}

}  // namespace orvix::bench
