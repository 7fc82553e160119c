#include "station/door/station_view.h"

namespace orvix::station {
namespace {

constexpr std::chrono::milliseconds kShared{100};
constexpr std::size_t kMostKept = 8;

}  // namespace

HttpResponse SharedAnswers::Get(const std::string& question, Duration now, const std::function<HttpResponse()>& make) {
    std::erase_if(m_Kept, [now](const auto& kept) { return kept.second.Until <= now; });
    const auto kept = m_Kept.find(question);
    if (kept != m_Kept.end()) return kept->second.Response;
    auto response = make();
    if (m_Kept.size() < kMostKept) m_Kept[question] = {now + kShared, response};
    return response;
}

}  // namespace orvix::station
