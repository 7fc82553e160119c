#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <utility>

#include "diagnostics/basPlexaErr.h"
#include "host/object.h"
#include "host/property_bag.h"
#include "host/services.h"
#include "missions/iOrvixNB1Mission.h"
#include "missions/log_tables.h"
#include "missions/mission_status.h"
#include "tasks/enumerations.h"

namespace orvix {

class iOrvixDevice;

/// Range that a setting must lie in, both ends included.
struct SettingRange {
    const char* Label;  ///< what messages call the setting
    std::int32_t Lowest;
    std::int32_t Highest;
};

/// Pending settings of both kinds of mission.
struct MissionSettings {
    std::int16_t Rate = 0;
    std::int32_t Delay = 0;
    bool Rollover = false;
    bool Synchronize = false;
};

/// What the missions of both device models are: names, pending settings, status, the temperature log with its alarms,
/// and the loaded and changed flags by which the device decides what to notify.
class cOrvixNB1Mission : public Object, public iOrvixNB1Mission {
protected:
    explicit cOrvixNB1Mission(const Services& services);

    /// Raises Validation, naming the setting and its range, for a value outside.
    void CheckRange(double value, const SettingRange& range);
    /// Raises General when the mission belongs to no device (any more).
    iOrvixDevice& ParentDevice() const;
    /// Value of a variable of the parent device. Raises MissingItem when the device does not have it.
    Variant ParentValue(ORVIXCNB1_VARS VarID) const;

    MissionStatus m_Status;

private:
    /// The owning device alone reaches the operations below.
    friend class cOrvixNB1Device;
    /// Puts a mission status in: the bus has no source of one.
    friend class MissionStatusSeam;

    void SetParentDevice(iOrvixDevice* device) { m_Parent = device; }
    bool GetStatusLoaded() const { return m_StatusLoaded; }
    void SetStatusChanged(bool rhs) { m_StatusChanged = rhs; }
    bool IsStatusChanged() const { return m_SimulateTrend || m_StatusChanged; }
    bool GetTempLogLoaded() const { return m_TempLogLoaded; }
    void SetTempLogChanged(bool rhs) { m_TempLogChanged = rhs; }
    bool IsTempLogChanged() const { return m_SimulateTrend || m_TempLogChanged; }
    void SetNewAlarm(bool rhs) { m_NewAlarm = rhs; }
    bool GetNewAlarm() const { return m_NewAlarm; }
    const std::string& GetNewName() const { return m_NewName; }
    void CommitName() { m_Name = m_NewName; }
    /// Takes a status value in. Raises TypeMismatch for a text that the mission cannot read; it then counts as not
    /// loaded.
    void SetStatus(const std::string& Status);
    /// Builds the three tables from the samples. Raises Overflow, or MissingItem when there are fewer samples than the
    /// status says; what was done before stays.
    void SetTempLog(std::span<const float> ASng);

    /// The kind's own part of the status intake.
    virtual void TakeStatusValue(const std::string& Status) = 0;
    /// The packed status record.
    virtual ByteArray StatusImage() const = 0;
    /// Nothing for a kind of mission without limits.
    virtual std::optional<AlarmLimits> Limits() const = 0;

    std::string iOrvixNB1Mission_Name() const override { return m_Name; }
    void iOrvixNB1Mission_Name(std::string rhs) override { m_NewName = std::move(rhs); }
    std::int16_t iOrvixNB1Mission_Rate() const override { return m_Status.Rate; }
    void iOrvixNB1Mission_Rate(std::int16_t rhs) override;
    std::int32_t iOrvixNB1Mission_Delay() const override { return m_Status.Delay; }
    void iOrvixNB1Mission_Delay(std::int32_t rhs) override;
    bool iOrvixNB1Mission_Rollover() const override { return m_Status.Rollover; }
    void iOrvixNB1Mission_Rollover(bool rhs) override { m_NewSettings.Rollover = rhs; }
    bool iOrvixNB1Mission_Synchronize() const override { return m_Status.Synchronize; }
    void iOrvixNB1Mission_Synchronize(bool rhs) override { m_NewSettings.Synchronize = rhs; }
    bool iOrvixNB1Mission_ClockAlarm() const override { return m_ClockAlarm; }
    void iOrvixNB1Mission_ClockAlarm(bool rhs) override { m_ClockAlarm = rhs; }
    bool iOrvixNB1Mission_SimulateTrend() const override { return m_SimulateTrend; }
    void iOrvixNB1Mission_SimulateTrend(bool rhs) override;
    std::int16_t iOrvixNB1Mission_Decimals() const override { return 1; }
    bool iOrvixNB1Mission_HighTempResolution() const override { return false; }

