#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "devices/protocol/basOrvixNB1.h"
#include "tasks/enumerations.h"

namespace orvix {

inline constexpr std::int32_t kDeviceOriginLive = 1;
inline constexpr std::int32_t kDeviceOriginFile = 2;  ///< restored from a file: no exchange backs it

/// Command code that reads a variable, most significant byte first. A variable that is accepted without a code is
/// answered without one.
struct DeviceCommand {
    ORVIXCNB1_VARS VarID;
    std::string_view Code;
};

/// What every model can be asked for besides its measurement.
inline constexpr std::array<DeviceCommand, 3> kCommonCommands{{
    {ORVIXCNB1_VAR_SERIAL_NUMBER, std::string_view("\x00\x07", 2)},
    {ORVIXCNB1_VAR_STATUS, {}},
    {ORVIXCNB1_VAR_TEMP_LOG, {}},
}};

/// What differs between the device models.
struct DeviceModelTable {
    std::int32_t DeviceModel;
    const char* DeviceDescription;
    const char* ClassName;   ///< first part of error labels
    const char* ClearLabel;  ///< error label of rebuilding the records
    DeviceCommand Measurement;
    bool ReadingSetsMonitorFlag;  ///< after a reading the mission decides whether polling goes on
};

inline constexpr DeviceModelTable kTemperatureSensor{
    .DeviceModel = kTemperatureSensorModel,
    .DeviceDescription = "Nimbo1 Temperature Sensor",
    .ClassName = "cOrvixNB1TP",
    .ClearLabel = "cOrvixNB1TP.Clear",
    .Measurement = {ORVIXCNB1_VAR_TEMPERATURE, std::string_view("\x0B\x00", 2)},
    .ReadingSetsMonitorFlag = false,
};

inline constexpr DeviceModelTable kDigitalModule{
    .DeviceModel = kDigitalModuleModel,
    .DeviceDescription = "Nimbo1 Digital Module",
    .ClassName = "cOrvixNB1DM",
    .ClearLabel = "cOrvixNB1Q27.Clear",
    .Measurement = {ORVIXCNB1_VAR_INPUTBYTE, std::string_view("\x05\x00", 2)},
    .ReadingSetsMonitorFlag = true,
};

}  // namespace orvix
