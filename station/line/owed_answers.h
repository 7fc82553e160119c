#pragma once

#include <deque>
#include <optional>
#include <vector>

#include "station/model/exchange.h"

namespace orvix::station {

/// The answers of one address that may still come, and what it means when one comes that is not waited for. A device
/// answers in the order in which it is asked.
class OwedAnswers {
public:
    /// `limit`: as long an answer is waited for.
    OwedAnswers(int address, Duration limit) : m_Address(address), m_Limit(limit) {}

    /// A request that is no retry is sent. Returns what the requests before turn out to have brought.
    std::vector<Surplus> BeginPoll(Duration now);

    // What became of a request that had left at this time.
    void TimedOut(Duration left) { m_Requests.push_back({left, true, 0}); }
    /// Something was taken for its answer: that of another address, or (0) what nobody can be told to have sent.
    void Displaced(Duration left, int by) { m_Requests.push_back({left, false, by}); }
    /// The answer came, or that to an earlier request in its place.
    void Answered(Duration left, Duration at);

    /// An answer that is not waited for has come: at this time, or before it when that was not watched. Returns what
    /// that makes of it and of those before.
    std::vector<Surplus> Take(Duration at, bool isWatched);

    /// Whether one that is not waited for is no surprise.
    bool MayCome() const;
    /// Answers to the latest request that is no retry, or to the one before it, came late.
    bool AreLate() const { return m_IsLate || m_WasLate; }

private:
    struct Request {
        Duration Left;
        bool HasTimedOut;
        int DisplacedBy;
    };
    struct Answer {
        Duration At;
        bool IsWatched;
    };

    std::optional<Surplus> MeaningOf(const Request& request, const Answer& answer);

    int m_Address;
    Duration m_Limit;
    std::deque<Request> m_Requests;  ///< the oldest of them unanswered as far as is known
    std::deque<Answer> m_Answers;    ///< that came since
    bool m_IsLate = false;
    bool m_WasLate = false;
};

}  // namespace orvix::station
