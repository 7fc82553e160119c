#include "station/line/owed_answers.h"

#include <algorithm>
#include <utility>

namespace orvix::station {
namespace {

// An answer that is later than this is not waited for any more.
constexpr Duration kLongestDelay = std::chrono::seconds(2);

}  // namespace

std::vector<Surplus> OwedAnswers::BeginPoll(Duration now) {
    m_WasLate = std::exchange(m_IsLate, false);
    std::vector<Surplus> found;
    std::deque<Request> open;
    for (const auto& request : m_Requests) {
        // Its own answer would have come behind the one that bears another address.
        if (request.DisplacedBy != 0) found.push_back({m_Address, Surplus::Kind::OtherAddress});
        if (request.HasTimedOut && now - request.Left <= kLongestDelay) open.push_back(request);
    }
    m_Requests = std::move(open);
    if (m_Answers.size() >= m_Requests.size()) m_Requests.clear();
    if (m_Requests.empty()) m_Answers.clear();
    return found;
}

void OwedAnswers::Answered(Duration left, Duration at) {
    if (m_Requests.empty()) return;
    m_Requests.push_back({left, false, 0});
    m_Answers.push_back({at, true});
}

std::vector<Surplus> OwedAnswers::Take(Duration at, bool isWatched) {
    if (m_Requests.empty()) return {{m_Address, Surplus::Kind::Doubled}};
    std::vector<Surplus> found;
    m_Answers.push_back({at, isWatched});
    while (!m_Requests.empty() && !m_Answers.empty()) {
        if (const auto meaning = MeaningOf(m_Requests.front(), m_Answers.front())) found.push_back(*meaning);
        m_Requests.pop_front();
        m_Answers.pop_front();
    }
    return found;
}

bool OwedAnswers::MayCome() const {
    return !m_Answers.empty() ||
           std::any_of(m_Requests.begin(), m_Requests.end(), [](const Request& it) { return it.DisplacedBy == 0; });
}

std::optional<Surplus> OwedAnswers::MeaningOf(const Request& request, const Answer& answer) {
    const auto delay = answer.At - request.Left;
    if (request.HasTimedOut || (answer.IsWatched && delay > m_Limit)) {
        m_IsLate = true;
        return Surplus{m_Address, Surplus::Kind::Late, 0, delay, answer.IsWatched};
    }
    if (request.DisplacedBy != 0) return Surplus{request.DisplacedBy, Surplus::Kind::Doubled};
    return std::nullopt;
}

}  // namespace orvix::station
