#include "station/library/port_numbers.h"

#include <filesystem>
#include <limits>

#include "host/error.h"
#include "host/text.h"
#include "platform/file_descriptor.h"
#include "platform/file_stores.h"

namespace orvix::station {
namespace {

constexpr char kSettings[] = "nimbo1";
constexpr char kPortSection[] = "Ports";
constexpr char kPortCount[] = "Count";

std::int32_t NumberIn(Settings& settings, const std::string& key) {
    return LeadingNumber(settings.GetSetting(kSettings, kPortSection, key, "0"));
}

std::int16_t Checked(std::int64_t number, const std::string& port) {
    if (number >= 1 && number <= std::numeric_limits<std::int16_t>::max()) return static_cast<std::int16_t>(number);
    throw Error(errors::General, "the settings give port " + port + " the number " + std::to_string(number));
}

void Keep(Settings& settings, const StationFolders& folders, const std::string& port) {
    platform::CreateFolders(folders.Configuration);
    // The folder above, since each save of a setting locks the folder itself.
    const auto lock = platform::LockFolder(folders.Configuration + "..");
    if (NumberIn(settings, port) > 0) return;
    const auto number = Checked(NumberIn(settings, kPortCount) + std::int64_t{1}, port);
    settings.SaveSetting(kSettings, kPortSection, kPortCount, std::to_string(number));
    settings.SaveSetting(kSettings, kPortSection, port, std::to_string(number));
}

}  // namespace

std::int16_t PortNumbers::Of(const std::string& port) {
    if (const auto passing = m_Passing.find(port); passing != m_Passing.end()) return passing->second;
    platform::FileStores stores(m_Folders.Configuration, m_Folders.Library);
    auto& settings = stores.Settings();
    std::error_code ignored;
    if (std::filesystem::exists(port, ignored)) Attempt([&] { Keep(settings, m_Folders, port); });
    std::int32_t kept = 0;
    std::int32_t count = 0;
    Attempt([&] {
        kept = NumberIn(settings, port);
        count = NumberIn(settings, kPortCount);
    });
    if (kept > 0) return Checked(kept, port);
    const auto number = Checked(count + std::int64_t{1} + static_cast<std::int64_t>(m_Passing.size()), port);
    return m_Passing[port] = number;
}

}  // namespace orvix::station
