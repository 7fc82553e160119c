#include <algorithm>
#include <limits>

#include "host/error.h"
#include "host/iOrvixDevice.h"
#include "host/text.h"
#include "missions/cOrvixNB1Mission.h"

namespace orvix {
namespace {

std::int32_t CheckedLong(std::int64_t value) {
    if (value < std::numeric_limits<std::int32_t>::min() || value > std::numeric_limits<std::int32_t>::max()) {
        throw Error(errors::Overflow, "Overflow: " + std::to_string(value) + " does not fit 32 bits");
    }
    return static_cast<std::int32_t>(value);
}

float SampleAt(std::span<const float> samples, std::int32_t index) {
    const auto position = static_cast<std::size_t>(index);
    if (position >= samples.size()) {
        throw Error(errors::MissingItem, "Subscript out of range: sample " + NumberText(index) + " of a log of " +
                                             std::to_string(samples.size()));
    }
    return samples[position];
}

/// A temperature as its table column holds it.
float ThroughTable(float temp) {
    return static_cast<float>(Currency::FromDouble(temp).ToDouble());
}

}  // namespace

/// What a build carries from sample to sample.
struct cOrvixNB1Mission::LogBuild {
    Date Start;
    std::int32_t Last = 0;  ///< index of the last sample to show
    std::string DeviceName;
    std::optional<LogRow> LastAlarm;
    float MinTemp = std::numeric_limits<float>::infinity();
    float MaxTemp = -std::numeric_limits<float>::infinity();
};

void cOrvixNB1Mission::ResetLogs(bool create) {
    m_LogEx = create ? CreateLogRecordset(false) : nullptr;
    m_GraphLogEx = create ? CreateLogRecordset(true) : nullptr;
    m_AlarmLogEx = create ? CreateLogRecordset(false) : nullptr;
    m_AlmostOneAlarm = m_AlarmHighFlag = m_AlarmLowFlag = false;
    m_MinTemp = m_MaxTemp = 0;
}

std::int32_t cOrvixNB1Mission::MinutesToSample(std::int32_t index) const {
    return CheckedLong(std::int64_t{m_Status.Rate} * index);
}

void cOrvixNB1Mission::SetTempLog(std::span<const float> ASng) {
    try {
        m_TempLogLoaded = false;
        ResetLogs(true);
        if (m_Status.MissionSamples != 0) BuildLog(ASng);
        m_TempLogLoaded = true;
    } catch (...) {
        PlexaERR.ErrorIn("cOrvixNB1Q27Mission.SetTempLog(ASng)");
    }
}

void cOrvixNB1Mission::BuildLog(std::span<const float> ASng) {
    LogBuild build;
    build.Start = MissionStartDate();
    build.Last = LastIndexToShow();

    // Each alarm row replaces the alarm text: only that of the last one, at the end or at a failure, is ever read.
    const auto putAlarmInWords = [&] {
        if (build.LastAlarm) m_NewAlarmInfo = AlarmInfo(build.DeviceName, *build.LastAlarm);
    };
    try {
        AppendSamples(ASng, build);
    } catch (...) {
        putAlarmInWords();
        throw;
    }
    putAlarmInWords();
    LatchAlarm();
    if (m_LogEx->RecordCount() > 0) {
        m_MinTemp = ThroughTable(build.MinTemp);
        m_MaxTemp = ThroughTable(build.MaxTemp);
        m_LogEx->MoveFirst();
        m_GraphLogEx->MoveFirst();
    }
}

std::int32_t cOrvixNB1Mission::LastIndexToShow() {
    const std::int32_t last = CheckedLong(std::int64_t{m_Status.MissionSamples} - 1);
    if (!m_SimulateTrend) return last;
    ++m_SimulatedIndex;
    if (m_SimulatedIndex > last) m_SimulatedIndex = 0;
    return m_SimulatedIndex;
}

void cOrvixNB1Mission::AppendSamples(std::span<const float> ASng, LogBuild& build) {
    const std::optional<AlarmLimits> limits = Limits();
    LogWriter log(*m_LogEx, false, limits);
    LogWriter graph(*m_GraphLogEx, true, limits);
    LogWriter alarms(*m_AlarmLogEx, false, limits);
    LogRowMaker rows(limits);
    for (std::int32_t i = 0; i <= build.Last; ++i) {
        const Date time = AddMinutes(build.Start, MinutesToSample(i));
        const LogRow& row = rows.Make(time, SampleAt(ASng, i));
        m_AlarmHighFlag = m_AlarmHighFlag || row.IsHigh;
        m_AlarmLowFlag = m_AlarmLowFlag || row.IsLow;
        if (m_AlarmHighFlag || m_AlarmLowFlag) {
            if (!build.LastAlarm) build.DeviceName = ParentDevice().Name();
            build.LastAlarm = row;
            alarms.Append(row);
        }
        log.Append(row);
        graph.Append(row);
        build.MinTemp = std::min(build.MinTemp, row.Temp);
        build.MaxTemp = std::max(build.MaxTemp, row.Temp);
    }
}

void cOrvixNB1Mission::LatchAlarm() {
    m_AlmostOneAlarm = m_AlarmHighFlag || m_AlarmLowFlag;
    if (m_AlmostOneAlarm && !m_LastAlarmStatus) m_NewAlarm = true;
    m_LastAlarmStatus = m_AlmostOneAlarm;
}

}  // namespace orvix
