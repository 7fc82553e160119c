#pragma once

#include <cstdint>

namespace orvix {

/// What a task does.
enum ORVIXCNB1_TASK_ACTION : std::int32_t {
    ORVIXCNB1_TA_NONE = 0,
    ORVIXCNB1_TA_GET_VAR = 1,
    ORVIXCNB1_TA_SET_VAR = 2,
    ORVIXCNB1_TA_GET_DEVICELIST = 3,
    ORVIXCNB1_TA_START_MISSION = 4,
    ORVIXCNB1_TA_STOP_MISSION = 5,
};

/// The variables of a device.
enum ORVIXCNB1_VARS : std::int32_t {
    ORVIXCNB1_VAR_NONE = 0,
    ORVIXCNB1_VAR_SERIAL_NUMBER = 1,
    ORVIXCNB1_VAR_TEMPERATURE = 2,
    ORVIXCNB1_VAR_STATUS = 3,
    ORVIXCNB1_VAR_TEMP_LOG = 4,
    ORVIXCNB1_VAR_ALMOST_ONE_ALARM = 5,
    ORVIXCNB1_VAR_INPUTBYTE = 6,
};

}  // namespace orvix
