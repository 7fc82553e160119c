#include "station/source/recorded_source.h"

#include <algorithm>
#include <utility>

#include "platform/memory_folder.h"
#include "station/library/folders.h"
#include "station/source/replay_bus.h"

namespace orvix::station {
namespace {

constexpr std::chrono::milliseconds kStep{100};

// What one bus has done may stand behind what others did later by the time of one of its turns.
constexpr std::chrono::seconds kLeastOverlap{10};

// What lies ahead of one that stands still while others go on for days is not looked for any further.
constexpr std::size_t kMostAhead = std::size_t{32} << 20;

// No station does as much in the time that is read ahead at least.
constexpr std::size_t kMostKept = std::size_t{256} << 20;

/// In memory, roughly.
std::size_t SizeOf(const LineEvent& event) {
    return sizeof event + event.Bytes.size() + event.Reason.size();
}

std::size_t SizeOf(const RecordedLine& line) {
    auto size = sizeof line;
    if (const auto* setup = std::get_if<BusSetup>(&line.What)) {
        size += setup->PortLabel.size();
        for (const auto& device : setup->Devices)
            size += sizeof device + device.Name.size();
    }
    return size;
}

StationFolders FoldersIn(const std::string& folder) {
    auto folders = FindFolders(folder);
    folders.Configuration = folders.Data + "configuration/";
    return folders;
}

/// What a bus needs for itself: it neither sees nor changes the devices that this user has registered, nor those of
/// another bus.
struct BusGround {
    explicit BusGround(const std::string& libraryFile) : Shared(FoldersIn(Folder.Path()), libraryFile) {}

    platform::MemoryFolder Folder;
    StationResources Shared;
    Duration LatestTold{0};
};

}  // namespace

/// What was read and not played yet of a bus.
class RecordedSource::BusEvents : public RecordedEvents {
public:
    explicit BusEvents(RecordedSource& source) : m_Source(source) {}
    ~BusEvents() override { BusEvents::Pass(m_Events.size()); }
    BusEvents(const BusEvents&) = delete;
    BusEvents& operator=(const BusEvents&) = delete;

    void Add(LineEvent event) {
        m_Source.m_Kept += SizeOf(event);
        m_Events.push_back(std::move(event));
    }
    const LineEvent* Ahead(std::size_t place, Duration until) override {
        while (m_Events.size() <= place && !IsComplete() && m_Source.m_Kept < kMostAhead && m_Source.ReadOn(until)) {
        }
        return m_Events.size() > place && m_Events[place].Time <= until ? &m_Events[place] : nullptr;
    }
    void Pass(std::size_t places) override {
        for (; places > 0; --places) {
            m_Source.m_Kept -= SizeOf(m_Events.front());
            m_Events.pop_front();
        }
    }
    bool AtEnd() const override { return m_Events.empty() && (IsComplete() || m_Source.m_IsAllRead); }
    bool IsBrokenOff() const override { return !IsComplete() && !m_Source.m_HasEnd; }

    bool IsUsed = false;
    std::optional<Duration> Gone;  ///< when the bus was

private:
    bool IsComplete() const { return Gone && m_Source.m_LatestRead > *Gone + m_Source.m_Overlap; }

    RecordedSource& m_Source;
    std::deque<LineEvent> m_Events;
};

class RecordedSource::PlayedBus : private BusGround, public ReplayBus {
public:
    PlayedBus(RecordedSource& source, const BusSetup& setup, const std::shared_ptr<BusEvents>& events,
              station::Listener& listener, std::function<void()> ended)
        : BusGround(source.m_LibraryFile),
          ReplayBus(Shared, setup, *events, source.m_Played, source.m_Recording.Header().StartedUnixMilliseconds,
                    [this, &source, &listener](Duration time, std::function<void(station::Listener&)> event) {
                        LatestTold = std::max(LatestTold, time);
                        source.m_Told.emplace(LatestTold, [&listener, event = std::move(event)] { event(listener); });
                    }),
          m_Source(source),
          m_Events(events),
          m_Ended(std::move(ended)) {
        m_Source.m_Playing.push_back(this);
    }
    ~PlayedBus() override {
        PlayedBus::Close();
        m_Source.m_Unknown += Line().Unknown();
        m_Source.m_Skipped += Line().Skipped();
    }

