#include "platform/document_file.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "host/error.h"

namespace orvix::platform {
namespace {

namespace fs = std::filesystem;

// Whoever may read it is for the process's mask to say.
constexpr mode_t kAnybody = 0666;

FileDescriptor OpenSpecial(const std::string& path, const std::string& description) {
    FileDescriptor file(path == kStandardOutput ? ::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0)
                                                : ::open(path.c_str(), O_WRONLY | O_NOCTTY | O_CLOEXEC));
    if (!file.IsOpen()) throw SystemError(description, errno);
    return file;
}

bool HasNoReader(const FileDescriptor& pipe) {
    pollfd end{pipe.Get(), 0, 0};
    return ::poll(&end, 1, 0) == 1 && (end.revents & (POLLERR | POLLHUP)) != 0;
}

}  // namespace

DocumentFile::DocumentFile(const std::string& path) : m_Description("file " + path + " cannot be written") {
    std::error_code error;
    if (path == kStandardOutput || (fs::exists(path, error) && !fs::is_regular_file(path, error))) {
        m_File = OpenSpecial(path, m_Description);
        return;
    }
    const auto behindLinks = fs::weakly_canonical(path, error);
    if (error) throw SystemError(m_Description, error.value());
    m_Replacement.emplace(behindLinks.string(), kAnybody);
}

void DocumentFile::Write(ByteView bytes) {
    if (m_Replacement) return m_Replacement->Write(bytes);
    if (!m_IsRead) return;
    try {
        WriteAll(m_File, bytes, m_Description);
    } catch (const Error&) {
        if (!HasNoReader(m_File)) throw;
        m_IsRead = false;
    }
}

void DocumentFile::Finish() {
    if (m_Replacement) m_Replacement->Finish();
}

}  // namespace orvix::platform
