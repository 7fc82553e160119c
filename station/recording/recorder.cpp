#include "station/recording/recorder.h"

#include <fcntl.h>

#include <algorithm>
#include <utility>

#include "platform/regular_file.h"
#include "station/bus/clock.h"
#include "station/command_line/version.h"

namespace orvix::station {
namespace {

constexpr std::chrono::seconds kWritePeriod{1};

// A disk that hangs must not fill the memory.
constexpr std::size_t kMostWaiting = std::size_t{16} << 20;

ByteView BytesOf(const std::string& text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

}  // namespace

Recorder::Recorder(const std::string& path, const std::vector<BusSetup>& buses, Duration now,
                   std::function<void(const std::string&)> tell)
    : m_Path(path),
      m_Started(now),
      m_Tell(std::move(tell)),
      m_File(platform::OpenRegularFile(path, O_WRONLY | O_CREAT | O_EXCL)),
      m_Lines(HeaderLine({UnixMilliseconds(), kVersion, buses})) {
    for (const auto& bus : buses)
        m_Ports.push_back(bus.PortLabel);
    m_Thread = std::thread([this] { Write(); });
}

Recorder::~Recorder() {
    Finish();
}

std::optional<std::string> Recorder::Finish() {
    {
        const std::lock_guard lock(m_Mutex);
        m_Stopping = true;
    }
    m_Wake.notify_one();
    if (m_Thread.joinable()) m_Thread.join();
    return m_LastFailure;
}

std::optional<std::size_t> Recorder::BusOf(const std::string& port) const {
    const auto found = std::find(m_Ports.begin(), m_Ports.end(), port);
    if (found == m_Ports.end()) return std::nullopt;
    return static_cast<std::size_t>(found - m_Ports.begin());
}

void Recorder::OnLine(const LineEvent& event) {
    const auto bus = BusOf(event.Port);
    if (!bus) return TellMissing(event.Port);
    RecordedEvent recorded{*bus, event};
    recorded.Event.Time -= m_Started;
    const auto line = EventLine(recorded);
    const std::lock_guard lock(m_Mutex);
    if (m_Ended || m_Lines.size() > kMostWaiting) return;
    m_Lines += line;
}

void Recorder::TellMissing(const std::string& port) {
    if (!m_Missing.insert(port).second) return;
    m_Tell(port + " came after the recording had begun, and is not in " + m_Path);
}

void Recorder::Write() {
    for (bool stopping = false; !stopping;) {
        std::string lines;
        {
            std::unique_lock lock(m_Mutex);
            m_Wake.wait_for(lock, kWritePeriod, [this] { return m_Stopping; });
            stopping = m_Ended = m_Stopping;
            lines.swap(m_Lines);
        }
        const auto failure = WriteOut(lines);
        if (!failure) continue;
        if (stopping) {
            m_LastFailure = *failure + "; the recording lacks its end";
            return;
        }
        const std::lock_guard lock(m_Mutex);
        m_Ended = true;
        m_Lines.clear();
        m_Tell(*failure + "; the recording ends here, the station goes on");
        return;
    }
}

std::optional<std::string> Recorder::WriteOut(const std::string& lines) {
    if (lines.size() > kMostWaiting) return "file " + m_Path + " cannot be written fast enough";
    try {
        platform::WriteAll(m_File, BytesOf(lines), "file " + m_Path + " cannot be written");
        return std::nullopt;
    } catch (const Error& error) {
        return error.Description;
    }
}

}  // namespace orvix::station
