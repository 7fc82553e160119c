#include <sqlite3.h>

#include <memory>
#include <stdexcept>
#include <vector>

#include "bench/benches.h"
#include "bench/clocks.h"
#include "bench/comparison.h"
#include "bench/memory.h"
#include "missions/log_tables.h"
#include "tests/support/fake_device.h"
#include "tests/support/mission_status_seam.h"
#include "tests/support/test_host.h"

namespace orvix::bench {
namespace {

using Seam = MissionStatusSeam;

/// A sensor's mission of so many samples, one a minute, none of which alarms: a log and a chart table of a row each.
class OwnLog {
public:
    explicit OwnLog(int samples) {
        for (int i = 0; i < samples; ++i)
            m_Samples.push_back(20.0F + static_cast<float>(i % 97) / 10);
        Seam::SetParent(m_Mission, &m_Device);
        Seam::Status(m_Mission) = {.StartValue = 1795345923, .MissionSamples = samples, .Rate = 1};
        Seam::Temperature(m_Mission) = {.HighAlarm = 100, .LowAlarm = -100};
    }

    void Build() {
        Seam::SetTempLog(m_Mission, m_Samples);
        if (m_Mission.LogEx()->RecordCount() + m_Mission.GraphLogEx()->RecordCount() != 2 * m_Samples.size()) {
            throw std::logic_error("the log lacks rows");
        }
    }

private:
    std::vector<float> m_Samples;
    tests::World m_World;
    tests::TestHost m_Host{m_World};
    tests::FakeDevice m_Device;
    cOrvixNB1TPMission m_Mission{m_Host.Services};
};

/// The same rows, ready made, through one prepared insert in one transaction into a table in memory. Those of the chart
/// have no alarm flags.
class SqliteLog {
public:
    explicit SqliteLog(int samples) : m_Samples(samples) {
        LogRowMaker maker(AlarmLimits{100, -100});
        for (int i = 0; i < kDistinct; ++i)
            m_Rows.push_back(maker.Make(FromCivilTime({2026, 11, 22, 12, i % 60, 0}), 20.5F));
    }

    void Build() const {
        sqlite3* database = nullptr;
        sqlite3_stmt* insert = nullptr;
        Check(sqlite3_open(":memory:", &database));
        Check(sqlite3_exec(database,
                           "CREATE TABLE log(time TEXT, chart TEXT, temp INTEGER, high INTEGER, low INTEGER, "
                           "is_high INTEGER, is_low INTEGER); BEGIN",
                           nullptr, nullptr, nullptr));
        Check(sqlite3_prepare_v2(database, "INSERT INTO log VALUES(?,?,?,?,?,?,?)", -1, &insert, nullptr));
        for (const bool isGraph : {false, true}) {
            for (int i = 0; i < m_Samples; ++i)
                Insert(insert, m_Rows[static_cast<std::size_t>(i % kDistinct)], isGraph);
        }
        Check(sqlite3_exec(database, "COMMIT", nullptr, nullptr, nullptr));
        sqlite3_finalize(insert);
        sqlite3_close(database);
    }

private:
    static constexpr int kDistinct = 1000;

    static void Check(int result) {
        if (result != SQLITE_OK && result != SQLITE_DONE) throw std::runtime_error(sqlite3_errstr(result));
    }
    static void BindText(sqlite3_stmt* insert, int position, const std::string& text) {
        sqlite3_bind_text(insert, position, text.data(), static_cast<int>(text.size()), SQLITE_STATIC);
    }
    static void Insert(sqlite3_stmt* insert, const LogRow& row, bool isGraph) {
        BindText(insert, 1, row.TimeVal);
        BindText(insert, 2, row.ChartTime);
        sqlite3_bind_int64(insert, 3, static_cast<std::int64_t>(row.Temp * 10000));
        sqlite3_bind_int64(insert, 4, 1000000);
        sqlite3_bind_int64(insert, 5, -1000000);
        if (isGraph) {
            sqlite3_bind_null(insert, 6);
            sqlite3_bind_null(insert, 7);
        } else {
            sqlite3_bind_int(insert, 6, row.IsHigh);
            sqlite3_bind_int(insert, 7, row.IsLow);
        }
        Check(sqlite3_step(insert));
        sqlite3_reset(insert);
    }

    int m_Samples;
    std::vector<LogRow> m_Rows;
};

/// Nanoseconds a row; small logs are built often enough to be measured.
template <class Log>
double TimePerRow(Log& log, int samples) {
    return TimePerCall(std::max(1, 30000 / samples), [&] { log.Build(); }) / (2.0 * samples);
}

template <class Log>
double PeakMemoryOf(int samples) {
    auto log = std::make_shared<Log>(samples);
    return PeakMemory([&] { log->Build(); });
}

}  // namespace

void AddLogComparisons() {
    const std::pair<int, int> sizes[] = {{1000, 31}, {100000, 11}, {1000000, 7}};
    for (const auto& [samples, rounds] : sizes) {
        const std::string subject = "log of " + std::to_string(samples);
        AddComparison(
            subject, {"time a row", "ns", AtMost(1.0 / 15)}, rounds,
            [samples = samples, log = std::make_shared<OwnLog>(samples)] { return TimePerRow(*log, samples); },
            [samples = samples, log = std::make_shared<SqliteLog>(samples)] { return TimePerRow(*log, samples); });
    }
    for (const int samples : {100000, 1000000}) {
        AddComparison(
            "log of " + std::to_string(samples), {"peak memory", "MB", AtMost(1)}, 3,
            [samples] { return PeakMemoryOf<OwnLog>(samples); },
            [samples] { return PeakMemoryOf<SqliteLog>(samples); });
    }
    AddComparison(
        "log", {"a row of 1e6 : a row of 1e3", "ns", kNoAim}, 7,
        [log = std::make_shared<OwnLog>(1000000)] { return TimePerRow(*log, 1000000); },
        [log = std::make_shared<OwnLog>(1000)] { return TimePerRow(*log, 1000); });
}

}  // namespace orvix::bench
