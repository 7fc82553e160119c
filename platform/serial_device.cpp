#include "platform/serial_device.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <thread>
#include <utility>

#include "host/error.h"

namespace orvix::platform {

namespace {

constexpr char kInUse[] = "is in use by another program";
constexpr Duration kStallLimit = std::chrono::seconds(2);
constexpr char kTakesNothing[] = "does not take output";

/// Answers of a device that has no such control.
bool IsUnsupported(int systemCode) {
    return systemCode == ENOTTY || systemCode == EINVAL;
}

bool IsPseudoTerminal(const struct stat& device) {
    constexpr unsigned kFirstMajor = 136;
    constexpr unsigned kLastMajor = 143;
    return ::major(device.st_rdev) >= kFirstMajor && ::major(device.st_rdev) <= kLastMajor;
}

/// What a descriptor is ready for within the limit, whatever signals come meanwhile; 0: nothing.
short PollOnce(int descriptor, short events, Duration limit) {
    const auto end = std::chrono::steady_clock::now() + limit;
    for (;;) {
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(limit);
        const timespec time{seconds.count(), (limit - seconds).count()};
        pollfd entry{descriptor, events, 0};
        const int count = ::ppoll(&entry, 1, &time, nullptr);
        if (count > 0) return entry.revents;
        if (count == 0 || errno != EINTR) return 0;
        limit = std::max<Duration>(end - std::chrono::steady_clock::now(), Duration::zero());
    }
}

termios RawTerminal(termios terminal, const SerialFormat& format) {
    ::cfmakeraw(&terminal);
    terminal.c_iflag &= ~static_cast<tcflag_t>(IXOFF | IXANY | INPCK);
    terminal.c_cflag &= ~static_cast<tcflag_t>(CSIZE | PARENB | PARODD | CSTOPB | CRTSCTS);
    terminal.c_cflag |= format.CharacterFlags | CLOCAL | CREAD;
    // With 0, a read that finds nothing would look like one on a line that is gone.
    terminal.c_cc[VMIN] = 1;
    terminal.c_cc[VTIME] = 0;
    ::cfsetspeed(&terminal, format.Speed);
    return terminal;
}

}  // namespace

SerialDevice::SerialDevice(std::string name, const std::string& path, const SerialFormat& format)
    : m_Name(std::move(name)) {
    OpenExclusively(path);
    if (::tcgetattr(m_File.Get(), &m_Before) != 0) Fail("cannot be read for its settings");
    int lines = 0;
    m_HasModemLines = ::ioctl(m_File.Get(), TIOCMGET, &lines) == 0;
    // Taking a passing failure for a device without them would leave a half-duplex transmitter off for good.
    if (!m_HasModemLines && !IsUnsupported(errno)) Fail("cannot be read for its modem lines");
    unsigned transmitter = 0;
    m_KnowsTransmitter = ::ioctl(m_File.Get(), TIOCSERGETLSR, &transmitter) == 0;
    Format(format);
    // A pseudo-terminal would keep this after its user was killed, for as long as its other side is open.
    if (!IsPseudoTerminal(m_Identity) && ::ioctl(m_File.Get(), TIOCEXCL) != 0)
        Fail("cannot be taken for exclusive use");
    ::tcflush(m_File.Get(), TCIOFLUSH);
}

SerialDevice::~SerialDevice() {
    // Output that is stuck would hold up the closing.
    ::tcflush(m_File.Get(), TCIOFLUSH);
    ::tcsetattr(m_File.Get(), TCSANOW, &m_Before);
    ::ioctl(m_File.Get(), TIOCNXCL);
}

void SerialDevice::OpenExclusively(const std::string& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) Fail("cannot be opened");
    if (!S_ISCHR(status.st_mode)) throw Error(errors::General, m_Name + " is not a serial device");
    m_File = FileDescriptor(::open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    if (!m_File.IsOpen()) Fail(errno == EBUSY ? kInUse : "cannot be opened");
    if (::fstat(m_File.Get(), &m_Identity) != 0) Fail("cannot be opened");
    if (::isatty(m_File.Get()) == 0) throw Error(errors::General, m_Name + " is not a serial device");
    // The terminal's own exclusive mode does not hold against root.
    if (::flock(m_File.Get(), LOCK_EX | LOCK_NB) == 0) return;
    if (errno == EWOULDBLOCK) Fail(kInUse, EBUSY);
    Fail("cannot be locked");
}

void SerialDevice::Format(const SerialFormat& format) {
    const termios terminal = RawTerminal(m_Before, format);
    if (::tcsetattr(m_File.Get(), TCSANOW, &terminal) != 0) Fail("does not take the settings");
    m_CharacterTime = format.CharacterTime;
}

void SerialDevice::ModemLine(int line, bool on) {
    if (!m_HasModemLines) return;
    if (::ioctl(m_File.Get(), on ? TIOCMBIS : TIOCMBIC, &line) != 0 && !IsUnsupported(errno)) {
        Fail("does not take its modem lines");
    }
}

bool SerialDevice::IsReplaced(const std::string& path) const {
    struct stat named {};
    if (::stat(path.c_str(), &named) != 0) return false;
    return m_Identity.st_dev != named.st_dev || m_Identity.st_ino != named.st_ino;
}

bool SerialDevice::DiscardInput(std::string& discarded) {
    // Reading tells what was there in the one call that dropping it unseen would take.
    std::array<char, 1024> buffer;
    while (discarded.size() < 16 * buffer.size()) {
        const ssize_t count = ::read(m_File.Get(), buffer.data(), buffer.size());
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return count < 0 && errno == EAGAIN;
        discarded.append(buffer.data(), static_cast<std::size_t>(count));
    }
    return ::tcflush(m_File.Get(), TCIFLUSH) == 0;
}

void SerialDevice::Write(const std::string& bytes) {
    const Clock::time_point started = Clock::now();
    Queue(bytes);
    WaitUntilSent(started, bytes.size());
}

void SerialDevice::Queue(const std::string& bytes) {
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t written = ::write(m_File.Get(), bytes.data() + done, bytes.size() - done);
        if (written > 0) {
            done += static_cast<std::size_t>(written);
        } else if (written == 0 || errno == EAGAIN) {
            if (PollOnce(m_File.Get(), POLLOUT, kStallLimit) == 0) Fail(kTakesNothing, ETIMEDOUT);
        } else if (errno != EINTR) {
            Fail(kTakesNothing);
        }
    }
}

