#pragma once

#include <time.h>

namespace orvix::bench {

inline double Nanoseconds(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

/// Processor time of this thread: other programs do not count.
inline double ThreadTime() {
    return Nanoseconds(CLOCK_THREAD_CPUTIME_ID);
}

inline double WallTime() {
    return Nanoseconds(CLOCK_MONOTONIC);
}

/// Nanoseconds of this thread for one call, out of many.
template <class Action>
double TimePerCall(int calls, Action action) {
    const double start = ThreadTime();
    for (int i = 0; i < calls; ++i)
        action();
    return (ThreadTime() - start) / calls;
}

}  // namespace orvix::bench
