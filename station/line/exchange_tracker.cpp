#include "station/line/exchange_tracker.h"

#include "devices/protocol/frame.h"

namespace orvix::station {
namespace {

// An answer that is later than this is not waited for any more.
constexpr Duration kLongestDelay = std::chrono::seconds(2);

bool IsBroken(Outcome outcome) {
    return outcome == Outcome::CutShort || outcome == Outcome::Damaged || outcome == Outcome::Checksum;
}

bool IsWhole(const std::string& bytes) {
    const auto length = FrameLength(bytes);
    return length && bytes.size() >= *length;
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
            m_Outcome.reset();
            m_Rest.clear();
            return;
        case Kind::Waited:
            // More may come while there is time.
            return;
    }
}

void ExchangeTracker::Begin(const LineEvent& event) {
    EndUnanswered();
    JudgeRest();
    const bool isRetry =
        m_Outcome && *m_Outcome != Outcome::Good && event.Bytes == m_Request && m_Latest.Attempt < m_Retries;
    const int attempt = isRetry ? m_Latest.Attempt + 1 : 0;
    m_Latest = {};
    m_Latest.Port = event.Port;
    m_Latest.Address = FrameAddress(event.Bytes).value_or(0);
    if (auto request = ParseRequest(event.Bytes)) m_Latest.Asked = std::move(request->code);
    m_Latest.Sent = event.Time;
    m_Latest.Attempt = attempt;
    m_Request = event.Bytes;
    m_Lengths.try_emplace(m_Latest.Address, 0);
    if (!isRetry) {
        auto& debt = DebtOfLatest();
        debt.Displaced = 0;
        if (event.Time - debt.OwedSince > kLongestDelay) debt.Owed = 0;
        debt.WasLate = std::exchange(debt.IsLate, false);
    }
    m_Pending = true;
    m_Outcome.reset();
    m_Answer.clear();
}

void ExchangeTracker::Receive(const LineEvent& event) {
    if (!m_Pending) {
        m_Rest += event.Bytes;
        return;
    }
    m_Answer += event.Bytes;
    if (!m_Begun.empty() && AwaitsTail()) return;
    if (!IsWhole(m_Answer)) return;
    const auto length = *FrameLength(m_Answer);
    m_Rest = m_Answer.substr(length);
    m_Answer.resize(length);
    m_Latest.BytesAfter = m_Rest.size();
    End(Judge(), event.Time - m_Latest.Sent);
}

/// Whether the bytes that have come belong to the answer that had begun before the request, as far as can be told.
bool ExchangeTracker::AwaitsTail() {
    const auto both = m_Begun + m_Answer;
    const auto first = FirstPiece(both, m_Lengths);
    if (first.What == Piece::Kind::Answer) {
        if (!m_IsBegunInNoise) TakeSurplusAnswer(first.Address);
        EndDisturbed(both.substr(first.Bytes.size()));
        return true;
    }
    const bool hasOwnAnswer = m_Answer.front() == kStartByte && IsWhole(m_Answer);
    if (!IsWhole(both) && !hasOwnAnswer) return true;
    m_Begun.clear();
    return false;
}

/// The tail of an answer to another request was taken for the beginning of the answer; the rest comes after it.
void ExchangeTracker::EndDisturbed(std::string rest) {
    m_Rest = std::move(rest);
    m_Begun.clear();
    m_Answer.clear();
    ++DebtOfLatest().Displaced;
    End(Outcome::Foreign, {});
}

Outcome ExchangeTracker::Judge() {
    const auto reply = CheckReply(m_Answer, m_Latest.Address);
    m_Latest.ReplyCode = reply.code;
    m_Latest.OuterChecksumOk = reply.outerChecksumOk;
    // No device answers with what it was asked; its answer comes behind the echo.
    m_Latest.IsEcho = m_Answer == m_Request;
    if (m_Latest.IsEcho) {
        ++DebtOfLatest().Displaced;
        return Outcome::Foreign;
    }
    if (reply.error == errors::None) m_Lengths[m_Latest.Address] = m_Answer.size();
    if (reply.error == errors::None) return Outcome::Good;
    if (reply.error == errors::Refused) return Outcome::Refused;
    if (reply.error == errors::Checksum) return Outcome::Checksum;
    const auto first = FirstPiece(m_Answer, m_Lengths);
    if (first.What != Piece::Kind::Answer) return Outcome::Damaged;
    TakeSurplusAnswer(first.Address);
    ++DebtOfLatest().Displaced;
    return Outcome::Foreign;
}

void ExchangeTracker::EndUnanswered() {
    if (!m_Pending) return;
    const bool isTorn = !m_Begun.empty() && !m_Answer.empty();
    if (isTorn && FirstPiece(m_Answer, m_Lengths).What != Piece::Kind::Begun) return EndDisturbed(m_Begun + m_Answer);
    auto& debt = DebtOfLatest();
    ++debt.Owed;
    debt.OwedSince = m_Latest.Sent;
    // The rest of an answer that comes too late makes it whole.
    m_Rest = m_Answer;
    End(m_Answer.empty() ? Outcome::Silent : Outcome::CutShort, {});
}

void ExchangeTracker::End(Outcome outcome, Duration roundTrip) {
    const auto& debt = DebtOfLatest();
    const bool isUnanswered = outcome == Outcome::Silent || outcome == Outcome::CutShort;
    m_Pending = false;
    m_Outcome = outcome;
    m_Latest.Outcome = isUnanswered && (debt.IsLate || debt.WasLate) ? Outcome::Late : outcome;
    if (outcome == Outcome::Good || outcome == Outcome::Refused) m_Latest.RoundTrip = roundTrip;
    m_Latest.Extras = std::exchange(m_Extras, {});
    m_Tell(m_Latest);
}

/// Finds out what has come since the latest exchange ended.
void ExchangeTracker::JudgeRest() {
    m_Begun.clear();
    auto bytes = std::exchange(m_Rest, {});
    if (!m_Outcome) return;
    // What was taken for the answer may be noise before it. A time-out has left its part of an answer in the rest.
    if (*m_Outcome == Outcome::Damaged || *m_Outcome == Outcome::Checksum) bytes.insert(0, m_Answer);
    const auto rest = TakePieces(bytes);
    // What an answer to another request has torn is no noise of its own.
    if (rest.Stray == 0 || *m_Outcome == Outcome::Foreign) return;
    const bool isBroken = IsBroken(*m_Outcome);
    if (isBroken && IsTwoAnswers(bytes.size())) {
        m_Extras.push_back({m_Latest.Address, Surplus::Kind::Doubled, 0});
    } else if (!isBroken || rest.HasOwnAnswer) {
        m_Extras.push_back({m_Latest.Address, Surplus::Kind::Noise, rest.Stray});
    }
}

/// Takes the answers among the bytes, whole or begun, for what they are, and returns what else there is.
ExchangeTracker::Rest ExchangeTracker::TakePieces(const std::string& bytes) {
    Rest rest;
    for (const auto& piece : CutIntoPieces(bytes, m_Lengths)) {
        if (piece.What == Piece::Kind::Stray) {
            rest.Stray += piece.Bytes.size();
            continue;
        }
        // Noise that has ended the exchange before its answer came stands in front of that, once.
        const bool mayBeOwn = piece.Address == m_Latest.Address || piece.Address == 0;
        const bool isOwn = IsBroken(*m_Outcome) && rest.Stray > 0 && !rest.HasOwnAnswer && mayBeOwn;
        rest.HasOwnAnswer = rest.HasOwnAnswer || isOwn;
        if (piece.What == Piece::Kind::Begun) {
            m_Begun = piece.Bytes;
            m_IsBegunInNoise = isOwn;
        } else if (!isOwn) {
            TakeSurplusAnswer(piece.Address);
        }
    }
    return rest;
}

void ExchangeTracker::TakeSurplusAnswer(int address) {
    auto& debt = m_Debts[address];
    if (debt.Displaced > 0) {
        --debt.Displaced;
    } else if (debt.Owed > 0) {
        --debt.Owed;
        debt.IsLate = true;
        m_Extras.push_back({address, Surplus::Kind::Late, 0});
    } else {
        m_Extras.push_back({address, Surplus::Kind::Doubled, 0});
    }
}

bool ExchangeTracker::IsTwoAnswers(std::size_t bytes) const {
    // Two garbled answers may lose a byte or two between them.
    constexpr std::size_t kSlack = 2;
    const auto length = m_Lengths.at(m_Latest.Address);
    return length > 0 && bytes + kSlack >= 2 * length;
}

}  // namespace orvix::station
