#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

#include "devices/protocol/basOrvixNB1.h"
#include "host/text.h"
#include "tasks/enumerations.h"

namespace orvix {

/// Command code that reads a variable, most significant byte first. A variable that is accepted without a code is
/// answered without one.
struct DeviceCommand {
    ORVIXCNB1_VARS VarID;
    std::string_view Code;
};

inline constexpr std::string_view kSerialNumberCode("\x00\x07", 2);

/// What every model can be asked for besides its measurement.
inline constexpr std::array<DeviceCommand, 3> kCommonCommands{{
    {ORVIXCNB1_VAR_SERIAL_NUMBER, kSerialNumberCode},
    {ORVIXCNB1_VAR_STATUS, {}},
    {ORVIXCNB1_VAR_TEMP_LOG, {}},
}};

/// Degrees Celsius, or the input byte.
using MeasuredValue = std::variant<double, std::int32_t>;

/// What differs between the device models.
struct DeviceModelTable {
    std::int32_t DeviceModel;
    const char* Name;  ///< what people call it
    const char* DeviceDescription;
    const char* ClassName;   ///< of the library; first part of error labels
    const char* ClearLabel;  ///< error label of rebuilding the records
    DeviceCommand Measurement;
    std::size_t PayloadLength;  ///< of the measurement's answer
    /// The measured value in such a payload. Raises TypeMismatch for a payload that is none.
    MeasuredValue (*Decode)(std::string_view payload);
    /// The payload that means such a value. Raises Overflow for what cannot be measured.
    std::string (*Encode)(double value);
    bool ReadingSetsMonitorFlag;  ///< after a reading the mission decides whether polling goes on
    bool HasSerialNumber;         ///< the driver lets it be asked for one
};

inline constexpr DeviceModelTable kTemperatureSensor{
    .DeviceModel = kTemperatureSensorModel,
    .Name = "sensor",
    .DeviceDescription = "Nimbo1 Temperature Sensor",
    .ClassName = "cOrvixNB1TP",
    .ClearLabel = "cOrvixNB1TP.Clear",
    .Measurement = {ORVIXCNB1_VAR_TEMPERATURE, std::string_view("\x0B\x00", 2)},
    .PayloadLength = 4,
    .Decode = [](std::string_view payload) -> MeasuredValue { return BytesToReal(payload); },
    .Encode = [](double value) { return RealToBytes(static_cast<float>(value)); },
    .ReadingSetsMonitorFlag = false,
    .HasSerialNumber = true,
};

/// A temperature that was measured, as it is kept: in single precision, and 0 for the 85 degrees that a sensor reports
/// after power-up, before it has measured anything.
inline float KeptTemperature(double measured) {
    const auto kept = static_cast<float>(measured);
    return NumberText(kept) == "85" ? 0 : kept;
}

inline constexpr DeviceModelTable kDigitalModule{
    .DeviceModel = kDigitalModuleModel,
    .Name = "digital",
    .DeviceDescription = "Nimbo1 Digital Module",
    .ClassName = "cOrvixNB1DM",
    .ClearLabel = "cOrvixNB1Q27.Clear",
    .Measurement = {ORVIXCNB1_VAR_INPUTBYTE, std::string_view("\x05\x00", 2)},
    .PayloadLength = 1,
    .Decode = [](std::string_view payload) -> MeasuredValue { return std::int32_t{InputByte(payload)}; },
    .Encode = [](double value) { return std::string(1, static_cast<char>(static_cast<std::uint8_t>(value))); },
    .ReadingSetsMonitorFlag = true,
    .HasSerialNumber = false,
};

inline constexpr std::array kDeviceModels{&kTemperatureSensor, &kDigitalModule};

/// Null for a model that is not among them.
constexpr const DeviceModelTable* FindDeviceModel(std::int32_t deviceModel) {
    for (const auto* model : kDeviceModels) {
        if (model->DeviceModel == deviceModel) return model;
    }
    return nullptr;
}

/// The same; an unknown one is taken for a temperature sensor.
constexpr const DeviceModelTable& DeviceModelOf(std::int32_t deviceModel) {
    const auto* model = FindDeviceModel(deviceModel);
    return model == nullptr ? kTemperatureSensor : *model;
}

constexpr ORVIXCNB1_VARS MeasuredVariable(std::int32_t deviceModel) {
    return DeviceModelOf(deviceModel).Measurement.VarID;
}

}  // namespace orvix
