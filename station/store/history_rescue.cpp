#include "station/store/history_rescue.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <utility>

#include "host/error.h"
#include "platform/regular_file.h"
#include "station/model/version.h"
#include "station/store/damaged_file.h"
#include "station/store/history_schema.h"

namespace orvix::station {
namespace {

using platform::SqliteConnection;

constexpr std::size_t kPageSize = 4096;  // of every history

constexpr CopiedTable kTables[] = {
    {"devices", "number, id, serial, model", "number"},
    {"sessions", "id, uuid, start_ms, pid, alive_ms, beat_ms, ended", "id"},
    {"series", "id, device, variable, session, name, bus, port, address, from_ms, to_ms, ended, rolled_ms, sparse",
     "id"},
    {"alarms",
     "id, session, seq, holder, device, port, kind, from_ms, to_ms, value, text, acknowledged_ms, acknowledged_by, "
     "comment",
     "id"},
    {"events", "id, session, time_ms, kind, text", "id"},
    {"gaps", "series, from_ms, to_ms, count, code, text, seq, last_seq", "series, from_ms"},
    {"rollups", "series, span, minute, count, doubtful, lowest, highest, sum", "series, span, minute"},
    {"input_rollups",
     "series, span, minute, count, doubtful, observed_ms, on1_ms, on2_ms, on3_ms, on4_ms, on5_ms, on6_ms, on7_ms, "
     "on8_ms",
     "series, span, minute"},
    {"brokers", "name, n", "name"},
    {"outbox", "n, session, seq, series, time", "n"},
    {"readings", "series, time_ms, value, seq, doubt", "series, time_ms"},
};

// What rows refer to that could not be read. Readings of a series that is lost become those of a device of their own.
constexpr char kFillIn[] =
    "INSERT INTO series(id, device, variable, name, bus, port, address, from_ms, to_ms)"
    " SELECT series, -series, iif(EXISTS(SELECT 1 FROM input_rollups AS i WHERE i.series = r.series), 'inputs',"
    " 'temperature'), 'lost ' || series, '', '', 0, min(time_ms), max(time_ms) FROM readings AS r"
    " WHERE series NOT IN (SELECT id FROM series) GROUP BY series;"
    "INSERT INTO devices(number, id, model) SELECT DISTINCT device, 'lost' || device, 0 FROM series"
    " WHERE device NOT IN (SELECT number FROM devices);"
    "INSERT INTO sessions(id, uuid, start_ms, pid, alive_ms, ended) SELECT session, 'lost ' || session, min(from_ms), "
    "0,"
    " max(coalesce(to_ms, (SELECT max(time_ms) FROM readings WHERE series = series.id), from_ms)), 1"
    " FROM series WHERE session IS NOT NULL AND session NOT IN (SELECT id FROM sessions) GROUP BY session;"
    // The numbers of an outbox that could not be read are given anew.
    "UPDATE brokers SET n = min(n, (SELECT coalesce(max(n), 0) FROM outbox));";

/// A database that is not left behind, whatever happens.
struct PassingDatabase {
    explicit PassingDatabase(std::string file) : File(std::move(file)) { RemoveDatabase(File); }
    PassingDatabase(const PassingDatabase&) = delete;
    PassingDatabase& operator=(const PassingDatabase&) = delete;
    ~PassingDatabase() {
        Attempt([this] { RemoveDatabase(File); });
    }
    const std::string File;
};

struct CopiedRows {
    std::int64_t All = 0;
    std::int64_t Readings = 0;
};

CopiedRows CopyTables(SqliteConnection& from, SqliteConnection& to) {
    CopiedRows copied;
    for (const auto& table : kTables) {
        copied.Readings = 0;  // which are those of the last table
        try {
            copied.Readings = CopyTable(from, to, table);
        } catch (const platform::UnusableDatabase&) {
            // Nothing of this table can be read.
        }
        copied.All += copied.Readings;
    }
    return copied;
}

std::string FirstPage(const std::string& file) {
    std::string page(kPageSize, '\0');
    std::ifstream(file, std::ios::binary).read(page.data(), static_cast<std::streamsize>(page.size()));
    return page;
}

/// Whether so little of the first page is left that the file is taken for none of this layout, or for an empty one.
bool LacksItsHead(const std::string& file) {
    try {
        return SqliteConnection(file, SqliteConnection::Access::Damaged).Version() == kHistoryVersion;
    } catch (const platform::UnusableDatabase&) {
        return true;
    }
}

/// A table of the file begins where it began in the file whose head it was given: the one that has only the history's
/// UUID has just that.
bool FitsItsHead(SqliteConnection& connection) {
    platform::SqliteStatement row(
        connection, "SELECT count(*), min(uuid LIKE '________-____-____-____-____________') FROM history");
    return row.Step() && row.Number(0) == 1 && row.Number(1) == 1;
}

/// What begins on which page is written on the first one, which is written most often. Files that were made by the same
/// layout have the same there, but for their size and what is free.
CopiedRows CopyUnderHead(std::string head, const std::string& old, SqliteConnection& to) {
    constexpr std::size_t kPagesAt = 28;
    constexpr std::size_t kFreePagesAt = 32;
    const auto pages = std::filesystem::file_size(old) / kPageSize;
    for (std::size_t byte = 0; byte < 4; ++byte)
        head[kPagesAt + byte] = static_cast<char>(pages >> (24 - 8 * byte));
    head.replace(kFreePagesAt, 8, 8, '\0');
    const PassingDatabase copy(old + ".copy");
    std::filesystem::copy_file(old, copy.File);
    std::error_code isNone;
    std::filesystem::copy_file(old + "-wal", copy.File + "-wal", isNone);
    std::fstream(copy.File, std::ios::binary | std::ios::in | std::ios::out) << head;
    CopiedRows copied;
    try {
        auto from = OpenDamagedHistory(copy.File);
        if (FitsItsHead(from)) copied = CopyTables(from, to);
    } catch (const platform::UnusableDatabase&) {
        // Nothing can be read.
    }
    return copied;
}

/// Makes a new history of what can be read of an old one. Returns how many readings that are.
std::int64_t MakeNew(const std::string& file, const std::string& old) {
    auto to = OpenHistory(file);
    // A file that is not finished is thrown away.
    to.Execute("PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF");
    auto head = FirstPage(file);
    to.Execute("BEGIN");
    CopiedRows copied;
    try {
        auto from = OpenDamagedHistory(old);
        copied = CopyTables(from, to);
    } catch (const platform::UnusableDatabase&) {
        // Nothing can be read.
    }
    if (copied.All == 0 && LacksItsHead(old)) copied = CopyUnderHead(std::move(head), old, to);
    to.Execute(kFillIn);
    to.Execute("COMMIT; PRAGMA synchronous = FULL; PRAGMA journal_mode = WAL");
    return copied.Readings;
}

}  // namespace

std::string ReplaceUnusableHistory(const std::string& file, std::int64_t now) {
    platform::RequireRegularFile(file, R_OK);
    const auto aside = AsideName(file, now);
    const PassingDatabase made(file + ".new");
    const auto readings = MakeNew(made.File, file);
    PutInPlace(file, made.File, aside);
    return "it is kept as " + aside + ", and a new one goes on" +
           (readings == 0 ? "; no reading in it could be read"
                          : " with the " + std::to_string(readings) + " readings that could be read");
}

}  // namespace orvix::station
