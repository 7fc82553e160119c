#include "station/library/device_export.h"

#include <filesystem>

#include "host/iOrvixDevice.h"
#include "platform/document_file.h"
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

bool SaveDevice(iOrvixDevice& device, const ExportTarget& target) {
    platform::DocumentFile document(target.File);
    const PassingFile saved;
    device.SaveAs(saved.Path.string(), target.Format);
    std::error_code ignored;
    if (!std::filesystem::exists(saved.Path, ignored)) return false;
    document.Write(platform::ReadRegularFile(saved.Path.string(), kLargestExport));
    document.Finish();
    return true;
}

}  // namespace orvix::station
