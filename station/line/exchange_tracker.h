#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "station/line/pieces.h"
#include "station/model/exchange.h"
#include "station/model/line_event.h"

namespace orvix::station {

/// Makes exchanges of what happens on one serial line: the one place where its bytes are judged. What has come is cut
/// into pieces first; each piece is then judged by what was asked before it.
class ExchangeTracker {
public:
    using OnExchange = std::function<void(const Exchange&)>;

    /// `retries`: how often a failed request is sent again at most.
    ExchangeTracker(int retries, OnExchange tell) : m_Retries(retries), m_Tell(std::move(tell)) {}

    void Take(const LineEvent& event);
    /// The time of the latest exchange is over, which the line itself tells with its next event only.
    void Settle() { EndUnanswered(); }

private:
    /// What is known of an address, to tell where surplus bytes come from.
    struct Debt {
        int Owed = 0;  ///< answers that may still come, late
        Duration OwedSince{0};
        int Displaced = 0;     ///< answers that come after another one was taken for them
        bool IsLate = false;   ///< an answer has come late since the latest request that is no retry
        bool WasLate = false;  ///< the same of that request and the one before it
    };
    /// What has come between two exchanges, besides answers to others.
    struct Rest {
        std::size_t Stray = 0;      ///< bytes that belong to no answer
        bool HasOwnAnswer = false;  ///< to the exchange before, behind stray bytes that were taken for it
    };

    void Begin(const LineEvent& event);
    void Receive(const LineEvent& event);
    bool AwaitsTail();
    void EndDisturbed(std::string rest);
    void End(Outcome outcome, Duration roundTrip);
    void EndUnanswered();
    Outcome Judge();
    void JudgeRest();
    Rest TakePieces(const std::string& bytes);
    void TakeSurplusAnswer(int address);
    bool IsTwoAnswers(std::size_t bytes) const;
    Debt& DebtOfLatest() { return m_Debts[m_Latest.Address]; }

    int m_Retries;
    OnExchange m_Tell;
    ReplyLengths m_Lengths;
    std::map<int, Debt> m_Debts;
    Exchange m_Latest;      ///< whole unless it is pending
    std::string m_Request;  ///< of the latest
    bool m_Pending = false;
    std::optional<Outcome> m_Outcome;  ///< of the latest by its bytes alone, unless it is pending
    std::vector<Surplus> m_Extras;     ///< not told yet
    std::string m_Answer;              ///< what has come for the latest request
    std::string m_Rest;                ///< what has come beyond that
    std::string m_Begun;               ///< of an answer that was coming when the latest request was sent
    bool m_IsBegunInNoise = false;     ///< it answers the request before, after noise
};

}  // namespace orvix::station
