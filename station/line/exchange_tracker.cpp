#include "station/line/exchange_tracker.h"

#include <algorithm>

#include "devices/protocol/frame.h"

namespace orvix::station {
namespace {

// What comes so soon behind an exchange may belong to it.
constexpr Duration kBehind = std::chrono::milliseconds(30);

// So long after its latest request another master is still taken to be there.
constexpr Duration kMasterStays = std::chrono::seconds(60);

// So many exchanges later the answers of an address are believed again.
constexpr int kDamageCounts = 300;

// What cannot be read may be long.
constexpr std::size_t kUnreadableLength = 32;

bool IsBroken(Outcome outcome) {
    return outcome == Outcome::CutShort || outcome == Outcome::Damaged || outcome == Outcome::Checksum;
}

bool IsWhole(const std::string& bytes) {
    const auto length = FrameLength(bytes);
    return length && bytes.size() >= *length;
}

}  // namespace

ExchangeTracker::Source& ExchangeTracker::SourceOf(int address) {
    return m_Sources.try_emplace(address, Source{OwedAnswers(address, m_Limit)}).first->second;
}

void ExchangeTracker::Take(const LineEvent& event) {
    using Kind = LineEvent::Kind;
    switch (event.What) {
        case Kind::Sent:
            return Begin(event);
        case Kind::Received:
            m_Heard = event.Time;
            return Receive(event);
        case Kind::Echoed:
            m_Latest.IsEcho = true;
            return;
        case Kind::Discarded:
            EndUnanswered();
            CountBytes(event.Bytes.size());
            return KeepRest(event);
        case Kind::Failed:
            if (m_Pending) End(Outcome::LineLost);
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
    JudgeRest(event.Time);
    // A request that came back was taken for an answer.
    const bool hasFailed = m_Outcome && *m_Outcome != Outcome::Good && m_Answer != m_Request;
    const bool isRetry = hasFailed && event.Bytes == m_Request && m_Latest.Attempt < m_Retries;
    const int attempt = isRetry ? m_Latest.Attempt + 1 : 0;
    AwaitBytes(FrameAddress(event.Bytes).value_or(0), event.Time);
    m_Latest = {};
    m_Latest.Port = event.Port;
    m_Latest.Address = FrameAddress(event.Bytes).value_or(0);
    if (auto request = ParseRequest(event.Bytes)) m_Latest.Asked = std::move(request->code);
    m_Latest.Sent = event.Time;
    m_Latest.Attempt = attempt;
    m_Request = event.Bytes;
    m_Left = event.Time + event.Lasted;
    m_Heard = m_Left;
    m_Lengths.try_emplace(m_Latest.Address, 0);
    if (!isRetry) TakeSurplus(OwedByLatest().BeginPoll(event.Time));
    m_Pending = true;
    m_Outcome.reset();
    m_Answer.clear();
}

/// A request is sent. As far as answers to those before have not come, they may run into its own.
void ExchangeTracker::AwaitBytes(int address, Duration now) {
    if (!m_Outcome || now - m_Heard > kBehind) m_Awaited = 0;
    if (m_Awaited == 0) m_TornBy = 0;
    if (m_Awaited > 0 && m_TornBy == 0) m_TornBy = m_Latest.Address;
    const auto length = m_Lengths[address];
    m_Awaited += length == 0 ? kUnreadableLength : length;
}

void ExchangeTracker::CountBytes(std::size_t bytes) {
    m_Awaited -= std::min(m_Awaited, bytes);
}

/// Whether what came for the latest request may be damaged by answers to others.
bool ExchangeTracker::IsTorn() const {
    return m_TornBy != 0 && m_TornBy != m_Latest.Address;
}

void ExchangeTracker::Receive(const LineEvent& event) {
    CountBytes(event.Bytes.size());
    if (!m_Pending) return KeepRest(event);
    m_Answer += event.Bytes;
    if (!m_Begun.empty() && AwaitsTail()) return;
    if (!IsWhole(m_Answer)) return;
    const auto length = *FrameLength(m_Answer);
    m_Rest = m_Answer.substr(length);
    m_IsRestWatched = true;
    m_Answer.resize(length);
    m_Latest.BytesAfter = m_Rest.size();
    End(Judge());
}

void ExchangeTracker::KeepRest(const LineEvent& event) {
    m_Heard = event.Time;
    m_IsRestWatched = event.What == LineEvent::Kind::Received;
    m_Rest += event.Bytes;
}

/// Whether the bytes that have come belong to the answer that had begun before the request, as far as can be told.
bool ExchangeTracker::AwaitsTail() {
    const auto both = m_Begun + m_Answer;
    const auto first = FirstPiece(both, m_Lengths);
    if (first.What == Piece::Kind::Answer) {
        m_IsRestWatched = true;
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
    OwedByLatest().Displaced(m_Left, 0);
    End(Outcome::Foreign);
}

Outcome ExchangeTracker::Judge() {
    const auto reply = CheckReply(m_Answer, m_Latest.Address);
    m_Latest.ReplyCode = reply.code;
    m_Latest.OuterChecksumOk = reply.outerChecksumOk;
    m_IsRestWatched = true;
    // No device answers with what it was asked; its answer comes behind the echo.
    const bool isEcho = m_Answer == m_Request;
    if (isEcho || IsRequest(m_Answer)) {
        m_Latest.IsEcho = m_Latest.IsEcho || isEcho;
        if (!isEcho) m_OtherMaster = m_Heard;
        OwedByLatest().Displaced(m_Left, 0);
        return Outcome::Foreign;
    }
    if (reply.error == errors::None) {
        TakeGood(reply);
        return Outcome::Good;
    }
    if (reply.error == errors::Refused) return Outcome::Refused;
    const auto bare = ParseReply(m_Answer);
    if (bare.error == errors::None || bare.error == errors::Refused) return JudgeForeign(bare);
    for (auto& [address, source] : m_Sources) {
        if (address == m_Latest.Address || !source.Owed.MayCome() || !HasHeadOf(address, m_Answer, m_Lengths)) continue;
        // It ran into the answer that is waited for.
        TakeSurplusAnswer(address);
        OwedByLatest().Displaced(m_Left, 0);
        return Outcome::Foreign;
    }
    if (IsTorn()) {
        OwedByLatest().Displaced(m_Left, 0);
        return Outcome::Foreign;
    }
    return reply.error == errors::Checksum ? Outcome::Checksum : Outcome::Damaged;
}

void ExchangeTracker::TakeGood(const Reply& reply) {
    auto& length = m_Lengths[m_Latest.Address];
    // Now it is known that no more comes.
    if (length == 0) CountBytes(kUnreadableLength - std::min(kUnreadableLength, m_Answer.size()));
    length = m_Answer.size();
    SourceOf(m_Latest.Address).OuterChecksumOk = reply.outerChecksumOk;
    m_Latest.Payload = reply.payload;
    const auto deviation = m_Habits[{m_Latest.Address, m_Latest.Asked}].Take(reply.code, reply.outerChecksumOk);
    m_Latest.HasOtherCode = deviation.HasOtherCode;
    m_Latest.HasWrongSum = deviation.HasWrongSum;
    m_Latest.FollowsDamage = SourceOf(m_Latest.Address).SinceDamage > 0;
}

/// A whole answer that bears another address came.
Outcome ExchangeTracker::JudgeForeign(const Reply& answer) {
    const auto bearer = m_Sources.find(answer.address);
    const bool isKnown = bearer != m_Sources.end();
    if (isKnown && bearer->second.Owed.MayCome()) {
        TakeSurplusAnswer(answer.address);
        OwedByLatest().Displaced(m_Left, 0);
        return Outcome::Foreign;
    }
    if (answer.outerChecksumOk == (isKnown ? bearer->second.OuterChecksumOk : true)) {
        OwedByLatest().Displaced(m_Left, answer.address);
        return Outcome::Foreign;
    }
    // Damage seldom makes the same address twice.
    auto& other = SourceOf(m_Latest.Address).OtherAddress;
    if (std::exchange(other, answer.address) != answer.address) return Outcome::Damaged;
    TakeSurplus({{m_Latest.Address, Surplus::Kind::OtherAddress}});
    return Outcome::Foreign;
}

void ExchangeTracker::EndUnanswered() {
    if (!m_Pending) return;
    const bool isTorn = !m_Begun.empty() && !m_Answer.empty();
    m_IsRestWatched = true;
    if (isTorn && FirstPiece(m_Answer, m_Lengths).What != Piece::Kind::Begun) return EndDisturbed(m_Begun + m_Answer);
    if (IsTorn() && !m_Answer.empty()) {
        // A length that stood in what ran into the answer has made it one that never ends.
        OwedByLatest().Displaced(m_Left, 0);
        return End(Outcome::Foreign);
    }
    OwedByLatest().TimedOut(m_Left);
    // The rest of an answer that comes too late makes it whole.
    m_Rest = m_Answer;
    End(m_Answer.empty() ? Outcome::Silent : Outcome::CutShort);
}

void ExchangeTracker::End(Outcome outcome) {
    auto& owed = OwedByLatest();
    const bool isUnanswered = outcome == Outcome::Silent || outcome == Outcome::CutShort;
    m_Pending = false;
    m_Outcome = outcome;
    m_Latest.Outcome = isUnanswered && owed.AreLate() ? Outcome::Late : outcome;
    m_Ended = m_Heard;
    if (isUnanswered) m_Awaited = 0;
    if (outcome == Outcome::Good || outcome == Outcome::Refused) {
        if (!owed.AreLate()) m_Latest.RoundTrip = m_Heard - m_Latest.Sent;
        owed.Answered(m_Left, m_Heard);
    }
    m_Latest.Extras = std::exchange(m_Extras, {});
    auto& since = SourceOf(m_Latest.Address).SinceDamage;
    since = IsBroken(outcome) ? 1 : since == 0 || since == kDamageCounts ? 0 : since + 1;
    m_Tell(m_Latest);
}

/// Finds out what has come since the latest exchange ended.
void ExchangeTracker::JudgeRest(Duration now) {
    m_Begun.clear();
    auto bytes = std::exchange(m_Rest, {});
    if (!m_Outcome) return;
    // What was taken for the answer may be noise before it. A time-out has left its part of an answer in the rest.
    if (*m_Outcome == Outcome::Damaged || *m_Outcome == Outcome::Checksum) bytes.insert(0, m_Answer);
    const auto rest = TakePieces(bytes);
    // What an answer to another request has torn is no noise of its own.
    if (rest.Stray == 0 || *m_Outcome == Outcome::Foreign) return;
    const bool isBroken = IsBroken(*m_Outcome);
    if (IsTorn()) return;
    if (isBroken && IsTwoAnswers(bytes.size())) {
        TakeSurplus({{m_Latest.Address, Surplus::Kind::Doubled}});
    } else if (!isBroken || rest.HasOwnAnswer) {
        const bool isBehind = *m_Outcome != Outcome::Silent && now - m_Ended <= kBehind;
        const bool isAround = (isBehind || m_Latest.BytesAfter > 0 || rest.HasOwnAnswer) && !HasOtherMaster();
        m_Extras.push_back({isAround ? m_Latest.Address : 0, Surplus::Kind::Noise, rest.Stray});
    }
}

/// Takes the answers among the bytes, whole or begun, for what they are, and returns what else there is.
ExchangeTracker::Rest ExchangeTracker::TakePieces(const std::string& bytes) {
    Rest rest;
    for (const auto& piece : CutIntoPieces(bytes, m_Lengths)) {
        if (piece.What == Piece::Kind::Request) m_OtherMaster = m_Heard;
        const bool isNobodys = piece.What == Piece::Kind::Answer && !IsTrusted(piece.Address, piece.Bytes);
        if (piece.What == Piece::Kind::Request || piece.What == Piece::Kind::Stray || isNobodys) {
            rest.Stray += piece.Bytes.size();
            continue;
        }
        // Noise that has ended the exchange before its answer came stands in front of that, once.
        const bool isOwn =
            IsBroken(*m_Outcome) && rest.Stray > 0 && !rest.HasOwnAnswer && piece.Address == m_Latest.Address;
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
    TakeSurplus(SourceOf(address).Owed.Take(m_Heard, m_IsRestWatched));
}

void ExchangeTracker::TakeSurplus(const std::vector<Surplus>& found) {
    for (const auto& surplus : found) {
        if (HasOtherMaster()) {
            // The other's devices answer it.
            m_Extras.push_back({0, Surplus::Kind::Noise, m_Lengths[surplus.Address]});
        } else {
            m_Extras.push_back(surplus);
        }
    }
}

/// Whether it is likely that an address has sent an answer that bears it, and not that damage made it so.
bool ExchangeTracker::IsTrusted(int address, std::string_view answer) {
    const auto& source = SourceOf(address);
    return address == m_Latest.Address || source.Owed.MayCome() ||
           ParseReply(answer).outerChecksumOk == source.OuterChecksumOk;
}

bool ExchangeTracker::HasOtherMaster() const {
    return m_OtherMaster && m_Heard - *m_OtherMaster <= kMasterStays;
}

bool ExchangeTracker::IsTwoAnswers(std::size_t bytes) const {
    // Two garbled answers may lose a byte or two between them.
    constexpr std::size_t kSlack = 2;
    const auto length = m_Lengths.at(m_Latest.Address);
    return length > 0 && bytes + kSlack >= 2 * length;
}

}  // namespace orvix::station
