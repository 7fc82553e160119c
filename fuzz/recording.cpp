// A recording, in pieces.

#include "fuzz/support/require.h"
#include "station/store/recording_reader.h"

namespace orvix::fuzz {
namespace {

using namespace station;

std::string Written(const RecordedLine& line) {
    if (const auto* setup = std::get_if<BusSetup>(&line.What)) return SetupLine(line.Bus, {line.Time, *setup});
    if (const auto* event = std::get_if<LineEvent>(&line.What)) return EventLine(line.Bus, *event);
    return std::holds_alternative<BusGone>(line.What) ? GoneLine(line.Bus, line.Time) : EndLine(line.Time);
}

/// What is accepted, written again.
std::string Read(std::string_view text, std::size_t atOnce) {
    std::string written;
    try {
        RecordingReader reader([text, atOnce]() mutable {
            const std::string bytes(text.substr(0, atOnce));
            text.remove_prefix(bytes.size());
            return bytes;
        });
        written = HeaderLine(reader.Header());
        while (const auto line = reader.Next())
            written += Written(*line);
    } catch (const RecordingError& error) {
        Require(error.Description.starts_with("line "), "a complaint names its line");
    }
    return written;
}

}  // namespace
}  // namespace orvix::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const std::string_view text(reinterpret_cast<const char*>(data + 1), size - 1);
    const auto written = orvix::fuzz::Read(text, 1 + data[0]);
    if (!written.empty()) {
        orvix::fuzz::Require(orvix::fuzz::Read(written, 1 << 16) == written, "what is written is read as it was");
    }
    return 0;
}
