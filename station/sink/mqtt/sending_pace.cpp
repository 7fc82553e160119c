#include "station/sink/mqtt/sending_pace.h"

namespace orvix::station {
namespace {

constexpr std::int64_t kLeastWindow = 10;
constexpr auto kMostWindow = SendingPace::kLargestBatch * static_cast<std::int64_t>(SendingPace::kMostBatches);
constexpr std::chrono::milliseconds kQuick{300};
constexpr std::chrono::milliseconds kSlow{600};
constexpr std::chrono::seconds kAtOnce{5};
constexpr int kNoAccident = 2;
constexpr std::chrono::minutes kNarrow{10};

}  // namespace

std::int64_t SendingPace::Next(std::int64_t rowsUnderWay, std::size_t batchesUnderWay, Time now) {
    if (m_Limit < kLargestBatch && now >= m_WiderAt) {
        m_Limit = std::min(m_Limit * 2, kLargestBatch);
        m_WiderAt = now + kNarrow;
    }
    const auto batch = std::min(m_Limit, m_Window);
    return batchesUnderWay < kMostBatches && rowsUnderWay + batch <= m_Window ? batch : 0;
}

void SendingPace::Taken(std::int64_t rows, std::chrono::steady_clock::duration after) {
    m_Proven = std::max(m_Proven, rows);
    m_LostAtOnce = 0;
    if (after < kQuick) m_Window = std::min(m_Window + rows, kMostWindow);
    if (after > kSlow) m_Window = std::max(m_Window / 2, kLeastWindow);
}

void SendingPace::TooLarge(std::int64_t rows, Time now) {
    m_Limit = std::max<std::int64_t>(rows / 2, 1);
    m_Proven = std::min(m_Proven, m_Limit);
    m_WiderAt = now + kNarrow;
}

void SendingPace::Lost(std::int64_t rows, Time sent, Time now) {
    if (rows <= m_Proven || now - sent > kAtOnce) return;
    if (++m_LostAtOnce < kNoAccident) return;
    m_LostAtOnce = 0;
    TooLarge(rows, now);
}

}  // namespace orvix::station
