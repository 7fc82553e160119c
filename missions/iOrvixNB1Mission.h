#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "host/date.h"
#include "host/record_set.h"
#include "host/variant.h"

namespace orvix {

class SharedEntry;

/// What the host sees of a device's recording mission. A setting reads what the device's status record says and writes
/// a pending value; writes outside the range raise Validation.
class iOrvixNB1Mission {
public:
    virtual ~iOrvixNB1Mission() = default;

    /// Reads the current name, writes the pending one.
    std::string Name() const { return iOrvixNB1Mission_Name(); }
    void Name(std::string rhs) { iOrvixNB1Mission_Name(std::move(rhs)); }
    /// Sampling interval in minutes, 1 to 255.
    std::int16_t Rate() const { return iOrvixNB1Mission_Rate(); }
    void Rate(std::int16_t rhs) { iOrvixNB1Mission_Rate(rhs); }
    /// Start delay, 0 to 65535.
    std::int32_t Delay() const { return iOrvixNB1Mission_Delay(); }
    void Delay(std::int32_t rhs) { iOrvixNB1Mission_Delay(rhs); }
    bool Rollover() const { return iOrvixNB1Mission_Rollover(); }
    void Rollover(bool rhs) { iOrvixNB1Mission_Rollover(rhs); }
    bool Synchronize() const { return iOrvixNB1Mission_Synchronize(); }
    void Synchronize(bool rhs) { iOrvixNB1Mission_Synchronize(rhs); }
    bool ClockAlarm() const { return iOrvixNB1Mission_ClockAlarm(); }
    void ClockAlarm(bool rhs) { iOrvixNB1Mission_ClockAlarm(rhs); }
    /// Makes each log build show one more sample than the one before, starting again from one sample after the full
    /// log. Writing it counts as a build that showed one sample.
    bool SimulateTrend() const { return iOrvixNB1Mission_SimulateTrend(); }
    void SimulateTrend(bool rhs) { iOrvixNB1Mission_SimulateTrend(rhs); }
    /// Decimals of the device's temperatures: always 1.
    std::int16_t Decimals() const { return iOrvixNB1Mission_Decimals(); }
    /// Always false.
    bool HighTempResolution() const { return iOrvixNB1Mission_HighTempResolution(); }

    /// False unless AlmostOneAlarm, whatever the samples have reached.
    bool AlarmHighFlag() const { return iOrvixNB1Mission_AlarmHighFlag(); }
    bool AlarmLowFlag() const { return iOrvixNB1Mission_AlarmLowFlag(); }
    /// Lowest and highest logged sample, degrees Celsius.
    float MinTemp() const { return iOrvixNB1Mission_MinTemp(); }
    float MaxTemp() const { return iOrvixNB1Mission_MaxTemp(); }
    std::int32_t MissionSamples() const { return iOrvixNB1Mission_MissionSamples(); }
    std::int32_t TotMissionSamples() const { return iOrvixNB1Mission_TotMissionSamples(); }
    std::int32_t MaxSamples() const { return iOrvixNB1Mission_MaxSamples(); }
    std::string LastAlarmInfo() const { return iOrvixNB1Mission_LastAlarmInfo(); }
    Date MissionStartDate() const { return iOrvixNB1Mission_MissionStartDate(); }
    /// Raises Overflow when rate times samples exceeds 32 bits.
    Date MissionEndDate() const { return iOrvixNB1Mission_MissionEndDate(); }
    bool InProgress() const { return iOrvixNB1Mission_InProgress(); }
    bool RolloverOccurred() const { return iOrvixNB1Mission_RolloverOccurred(); }
    /// The last log build found a sample at or beyond a limit.
    bool AlmostOneAlarm() const { return iOrvixNB1Mission_AlmostOneAlarm(); }
    /// Every sample with its alarm state; null after a state restore, until the next log build.
    RecordSetRef LogEx() const { return iOrvixNB1Mission_LogEx(); }
    /// Every sample, for charting.
    RecordSetRef GraphLogEx() const { return iOrvixNB1Mission_GraphLogEx(); }
    /// The samples from the first alarm on.
    RecordSetRef AlarmLogEx() const { return iOrvixNB1Mission_AlarmLogEx(); }

