#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "host/apartment.h"

namespace orvix::station {

/// Sums of the recent past: a ring of slots, each for `Length` seconds, the oldest of which is emptied as time goes on.
/// Covers between Slots - 1 and Slots lengths. Time must not run backwards.
template <class Sum, std::size_t Slots, int Length>
class SlidingWindow {
public:
    /// The slot of this time.
    Sum& At(Duration now) {
        Advance(now);
        return m_Slots[IndexOf(m_Latest)];
    }

    /// What all slots hold together; Sum has an Add.
    Sum Total(Duration now) {
        Advance(now);
        Sum total{};
        for (const auto& slot : m_Slots)
            total.Add(slot);
        return total;
    }

private:
    static std::size_t IndexOf(std::int64_t slot) { return static_cast<std::size_t>(slot) % Slots; }

    void Advance(Duration now) {
        const auto slot = now / std::chrono::seconds(Length);
        if (slot - m_Latest >= static_cast<std::int64_t>(Slots)) {
            m_Slots = {};
            m_Latest = slot;
        }
        while (m_Latest < slot)
            m_Slots[IndexOf(++m_Latest)] = {};
    }

    std::array<Sum, Slots> m_Slots{};
    std::int64_t m_Latest = 0;
};

}  // namespace orvix::station
