#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "devices/protocol/frame.h"
#include "station/line/answer_habits.h"
#include "station/line/owed_answers.h"
#include "station/line/pieces.h"
#include "station/model/exchange.h"
#include "station/model/line_event.h"

namespace orvix::station {

/// Makes exchanges of what happens on one serial line: the one place where its bytes are judged. What has come is cut
/// into pieces first; each piece is then judged by what was asked before it.
class ExchangeTracker {
public:
    using OnExchange = std::function<void(const Exchange&)>;

    /// `retries`: how often a failed request is sent again at most. `limit`: as long an answer is waited for.
    ExchangeTracker(int retries, Duration limit, OnExchange tell)
        : m_Retries(retries), m_Limit(limit), m_Tell(std::move(tell)) {}

    void Take(const LineEvent& event);
    /// The time of the latest exchange is over, which the line itself tells with its next event only.
    void Settle() { EndUnanswered(); }

private:
    /// What is known of an address.
    struct Source {
        OwedAnswers Owed;
        bool OuterChecksumOk = true;  ///< of its latest good answer
        int SinceDamage = 0;          ///< exchanges; 0: none was damaged of late
        int OtherAddress = 0;         ///< that its latest answer bore which was damaged else too; 0: none
    };
    /// What has come between two exchanges, besides answers to others.
    struct Rest {
        std::size_t Stray = 0;      ///< bytes that belong to no answer
        bool HasOwnAnswer = false;  ///< to the exchange before, behind stray bytes that were taken for it
    };

    void Begin(const LineEvent& event);
    void Receive(const LineEvent& event);
    void KeepRest(const LineEvent& event);
    void CountBytes(std::size_t bytes);
    void AwaitBytes(int address, Duration now);
    bool IsTorn() const;
    bool AwaitsTail();
    void EndDisturbed(std::string rest);
    void End(Outcome outcome);
    void EndUnanswered();
    Outcome Judge();
    Outcome JudgeForeign(const Reply& answer);
    void JudgeRest(Duration now);
    Rest TakePieces(const std::string& bytes);
    void TakeSurplusAnswer(int address);
    void TakeSurplus(const std::vector<Surplus>& found);
    bool IsTwoAnswers(std::size_t bytes) const;
    void TakeGood(const Reply& reply);
    bool IsTrusted(int address, std::string_view answer);
    /// Whether another master has been heard of late, so that what comes unasked is nobody's fault.
    bool HasOtherMaster() const;
    Source& SourceOf(int address);
    OwedAnswers& OwedByLatest() { return SourceOf(m_Latest.Address).Owed; }

    int m_Retries;
    Duration m_Limit;
    OnExchange m_Tell;
    ReplyLengths m_Lengths;
    std::map<int, Source> m_Sources;
    std::map<std::pair<int, std::string>, AnswerHabits> m_Habits;  ///< by address and what was asked
    Exchange m_Latest;                                             ///< whole unless it is pending
    std::string m_Request;                                         ///< of the latest
    Duration m_Left{0};                                            ///< when that had left
    Duration m_Heard{0};  ///< when the line last told of bytes that came, or that none came
    bool m_Pending = false;
    std::optional<Outcome> m_Outcome;       ///< of the latest by its bytes alone, unless it is pending
    std::vector<Surplus> m_Extras;          ///< not told yet
    std::string m_Answer;                   ///< what has come for the latest request
    std::string m_Rest;                     ///< what has come beyond that
    bool m_IsRestWatched = false;           ///< it came when the line told of it, not before
    std::string m_Begun;                    ///< of an answer that was coming when the latest request was sent
    bool m_IsBegunInNoise = false;          ///< it answers the request before, after noise
    Duration m_Ended{0};                    ///< when the latest ended, if not by its time-out
    std::size_t m_Awaited = 0;              ///< bytes of answers that may still come
    int m_TornBy = 0;                       ///< whose answers those were when the latest was sent; 0: there were none
    std::optional<Duration> m_OtherMaster;  ///< when a request was heard that nobody here sent
};

}  // namespace orvix::station
