#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>

#include "host/error.h"
#include "station/model/device_id.h"
#include "tasks/enumerations.h"

namespace orvix::station {

/// Why there is no value.
struct Failure {
    ErrorNumber Code = 0;
    std::string Text;    ///< one sentence
    std::string Detail;  ///< the whole report
};

/// Nothing, degrees Celsius, the input byte, or a serial number as text.
using ReadingValue = std::variant<std::monostate, double, std::int32_t, std::string>;

/// Why a value that a device has answered may be wrong. The numbers are in the history.
enum class Doubt {
    None = 0,
    OutOfRange = 1,     ///< not what the device can measure
    PowerOnValue = 2,   ///< 85 degrees, which a sensor also has before it has measured
    Jump = 3,           ///< too far from the value before, and not confirmed
    ReplyCode = 4,      ///< the answer's code is not that of most answers
    OuterChecksum = 5,  ///< the answer's outer checksum is wrong, which it was not in most answers
};

/// Why, in a few words; empty for None.
const char* NameOf(Doubt doubt);

/// How much a value is worth now.
enum class Quality {
    Good,
    Doubtful,  ///< the device has answered, but its value may be wrong
    Stale,     ///< the latest good value, older than it should be
    Offline,   ///< there is no value, or the device has stopped answering
};

/// "good", "doubtful", "stale" or "offline".
const char* NameOf(Quality quality);

/// What one variable of one device has answered, and what is known of it since.
struct Reading {
    std::int64_t UnixMilliseconds = 0;
    std::string Port;
    int Address = 0;
    std::int32_t Model = 0;
    std::string Name;
    std::string Identifier{};  ///< what the device is called wherever it is; empty outside a station that runs
    std::string Variable;
    ReadingValue Value;  ///< nothing when the reading failed
    Doubt Why = Doubt::None;
    std::int64_t Seq = 0;  ///< of this run's readings and alarms, counted from 1 when they are taken
    Failure Error;

    orvix::station::Quality Quality = orvix::station::Quality::Offline;
    ReadingValue LastGood;                      ///< nothing while there has been none
    std::int64_t LastGoodUnixMilliseconds = 0;  ///< of LastGood
    /// Age of LastGood, by a clock that nobody sets; nothing while there has been none.
    std::optional<std::chrono::milliseconds> Age{};

    DeviceId Id() const { return IdOf(Port, Address); }
    bool Valid() const { return !std::holds_alternative<std::monostate>(Value); }
    bool IsGood() const { return Valid() && Why == Doubt::None; }
    /// What is shown of the device: a doubtful value as such, else the latest good one.
    const ReadingValue& Shown() const { return Quality == orvix::station::Quality::Doubtful ? Value : LastGood; }
};

/// The variable that a name on the command line or in a reading stands for.
struct VariableName {
    const char* Name;
    ORVIXCNB1_VARS VarID;
};

inline constexpr VariableName kVariableNames[] = {
    {"temperature", ORVIXCNB1_VAR_TEMPERATURE},
    {"inputs", ORVIXCNB1_VAR_INPUTBYTE},
    {"serial", ORVIXCNB1_VAR_SERIAL_NUMBER},
    {"status", ORVIXCNB1_VAR_STATUS},
    {"log", ORVIXCNB1_VAR_TEMP_LOG},
    {"alarm", ORVIXCNB1_VAR_ALMOST_ONE_ALARM},
};

/// Empty for a variable without a name.
std::string NameOf(std::int32_t varID);

/// A serial number as it is when all of it can be printed, else in hexadecimal.
std::string SerialText(const std::string& raw);

}  // namespace orvix::station
