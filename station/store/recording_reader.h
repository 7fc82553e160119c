#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "station/store/recording.h"

namespace orvix::station {

/// A recording, line by line from its beginning, in little memory however long it is.
class RecordingReader {
public:
    /// Gives the next bytes of the text, none at the end.
    using Bytes = std::function<std::string()>;

    /// Reads the header. Raises RecordingError for a first line that is no header of a version that is known, or is cut
    /// off, and whatever `bytes` raises.
    explicit RecordingReader(Bytes bytes);
    /// The same of a file, which may be packed by gzip. Raises as PackedFile does as well.
    explicit RecordingReader(const std::string& path);

    const RecordingHeader& Header() const { return m_Header; }
    /// The next line; nothing at the end. Raises as the constructor, and RecordingError for a line that is not as it
    /// should be; then there is no next one.
    std::optional<RecordedLine> Next();
    /// Whether the last line had no end and was left out.
    bool IsCutOff() const { return m_IsCutOff; }

private:
    struct KnownBus {
        std::string Port;
        Duration Latest{0};  ///< event
    };

    std::optional<std::string_view> NextLine();
    void Check(const RecordedLine& line);

    Bytes m_Bytes;
    std::string m_Text;  ///< read, and not used yet from m_At on
    std::size_t m_At = 0;
    std::size_t m_Number = 0;  ///< of the latest line, from 1
    bool m_IsAtEnd = false;
    bool m_IsCutOff = false;
    RecordingHeader m_Header;
    std::map<std::size_t, KnownBus> m_Buses;
};

}  // namespace orvix::station
