#include "station/line/echo_filter.h"

#include <utility>

namespace orvix::station {
namespace {

constexpr int kSure = 3;

}  // namespace

void EchoFilter::Send(const std::string& request) {
    // A line that says nothing at all tells nothing.
    if (m_HasReceived) m_InARow = m_IsBack == m_IsOn ? 0 : m_InARow + 1;
    if (m_InARow == kSure) {
        m_IsOn = !m_IsOn;
        m_InARow = 0;
    }
    m_Request = request;
    m_Received.clear();
    m_HasReceived = m_IsBack = false;
}

EchoFilter::Parts EchoFilter::Take(const std::string& bytes) {
    if (m_IsBack || m_Request.empty()) return {{}, bytes};
    m_HasReceived = m_HasReceived || !bytes.empty();
    m_Received += bytes;
    const auto at = m_Received.find(m_Request);
    m_IsBack = at != std::string::npos;
    if (!m_IsOn) return {{}, bytes};
    if (!m_IsBack) return {};
    const auto end = at + m_Request.size();
    return {m_Received.substr(0, end), m_Received.substr(end)};
}

std::string EchoFilter::TakeKept() {
    auto received = std::exchange(m_Received, {});
    return m_IsOn && !m_IsBack ? received : std::string();
}

}  // namespace orvix::station
