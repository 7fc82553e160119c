#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace orvix {

// Device models.
inline constexpr std::int32_t kTemperatureSensorModel = 106;
inline constexpr std::int32_t kDigitalModuleModel = 104;

// Models that the collection of devices does not mount; their meaning in this library is all that is said here.
inline constexpr std::int32_t kNetMasterModel = 9;       ///< its presence shows that the net is alive
inline constexpr std::int32_t kMissionLoggerModel = 21;  ///< has status, temperature log and missions
inline constexpr std::int32_t kStatusOnlyModel = 41;     ///< has a status
inline constexpr std::int32_t kPermanentModel = 199;     ///< stays connected when a device list leaves it out

/// In front of an address in the key of a device.
inline constexpr char kDeviceKeyPrefix[] = "K";
/// Between the address of a live device and the mark of its copy restored from a file.
inline constexpr char kFileAddressSeparator[] = "-";

/// Text for a value of ORVIXCNB1_TASK_ACTION; "Unknown" for any other.
std::string ActionDescription(std::int32_t action);

/// Text for a value of ORVIXCNB1_VARS; "Unknown" for any other.
std::string VariableDescription(std::int32_t varID);

/// Model that the last two characters of an address, read as a number, stand for; 0 when they stand for none.
std::int32_t ModelFromAddress(std::string_view address);

/// Address of a device restored from a file. It differs from that of the live device: "12" gives "12-2", and so does
/// "12-2".
std::string FileDeviceAddress(std::string_view address);

/// Key of a device in a collection: "12" gives "K12".
std::string DeviceKey(std::string_view address);

/// XOR of all bytes of a text; 0 for an empty one.
std::uint8_t XorOf(std::string_view bytes);

/// XorOf as a text of one byte.
std::string XorChecksum(std::string_view bytes);

/// Decodes the first four bytes of a payload as a real number:
///
///   byte 1  exponent, bias 127
///   byte 2  bit 7: sign, 1 is negative; bits 6 to 0: fraction bits 22 to 16
///   byte 3  fraction bits 15 to 8
///   byte 4  fraction bits 7 to 0
///
/// The value is sign * (1 + fraction / 2^23) * 2^(exponent - 127); four zero bytes are 2^-127. Raises TypeMismatch for
/// fewer than four bytes and for the exponent byte 255, which no device sends with a number.
double BytesToReal(std::string_view bytes);

/// The input byte that a payload is. Raises TypeMismatch unless it is one byte.
std::uint8_t InputByte(std::string_view payload);

/// Encodes a number into the four bytes that BytesToReal decodes, exactly from 2^-126 up; below, bits beyond the
/// fraction do not exist, and what is smaller than 2^-127 gives four zero bytes. Raises Overflow for infinities and for
/// what is no number.
std::string RealToBytes(float value);

}  // namespace orvix
