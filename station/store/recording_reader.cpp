#include "station/store/recording_reader.h"

#include <memory>
#include <utility>

#include "station/store/packed_file.h"

namespace orvix::station {
namespace {

// More than a bus with the most devices and long names takes.
constexpr std::size_t kLongestLine = std::size_t{1} << 20;

}  // namespace

RecordingReader::RecordingReader(Bytes bytes) : m_Bytes(std::move(bytes)) {
    const auto line = NextLine();
    if (!line) throw RecordingError(1, "the header is cut off");
    m_Header = ParseHeader(*line);
}

RecordingReader::RecordingReader(const std::string& path)
    : RecordingReader([file = std::make_shared<PackedFile>(path)] { return file->Read(); }) {}

std::optional<std::string_view> RecordingReader::NextLine() {
    if (m_IsAtEnd) return std::nullopt;
    ++m_Number;
    for (std::size_t searched = m_At;;) {
        const auto end = m_Text.find('\n', searched);
        if (std::min(end, m_Text.size()) - m_At > kLongestLine) throw RecordingError(m_Number, "it is too long");
        if (end != std::string::npos) {
            const auto line = std::string_view(m_Text).substr(m_At, end - m_At);
            m_At = end + 1;
            return line;
        }
        m_Text.erase(0, std::exchange(m_At, 0));
        searched = m_Text.size();
        const auto bytes = m_Bytes();
        m_IsAtEnd = bytes.empty();
        m_IsCutOff = m_IsAtEnd && !m_Text.empty();
        if (m_IsAtEnd) return std::nullopt;
        m_Text += bytes;
    }
}

std::optional<RecordedLine> RecordingReader::Next() {
    const auto text = NextLine();
    if (!text) return std::nullopt;
    try {
        auto line = ParseLine(*text, m_Number);
        Check(line);
        return line;
    } catch (const RecordingError&) {
        m_IsAtEnd = true;
        throw;
    }
}

/// Each line belongs to what the lines before it have told.
void RecordingReader::Check(const RecordedLine& line) {
    if (std::holds_alternative<RecordingEnd>(line.What)) return;
    const auto* setup = std::get_if<BusSetup>(&line.What);
    if (setup != nullptr) m_Buses.try_emplace(line.Bus, KnownBus{setup->PortLabel, {}});
    const auto bus = m_Buses.find(line.Bus);
    if (bus == m_Buses.end()) throw RecordingError(m_Number, "no line before describes this bus");
    auto& [port, latest] = bus->second;
    if (setup != nullptr && setup->PortLabel != port) throw RecordingError(m_Number, "the bus had another port before");
    if (!std::holds_alternative<LineEvent>(line.What)) return;
    if (line.Time < latest) throw RecordingError(m_Number, "it is earlier than the line before");
    latest = line.Time;
}

}  // namespace orvix::station