void SerialDevice::WaitUntilSent(Clock::time_point started, std::size_t count) {
    // The system's own wait has no limit and would hang on a line that is stuck.
    constexpr Duration kShortestNap = std::chrono::microseconds(200);
    constexpr Duration kLongestNap = std::chrono::milliseconds(10);
    int queued = BytesQueued();
    Clock::time_point stalledAt = Clock::now() + kStallLimit;
    while (queued > 0 || !TransmitterEmpty()) {
        if (Clock::now() >= stalledAt) Fail(kTakesNothing, ETIMEDOUT);
        std::this_thread::sleep_for(std::clamp(m_CharacterTime * queued, kShortestNap, kLongestNap));
        const int left = BytesQueued();
        if (left < queued) stalledAt = Clock::now() + kStallLimit;
        queued = left;
    }
    // A converter that does not tell about its transmitter may still hold the end of what it was given.
    if (m_HasModemLines && !m_KnowsTransmitter) {
        std::this_thread::sleep_until(started + m_CharacterTime * static_cast<std::int64_t>(count));
    }
}

int SerialDevice::BytesQueued() const {
    int queued = 0;
    if (::ioctl(m_File.Get(), TIOCOUTQ, &queued) != 0 && !IsUnsupported(errno)) Fail(kTakesNothing);
    return queued;
}

bool SerialDevice::TransmitterEmpty() const {
    unsigned status = 0;
    if (!m_KnowsTransmitter || ::ioctl(m_File.Get(), TIOCSERGETLSR, &status) != 0) return true;
    return (status & TIOCSER_TEMT) != 0;
}

std::string SerialDevice::Read(std::size_t limit) {
    std::string bytes(limit, '\0');
    const ssize_t count = ::read(m_File.Get(), bytes.data(), bytes.size());
    if (count < 0 && errno != EAGAIN && errno != EINTR) Fail("is gone");
    if (count == 0) Fail("is gone", EIO);
    bytes.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    return bytes;
}

void SerialDevice::WaitForInput(Duration limit) const {
    PollOnce(m_File.Get(), POLLIN, std::max(limit, Duration::zero()));
}

void SerialDevice::Fail(const char* what, int systemCode) const {
    throw SystemError(m_Name + " " + what, systemCode);
}

}  // namespace orvix::platform
