#pragma once

#include <string>

#include "host/apartment.h"
#include "host/line.h"
#include "station/model/line_event.h"
#include "station/source/recorded_events.h"

namespace orvix::station {

/// A serial line that does what a recorded one did. Each request is matched with the next recorded one of the same
/// bytes and gets what came back then, after the same time; a failure comes back at the operation that meets it. Time
/// is counted from the latest match on, so that differences between then and now do not add up.
class ReplayLine : public Line {
public:
    /// `began`: when the bus was started, as counted from the start of the recording. `lookAhead`: how much later than
    /// expected a request may stand in the recording. `apartment` tells the time and is blocked while the line is
    /// waited for. `tell` is told what happens, as a tap on the recorded line was, at the times of then.
    ReplayLine(RecordedEvents& events, Duration began, Duration lookAhead, Apartment& apartment, LineListener tell);

    /// The control refers to this object.
    std::unique_ptr<SerialControl> CreateSerialControl() override;

    /// Whether something was asked of the line after the last recorded event, or waited for behind it when the
    /// recording was broken off, or asked long after its time.
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

    /// The next event, unless it is later than the line may have been held up for; null: none.
    const LineEvent* Next();
    bool NextIs(Kind what);
    /// Takes the next event; time is counted from it.
    LineEvent Take();
    void Tell(LineEvent event) const;
    /// Tells what came and was not waited for.
    void Discard();
    /// Raises the next event when it is a failure.
    void FailAsRecorded();
    /// The same when it is due at once.
    void FailIfDue();
    bool IsDue(const LineEvent& event, Duration slack) const { return event.Time <= RecordedNow() + slack; }

    void Open();
    void Close();
    void BeginExchange();
    void Send(const std::string& bytes);
    std::string Receive();
    void Wait(Duration limit);

    RecordedEvents& m_Events;
    Duration m_LookAhead;
    Apartment& m_Apartment;
    const LineListener m_Tell;
    bool m_Answers = false;  ///< the latest request is one of the recording
    bool m_Over = false;
    Duration m_AnchorRecorded;
    Duration m_AnchorNow;
    Duration m_LatestRecorded;  ///< when the latest event was
    int m_Unknown = 0;
    int m_Skipped = 0;
};

}  // namespace orvix::station
