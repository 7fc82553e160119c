#include "platform/ready_writer.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <string>
#include <thread>
#include <utility>

#include "host/error.h"
#include "platform/signals_blocked.h"

namespace orvix::platform {
namespace {

std::pair<FileDescriptor, FileDescriptor> NewPipe() {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) throw SystemError("no pipe", errno);
    return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

/// A second way to the same pipe or terminal, which does not wait; none when the system denies it.
FileDescriptor Reopened(int descriptor) {
    const auto path = "/proc/self/fd/" + std::to_string(descriptor);
    return FileDescriptor(::open(path.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
}

/// Copies what comes out of a pipe until its end, or until the target refuses.
void Feed(const FileDescriptor& source, const FileDescriptor& target) {
    std::array<std::uint8_t, 4096> bytes{};
    for (;;) {
        const ssize_t size = ::read(source.Get(), bytes.data(), bytes.size());
        if (size < 0 && errno == EINTR) continue;
        if (size <= 0) return;
        const ByteView taken(bytes.data(), static_cast<std::size_t>(size));
        if (!Attempt([&] { WriteAll(target, taken, {}); })) return;
    }
}

}  // namespace

ReadyWriter::ReadyWriter(int descriptor) {
    struct stat status {};
    ::fstat(descriptor, &status);
    m_IsSocket = S_ISSOCK(status.st_mode);
    if (m_IsSocket) m_Target = FileDescriptor(::fcntl(descriptor, F_DUPFD_CLOEXEC, 0));
    if (S_ISFIFO(status.st_mode) || S_ISCHR(status.st_mode)) m_Target = Reopened(descriptor);
    if (!m_Target.IsOpen()) FeedByThread(descriptor);
}

/// A file has no way to write without waiting for its disk.
void ReadyWriter::FeedByThread(int descriptor) {
    FileDescriptor target(::fcntl(descriptor, F_DUPFD_CLOEXEC, 0));
    auto [source, sink] = NewPipe();
    auto [fed, feeding] = NewPipe();
    ::fcntl(sink.Get(), F_SETFL, O_NONBLOCK);
    m_Target = std::move(sink);
    m_Fed = std::move(fed);
    // Nobody waits for the thread, so what handlers of signals work with may be gone before it.
    const SignalsBlocked blocked;
    std::thread([source = std::move(source), target = std::move(target), feeding = std::move(feeding)] {
        Feed(source, target);
    }).detach();
}

std::size_t ReadyWriter::Write(std::string_view bytes) {
    for (;;) {
        const ssize_t written = m_IsSocket
                                    ? ::send(m_Target.Get(), bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL)
                                    : ::write(m_Target.Get(), bytes.data(), bytes.size());
        if (written >= 0) return static_cast<std::size_t>(written);
        if (errno == EAGAIN) return 0;
        if (errno != EINTR) throw SystemError("output cannot be written", errno);
    }
}

bool ReadyWriter::Finish(int limitMs) {
    m_Target = FileDescriptor();
    pollfd fed{m_Fed.Get(), POLLIN, 0};
    return !m_Fed.IsOpen() || ::poll(&fed, 1, limitMs) == 1;
}

}  // namespace orvix::platform
