#include "station/sink/history/histories.h"

#include <algorithm>
#include <utility>

namespace orvix::station {

Histories::Histories(FileOf fileOf, const HistorySetup& setup, std::string session, Apartment& home,
                     HistoryWriter::Say say)
    : m_FileOf(std::move(fileOf)), m_Setup(setup), m_Session(std::move(session)), m_Home(home), m_Say(std::move(say)) {}

HistoryRecorder& Histories::Of(const std::string& port) {
    const auto file = m_FileOf(port);
    auto& recorder = m_Recorders[file];
    if (!recorder) {
        recorder = std::make_unique<HistoryRecorder>(file, m_Setup, m_Session, m_Home, m_Say);
        recorder->SendTo(m_Brokers, m_Resend);
    }
    return *recorder;
}

void Histories::SendTo(const std::vector<std::string>& brokers, std::chrono::hours resend) {
    m_Brokers = brokers;
    m_Resend = resend;
    for (const auto& [file, recorder] : m_Recorders)
        recorder->SendTo(brokers, resend);
}

/// Which file is meant is known where it is written.
void Histories::Acknowledge(const BrokerOfHistory& who, std::int64_t n) {
    for (const auto& [file, recorder] : m_Recorders)
        recorder->Acknowledge(who, n);
}

std::vector<std::string> Histories::Files() const {
    std::vector<std::string> files;
    for (const auto& [file, recorder] : m_Recorders)
        files.push_back(file);
    return files;
}

std::optional<Duration> Histories::StandsStill() const {
    std::optional<Duration> longest;
    for (const auto& [file, recorder] : m_Recorders)
        longest = std::max(longest, recorder->StandsStill());
    return longest;
}

std::int64_t Histories::Close() {
    std::int64_t lost = 0;
    for (const auto& [file, recorder] : m_Recorders)
        lost += recorder->Close();
    return lost;
}

}  // namespace orvix::station
