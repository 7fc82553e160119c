#include "station/sink/recording/recorder.h"

#include <fcntl.h>

#include <utility>

#include "platform/regular_file.h"
#include "station/model/clock.h"
#include "station/model/version.h"

namespace orvix::station {
namespace {

constexpr std::chrono::seconds kWritePeriod{1};

// A disk that hangs must not fill the memory.
constexpr std::size_t kMostWaiting = std::size_t{16} << 20;

ByteView BytesOf(const std::string& text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

}  // namespace

Recorder::Recorder(const std::string& path, const Apartment& clock, std::function<void(const std::string&)> tell)
    : m_Path(path),
      m_Clock(clock),
      m_Started(clock.Now()),
      m_Tell(std::move(tell)),
      m_File(platform::OpenRegularFile(path, O_WRONLY | O_CREAT | O_EXCL)),
      m_Lines(HeaderLine({UnixMilliseconds(), kVersion})) {
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

std::optional<std::size_t> Recorder::BusOn(const std::string& port, Duration time) const {
    for (auto bus = m_Buses.size(); bus > 0; --bus) {
        const auto& known = m_Buses[bus - 1];
        if (known.Port == port && known.Began <= time) return bus - 1;
    }
    return std::nullopt;
}

void Recorder::OnSetup(const BusSetup& setup) {
    const auto now = m_Clock.Now();
    auto bus = BusOn(setup.PortLabel, now);
    if (!bus || m_Buses[*bus].Gone) {
        bus = m_Buses.size();
        m_Buses.push_back({setup.PortLabel, now});
    }
    Add(SetupLine(*bus, {now - m_Started, setup}));
}

void Recorder::OnLine(const LineEvent& event) {
    // What a bus did last may come when its port is in use again.
    const auto bus = BusOn(event.Port, event.Time);
    if (!bus) return;
    auto recorded = event;
    recorded.Time -= m_Started;
    Add(EventLine(*bus, recorded));
}

void Recorder::OnPortGone(const std::string& port) {
    if (const auto bus = BusOn(port, m_Clock.Now())) m_Buses[*bus].Gone = true;
}

void Recorder::Add(const std::string& line) {
    const std::lock_guard lock(m_Mutex);
    if (m_Ended || m_Lines.size() > kMostWaiting) return;
    m_Lines += line;
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
