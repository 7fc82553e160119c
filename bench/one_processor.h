#pragma once

#include <sched.h>

#include <cerrno>

#include "host/error.h"

namespace orvix::bench {

/// Keeps this thread, and threads that it starts meanwhile, on one processor.
class OneProcessor {
public:
    OneProcessor() {
        if (sched_getaffinity(0, sizeof(m_Before), &m_Before) != 0) throw SystemError("no processors", errno);
        int first = 0;
        while (!CPU_ISSET(first, &m_Before))
            ++first;
        cpu_set_t one;
        CPU_ZERO(&one);
        CPU_SET(first, &one);
        if (sched_setaffinity(0, sizeof(one), &one) != 0) throw SystemError("cannot stay on one processor", errno);
    }
    ~OneProcessor() { sched_setaffinity(0, sizeof(m_Before), &m_Before); }
    OneProcessor(const OneProcessor&) = delete;
    OneProcessor& operator=(const OneProcessor&) = delete;

private:
    cpu_set_t m_Before{};
};

}  // namespace orvix::bench
