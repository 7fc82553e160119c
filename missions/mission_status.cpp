#include "missions/mission_status.h"

#include <bit>
#include <cstddef>

namespace orvix {
namespace {

constexpr std::size_t kTemperatureImageSize = 60;
constexpr std::size_t kDigitalImageSize = 124;

/// A zeroed block that is filled field by field, little-endian.
class Image {
public:
    explicit Image(std::size_t size) : m_Bytes(size) {}

    void Put(std::size_t offset, bool value) { PutBits(offset, 2, value ? 0xFFFF : 0); }
    void Put(std::size_t offset, std::int16_t value) { PutBits(offset, 2, static_cast<std::uint16_t>(value)); }
    void Put(std::size_t offset, std::int32_t value) { PutBits(offset, 4, static_cast<std::uint32_t>(value)); }
    void Put(std::size_t offset, float value) { PutBits(offset, 4, std::bit_cast<std::uint32_t>(value)); }
    void Put(std::size_t offset, double value) { PutBits(offset, 8, std::bit_cast<std::uint64_t>(value)); }

    ByteArray Take() { return std::move(m_Bytes); }

private:
    void PutBits(std::size_t offset, std::size_t width, std::uint64_t bits) {
        for (std::size_t i = 0; i < width; ++i)
            m_Bytes[offset + i] = static_cast<std::uint8_t>(bits >> (8 * i));
    }

    ByteArray m_Bytes;
};

void PutCommon(Image& image, const MissionStatus& status) {
    image.Put(0, status.InProgress);
    image.Put(12, status.StartValue);
    image.Put(20, status.MissionSamples);
    image.Put(32, status.MaxSamples);
    image.Put(36, status.RolloverOccurred);
    image.Put(38, status.Rate);
    image.Put(40, status.Delay);
    image.Put(44, status.Rollover);
    image.Put(46, status.Synchronize);
}

}  // namespace

ByteArray PackedImage(const MissionStatus& status, const TemperatureStatus& tail) {
    Image image(kTemperatureImageSize);
    PutCommon(image, status);
    image.Put(48, tail.StatusValue);
    image.Put(52, tail.HighAlarm);
    image.Put(56, tail.LowAlarm);
    return image.Take();
}

ByteArray PackedImage(const MissionStatus& status, const DigitalStatus& tail) {
    Image image(kDigitalImageSize);
    PutCommon(image, status);
    image.Put(48, tail.StatusValue);
    for (std::size_t i = 0; i < tail.Input.size(); ++i)
        image.Put(50 + 2 * i, tail.Input[i]);
    return image.Take();
}

}  // namespace orvix
