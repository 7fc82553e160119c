#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "host/apartment.h"
#include "host/line.h"
#include "station/model/line_event.h"

namespace orvix::station {

/// A serial line that does what a recorded one did. Each request is matched with the next recorded one of the same
/// bytes and gets what came back then, after the same time; a failure comes back at the operation that meets it. Time
/// is counted from the latest match on, so that differences between then and now do not add up.
class ReplayLine : public Line {
public:
    /// `events`: of one bus, in order. `began`: when it was started, as counted from the start of the recording.
    /// `lookAhead`: how much later than expected a request may stand in the recording. `apartment` tells the time and
    /// is blocked while the line is waited for. `tell` is told what happens, as a tap on the recorded line was, at the
    /// times of now.
    ReplayLine(std::vector<LineEvent> events, Duration began, Duration lookAhead, Apartment& apartment,
               LineListener tell);

    /// The control refers to this object.
    std::unique_ptr<SerialControl> CreateSerialControl() override;

    /// Whether something was asked of the line after the last recorded event, waited for behind it, or asked long after
    /// its time.
    bool Over() const;
    /// The time now, as counted from the start of the recording.
    Duration RecordedNow() const { return m_AnchorRecorded + (m_Apartment.Now() - m_AnchorNow); }

    /// Requests that the recording does not have; nothing answered them.
    int Unknown() const { return m_Unknown; }
    /// Recorded requests that were not sent again.
    int Skipped() const { return m_Skipped; }

private:
    friend class ReplayControl;
    using Kind = LineEvent::Kind;

    bool AtEnd() const { return m_Next == m_Events.size(); }
    bool NextIs(Kind what) const { return !AtEnd() && m_Events[m_Next].What == what; }
    /// Takes the next event; time is counted from it.
    const LineEvent& Take();
    void Tell(const LineEvent& event) const;
    /// Raises the next event when it is a failure.
    void FailAsRecorded();
    /// When the next event belongs, on the clock of now.
    Duration Due() const { return m_AnchorNow + (m_Events[m_Next].Time - m_AnchorRecorded); }

    void Open();
    void BeginExchange();
    void Send(const std::string& bytes);
    std::string Receive();
    void Wait(Duration limit);

    std::vector<LineEvent> m_Events;
    Duration m_LookAhead;
    Apartment& m_Apartment;
    const LineListener m_Tell;
    std::size_t m_Next = 0;
    bool m_Answers = false;  ///< the latest request is one of the recording
    bool m_Over = false;
    Duration m_AnchorRecorded;
    Duration m_AnchorNow;
    int m_Unknown = 0;
    int m_Skipped = 0;
};

}  // namespace orvix::station
