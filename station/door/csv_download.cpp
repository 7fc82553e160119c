#include "station/door/csv_download.h"

#include <algorithm>
#include <utility>

#include "station/door/problem.h"

namespace orvix::station {
namespace {

constexpr std::size_t kPiece = std::size_t{64} * 1024;

}  // namespace

struct CsvDownload::Source {
    Source(DeviceHistory history, const Period& period)
        : History(std::move(history)), Rows(History.Reader->Rows({&History.Device, 1}, period)) {}

    /// Empty at the end.
    std::string Piece() {
        std::string text;
        while (text.size() < kPiece) {
            const auto* row = Rows.Next();
            if (row == nullptr) break;
            Lines.Append(text, *row);
        }
        return text;
    }

    const DeviceHistory History;
    RowMerge Rows;
    HistoryCsv Lines;
};

CsvDownload::CsvDownload(SlowAnswers& slow, std::shared_ptr<Source> source)
    : m_Slow(slow), m_Source(std::move(source)) {}

std::shared_ptr<CsvDownload> CsvDownload::Open(SlowAnswers& slow, DeviceHistory history, const Period& period) {
    auto source = std::make_shared<Source>(std::move(history), period);
    return std::shared_ptr<CsvDownload>(new CsvDownload(slow, std::move(source)));
}

std::optional<std::size_t> CsvDownload::Read(std::span<char> into) {
    if (m_Sent == m_Text.size()) {
        if (m_HasFailed) throw ProblemError(500, "the history cannot be read any further");
        if (m_IsOver) return std::nullopt;
        AskForMore();
        return 0;
    }
    const auto size = std::min(into.size(), m_Text.size() - m_Sent);
    std::copy_n(m_Text.data() + m_Sent, size, into.data());
    m_Sent += size;
    return size;
}

void CsvDownload::AskForMore() {
    if (std::exchange(m_IsAsked, true)) return;
    m_Slow.Do([source = m_Source, self = weak_from_this(), &home = m_Slow.Home()] {
        std::optional<std::string> text;
        try {
            text = source->Piece();
        } catch (const std::exception&) {
            text.reset();
        }
        home.Post([self, text = std::move(text)] {
            if (const auto download = self.lock()) download->Take(text);
        });
    });
}

void CsvDownload::Take(std::optional<std::string> text) {
    m_IsAsked = false;
    m_HasFailed = !text;
    m_Text = std::move(text).value_or(std::string());
    m_IsOver = m_Text.empty();
    m_Sent = 0;
    Wake();
}

}  // namespace orvix::station
