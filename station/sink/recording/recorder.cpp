#include "station/sink/recording/recorder.h"

#include <fcntl.h>
#include <unistd.h>

#include <utility>

#include "platform/regular_file.h"
#include "station/model/clock.h"
#include "station/model/version.h"

namespace orvix::station {
namespace {

constexpr std::chrono::seconds kWritePeriod{1};

// A disk that hangs must not fill the memory.
constexpr std::size_t kMostWaiting = std::size_t{16} << 20;

ByteView BytesOf(std::string_view text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

}  // namespace

Recorder::Recorder(const std::string& path, Apartment& home, std::function<void(const std::string&)> tell)
    : m_Path(path),
      m_Home(home),
      m_Started(home.Now()),
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
        if (known.Setup.PortLabel == port && known.Began <= time) return bus - 1;
    }
    return std::nullopt;
}

void Recorder::OnSetup(const BusSetup& setup) {
    const auto now = m_Home.Now();
    auto bus = BusOn(setup.PortLabel, now);
    if (!bus || m_Buses[*bus].Gone) {
        bus = m_Buses.size();
        m_Buses.push_back({setup, now});
    }
    m_Buses[*bus].Setup = setup;
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
    if (const auto bus = BusOn(port, m_Home.Now())) m_Buses[*bus].Gone = true;
}

void Recorder::Add(const std::string& line) {
    const std::lock_guard lock(m_Mutex);
    if (m_Ended || m_Lines.size() > kMostWaiting) return;
    m_Lines += line;
}

void Recorder::Reopen() {
    {
        const std::lock_guard lock(m_Mutex);
        m_Reopening = true;
    }
    m_Wake.notify_one();
}

void Recorder::Begin() {
    m_Started = m_Home.Now();
    std::erase_if(m_Buses, [](const RunningBus& bus) { return bus.Gone; });
    auto beginning = HeaderLine({UnixMilliseconds(), kVersion});
    for (std::size_t bus = 0; bus < m_Buses.size(); ++bus) {
        m_Buses[bus].Began = m_Started;
        beginning += SetupLine(bus, {Duration::zero(), m_Buses[bus].Setup});
    }
    const std::lock_guard lock(m_Mutex);
    if (m_Ended) return;
    m_Cut = m_Lines.size();
    m_Lines += beginning;
}

void Recorder::Write() {
    for (bool stopping = false; !stopping;) {
        std::string lines;
        std::optional<std::size_t> cut;
        bool reopening = false;
        {
            std::unique_lock lock(m_Mutex);
            m_Wake.wait_for(lock, kWritePeriod, [this] { return m_Stopping || m_Reopening; });
            stopping = m_Ended = m_Stopping;
            reopening = std::exchange(m_Reopening, false);
            lines.swap(m_Lines);
            std::swap(cut, m_Cut);
        }
        const auto failure = WriteOut(lines, cut);
        if (!failure) {
            if (reopening && !stopping) MakeAnew();
            continue;
        }
        if (stopping) {
            m_LastFailure = *failure + "; the recording lacks its end";
            return;
        }
        const std::lock_guard lock(m_Mutex);
        m_Ended = true;
        m_Lines.clear();
        Tell(*failure + "; the recording ends here, the station goes on");
        return;
    }
}

void Recorder::MakeAnew() {
    if (m_NewFile.IsOpen() || platform::NamesFile(m_Path, m_File)) return;
    try {
        auto file = platform::OpenRegularFile(m_Path, O_WRONLY | O_CREAT | O_APPEND);
        if (::lseek(file.Get(), 0, SEEK_END) > 0) {
            throw Error(errors::General, "file " + m_Path + " is another one that is not empty");
        }
        m_NewFile = std::move(file);
        m_Home.Post([this] { Begin(); });
    } catch (const Error& error) {
        Tell(error.Description + "; the recording goes on in its old file");
    }
}

void Recorder::Tell(const std::string& text) {
    m_Home.Post([tell = m_Tell, text] { tell(text); });
}

std::optional<std::string> Recorder::WriteOut(std::string_view lines, std::optional<std::size_t> cut) {
    const auto text = "file " + m_Path + " cannot be written";
    if (lines.size() > kMostWaiting) return text + " fast enough";
    try {
        platform::WriteAll(m_File, BytesOf(lines.substr(0, cut.value_or(lines.size()))), text);
        if (cut) {
            m_File = std::exchange(m_NewFile, platform::FileDescriptor());
            platform::WriteAll(m_File, BytesOf(lines.substr(*cut)), text);
        }
        return std::nullopt;
    } catch (const Error& error) {
        return error.Description;
    }
}

}  // namespace orvix::station
