#pragma once

#include <optional>
#include <string>

#include "host/variant.h"
#include "platform/atomic_file.h"
#include "platform/file_descriptor.h"

namespace orvix::platform {

/// What people call standard output in place of a file.
inline constexpr char kStandardOutput[] = "-";

/// A file that people have asked for. A regular one, or one that is not there yet, gets its name when all is written,
/// also behind a link, which stays. Into a pipe or a device it is written as it comes. Members raise SystemError naming
/// the file.
class DocumentFile {
public:
    explicit DocumentFile(const std::string& path);

    void Write(ByteView bytes);
    /// Whether somebody still reads standard output, which may be over before its end.
    bool IsRead() const { return m_IsRead; }
    /// Nothing more comes.
    void Finish();

private:
    std::string m_Description;
    bool m_IsRead = true;
    std::optional<FileReplacement> m_Replacement;  ///< of a regular file
    FileDescriptor m_File;                         ///< any other
};

}  // namespace orvix::platform
