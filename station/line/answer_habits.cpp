#include "station/line/answer_habits.h"

#include <algorithm>

namespace orvix::station {
namespace {

constexpr std::ptrdiff_t kMost = 16;
constexpr std::ptrdiff_t kFewest = 3;

}  // namespace

AnswerHabits::Deviation AnswerHabits::Take(const std::string& code, bool isSumRight) {
    const auto count = std::ssize(m_Answers);
    const auto isMost = [&](auto holds) {
        return 2 * std::count_if(m_Answers.begin(), m_Answers.end(), holds) > count;
    };
    Deviation deviation;
    if (count >= kFewest) {
        const auto hasUsualCode = [&](const Answer& it) {
            return isMost([&](const Answer& other) { return other.Code == it.Code; });
        };
        const auto usual = std::find_if(m_Answers.begin(), m_Answers.end(), hasUsualCode);
        deviation.HasOtherCode = usual != m_Answers.end() && usual->Code != code;
        deviation.HasWrongSum = !isSumRight && isMost([](const Answer& it) { return it.IsSumRight; });
    }
    m_Answers.push_back({code, isSumRight});
    if (std::ssize(m_Answers) > kMost) m_Answers.pop_front();
    return deviation;
}

}  // namespace orvix::station
