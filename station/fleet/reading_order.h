#pragma once

#include <algorithm>
#include <cstdint>
#include <deque>
#include <map>
#include <string>

namespace orvix::station {

/// Tells the readings of one station that are news from those that came before, again or late.
class ReadingOrder {
public:
    /// Takes a reading in: the session of the station that it is of, and its number there. False when the device has
    /// told this one or a later one, or when the session was over already.
    bool IsNews(const std::string& device, const std::string& session, std::int64_t seq) {
        if (session != m_Session) {
            if (std::find(m_Over.begin(), m_Over.end(), session) != m_Over.end()) return false;
            if (!m_Session.empty()) m_Over.push_back(m_Session);
            if (m_Over.size() > kRemembered) m_Over.pop_front();
            m_Session = session;
            m_Latest.clear();
        }
        auto& latest = m_Latest[device];
        if (seq <= latest) return false;
        latest = seq;
        return true;
    }

private:
    static constexpr std::size_t kRemembered = 8;

    std::string m_Session;
    std::deque<std::string> m_Over;
    std::map<std::string, std::int64_t> m_Latest;  ///< of the session, by device
};

}  // namespace orvix::station
