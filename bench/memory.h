#pragma once

#include <sys/types.h>

#include <functional>

namespace orvix::bench {

/// What is measured in a child process that keeps no freed memory.
double InFreshMemory(const std::function<double()>& measure);

/// Megabytes that an action adds to the memory of this program at its peak. It runs in a child process.
double PeakMemory(const std::function<void()>& action);

/// Megabytes of a process in memory, from its line "VmRSS" or "VmHWM".
double MemoryOf(pid_t process, const char* line);

}  // namespace orvix::bench
