#include "station/store/roll_up.h"

#include <utility>

namespace orvix::station {

void RollUp::AddGood(std::int64_t time, double value) {
    GoTo(time);
    if (!m_IsInputs) {
        m_Figures.Add(value);
        return;
    }
    ++m_Figures.Count;
    m_Held = static_cast<unsigned>(value);
    m_HeldSince = time;
}

void RollUp::AddDoubtful(std::int64_t time) {
    GoTo(time);
    ++m_Figures.Doubtful;
    m_Held.reset();
}

void RollUp::AddFailed(std::int64_t time) {
    GoTo(time);
    m_Held.reset();
}

void RollUp::End(std::int64_t time) {
    AddFailed(time);
    GoTo((m_Minute + 1) * m_Span);
}

void RollUp::GoTo(std::int64_t time) {
    if (m_Held) Hold(std::min(time, m_HeldSince + m_LongestHold));
    const auto minute = time / m_Span;
    if (minute <= m_Minute) return;
    if (!m_Figures.IsEmpty()) m_Complete.push_back({m_Minute, std::exchange(m_Figures, {})});
    m_Minute = minute;
}

/// Spreads the time that inputs have held over the minutes.
void RollUp::Hold(std::int64_t until) {
    while (m_HeldSince < until) {
        const auto end = std::min(until, (m_HeldSince / m_Span + 1) * m_Span);
        m_Figures.Observed += end - m_HeldSince;
        for (std::size_t input = 0; input < m_Figures.On.size(); ++input) {
            if ((*m_Held >> input & 1) != 0) m_Figures.On[input] += end - m_HeldSince;
        }
        m_HeldSince = end;
        if (end % m_Span != 0) continue;
        m_Complete.push_back({m_Minute, std::exchange(m_Figures, {})});
        m_Minute = end / m_Span;
    }
}

std::vector<MinuteFigures> RollUp::TakeComplete() {
    return std::exchange(m_Complete, {});
}

}  // namespace orvix::station
