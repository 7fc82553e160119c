#include "station/source/replay_line.h"

#include <algorithm>
#include <utility>

#include "host/error.h"

namespace orvix::station {
namespace {

// Longer than a busy machine holds up an operation on a line.
constexpr std::chrono::minutes kLongestHold{1};

// What fails within this time after the operation before is the operation that follows at once.
constexpr std::chrono::milliseconds kAtOnce{1};

constexpr std::chrono::hours kEver{24 * 365 * 100};

}  // namespace

/// What the line was set to does not change what it did.
class ReplayControl : public SerialControl {
public:
    explicit ReplayControl(ReplayLine& line) : m_Line(line) {}

    void DTREnable(bool) override { m_Line.FailIfDue(); }
    void EOFEnable(bool) override {}
    void Handshaking(std::int32_t) override {}
    void InBufferSize(std::int32_t) override {}
    void InputLen(std::int32_t) override {}
    void InputMode(std::int32_t) override {}
    void NullDiscard(bool) override {}
    void OutBufferSize(std::int32_t) override {}
    void ParityReplace(const std::string&) override {}
    void RThreshold(std::int32_t) override {}
    void RTSEnable(bool) override { m_Line.FailIfDue(); }
    void Settings(const std::string&) override {}
    void SThreshold(std::int32_t) override {}
    void CommPort(std::int16_t) override {}

    bool PortOpen() const override { return m_PortOpen; }
    void PortOpen(bool rhs) override {
        m_PortOpen = false;
        rhs ? m_Line.Open() : m_Line.Close();
        m_PortOpen = rhs;
    }
    /// What was discarded is told as it was recorded.
    std::string InBufferCount(std::int32_t) override {
        m_Line.BeginExchange();
        return {};
    }
    void Output(const std::string& bytes) override { m_Line.Send(bytes); }
    std::string Input() override { return m_Line.Receive(); }
    void WaitForInput(Duration limit) override { m_Line.Wait(limit); }

private:
    ReplayLine& m_Line;
    bool m_PortOpen = false;
};

ReplayLine::ReplayLine(RecordedEvents& events, Duration began, Duration lookAhead, Apartment& apartment,
                       LineListener tell)
    : m_Events(events),
      m_LookAhead(lookAhead),
      m_Apartment(apartment),
      m_Tell(std::move(tell)),
      m_AnchorRecorded(began),
      m_AnchorNow(apartment.Now()),
      m_LatestRecorded(began) {}

std::unique_ptr<SerialControl> ReplayLine::CreateSerialControl() {
    return std::make_unique<ReplayControl>(*this);
}

bool ReplayLine::Over() const {
    return m_Over || (m_Events.AtEnd() && RecordedNow() > m_LatestRecorded + m_LookAhead);
}

const LineEvent* ReplayLine::Next() {
    return m_Events.Ahead(0, RecordedNow() + kLongestHold);
}

bool ReplayLine::NextIs(Kind what) {
    const auto* next = Next();
    return next != nullptr && next->What == what;
}

LineEvent ReplayLine::Take() {
    auto event = *m_Events.Ahead(0, kEver);
    m_Events.Pass(1);
    // Then the machine was busy, or the line slow: what was due meanwhile came after it.
    m_Apartment.Block(std::max(event.Time - RecordedNow(), Duration::zero()));
    m_AnchorRecorded = m_LatestRecorded = event.Time;
    m_AnchorNow = m_Apartment.Now();
    Tell(event);
    return event;
}

void ReplayLine::Tell(LineEvent event) const {
    event.Time = RecordedNow();
    m_Tell(event);
}

void ReplayLine::Discard() {
    while (NextIs(Kind::Received) || NextIs(Kind::Echoed) || NextIs(Kind::Discarded) || NextIs(Kind::Waited)) {
        auto event = *Next();
        m_Events.Pass(1);
        if (event.What == Kind::Waited) continue;
        // What was waited for then is not waited for now.
        if (event.What == Kind::Received) event.What = Kind::Discarded;
        Tell(event);
    }
}

void ReplayLine::FailAsRecorded() {
    if (NextIs(Kind::Failed)) throw Error(errors::General, Take().Reason);
}

void ReplayLine::FailIfDue() {
    if (NextIs(Kind::Failed) && IsDue(*Next(), kAtOnce)) FailAsRecorded();
}

void ReplayLine::Open() {
    // What is left of the link before.
    while (NextIs(Kind::Received) || NextIs(Kind::Echoed) || NextIs(Kind::Discarded) || NextIs(Kind::Waited) ||
           NextIs(Kind::Closed))
        m_Events.Pass(1);
    m_Over = m_Events.AtEnd();
    m_Answers = false;
    FailAsRecorded();
    if (NextIs(Kind::Opened)) Take();
}

void ReplayLine::Close() {
    Discard();
    m_Answers = false;
    if (NextIs(Kind::Closed)) Take();
}

void ReplayLine::BeginExchange() {
    Discard();
    for (; NextIs(Kind::Closed) || NextIs(Kind::Opened); Discard()) {
        Tell(*Next());
        m_Events.Pass(1);
    }
    m_Over = m_Events.AtEnd();
    m_Answers = false;
    FailAsRecorded();
}

void ReplayLine::Send(const std::string& bytes) {
    const auto latest = RecordedNow() + m_LookAhead;
    int passed = 0;
    // The next request may be as late as it likes: then this station was slow, or asleep.
    for (std::size_t place = 0; const auto* event = m_Events.Ahead(place, passed > 0 ? latest : kEver); ++place) {
        if (event->What != Kind::Sent) continue;
        if (event->Bytes != bytes) {
            ++passed;
            continue;
        }
        m_Events.Pass(place);
        m_Skipped += passed;
        m_Answers = true;
        m_Apartment.Block(Take().Lasted);
        // The writing itself may have failed.
        return FailIfDue();
    }
    // What is asked behind its end says nothing of the recording.
    if (m_Over) return;
    ++m_Unknown;
    Tell({.What = Kind::Sent, .Bytes = bytes});
}

std::string ReplayLine::Receive() {
    if (!m_Answers) return {};
    if (NextIs(Kind::Echoed) && IsDue(*Next(), Duration::zero())) Take();
    const auto* next = Next();
    if (next == nullptr || !IsDue(*next, Duration::zero())) return {};
    if (next->What == Kind::Received || next->What == Kind::Waited) return Take().Bytes;
    FailAsRecorded();
    return {};
}

void ReplayLine::Wait(Duration limit) {
    // How the last exchange went on is not known.
    if (m_Answers && m_Events.AtEnd() && m_Events.IsBrokenOff()) m_Over = true;
    // However long it was waited then, by a machine that was busy.
    if (m_Answers && (NextIs(Kind::Received) || NextIs(Kind::Echoed) || NextIs(Kind::Waited) || NextIs(Kind::Failed)))
        limit = Next()->Time - RecordedNow();
    m_Apartment.Block(std::max(limit, Duration::zero()));
}

}  // namespace orvix::station
