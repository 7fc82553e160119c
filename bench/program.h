#pragma once

#include <sys/types.h>

#include <string>

namespace orvix::bench {

/// Processor time in milliseconds and how often a thread went to sleep and was woken.
struct Usage {
    double ProcessorMs = 0;
    double WakeUps = 0;
};

/// The program nimbo1, polling sensors 1 to 3 behind a port, with a new data folder. It ends with this.
class Program {
public:
    Program(const std::string& port, const std::string& every);
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    /// Milliseconds from the start of the program to its first reading.
    double FirstReading();
    /// What all its threads have used so far.
    Usage Used() const;

private:
    std::string m_Folder;
    pid_t m_Process = -1;
    int m_Output = -1;
    double m_Started = 0;
};

}  // namespace orvix::bench
