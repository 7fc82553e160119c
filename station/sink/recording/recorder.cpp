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

void KeepSerialNumbers(const std::vector<DeviceSetup>& before, std::vector<DeviceSetup>& now) {
    for (auto& device : now) {
        const auto* known = SameDevice(device, before);
        if (known != nullptr) device.SerialNumber = known->SerialNumber;
    }
}

}  // namespace

Recorder::Recorder(const std::string& path, Apartment& home, bool namesPorts,
                   std::function<void(const std::string&)> tell)
    : m_Path(path),
      m_Home(home),
      m_NamesPorts(namesPorts),
      m_Started(home.Now()),
      m_Tell(std::move(tell)),
      m_File(platform::OpenRegularFile(path, O_WRONLY | O_CREAT | O_EXCL, platform::kOwnerOnly)),
      m_Lines(Header()) {
    m_Thread = std::thread([this] { Write(); });
}

Recorder::~Recorder() {
    Finish();
}

std::string Recorder::Header() const {
    return HeaderLine({UnixMillisecondsOf(m_Home.DateNow()), kVersion, m_NamesPorts});
}

std::optional<std::string> Recorder::Finish() {
    Add(EndLine(m_Home.Now() - m_Started));
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
    const auto before = std::exchange(m_Buses[*bus].Setup, setup);
    KeepSerialNumbers(before.Devices, m_Buses[*bus].Setup.Devices);
    Add(SetupLine(*bus, {now - m_Started, setup}));
}

void Recorder::OnIdentity(const DeviceIdentity& identity) {
    const auto bus = BusOn(identity.Port, m_Home.Now());
    if (!bus || !identity.HasAnswered) return;
    for (auto& device : m_Buses[*bus].Setup.Devices)
        if (device.Address == identity.Address) device.SerialNumber = identity.SerialNumber;
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
    const auto now = m_Home.Now();
    const auto bus = BusOn(port, now);
    if (!bus) return;
    m_Buses[*bus].Gone = true;
    Add(GoneLine(*bus, now - m_Started));
}

void Recorder::Add(const std::string& line) {
    const std::lock_guard lock(m_Mutex);
    if (m_Stopping || m_Failed || m_Lines.size() > kMostWaiting) return;
    m_Lines += line;
}

void Recorder::Reopen() {
    {
        const std::lock_guard lock(m_Mutex);
        m_Reopening = true;
    }
    m_Wake.notify_one();
}

std::string Recorder::SetupsOfNow(Duration now) {
    std::string lines;
    for (std::size_t bus = 0; bus < m_Buses.size(); ++bus) {
        if (m_Buses[bus].Gone) continue;
        m_Buses[bus].Began = now;
        lines += SetupLine(bus, {now - m_Started, m_Buses[bus].Setup});
    }
    return lines;
}

void Recorder::Begin(bool inNewFile) {
    const std::lock_guard lock(m_Mutex);
    if (m_Stopping || (!inNewFile && !m_Failed)) return;
    if (inNewFile) {
        m_Lines += EndLine(m_Home.Now() - m_Started);
        m_Cut = m_Lines.size();
    }
    m_Started = m_Home.Now();
    std::erase_if(m_Buses, [](const RunningBus& bus) { return bus.Gone; });
    m_Lines += Header() + SetupsOfNow(m_Started);
    TellThatItWorks();
}

void Recorder::GoOn() {
    const std::lock_guard lock(m_Mutex);
    if (m_Stopping || !m_Failed) return;
    m_Lines += SetupsOfNow(m_Home.Now());
    TellThatItWorks();
}

void Recorder::TellThatItWorks() {
    if (std::exchange(m_Failed, false)) Tell("the recording continues; what happened since it ended is missing");
}

void Recorder::Write() {
    for (bool stopping = false; !stopping;) {
        std::string lines;
        std::optional<std::size_t> cut;
        bool reopening = false;
        {
            std::unique_lock lock(m_Mutex);
            m_Wake.wait_for(lock, kWritePeriod, [this] { return m_Stopping || m_Reopening; });
            stopping = m_Stopping;
            reopening = std::exchange(m_Reopening, false);
            lines.swap(m_Lines);
            std::swap(cut, m_Cut);
        }
        if (const auto failure = WriteOut(lines, cut)) {
            if (stopping) m_LastFailure = *failure + "; the recording lacks its end";
            if (!stopping) Fail(*failure);
        } else if (reopening && !stopping) {
            MakeAnew();
        }
    }
}

void Recorder::Fail(const std::string& failure) {
    const std::lock_guard lock(m_Mutex);
    // What belongs to a new recording already has a file of its own.
    m_Failed = !m_Cut;
    m_Lines.erase(0, m_Cut.value_or(m_Lines.size()));
    if (m_Cut) m_Cut = 0;
    Tell(failure + "; the recording ends here, the station continues");
}

void Recorder::MakeAnew() {
    if (m_NewFile.IsOpen()) return;
    if (platform::NamesFile(m_Path, m_File)) {
        return m_Home.Post([this, isEmpty = m_Size == 0] { isEmpty ? Begin(false) : GoOn(); });
    }
    try {
        auto file = platform::OpenRegularFile(m_Path, O_WRONLY | O_CREAT | O_APPEND, platform::kOwnerOnly);
        if (::lseek(file.Get(), 0, SEEK_END) > 0) {
            throw Error(errors::General, "file " + m_Path + " is another one that is not empty");
        }
        m_NewFile = std::move(file);
        m_Home.Post([this] { Begin(true); });
    } catch (const Error& error) {
        Tell(error.Description + "; no new recording begins");
    }
}

void Recorder::Tell(const std::string& text) {
    m_Home.Post([tell = m_Tell, text] { tell(text); });
}

std::optional<std::string> Recorder::WriteOut(std::string_view lines, std::optional<std::size_t> cut) {
    const bool lacksSome = lines.size() > kMostWaiting;
    const auto write = [&](std::string_view part) {
        return lacksSome ? "file " + m_Path + " cannot be written fast enough" : WriteLines(part);
    };
    auto failure = write(lines.substr(0, cut.value_or(lines.size())));
    if (!cut) return failure;
    if (failure) Tell(*failure + "; the old recording lacks its end");
    m_File = std::exchange(m_NewFile, platform::FileDescriptor());
    m_Size = 0;
    return write(lines.substr(*cut));
}

std::optional<std::string> Recorder::WriteLines(std::string_view lines) {
    try {
        platform::WriteAll(m_File, BytesOf(lines), "file " + m_Path + " cannot be written");
        m_Size = ::lseek(m_File.Get(), 0, SEEK_CUR);
        return std::nullopt;
    } catch (const Error& error) {
        // Half a line would spoil what follows it.
        const auto written = static_cast<std::size_t>(::lseek(m_File.Get(), 0, SEEK_CUR) - m_Size);
        m_Size += static_cast<off_t>(lines.substr(0, written).rfind('\n') + 1);
        if (::ftruncate(m_File.Get(), m_Size) == 0) ::lseek(m_File.Get(), m_Size, SEEK_SET);
        return error.Description;
    }
}

}  // namespace orvix::station