    bool iOrvixNB1Mission_AlarmHighFlag() const override { return m_AlmostOneAlarm && m_AlarmHighFlag; }
    bool iOrvixNB1Mission_AlarmLowFlag() const override { return m_AlmostOneAlarm && m_AlarmLowFlag; }
    float iOrvixNB1Mission_MinTemp() const override { return m_MinTemp; }
    float iOrvixNB1Mission_MaxTemp() const override { return m_MaxTemp; }
    std::int32_t iOrvixNB1Mission_MissionSamples() const override { return m_Status.MissionSamples; }
    std::int32_t iOrvixNB1Mission_TotMissionSamples() const override { return m_Status.MissionSamples; }
    std::int32_t iOrvixNB1Mission_MaxSamples() const override { return m_Status.MaxSamples; }
    std::string iOrvixNB1Mission_LastAlarmInfo() const override { return m_LastAlarmInfo; }
    Date iOrvixNB1Mission_MissionStartDate() const override;
    Date iOrvixNB1Mission_MissionEndDate() const override;
    bool iOrvixNB1Mission_InProgress() const override { return m_Status.InProgress || m_SimulateTrend; }
    bool iOrvixNB1Mission_RolloverOccurred() const override { return m_Status.RolloverOccurred; }
    bool iOrvixNB1Mission_AlmostOneAlarm() const override { return m_AlmostOneAlarm; }
    RecordSetRef iOrvixNB1Mission_LogEx() const override { return m_LogEx; }
    RecordSetRef iOrvixNB1Mission_GraphLogEx() const override { return m_GraphLogEx; }
    RecordSetRef iOrvixNB1Mission_AlarmLogEx() const override { return m_AlarmLogEx; }

    void iOrvixNB1Mission_Start(SharedEntry&) override {}
    void iOrvixNB1Mission_Terminate(SharedEntry& Track) override;
    ByteArray iOrvixNB1Mission_GetSuperState() const override;
    void iOrvixNB1Mission_SetSuperState(ByteView arState) override;

    /// Time of a sample after the start of the mission, in minutes. Raises Overflow beyond 32 bits.
    std::int32_t MinutesToSample(std::int32_t index) const;
    /// Clears the results of a log build; the tables become new empty ones or are released.
    void ResetLogs(bool create);
    void BuildLog(std::span<const float> ASng);
    std::int32_t LastIndexToShow();
    struct LogBuild;
    void AppendSamples(std::span<const float> ASng, LogBuild& build);
    void LatchAlarm();

    PropertyBag BuildStateBag() const;
    void LoadStateBag(const PropertyBag& bag);
    /// Visits what the state bag carries, key and field, in the order of the bag.
    template <class Mission, class Visit>
    static void ForEachStateField(Mission& mission, Visit visit);

    const Services& m_Services;
    cPlexaERR PlexaERR;
    iOrvixDevice* m_Parent = nullptr;
    std::string m_Name;
    std::string m_NewName;
    MissionSettings m_NewSettings;
    bool m_ClockAlarm = false;
    RecordSetRef m_LogEx;
    RecordSetRef m_GraphLogEx;
    RecordSetRef m_AlarmLogEx;
    bool m_AlarmHighFlag = false;
    bool m_AlarmLowFlag = false;
    float m_MinTemp = 0;
    float m_MaxTemp = 0;
    bool m_StatusLoaded = false;
    bool m_StatusChanged = false;
    bool m_TempLogLoaded = false;
    bool m_TempLogChanged = false;
    bool m_AlmostOneAlarm = false;
    bool m_LastAlarmStatus = false;  ///< m_AlmostOneAlarm of the log build before
    std::string m_LastAlarmInfo;
    bool m_NewAlarm = false;
    std::string m_NewAlarmInfo;  ///< text of the latest alarm row
    bool m_SimulateTrend = false;
    std::int32_t m_SimulatedIndex = 0;  ///< last sample shown while simulating
};

}  // namespace orvix
