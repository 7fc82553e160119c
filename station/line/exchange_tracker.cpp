#include "station/line/exchange_tracker.h"

#include "devices/protocol/frame.h"

namespace orvix::station {
namespace {

constexpr std::size_t kAddressOffset = 2;
constexpr std::int32_t kAnyAddress = 0;
constexpr char kStartByte = 0x1D;

// An answer that is later than this is not waited for any more.
constexpr Duration kLongestDelay = std::chrono::seconds(2);

int AddressIn(std::string_view frame) {
    return frame.size() > kAddressOffset ? static_cast<unsigned char>(frame[kAddressOffset]) : 0;
}

bool IsDamaged(Outcome outcome) {
    return outcome == Outcome::CutOff || outcome == Outcome::BadFrame || outcome == Outcome::Checksum;
}

}  // namespace

void ExchangeTracker::Take(const LineEvent& event) {
    using Kind = LineEvent::Kind;
    switch (event.What) {
        case Kind::Sent:
            return Begin(event);
        case Kind::Received:
            return Receive(event);
        case Kind::Discarded:
            EndUnanswered();
            m_Rest += event.Bytes;
            return;
        case Kind::Failed:
            if (m_Pending) End(Outcome::LineLost, {});
            m_Rest.clear();
            return;
        case Kind::Opened:
        case Kind::Closed:
            EndUnanswered();
            m_Latest.reset();
            m_Rest.clear();
            return;
    }
}

void ExchangeTracker::Failed(int address) {
    if (m_Request.Address == address) EndUnanswered();
}

void ExchangeTracker::Begin(const LineEvent& event) {
    EndUnanswered();
    JudgeRest();
    const bool isRetry =
        m_Latest && *m_Latest != Outcome::Good && event.Bytes == m_Request.Bytes && m_Request.Attempt < m_Retries;
    m_Request = {AddressIn(event.Bytes), event.Bytes, event.Time, isRetry ? m_Request.Attempt + 1 : 0};
    auto& station = StationOf(m_Request.Address);
    station.Asked = true;
    if (!isRetry) station.Displaced = 0;
    if (!isRetry && event.Time - station.OwedSince > kLongestDelay) station.Owed = 0;
    m_Pending = true;
    m_Latest.reset();
    m_Answer.clear();
}

void ExchangeTracker::Receive(const LineEvent& event) {
    if (!m_Pending) {
        m_Rest += event.Bytes;
        return;
    }
    m_Answer += event.Bytes;
    if (!m_Begun.empty() && AwaitsTail()) return;
    const auto length = FrameLength(m_Answer);
    if (!length || m_Answer.size() < *length) return;
    m_Rest = m_Answer.substr(*length);
    m_Answer.resize(*length);
    End(Judge(m_Answer), event.Time - m_Request.Sent);
}

/// Whether the bytes that have come belong to the answer that had begun before the request, as far as can be told.
bool ExchangeTracker::AwaitsTail() {
    const auto both = m_Begun + m_Answer;
    const auto length = FrameLength(both);
    const bool isWhole = length && both.size() >= *length;
    if (isWhole && AnswerAt(both)) {
        if (!m_IsBegunInNoise) TakeSurplusAnswer(AddressIn(both));
        EndDisturbed(both.substr(*length));
        return true;
    }
    const auto ownLength = m_Answer.front() == kStartByte ? FrameLength(m_Answer) : std::nullopt;
    const bool hasOwnAnswer = ownLength && m_Answer.size() >= *ownLength;
    if (!isWhole && !hasOwnAnswer) return true;
    m_Begun.clear();
    return false;
}

/// The tail of an answer to another request was taken for the beginning of the answer; the rest comes after it.
void ExchangeTracker::EndDisturbed(std::string rest) {
    m_Rest = std::move(rest);
    m_Begun.clear();
    m_Answer.clear();
    ++StationOf(m_Request.Address).Displaced;
    End(Outcome::Foreign, {});
}

Outcome ExchangeTracker::Judge(std::string_view reply) {
    switch (CheckReply(reply, m_Request.Address).error) {
        case errors::None:
            StationOf(m_Request.Address).ReplyLength = reply.size();
            return Outcome::Good;
        case errors::Refused:
            return Outcome::Refused;
        case errors::Checksum:
            return Outcome::Checksum;
        default:
            break;
    }
    const auto sender = AnswerAt(reply);
    if (!sender) return Outcome::BadFrame;
    TakeSurplusAnswer(*sender);
    ++StationOf(m_Request.Address).Displaced;
    return Outcome::Foreign;
}

void ExchangeTracker::EndUnanswered() {
    if (!m_Pending) return;
    if (!m_Begun.empty() && !m_Answer.empty() && !IsBegunAnswer(m_Answer)) return EndDisturbed(m_Begun + m_Answer);
    auto& station = StationOf(m_Request.Address);
    ++station.Owed;
    station.OwedSince = m_Request.Sent;
    // The rest of an answer that comes too late makes it whole.
    m_Rest = m_Answer;
    End(m_Answer.empty() ? Outcome::Silent : Outcome::CutOff, {});
}

void ExchangeTracker::End(Outcome outcome, Duration roundTrip) {
    m_Pending = false;
    m_Latest = outcome;
    m_Events.OnEnd({m_Request.Address, outcome, m_Request.Sent, roundTrip, m_Request.Attempt > 0});
}

void ExchangeTracker::JudgeRest() {
    m_Begun.clear();
    if (!m_Latest) return m_Rest.clear();
    const bool isDamaged = IsDamaged(*m_Latest);
    // A time-out has left its part of an answer in the rest.
    if (isDamaged && *m_Latest != Outcome::CutOff) m_Rest.insert(0, m_Answer);
    std::size_t strange = 0;
    bool isAnsweredInNoise = false;
    for (std::string_view rest = m_Rest; !rest.empty();) {
        const bool mayAnswerInNoise = isDamaged && strange > 0 && !isAnsweredInNoise;
        if (IsBegunAnswer(rest)) {
            m_Begun = rest;
            m_IsBegunInNoise =
                mayAnswerInNoise && (rest.size() <= kAddressOffset || AddressIn(rest) == m_Request.Address);
            isAnsweredInNoise |= m_IsBegunInNoise;
            break;
        }
        const auto sender = AnswerAt(rest);
        rest.remove_prefix(sender ? *FrameLength(rest) : 1);
        if (!sender) {
            ++strange;
        } else if (mayAnswerInNoise && *sender == m_Request.Address) {
            isAnsweredInNoise = true;
        } else {
            TakeSurplusAnswer(*sender);
        }
    }
    const std::size_t all = m_Rest.size();
    m_Rest.clear();
    // What an answer to another request has torn is no noise of its own.
    if (strange == 0 || *m_Latest == Outcome::Foreign) return;
    if (isDamaged && IsTwice(all)) {
        m_Events.OnSurplus({m_Request.Address, Surplus::Kind::Doubled, 0});
    } else if (!isDamaged || isAnsweredInNoise) {
        m_Events.OnSurplus({m_Request.Address, Surplus::Kind::Noise, strange});
    }
}

void ExchangeTracker::TakeSurplusAnswer(int address) {
    auto& station = StationOf(address);
    if (station.Displaced > 0) {
        --station.Displaced;
    } else if (station.Owed > 0) {
        --station.Owed;
        m_Events.OnSurplus({address, Surplus::Kind::Late, 0});
    } else {
        m_Events.OnSurplus({address, Surplus::Kind::Doubled, 0});
    }
}

std::optional<int> ExchangeTracker::AnswerAt(std::string_view bytes) const {
    if (bytes.front() != kStartByte) return std::nullopt;
    const auto error = CheckReply(bytes, kAnyAddress).error;
    if (error != errors::None && error != errors::Refused) return std::nullopt;
    const int sender = AddressIn(bytes);
    return m_Stations[static_cast<std::size_t>(sender)].Asked ? std::optional(sender) : std::nullopt;
}

bool ExchangeTracker::IsBegunAnswer(std::string_view bytes) const {
    if (bytes.front() != kStartByte) return false;
    const auto length = FrameLength(bytes);
    if (length && bytes.size() >= *length) return false;
    if (bytes.size() <= kAddressOffset) return true;
    const auto& sender = m_Stations[static_cast<std::size_t>(AddressIn(bytes))];
    return sender.Asked && (sender.ReplyLength == 0 || sender.ReplyLength == *length);
}

bool ExchangeTracker::IsTwice(std::size_t bytes) const {
    // Two garbled answers may lose a byte or two between them.
    constexpr std::size_t kSlack = 2;
    const auto length = m_Stations[static_cast<std::size_t>(m_Request.Address)].ReplyLength;
    return length > 0 && bytes + kSlack >= 2 * length;
}

}  // namespace orvix::station
