#include "station/library/device_export.h"

#include <filesystem>

#include "host/iOrvixDevice.h"
#include "platform/random_text.h"
#include "platform/regular_file.h"

namespace orvix::station {
namespace {

// Far above a device with a full log.
constexpr std::size_t kLargestExport = std::size_t{256} * 1024 * 1024;

/// A name for a file that is gone with the object.
class PassingFile {
public:
    PassingFile() = default;
    PassingFile(const PassingFile&) = delete;
    PassingFile& operator=(const PassingFile&) = delete;
    ~PassingFile() {
        std::error_code ignored;
        std::filesystem::remove(Path, ignored);
    }

    const std::filesystem::path Path = std::filesystem::temp_directory_path() / (".nimbo1-" + platform::RandomText(16));
};

}  // namespace

std::optional<ByteArray> FileOf(iOrvixDevice& device, std::int32_t format) {
    const PassingFile saved;
    device.SaveAs(saved.Path.string(), format);
    std::error_code ignored;
    if (!std::filesystem::exists(saved.Path, ignored)) return std::nullopt;
    return platform::ReadRegularFile(saved.Path.string(), kLargestExport);
}

}  // namespace orvix::station
