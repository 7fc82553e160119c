#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "station/door/slow_answers.h"
#include "station/http/message.h"
#include "station/store/history_csv.h"
#include "station/store/history_reader.h"

namespace orvix::station {

/// A device in the history that has it.
struct DeviceHistory {
    std::unique_ptr<HistoryReader> Reader;
    StoredDevice Device;
};

/// Looks for the device with a public id in several histories, as far as they are there.
std::optional<DeviceHistory> FindInHistories(const std::vector<std::string>& files, const std::string& id,
                                             std::int64_t now);

/// The history of a device as comma-separated values, read piece by piece as fast as the client takes it.
class CsvDownload : public HttpStream, public std::enable_shared_from_this<CsvDownload> {
public:
    /// To be called where slow answers are made.
    static std::shared_ptr<CsvDownload> Open(SlowAnswers& slow, DeviceHistory history, const Period& period);

    std::optional<std::size_t> Read(std::span<char> into) override;

private:
    /// What is read where slow answers are made, and nowhere else.
    struct Source;

    CsvDownload(SlowAnswers& slow, std::shared_ptr<Source> source);
    void AskForMore();
    /// Nothing: it cannot be read any further.
    void Take(std::optional<std::string> text);

    SlowAnswers& m_Slow;
    const std::shared_ptr<Source> m_Source;
    std::string m_Text = kHistoryCsvHeading;
    std::size_t m_Sent = 0;
    bool m_IsAsked = false;
    bool m_IsOver = false;
    bool m_HasFailed = false;
};

}  // namespace orvix::station
