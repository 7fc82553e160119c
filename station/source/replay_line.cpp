#include "station/source/replay_line.h"

#include <algorithm>
#include <utility>

#include "host/error.h"

namespace orvix::station {

/// What the line was set to does not change what it did.
class ReplayControl : public SerialControl {
public:
    explicit ReplayControl(ReplayLine& line) : m_Line(line) {}

    void DTREnable(bool) override {}
    void EOFEnable(bool) override {}
    void Handshaking(std::int32_t) override {}
    void InBufferSize(std::int32_t) override {}
    void InputLen(std::int32_t) override {}
    void InputMode(std::int32_t) override {}
    void NullDiscard(bool) override {}
    void OutBufferSize(std::int32_t) override {}
    void ParityReplace(const std::string&) override {}
    void RThreshold(std::int32_t) override {}
    void RTSEnable(bool) override {}
    void Settings(const std::string&) override {}
    void SThreshold(std::int32_t) override {}
    void CommPort(std::int16_t) override {}

    bool PortOpen() const override { return m_PortOpen; }
    void PortOpen(bool rhs) override {
        m_PortOpen = false;
        if (rhs) m_Line.Open();
        m_PortOpen = rhs;
    }
    void InBufferCount(std::int32_t) override { m_Line.BeginExchange(); }
    void Output(const std::string& bytes) override { m_Line.Send(bytes); }
    std::string Input() override { return m_Line.Receive(); }
    void WaitForInput(Duration limit) override { m_Line.Wait(limit); }

private:
    ReplayLine& m_Line;
    bool m_PortOpen = false;
};

ReplayLine::ReplayLine(std::vector<LineEvent> events, Duration began, Duration lookAhead, Apartment& apartment,
                       LineListener tell)
    : m_Events(std::move(events)),
      m_LookAhead(lookAhead),
      m_Apartment(apartment),
      m_Tell(std::move(tell)),
      m_AnchorRecorded(began),
      m_AnchorNow(apartment.Now()) {}

std::unique_ptr<SerialControl> ReplayLine::CreateSerialControl() {
    return std::make_unique<ReplayControl>(*this);
}

bool ReplayLine::Over() const {
    return m_Over || m_Events.empty() || RecordedNow() > m_Events.back().Time + m_LookAhead;
}

const LineEvent& ReplayLine::Take() {
    const auto& event = m_Events[m_Next++];
    m_AnchorRecorded = event.Time;
    m_AnchorNow = m_Apartment.Now();
    Tell(event);
    return event;
}

void ReplayLine::Tell(const LineEvent& event) const {
    auto told = event;
    told.Time = m_Apartment.Now();
    m_Tell(told);
}

void ReplayLine::FailAsRecorded() {
    if (NextIs(Kind::Failed)) throw Error(errors::General, Take().Reason);
}

void ReplayLine::Open() {
    // What is left of the link before.
    while (NextIs(Kind::Received) || NextIs(Kind::Discarded) || NextIs(Kind::Closed))
        ++m_Next;
    m_Over = AtEnd();
    m_Answers = false;
    FailAsRecorded();
    if (NextIs(Kind::Opened)) Take();
}

void ReplayLine::BeginExchange() {
    for (; NextIs(Kind::Received) || NextIs(Kind::Discarded) || NextIs(Kind::Closed) || NextIs(Kind::Opened);
         ++m_Next) {
        auto event = m_Events[m_Next];
        // What was waited for longer then is not waited for now.
        if (event.What == Kind::Received) event.What = Kind::Discarded;
        Tell(event);
    }
    m_Over = AtEnd();
    m_Answers = false;
    FailAsRecorded();
}

void ReplayLine::Send(const std::string& bytes) {
    const auto latest = RecordedNow() + m_LookAhead;
    int passed = 0;
    for (auto at = m_Next; at < m_Events.size(); ++at) {
        const auto& event = m_Events[at];
        // The next request may be as late as it likes: then this station was slow, or asleep.
        if (passed > 0 && event.Time > latest) break;
        if (event.What != Kind::Sent) continue;
        if (event.Bytes != bytes) {
            ++passed;
            continue;
        }
        m_Next = at;
        m_Skipped += passed;
        m_Answers = true;
        return m_Apartment.Block(Take().Lasted);
    }
    // What is asked behind its end says nothing of the recording.
    if (!m_Over) ++m_Unknown;
    Tell({.What = Kind::Sent, .Bytes = bytes});
}

std::string ReplayLine::Receive() {
    std::string bytes;
    if (!m_Answers) return bytes;
    for (; NextIs(Kind::Received) && Due() <= m_Apartment.Now(); ++m_Next)
        bytes += m_Events[m_Next].Bytes;
    if (!bytes.empty()) Tell({.What = Kind::Received, .Bytes = bytes});
    if (bytes.empty() && NextIs(Kind::Failed) && Due() <= m_Apartment.Now()) FailAsRecorded();
    return bytes;
}

void ReplayLine::Wait(Duration limit) {
    // How the last exchange went on is not known.
    if (m_Answers && AtEnd()) m_Over = true;
    if (m_Answers && (NextIs(Kind::Received) || NextIs(Kind::Failed))) {
        limit = std::min(limit, Due() - m_Apartment.Now());
    }
    m_Apartment.Block(std::max(limit, Duration::zero()));
}

}  // namespace orvix::station
