#include "station/library/device_export.h"

#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "host/error.h"
#include "host/iOrvixDevice.h"
#include "platform/atomic_file.h"
#include "platform/random_text.h"

namespace orvix::station {
namespace {

/// A name beside the target, without a file in the end unless it has been moved away.
class FileBeside {
public:
    explicit FileBeside(const std::filesystem::path& target)
        : m_Path(target.parent_path() / std::string(".").append(platform::RandomText(16)).append(".tmp")) {}
    FileBeside(const FileBeside&) = delete;
    FileBeside& operator=(const FileBeside&) = delete;
    ~FileBeside() {
        std::error_code ignored;
        std::filesystem::remove(m_Path, ignored);
    }

    const std::filesystem::path& Path() const { return m_Path; }

private:
    std::filesystem::path m_Path;
};

/// Where a link leads to: the link stays.
std::filesystem::path FileBehind(const std::string& file) {
    std::error_code error;
    auto target = std::filesystem::weakly_canonical(file, error);
    int reason = error.value();
    if (reason == 0 && ::access(target.parent_path().c_str(), W_OK | X_OK) != 0) reason = errno;
    if (reason != 0) throw SystemError("file " + file + " cannot be written", reason);
    if (std::filesystem::exists(target, error) && !std::filesystem::is_regular_file(target, error)) {
        throw Error(errors::General, file + " is not a regular file");
    }
    return target;
}

}  // namespace

bool SaveDevice(iOrvixDevice& device, const ExportTarget& target) {
    const auto path = FileBehind(target.File);
    const FileBeside saved(path);
    device.SaveAs(saved.Path().string(), target.Format);
    std::error_code ignored;
    if (!std::filesystem::exists(saved.Path(), ignored)) return false;
    platform::ReplaceFile(saved.Path().string(), path.string());
    return true;
}

}  // namespace orvix::station
