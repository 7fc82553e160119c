#include <algorithm>
#include <cstdint>
#include <sstream>
#include <vector>

#include "host/characters.h"
#include "station/door/health_text.h"
#include "station/run/diagnosis.h"
#include "station/words/quantity_text.h"

namespace orvix::station {
namespace {

constexpr char kNothing[] = "-";

std::string CountText(std::uint64_t count) {
    return std::to_string(count);
}

std::string RoundTripText(const Tally& tally, double share) {
    return tally.RoundTrips.Count() == 0 ? kNothing : MillisecondsText(tally.RoundTrips.Quantile(share));
}

std::string SuccessText(const std::optional<double>& success) {
    return success ? PercentText(*success) : kNothing;
}

std::string PeriodText(const BusHealth& bus, const AddressHealth& address) {
    const auto period = address.Recent.Period();
    const auto seconds = [](auto time) { return FixedText(std::chrono::duration<double>(time).count(), 2); };
    return seconds(bus.Every) + "/" + (period ? seconds(*period) : kNothing);
}

struct Column {
    enum class Kind : std::uint8_t {
        Text,  ///< to the left
        Number,
        NumberOfLine,  ///< counted where the line is
    };

    const char* Title;
    Kind What;
    std::string (*Text)(const BusHealth&, const AddressHealth&);
};

constexpr auto kText = Column::Kind::Text;
constexpr auto kNumber = Column::Kind::Number;
constexpr auto kOfLine = Column::Kind::NumberOfLine;

// Counts and times are those of the last minutes.
constexpr Column kColumns[] = {
    {"addr", kNumber, [](const BusHealth&, const AddressHealth& it) { return std::to_string(it.Address); }},
    {"name", kText, [](const BusHealth&, const AddressHealth& it) { return it.Name; }},
    {"id", kText,
     [](const BusHealth&, const AddressHealth& it) { return it.Identifier.empty() ? kNothing : it.Identifier; }},
    {"quality", kText, [](const BusHealth&, const AddressHealth& it) -> std::string { return NameOf(it.Quality); }},
    {"good %", kNumber,
     [](const BusHealth&, const AddressHealth& it) { return SuccessText(it.Recent.ReadingSuccess()); }},
    {"doubtful", kNumber,
     [](const BusHealth&, const AddressHealth& it) { return CountText(it.Recent.DoubtfulReadings); }},
    {"p50 ms", kOfLine, [](const BusHealth&, const AddressHealth& it) { return RoundTripText(it.Recent, 0.5); }},
    {"p95 ms", kOfLine, [](const BusHealth&, const AddressHealth& it) { return RoundTripText(it.Recent, 0.95); }},
    {"max ms", kOfLine, [](const BusHealth&, const AddressHealth& it) { return RoundTripText(it.Recent, 1); }},
    {"time-outs", kOfLine, [](const BusHealth&, const AddressHealth& it) { return CountText(it.Recent.TimeOuts()); }},
    {"bad", kOfLine, [](const BusHealth&, const AddressHealth& it) { return CountText(it.Recent.BadFrames()); }},
    {"checksum", kOfLine,
     [](const BusHealth&, const AddressHealth& it) { return CountText(it.Recent.Count(Outcome::Checksum)); }},
    {"refused", kOfLine,
     [](const BusHealth&, const AddressHealth& it) { return CountText(it.Recent.Count(Outcome::Refused)); }},
    {"retries", kOfLine, [](const BusHealth&, const AddressHealth& it) { return CountText(it.Recent.Retries); }},
    {"last good", kNumber,
     [](const BusHealth&, const AddressHealth& it) -> std::string {
         return it.LastGood ? RoughText(*it.LastGood) + " ago" : "never";
     }},
    {"period s", kNumber, PeriodText},
};

using Row = std::vector<std::string>;

/// Characters, not bytes, of a UTF-8 text.
std::size_t WidthOf(const std::string& text) {
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

std::vector<Row> RowsOf(const BusHealth& bus) {
    std::vector<Row> rows(1);
    for (const auto& column : kColumns)
        rows[0].emplace_back(column.Title);
    for (const auto& address : bus.Addresses) {
        auto& row = rows.emplace_back();
        for (const auto& column : kColumns)
            row.push_back(bus.Told && column.What == kOfLine ? kNothing : Printable(column.Text(bus, address)));
    }
    return rows;
}

void WriteTable(std::ostream& out, const std::vector<Row>& rows) {
    std::vector<std::size_t> widths(std::size(kColumns));
    for (const auto& row : rows) {
        for (std::size_t i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths[i], WidthOf(row[i]));
    }
    for (const auto& row : rows) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            const std::string space(widths[i] - WidthOf(row[i]), ' ');
            out << "  " << (kColumns[i].What == kText ? row[i] + space : space + row[i]);
        }
        out << "\n";
    }
}

void WriteSummary(std::ostream& out, const BusHealth& bus) {
    const auto sum = bus.Sum(&AddressHealth::Recent);
    out << Printable(bus.Port) << ": " << Counted(sum.Readings, "reading") << " in the last minutes, "
        << SuccessText(sum.ReadingSuccess()) << " % good";
    if (bus.Told) {
        out << "\n";
        return;
    }
    out << "; " << Counted(sum.Exchanges(), "attempt") << ", " << SuccessText(sum.Success())
        << " % answered well; line used " << PercentText(bus.LoadLastMinute) << " % in the last minute, "
        << PercentText(bus.Load) << " % overall; " << Counted(sum.StrayBytes, "stray byte") << "; port failed "
        << Counted(bus.PortFailures, "time") << "\n";
}

}  // namespace

std::string PlainHealth(const StationHealth& health) {
    std::ostringstream out;
    bool isWell = true;
    for (const auto& bus : health.Buses) {
        WriteSummary(out, bus);
        WriteTable(out, RowsOf(bus));
        for (const auto& finding : Diagnose(bus)) {
            out << Printable(bus.Port) << ": " << finding.Sentence << "\n";
            isWell = false;
        }
    }
    if (health.HistoryStill) {
        out << "history: nothing could be written for " << RoughText(*health.HistoryStill)
            << "; readings wait in memory: check the disk of the data folder\n";
        isWell = false;
    }
    if (isWell) out << "all is well\n";
    return out.str();
}

}  // namespace orvix::station
