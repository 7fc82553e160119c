#include <sqlite3.h>

#include <cmath>
#include <ctime>
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

constexpr std::int64_t kStart = 1795345923;
constexpr AlarmLimits kLimits{100, -100};

/// One a minute from kStart on; none of them alarms.
std::vector<float> MakeSamples(int count) {
    std::vector<float> samples;
    for (int i = 0; i < count; ++i)
        samples.push_back(20.0F + static_cast<float>(i % 97) / 10);
    return samples;
}

/// A sensor's mission: a sample is a row of the log and a row of the chart.
class OwnLog {
public:
    explicit OwnLog(int samples) : m_Samples(MakeSamples(samples)) {
        Seam::SetParent(m_Mission, &m_Device);
        Seam::Status(m_Mission) = {.StartValue = kStart, .MissionSamples = samples, .Rate = 1};
        Seam::Temperature(m_Mission) = {.HighAlarm = kLimits.High, .LowAlarm = kLimits.Low};
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

/// The same rows from the same samples, through one prepared insert in one transaction into a table in memory that no
/// other thread may use. Rows of the chart have no alarm flags. Texts of times come from the C library.
class SqliteLog {
public:
    explicit SqliteLog(int samples) : m_Samples(MakeSamples(samples)) {}

    void Build() const {
        sqlite3* database = nullptr;
        sqlite3_stmt* insert = nullptr;
        Check(sqlite3_open_v2(":memory:", &database, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX,
                              nullptr));
        Check(sqlite3_exec(database,
                           "CREATE TABLE log(time TEXT, chart TEXT, temp INTEGER, high INTEGER, low INTEGER, "
                           "is_high INTEGER, is_low INTEGER); BEGIN",
                           nullptr, nullptr, nullptr));
        Check(sqlite3_prepare_v2(database, "INSERT INTO log VALUES(?,?,?,?,?,?,?)", -1, &insert, nullptr));
        time_t time = kStart;
        for (const float sample : m_Samples) {
            InsertSample(insert, time, sample);
            time += 60;
        }
        Check(sqlite3_exec(database, "COMMIT", nullptr, nullptr, nullptr));
        sqlite3_finalize(insert);
        sqlite3_close(database);
    }

private:
    static void Check(int result) {
        if (result != SQLITE_OK && result != SQLITE_DONE) throw std::runtime_error(sqlite3_errstr(result));
    }
    static void BindTime(sqlite3_stmt* insert, int position, char (&text)[18], const char* pattern, const tm& time) {
        const auto length = static_cast<int>(std::strftime(text, sizeof(text), pattern, &time));
        sqlite3_bind_text(insert, position, text, length, SQLITE_STATIC);
    }
    static void InsertSample(sqlite3_stmt* insert, time_t time, float sample) {
        const double temp = std::nearbyint(sample * 10.0) / 10;
        tm parts{};
        gmtime_r(&time, &parts);
        char text[18];
        char chart[18];
        BindTime(insert, 1, text, "%d/%m/%y %H:%M:%S", parts);
        BindTime(insert, 2, chart, "%Y%m%d%H%M%S", parts);
        sqlite3_bind_int64(insert, 3, std::llround(temp * 10000));
        sqlite3_bind_int64(insert, 4, std::llround(kLimits.High * 10000));
        sqlite3_bind_int64(insert, 5, std::llround(kLimits.Low * 10000));
        sqlite3_bind_int(insert, 6, temp >= kLimits.High);
        sqlite3_bind_int(insert, 7, temp <= kLimits.Low);
        Run(insert);
        sqlite3_bind_null(insert, 6);
        sqlite3_bind_null(insert, 7);
        Run(insert);
    }
    static void Run(sqlite3_stmt* insert) {
        Check(sqlite3_step(insert));
        sqlite3_reset(insert);
    }

    std::vector<float> m_Samples;
};

/// Nanoseconds a row; small logs are built often enough to be measured.
template <class Log>
double TimePerRow(Log& log, int samples) {
    return TimePerCall(std::max(1, 30000 / samples), [&] { log.Build(); }) / (2.0 * samples);
}

/// The same for the first build of a program, which pays for fresh pages of memory too.
template <class Log>
double FirstTimePerRow(int samples) {
    Log log(samples);
    return InFreshMemory([&] { return TimePerCall(1, [&] { log.Build(); }) / (2.0 * samples); });
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
            "log of " + std::to_string(samples), {"first, time a row", "ns", AtMost(1.0 / 15)}, 5,
            [samples] { return FirstTimePerRow<OwnLog>(samples); },
            [samples] { return FirstTimePerRow<SqliteLog>(samples); });
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