    void Close() override {
        if (m_Source.m_Playing.remove(this) == 0) return;
        ReplayBus::Close();
        m_Source.m_Told.emplace(LatestTold, m_Ended);
    }

private:
    RecordedSource& m_Source;
    const std::shared_ptr<BusEvents> m_Events;
    const std::function<void()> m_Ended;
};

RecordedSource::RecordedSource(RecordingReader recording, std::string libraryFile, Apartment& home)
    : m_Recording(std::move(recording)),
      m_LibraryFile(std::move(libraryFile)),
      m_Time(FromUnixMilliseconds(m_Recording.Header().StartedUnixMilliseconds)),
      m_Home(m_Time, home),
      m_Overlap(kLeastOverlap) {}

RecordedSource::~RecordedSource() = default;

std::unique_ptr<SourceBus> RecordedSource::Open(const BusSetup& setup, Listener& listener,
                                                std::function<void()> ended) {
    const auto& events = m_Events.at(m_Doing);
    events->IsUsed = true;
    return std::make_unique<PlayedBus>(*this, setup, events, listener, std::move(ended));
}

bool RecordedSource::ReadOn(Duration until) {
    if (m_IsAllRead || m_LatestRead > until + m_Overlap) return false;
    try {
        auto line = m_Recording.Next();
        m_IsAllRead = !line;
        if (line) Take(std::move(*line));
        if (m_Kept > kMostKept) throw Error(errors::General, "more has happened at one time than can be played");
    } catch (const Error& error) {
        m_ReadFailure = error.Description;
        m_IsAllRead = true;
    }
    return !m_IsAllRead;
}

void RecordedSource::Take(RecordedLine line) {
    m_LatestRead = std::max(m_LatestRead, line.Time);
    if (auto* event = std::get_if<LineEvent>(&line.What)) {
        if (auto& events = m_Events.at(line.Bus)) events->Add(std::move(*event));
        return;
    }
    if (const auto* setup = std::get_if<BusSetup>(&line.What)) {
        m_Overlap = std::max<Duration>(m_Overlap, kLeastOverlap + setup->LongestExchange());
        const auto [bus, isNew] = m_OnPort.try_emplace(setup->PortLabel, line.Bus);
        const auto before = std::exchange(bus->second, line.Bus);
        if (before != line.Bus) TakeToDo({line.Time, before, BusGone{}});
        m_Events.try_emplace(line.Bus, std::make_shared<BusEvents>(*this));
    }
    m_HasEnd = m_IsAllRead = std::holds_alternative<RecordingEnd>(line.What);
    TakeToDo(std::move(line));
}

void RecordedSource::TakeToDo(RecordedLine line) {
    const auto bus = m_Events.find(line.Bus);
    if (bus != m_Events.end() && bus->second && std::holds_alternative<BusGone>(line.What))
        bus->second->Gone = line.Time;
    if (!m_ToDo.empty()) line.Time = std::max(line.Time, m_ToDo.back().Time);
    m_Kept += SizeOf(line);
    m_ToDo.push_back(std::move(line));
}

bool RecordedSource::PlayNext(Duration until, RecordedOperator& buses) {
    for (;;) {
        if (!m_Told.empty() && m_Told.begin()->first <= m_Played) {
            TellFirst();
            return true;
        }
        while (ReadOn(m_Played)) {
        }
        if (!m_ToDo.empty() && m_ToDo.front().Time <= m_Played) {
            GoTo(m_ToDo.front().Time);
            const auto line = std::move(m_ToDo.front());
            m_ToDo.pop_front();
            m_Kept -= SizeOf(line);
            Do(line, buses);
            return true;
        }
        GoTo(m_Played);
        if (m_Played >= until || Over()) return false;
        auto stop = std::min(until, m_Played + kStep);
        if (!m_ToDo.empty()) stop = std::min(stop, m_ToDo.front().Time);
        for (auto* bus : m_Playing)
            bus->RunUntil(stop);
        m_Played = stop;
    }
}

bool RecordedSource::Over() const {
    return m_IsEnded || (m_IsAllRead && m_ToDo.empty() && m_Told.empty() &&
                         std::all_of(m_Playing.begin(), m_Playing.end(), [](const PlayedBus* b) { return b->Over(); }));
}

void RecordedSource::Do(const RecordedLine& line, RecordedOperator& buses) {
    if (std::holds_alternative<RecordingEnd>(line.What)) {
        m_IsEnded = true;
        return;
    }
    if (!m_Events.at(line.Bus)) return;
    if (const auto* setup = std::get_if<BusSetup>(&line.What)) {
        m_Doing = line.Bus;
        m_Ports[line.Bus] = setup->PortLabel;
        buses.Use(*setup);
        // A bus that could not be started plays nothing.
        if (!m_Events.at(line.Bus)->IsUsed) m_Events[line.Bus].reset();
    } else {
        buses.Stop(m_Ports.at(line.Bus));
        m_Events[line.Bus].reset();
    }
}

void RecordedSource::TellFirst() {
    GoTo(m_Told.begin()->first);
    const auto first = m_Told.extract(m_Told.begin());
    first.mapped()();
}

void RecordedSource::GoTo(Duration time) {
    m_Time.RunFor(std::max(time - m_Time.Now(), Duration::zero()));
}

}  // namespace orvix::station
