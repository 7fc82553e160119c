#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "platform/file_descriptor.h"

namespace orvix::station {

/// A program that has been started, and all that it starts in turn. Over it stands a guard, a process of its own: what
/// the program leaves behind, in a session of its own too, belongs to the guard, which ends it with the program. The
/// guard ends all of it when this program is gone.
class GuardedProgram {
public:
    /// `command` is the program, searched in PATH unless its name has a slash, and its arguments; `environment`
    /// consists of NAME=VALUE. Standard input is empty, standard output goes to standard error. Raises SystemError when
    /// there can be no guard; whether the program can be run is told at its end.
    GuardedProgram(std::vector<std::string> command, std::vector<std::string> environment);
    /// Ends what still runs, and waits for nothing.
    ~GuardedProgram();
    GuardedProgram(const GuardedProgram&) = delete;
    GuardedProgram& operator=(const GuardedProgram&) = delete;

    /// A descriptor that can be read when all of it has ended.
    int End() const { return m_Report.Get(); }
    /// Ends all of it soon. What waits for a disk ends when that answers.
    void Kill() const;
    /// What went wrong with it, as "ended with status 3"; empty: nothing. To be called once, when it has ended.
    std::string TakeProblem();

private:
    platform::FileDescriptor m_Report;  ///< the reading end of a pipe to which the guard writes how it went
    std::optional<pid_t> m_Guard;       ///< until its end was taken
};

}  // namespace orvix::station
