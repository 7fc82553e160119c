#include "station/sink/alarm_program/program_check.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace orvix::station {
namespace {

// Where the system searches without a PATH.
constexpr char kUsualPath[] = "/bin:/usr/bin";

std::string FirstLine(const std::string& file) {
    constexpr std::size_t kMost = 256;
    std::string line(kMost, '\0');
    std::ifstream contents(file, std::ios::binary);
    contents.read(line.data(), static_cast<std::streamsize>(kMost));
    line.resize(static_cast<std::size_t>(contents.gcount()));
    return line.substr(0, line.find('\n'));
}

/// What a script names behind "#!".
std::string InterpreterIn(const std::string& line) {
    std::string name;
    std::istringstream(line.substr(2)) >> name;
    return name;
}

std::optional<std::string> WhyNotRunnable(const std::string& program) {
    const auto file = FileOfProgram(program);
    if (file.empty()) return "it is not in any folder of PATH";
    if (::access(file.c_str(), X_OK) != 0) return std::strerror(errno);
    std::error_code error;
    if (!std::filesystem::is_regular_file(file, error)) return "it is not a file";
    // One that may be run and not be read tells nothing.
    if (::access(file.c_str(), R_OK) != 0) return std::nullopt;
    const auto line = FirstLine(file);
    if (line.starts_with("\x7f"
                         "ELF"))
        return std::nullopt;
    if (!line.starts_with("#!")) return "it is neither a program nor a script that begins with #!";
    const auto interpreter = InterpreterIn(line);
    if (::access(interpreter.c_str(), X_OK) == 0) return std::nullopt;
    return "its first line names " + interpreter + ": " + std::strerror(errno);
}

}  // namespace

std::string FileOfProgram(const std::string& program) {
    if (program.find('/') != std::string::npos) return program;
    const char* path = std::getenv("PATH");
    std::istringstream folders(path == nullptr ? kUsualPath : path);
    for (std::string folder; std::getline(folders, folder, ':');) {
        auto file = (folder.empty() ? "." : folder) + "/" + program;
        if (::access(file.c_str(), X_OK) == 0) return file;
    }
    return {};
}

std::optional<std::string> ProblemOfCommand(const std::vector<std::string>& command) {
    const auto reason = command.empty() ? std::nullopt : WhyNotRunnable(command[0]);
    return reason ? std::make_optional("the program " + command[0] + " cannot be run: " + *reason) : std::nullopt;
}

}  // namespace orvix::station
