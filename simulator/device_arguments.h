#pragma once

#include <chrono>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

namespace orvix::simulator {

/// A command-line argument that cannot be read; its text says what is wrong and with which argument.
class ArgumentError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A time span as ParseTimeSpan of the station reads it; at least 1 ms, at most 24 days. Raises ArgumentError.
std::chrono::milliseconds ParseDuration(std::string_view text);

/// Decimal number with optional sign and decimals. Raises ArgumentError naming `what`.
double ParseReal(std::string_view text, std::string_view what);

/// "sensor", "106", "digital" or "104". Raises ArgumentError.
std::int32_t ParseModel(std::string_view text);

/// "sensor" or "digital"; "unknown" for any other number.
const char* ModelName(std::int32_t deviceModel);

/// Where a device stands on the bus and what it is: the start of every --device argument.
struct DeviceArgument {
    int Address = 0;         ///< 1 to 255
    std::int32_t Model = 0;  ///< 106 or 104
    std::string Rest;        ///< what follows the model, with the character that ends it; may be empty
};

/// "A:M" and what follows at the first of the characters in `ends`; M is sensor, digital, 106 or 104.
/// Raises ArgumentError.
DeviceArgument ParseDeviceArgument(const std::string& text, std::string_view ends);

}  // namespace orvix::simulator
