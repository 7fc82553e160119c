#include "station/store/recording.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>

#include "station/model/version.h"
#include "station/store/recording_json.h"

namespace orvix::station {
namespace {

using std::chrono::microseconds;
using Kind = LineEvent::Kind;

constexpr std::string_view kMagic = "nimbo1-recording ";
const std::string kThisVersion = std::to_string(kRecordingVersion) + " ";
constexpr std::string_view kFirstVersion = "1 ";
constexpr std::string_view kBus = "bus";
constexpr std::string_view kGone = "gone";
constexpr std::string_view kEnd = "end";

constexpr std::int64_t kMostBuses = 100'000;
constexpr microseconds kLongestTime = std::chrono::hours(24 * 365 * 10);

enum class Content { Nothing, Bytes, BytesAndDuration, Reason };

struct KindName {
    Kind What;
    std::string_view Name;
    Content Holds;
};

constexpr std::array<KindName, 8> kKinds{{{Kind::Opened, "opened", Content::Nothing},
                                          {Kind::Closed, "closed", Content::Nothing},
                                          {Kind::Failed, "failed", Content::Reason},
                                          {Kind::Sent, "sent", Content::BytesAndDuration},
                                          {Kind::Received, "received", Content::Bytes},
                                          {Kind::Echoed, "echoed", Content::Bytes},
                                          {Kind::Discarded, "discarded", Content::Bytes},
                                          {Kind::Waited, "waited", Content::Nothing}}};

constexpr std::string_view kDigits = "0123456789ABCDEF";

std::string HexOf(std::string_view bytes) {
    std::string hex;
    hex.reserve(2 * bytes.size());
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        hex += kDigits[byte >> 4];
        hex += kDigits[byte & 15];
    }
    return hex;
}

std::optional<std::string> BytesOf(std::string_view hex) {
    if (hex.empty() || hex.size() % 2 != 0) return std::nullopt;
    std::string bytes;
    for (std::size_t at = 0; at < hex.size(); at += 2) {
        const auto high = kDigits.find(hex[at]);
        const auto low = kDigits.find(hex[at + 1]);
        if (high == std::string_view::npos || low == std::string_view::npos) return std::nullopt;
        bytes += static_cast<char>(high << 4 | low);
    }
    return bytes;
}

std::string MicrosecondsText(Duration time) {
    return std::to_string(std::chrono::duration_cast<microseconds>(time).count());
}

/// The fields of a line, taken from its beginning; each error names the line.
class Fields {
public:
    Fields(std::string_view line, std::size_t number) : m_Rest(line), m_Number(number) {}

    [[noreturn]] void Fail(const std::string& why) const { throw RecordingError(m_Number, why); }

    std::string_view Rest() const { return m_Rest; }
    std::string_view Next() {
        const auto end = std::min(m_Rest.find(' '), m_Rest.size());
        const auto field = m_Rest.substr(0, end);
        m_Rest.remove_prefix(std::min(end + 1, m_Rest.size()));
        return field;
    }
    microseconds NextTime(const char* what) {
        const auto time = microseconds(NextNumber(what, kLongestTime.count()));
        return time;
    }
    std::int64_t NextNumber(const char* what, std::int64_t largest) {
        const auto field = Next();
        std::int64_t number = -1;
        const auto result = std::from_chars(field.data(), field.data() + field.size(), number);
        const bool isWhole = result.ec == std::errc() && result.ptr == field.data() + field.size();
        if (!isWhole || number < 0 || number > largest) Fail(std::string("this is not a ") + what);
        return number;
    }
    std::string NextBytes() {
        auto bytes = BytesOf(Next());
        if (!bytes) Fail("the bytes must be pairs of the digits 0 to 9 and A to F");
        return std::move(*bytes);
    }

private:
    std::string_view m_Rest;
    std::size_t m_Number;
};

void ReadContent(Fields& fields, Content holds, LineEvent& event) {
    if (holds == Content::Bytes || holds == Content::BytesAndDuration) event.Bytes = fields.NextBytes();
    if (holds == Content::BytesAndDuration) event.Lasted = fields.NextTime("duration in microseconds");
    if (holds == Content::Reason) {
        auto reason = QuotedText(fields.Rest());
        if (!reason) fields.Fail("the reason must be a JSON text");
        event.Reason = std::move(*reason);
    } else if (!fields.Rest().empty()) {
        fields.Fail("there is more than an event");
    }
}

LineEvent ReadEvent(Fields& fields, std::string_view name, Duration time) {
    for (const auto& kind : kKinds) {
        if (kind.Name != name) continue;
        LineEvent event{.Time = time, .What = kind.What};
        ReadContent(fields, kind.Holds, event);
        return event;
    }
    fields.Fail("'" + std::string(name.substr(0, 20)) + "' is not a kind of line");
}

/// Buses are counted from 1.
std::string LineBeginning(Duration time, std::size_t number, std::string_view kind) {
    return MicrosecondsText(time) + " " + std::to_string(number) + " " + std::string(kind);
}

}  // namespace

