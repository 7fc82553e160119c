#pragma once

#include <optional>
#include <string>
#include <vector>

namespace orvix::station {

/// The file of a program: itself when its name has a slash, else the one that is found in PATH; empty: none.
std::string FileOfProgram(const std::string& program);

/// Why a command cannot be run at an alarm, as a sentence: its program is not there, not executable, or nothing that
/// the system can run. Nothing when it can, or is empty. Without a slash in its name a program is searched in PATH.
std::optional<std::string> ProblemOfCommand(const std::vector<std::string>& command);

}  // namespace orvix::station
