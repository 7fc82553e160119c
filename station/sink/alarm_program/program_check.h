#pragma once

#include <optional>
#include <string>
#include <vector>

namespace orvix::station {

/// Why a command cannot be run at an alarm, as a sentence: its program is not there, not executable, or nothing that
/// the system can run. Nothing when it can, or is empty. Without a slash in its name a program is searched in PATH.
std::optional<std::string> ProblemOfCommand(const std::vector<std::string>& command);

}  // namespace orvix::station