    /// Takes the request and does nothing: these devices are not started from here.
    void Start(SharedEntry& Track) { iOrvixNB1Mission_Start(Track); }
    /// Puts a stop-mission task into the new entry Track and submits it. Raises Validation when the device is not
    /// connected.
    void Terminate(SharedEntry& Track) { iOrvixNB1Mission_Terminate(Track); }

    ByteArray GetSuperState() const { return iOrvixNB1Mission_GetSuperState(); }
    /// Releases the three tables, then loads. Raises InvalidContents or MissingItem for bytes that hold no mission.
    void SetSuperState(ByteView arState) { iOrvixNB1Mission_SetSuperState(arState); }

private:
    virtual std::string iOrvixNB1Mission_Name() const = 0;
    virtual void iOrvixNB1Mission_Name(std::string rhs) = 0;
    virtual std::int16_t iOrvixNB1Mission_Rate() const = 0;
    virtual void iOrvixNB1Mission_Rate(std::int16_t rhs) = 0;
    virtual std::int32_t iOrvixNB1Mission_Delay() const = 0;
    virtual void iOrvixNB1Mission_Delay(std::int32_t rhs) = 0;
    virtual bool iOrvixNB1Mission_Rollover() const = 0;
    virtual void iOrvixNB1Mission_Rollover(bool rhs) = 0;
    virtual bool iOrvixNB1Mission_Synchronize() const = 0;
    virtual void iOrvixNB1Mission_Synchronize(bool rhs) = 0;
    virtual bool iOrvixNB1Mission_ClockAlarm() const = 0;
    virtual void iOrvixNB1Mission_ClockAlarm(bool rhs) = 0;
    virtual bool iOrvixNB1Mission_SimulateTrend() const = 0;
    virtual void iOrvixNB1Mission_SimulateTrend(bool rhs) = 0;
    virtual std::int16_t iOrvixNB1Mission_Decimals() const = 0;
    virtual bool iOrvixNB1Mission_HighTempResolution() const = 0;
    virtual bool iOrvixNB1Mission_AlarmHighFlag() const = 0;
    virtual bool iOrvixNB1Mission_AlarmLowFlag() const = 0;
    virtual float iOrvixNB1Mission_MinTemp() const = 0;
    virtual float iOrvixNB1Mission_MaxTemp() const = 0;
    virtual std::int32_t iOrvixNB1Mission_MissionSamples() const = 0;
    virtual std::int32_t iOrvixNB1Mission_TotMissionSamples() const = 0;
    virtual std::int32_t iOrvixNB1Mission_MaxSamples() const = 0;
    virtual std::string iOrvixNB1Mission_LastAlarmInfo() const = 0;
    virtual Date iOrvixNB1Mission_MissionStartDate() const = 0;
    virtual Date iOrvixNB1Mission_MissionEndDate() const = 0;
    virtual bool iOrvixNB1Mission_InProgress() const = 0;
    virtual bool iOrvixNB1Mission_RolloverOccurred() const = 0;
    virtual bool iOrvixNB1Mission_AlmostOneAlarm() const = 0;
    virtual RecordSetRef iOrvixNB1Mission_LogEx() const = 0;
    virtual RecordSetRef iOrvixNB1Mission_GraphLogEx() const = 0;
    virtual RecordSetRef iOrvixNB1Mission_AlarmLogEx() const = 0;
    virtual void iOrvixNB1Mission_Start(SharedEntry& Track) = 0;
    virtual void iOrvixNB1Mission_Terminate(SharedEntry& Track) = 0;
    virtual ByteArray iOrvixNB1Mission_GetSuperState() const = 0;
    virtual void iOrvixNB1Mission_SetSuperState(ByteView arState) = 0;
};

}  // namespace orvix
