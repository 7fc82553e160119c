#pragma once

#include <deque>
#include <string>

namespace orvix::station {

/// What the answers of a device to one request have in common, as far as nobody checks it: from the fourth answer on it
/// is told how an answer differs from most of the last sixteen.
class AnswerHabits {
public:
    struct Deviation {
        bool HasOtherCode = false;  ///< its command code is not that of most
        bool HasWrongSum = false;   ///< its outer checksum is wrong, that of most was right
    };

    /// An answer has come. Returns how it differs from those before it.
    Deviation Take(const std::string& code, bool isSumRight);

private:
    struct Answer {
        std::string Code;
        bool IsSumRight;
    };
    std::deque<Answer> m_Answers;  ///< the last
};

}  // namespace orvix::station