std::string HeaderLine(const RecordingHeader& header) {
    return std::string(kMagic).append(kThisVersion).append(HeaderJson(header)).append("\n");
}

std::string SetupLine(std::size_t bus, const RecordedSetup& recorded) {
    return LineBeginning(recorded.Time, bus + 1, kBus) + " " + BusJson(recorded.Setup) + "\n";
}

std::string EventLine(std::size_t bus, const LineEvent& event) {
    const auto& kind = kKinds.at(static_cast<std::size_t>(event.What));
    auto line = LineBeginning(event.Time, bus + 1, kind.Name);
    if (kind.Holds == Content::Bytes || kind.Holds == Content::BytesAndDuration) line += " " + HexOf(event.Bytes);
    if (kind.Holds == Content::BytesAndDuration) line += " " + MicrosecondsText(event.Lasted);
    if (kind.Holds == Content::Reason) line += " " + Quoted(event.Reason);
    return line + "\n";
}

std::string GoneLine(std::size_t bus, Duration time) {
    return LineBeginning(time, bus + 1, kGone) + "\n";
}

std::string EndLine(Duration time) {
    return LineBeginning(time, 0, kEnd) + "\n";
}

RecordingHeader ParseHeader(std::string_view line) {
    if (!line.starts_with(kMagic)) throw RecordingError(1, "this is not a recording of nimbo1");
    line.remove_prefix(kMagic.size());
    const bool isFirst = line.starts_with(kFirstVersion);
    if (!isFirst && !line.starts_with(kThisVersion)) {
        throw RecordingError(1, "this program reads the versions 1 and 2, not version " +
                                    std::string(line.substr(0, std::min<std::size_t>(line.find(' '), 10))));
    }
    return ParseHeaderJson(line.substr(kThisVersion.size()), isFirst);
}

RecordedLine ParseLine(std::string_view line, std::size_t number) {
    Fields fields(line, number);
    RecordedLine recorded;
    recorded.Time = fields.NextTime("time in microseconds");
    const auto bus = static_cast<std::size_t>(fields.NextNumber("number of a bus", kMostBuses));
    const auto name = fields.Next();
    if (bus == 0 && name == kEnd) {
        recorded.What = RecordingEnd{};
    } else if (bus == 0) {
        fields.Fail("buses are counted from 1");
    } else if (name == kBus) {
        recorded.What = ParseBusJson(fields.Rest(), number);
    } else if (name == kGone) {
        recorded.What = BusGone{};
    } else {
        recorded.What = ReadEvent(fields, name, recorded.Time);
    }
    if ((name == kGone || name == kEnd) && !fields.Rest().empty()) fields.Fail("there is more than its kind");
    recorded.Bus = bus - std::min<std::size_t>(bus, 1);
    return recorded;
}

}  // namespace orvix::station
