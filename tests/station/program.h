#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "tests/support/test_folder.h"

namespace orvix::tests {

/// What was built, to be started and loaded.
extern const char* const kProgram;
extern const char* const kLibrary;

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
    bool AwaitOutput(const std::string& text) { return Await(text, m_Out, m_Awaited); }
    /// The same of standard error.
    bool AwaitError(const std::string& text) { return Await(text, m_Err, m_AwaitedError); }
    /// Waits for its end.
    ProgramResult Finish();

private:
    bool Await(const std::string& text, const std::string& file, std::size_t& begin);

    TestFolder m_Folder;
    std::string m_Out = m_Folder.Path + "/out";
    std::string m_Err = m_Folder.Path + "/err";
    pid_t m_Process = -1;
    std::size_t m_Awaited = 0;
    std::size_t m_AwaitedError = 0;
};

inline ProgramResult RunProgram(std::vector<std::string> arguments) {
    return Program(std::move(arguments)).Finish();
}

/// Runs the program, which must end with the status, nothing on standard output and one line on standard error.
void ExpectOneLine(const std::vector<std::string>& arguments, int status, const std::string& says);

std::string ContentsOf(const std::string& file);

/// A TCP port of this machine on which nobody listens now.
int FreePort();

}  // namespace orvix::tests
