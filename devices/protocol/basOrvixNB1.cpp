#include "devices/protocol/basOrvixNB1.h"

#include <bit>
#include <cmath>
#include <cstring>

#include "host/error.h"
#include "host/text.h"

namespace orvix {

namespace {

struct Description {
    std::int32_t Value;
    const char* Text;
};

constexpr Description kActions[] = {
    {1, "Reading"},
    {2, "Writing"},
    {3, "Discovering net devices"},
};

constexpr Description kVariables[] = {
    {1, "Serial number"},    {2, "Temp"},           {3, "Device status"}, {4, "Temp log"},
    {5, "Almost one alarm"}, {6, "Digital inputs"},
};

struct SuffixModel {
    std::int32_t Suffix;
    std::int32_t Model;
};

constexpr SuffixModel kSuffixModels[] = {
    {9, kNetMasterModel},
    {21, kMissionLoggerModel},
    {41, kStatusOnlyModel},
    {99, kPermanentModel},
};

constexpr std::size_t kSuffixLength = 2;
constexpr char kFileDeviceMark[] = "2";

constexpr std::size_t kRealLength = 4;
constexpr int kExponentBias = 127;
constexpr int kFractionBits = 23;
constexpr std::uint32_t kFractionMask = (1U << kFractionBits) - 1;
constexpr std::uint32_t kNoNumberExponent = 255;

template <std::size_t N>
std::string TextOf(const Description (&table)[N], std::int32_t value) {
    for (const Description& row : table) {
        if (row.Value == value) return row.Text;
    }
    return "Unknown";
}

}  // namespace

std::string ActionDescription(std::int32_t action) {
    return TextOf(kActions, action);
}

std::string VariableDescription(std::int32_t varID) {
    return TextOf(kVariables, varID);
}

std::int32_t ModelFromAddress(std::string_view address) {
    if (address.size() > kSuffixLength) address.remove_prefix(address.size() - kSuffixLength);
    const std::int32_t suffix = LeadingNumber(address);
    for (const SuffixModel& row : kSuffixModels) {
        if (row.Suffix == suffix) return row.Model;
    }
    return 0;
}

std::string FileDeviceAddress(std::string_view address) {
    const std::string mark = std::string(kFileAddressSeparator) + kFileDeviceMark;
    return std::string(address) + (address.ends_with(mark) ? "" : mark);
}

std::string DeviceKey(std::string_view address) {
    return std::string(kDeviceKeyPrefix).append(address);
}

std::uint8_t XorOf(std::string_view bytes) {
    std::uint64_t lanes = 0;
    const char* at = bytes.data();
    std::size_t left = bytes.size();
    for (; left >= sizeof(lanes); left -= sizeof(lanes), at += sizeof(lanes)) {
        std::uint64_t word = 0;
        std::memcpy(&word, at, sizeof(word));
        lanes ^= word;
    }
    lanes ^= lanes >> 32;
    lanes ^= lanes >> 16;
    lanes ^= lanes >> 8;
    auto result = static_cast<std::uint8_t>(lanes);
    for (; left > 0; --left, ++at)
        result = static_cast<std::uint8_t>(result ^ static_cast<std::uint8_t>(*at));
    return result;
}

std::string XorChecksum(std::string_view bytes) {
    return {static_cast<char>(XorOf(bytes))};
}

double BytesToReal(std::string_view bytes) {
    if (bytes.size() < kRealLength) {
        throw Error(errors::TypeMismatch,
                    "real number: " + std::to_string(bytes.size()) + " of " + std::to_string(kRealLength) + " bytes");
    }
    const auto byte = [&](std::size_t i) { return std::uint32_t{static_cast<std::uint8_t>(bytes[i])}; };
    if (byte(0) == kNoNumberExponent) throw Error(errors::TypeMismatch, "real number: exponent byte 255 is no number");
    const std::uint32_t fraction = (byte(1) << 16 | byte(2) << 8 | byte(3)) & kFractionMask;
    const double mantissa =
        std::ldexp(1.0 + std::ldexp(fraction, -kFractionBits), static_cast<int>(byte(0)) - kExponentBias);
    return (byte(1) & 0x80U) != 0 ? -mantissa : mantissa;
}

std::uint8_t InputByte(std::string_view payload) {
    if (payload.size() != 1) throw Error(errors::TypeMismatch, "inputs are one byte");
    return static_cast<std::uint8_t>(payload[0]);
}

std::string RealToBytes(float value) {
    // A single is the same three fields: sign, exponent with bias 127, fraction.
    const auto bits = std::bit_cast<std::uint32_t>(value);
    const std::uint32_t exponent = bits >> kFractionBits & 0xFFU;
    if (exponent == kNoNumberExponent)
        throw Error(errors::Overflow, "real number: " + NumberText(value) + " has no encoding");
    std::uint32_t sign = bits >> 31;
    std::uint32_t fraction = bits & kFractionMask;
    if (exponent == 0) {
        // A denormal is fraction * 2^-149, without the leading 1 of the encoding: from 2^-127 up its top bit becomes
        // it.
        const bool tooSmall = fraction <= kFractionMask >> 1;
        fraction = tooSmall ? 0 : fraction << 1 & kFractionMask;
        if (tooSmall) sign = 0;
    }
    return {static_cast<char>(exponent), static_cast<char>(sign << 7 | fraction >> 16),
            static_cast<char>(fraction >> 8 & 0xFFU), static_cast<char>(fraction & 0xFFU)};
}

}  // namespace orvix
