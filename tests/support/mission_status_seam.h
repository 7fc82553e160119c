#pragma once

#include <string>
#include <vector>

#include "missions/cOrvixNB1DMMission.h"
#include "missions/cOrvixNB1TPMission.h"

namespace orvix {

/// Stands in for the device side of a mission, and puts in what no device on this bus reports: a mission status.
class MissionStatusSeam {
public:
    static MissionStatus& Status(cOrvixNB1Mission& mission) { return mission.m_Status; }
    static TemperatureStatus& Temperature(cOrvixNB1TPMission& mission) { return mission.m_TemperatureStatus; }
    static DigitalStatus& Digital(cOrvixNB1DMMission& mission) { return mission.m_DigitalStatus; }

    static void SetParent(cOrvixNB1Mission& mission, iOrvixDevice* device) { mission.SetParentDevice(device); }
    static void SetStatus(cOrvixNB1Mission& mission, const std::string& status) { mission.SetStatus(status); }
    static void SetTempLog(cOrvixNB1Mission& mission, const std::vector<float>& log) { mission.SetTempLog(log); }
    static void CommitName(cOrvixNB1Mission& mission) { mission.CommitName(); }
    static void SetTempLogChanged(cOrvixNB1Mission& mission, bool rhs) { mission.SetTempLogChanged(rhs); }
    static void SetNewAlarm(cOrvixNB1Mission& mission, bool rhs) { mission.SetNewAlarm(rhs); }
    static bool NewAlarm(const cOrvixNB1Mission& mission) { return mission.GetNewAlarm(); }
    /// "status loaded, status changed, log loaded, log changed" as 0 and 1.
    static std::string Flags(const cOrvixNB1Mission& mission) {
        std::string flags;
        for (const bool flag : {mission.GetStatusLoaded(), mission.IsStatusChanged(), mission.GetTempLogLoaded(),
                                mission.IsTempLogChanged()}) {
            flags += flag ? '1' : '0';
        }
        return flags;
    }
};

}  // namespace orvix
