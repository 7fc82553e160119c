#pragma once

#include <mutex>
#include <optional>
#include <string>

#include "host/trace_viewer.h"
#include "platform/file_descriptor.h"

namespace orvix::platform {

/// The folder in which a trace viewer and the programs of the same user meet: in the user's runtime folder
/// (XDG_RUNTIME_DIR) when that is private to the user, else under /tmp.
std::string TraceFolder();

/// Longest line that goes to a viewer whole, in bytes; of a longer one its beginning goes.
inline constexpr std::size_t kLongestTraceLine = 65536;

/// A trace viewer's end: a Unix datagram socket, one line a datagram, in the trace folder.
class TraceListener {
public:
    /// Makes the folder, private to the user, and the socket; replaces the socket of a viewer that has been killed.
    /// Raises SystemError when that cannot be done, and General for a folder that others may write to, and when
    /// another viewer listens already.
    explicit TraceListener(const std::string& folder);
    ~TraceListener();
    TraceListener(const TraceListener&) = delete;
    TraceListener& operator=(const TraceListener&) = delete;

    /// Readable when there is a line.
    int Descriptor() const { return m_Socket.Get(); }
    /// The next line; nothing when there is none yet.
    std::optional<std::string> Receive();

private:
    std::string m_Path;
    FileDescriptor m_Socket;
};

/// The sending end, for all apartments of the process. A viewer that has gone takes nothing, at once.
class SocketTraceViewer : public TraceViewer {
public:
    explicit SocketTraceViewer(std::int64_t moduleHandle, std::string folder = TraceFolder());

    bool Found() override;
    bool Send(const std::string& line, Duration limit) override;
    std::string ProgramName() override { return m_ProgramName; }
    std::int64_t ModuleHandle() override { return m_ModuleHandle; }

private:
    void Search();

    std::int64_t m_ModuleHandle;
    std::string m_Folder;
    std::string m_ProgramName;
    std::once_flag m_Searched;
    FileDescriptor m_Socket;  ///< connected to the viewer found
};

}  // namespace orvix::platform
