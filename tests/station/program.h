#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "tests/support/test_folder.h"

namespace orvix::tests {

struct ProgramResult {
    int Status = -1;  ///< exit status; 128 + n when ended by signal n
    std::string Out;
    std::string Err;
};

/// The program nimbo1, started with configuration and data in a folder of its own that goes with the object.
class Program {
public:
    explicit Program(std::vector<std::string> arguments);
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    void Signal(int number) const;
    /// Waits for standard output to hold the text, behind the one awaited before; false when the program ends first.
    bool AwaitOutput(const std::string& text);
    /// Waits for standard error to hold the text; false when the program ends first.
    bool AwaitError(const std::string& text);
    /// Waits for its end.
    ProgramResult Finish();

private:
    bool ReadSome();

    TestFolder m_Folder;
    pid_t m_Process = -1;
    std::size_t m_Awaited = 0;
    int m_OutPipe = -1;
    int m_ErrPipe = -1;
    ProgramResult m_Result;
};

inline ProgramResult RunProgram(std::vector<std::string> arguments) {
    return Program(std::move(arguments)).Finish();
}

}  // namespace orvix::tests
