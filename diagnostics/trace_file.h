#pragma once

#include <memory>
#include <string>

#include "host/services.h"

namespace orvix {

/// The daily file of a trace. Several apartments may write to the same file, so it is appended to in whole lines: a
/// line stays in memory until it ends. Steps that fail are skipped.
class TraceFile {
public:
    /// Opens the file of the day in a folder, which is created when it does not exist. The file itself is created with
    /// its first line, and receives lines until it is closed, also after midnight.
    void Open(const Services& services, const std::string& folder);
    /// Ends and writes an open line, and closes the file.
    void Close();
    bool IsOpen() const { return !m_Path.empty(); }

    /// Adds to the open line.
    void Write(const std::string& text);
    void EndLine();

private:
    Files* m_Files = nullptr;
    std::string m_Path;
    std::unique_ptr<AppendFile> m_File;
    std::string m_OpenLine;
};

}  // namespace orvix
