#pragma once

#include <string>

#include "host/database.h"

namespace orvix::platform {

/// The workgroup file says which account may open the host database. It is a text of three lines, each ended by a line
/// feed; user and password are nine letters or digits each:
///
///     OrvixWorkgroup 1
///     User=<user>
///     Password=<password>

/// Raises SystemError, naming the file, for one that is missing or cannot be read, UnusableDatabase for another form.
DatabaseAccount ReadWorkgroupFile(const std::string& file);

/// Writes the file, readable by its owner only. Raises SystemError naming it.
void WriteWorkgroupFile(const std::string& file, const DatabaseAccount& account);

/// A new account, drawn at random.
DatabaseAccount NewAccount();

}  // namespace orvix::platform
