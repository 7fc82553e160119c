#pragma once

#include <deque>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "platform/virtual_apartment.h"
#include "station/source/source.h"
#include "station/store/recording_reader.h"

namespace orvix::station {

/// Starts, changes and stops the buses when they were started, changed and stopped.
class RecordedOperator {
public:
    virtual ~RecordedOperator() = default;
    /// A bus is started, unless one is on its port; else its devices change.
    virtual void Use(const BusSetup& setup) = 0;
    virtual void Stop(const std::string& port) = 0;
};

/// The buses of a recording. What they tell comes in the order of the recorded times, in a home whose time is the
/// recorded one. The recording is read as it is played; nothing is taken up for a bus before it starts.
class RecordedSource : public Source {
public:
    /// `home` is where messages to this source's home go to. `buses` outlives this. Both outlive this. Raises what
    /// RecordingReader does.
    RecordedSource(RecordingReader recording, std::string libraryFile, Apartment& home);
    ~RecordedSource() override;

    Apartment& Home() override { return m_Home; }
    std::unique_ptr<SourceBus> Open(const BusSetup& setup, Listener& listener, std::function<void()> ended) override;

    /// Does the next thing that was done or told by this time since the start of the recording. Returns false when
    /// there is none, and it is that time. Raises what `buses` and those who are told raise.
    bool PlayNext(Duration until, RecordedOperator& buses);
    /// Whether nothing more was recorded.
    bool Over() const;
    /// What keeps the recording from being read on; empty: nothing.
    const std::string& ReadFailure() const { return m_ReadFailure; }
    const RecordingReader& Recording() const { return m_Recording; }

    /// Requests that the recording does not have, and recorded ones that were not sent again.
    int Unknown() const { return m_Unknown; }
    int Skipped() const { return m_Skipped; }

private:
    class BusEvents;
    class PlayedBus;

    /// The apartment whose time is the recorded one; its messages may come from any thread.
    class RecordedHome : public platform::VirtualApartment {
    public:
        RecordedHome(platform::VirtualScheduler& time, Apartment& real) : VirtualApartment(time), m_Real(real) {}
        void Post(std::function<void()> message) override { m_Real.Post(std::move(message)); }

    private:
        Apartment& m_Real;
    };

    /// Reads a line, unless all that has happened until then has been read.
    bool ReadOn(Duration until);
    void Take(RecordedLine line);
    void TakeToDo(RecordedLine line);
    void Do(const RecordedLine& line, RecordedOperator& buses);
    void TellFirst();
    void GoTo(Duration time);

    RecordingReader m_Recording;
    const std::string m_LibraryFile;
    platform::VirtualScheduler m_Time;
    RecordedHome m_Home;

    Duration m_LatestRead{0};
    Duration m_Overlap;  ///< how much earlier than one before it a line may be
    bool m_IsAllRead = false;
    bool m_HasEnd = false;  ///< in order
    std::string m_ReadFailure;
    std::size_t m_Kept = 0;                                      ///< bytes of what was read and not played yet
    std::map<std::size_t, std::shared_ptr<BusEvents>> m_Events;  ///< by bus; null: it has been played
    std::map<std::string, std::size_t> m_OnPort;                 ///< the latest bus that was read of
    std::deque<RecordedLine> m_ToDo;                             ///< what is no event, in order

    Duration m_Played{0};                        ///< to when the buses have worked
    std::map<std::size_t, std::string> m_Ports;  ///< by bus
    std::size_t m_Doing = 0;                     ///< the bus that is being started
    std::list<PlayedBus*> m_Playing;
    std::multimap<Duration, std::function<void()>> m_Told;
    bool m_IsEnded = false;
    int m_Unknown = 0;
    int m_Skipped = 0;
};

}  // namespace orvix::station
