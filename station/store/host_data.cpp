#include "station/store/host_data.h"

#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "host/error.h"
#include "platform/memory_folder.h"
#include "platform/regular_file.h"
#include "platform/sqlite_database.h"
#include "platform/workgroup_file.h"
#include "station/model/clock.h"
#include "station/store/damaged_file.h"
#include "station/store/device_registry.h"

namespace orvix::station {
namespace {

namespace fs = std::filesystem;
using platform::SqliteConnection;

// What one file is mended of may show what is wrong with another one.
constexpr int kMostRepairs = 3;

constexpr CopiedTable kHostTables[] = {{"devices", "address, model, serial", "rowid"},
                                       {"plant_names", "serial, name", "rowid"},
                                       {"known_devices", "port, address, model, serial, name", "rowid"},
                                       {"device_ids", "id, serial, model, port, address", "rowid"}};

bool HasTable(SqliteConnection& connection, const char* name) {
    platform::SqliteStatement select(connection, "SELECT 1 FROM sqlite_master WHERE name = ?");
    return select.Bind(1, name).Step();
}

/// Returns how many rows could be read.
std::int64_t CopyRows(const std::string& from, const std::string& to) {
    std::int64_t rows = 0;
    try {
        SqliteConnection old(from, SqliteConnection::Access::Damaged);
        SqliteConnection made(to);
        for (const auto& table : kHostTables) {
            if (HasTable(old, table.Name)) rows += CopyTable(old, made, table);
        }
    } catch (const platform::UnusableDatabase&) {
        // Nothing more can be read.
    }
    return rows;
}

/// Returns what was done.
std::string ReplaceDatabase(const std::string& folder) {
    const auto file = folder + kDatabaseFile;
    platform::RequireRegularFile(file, R_OK);
    const auto made = folder + "new-database/";
    fs::remove_all(made);
    platform::PrepareHostDatabase(made);
    { const DeviceRegistry withItsTable(made); }
    const auto rows = CopyRows(file, made + kDatabaseFile);
    const auto aside = AsideName(file, UnixMilliseconds());
    PutInPlace(file, made + kDatabaseFile, aside);
    fs::remove_all(made);
    return "it is kept as " + aside + ", and a new one goes on " +
           (rows == 0 ? "without the devices and names that it knew" : "with all that could be read of it");
}

/// Returns what was done.
std::string ReplaceWorkgroupFile(const std::string& file) {
    const auto aside = AsideName(file, UnixMilliseconds());
    fs::rename(file, aside);
    return "it is kept as " + aside + ", and a new one goes on";
}

/// Whether a folder cannot be made for another reason than the state of its disk.
bool IsMistake(const std::string& folder) {
    std::error_code error;
    fs::create_directories(folder, error);
    constexpr int kOfDisks[] = {ENOSPC, EROFS, EDQUOT, EIO};
    return error && std::find(std::begin(kOfDisks), std::end(kOfDisks), error.value()) == std::end(kOfDisks);
}

std::string Repair(const std::string& folder) {
    const auto workgroup = folder + kWorkgroupFile;
    const bool isAccount = Attempt([&] { platform::ReadWorkgroupFile(workgroup); });
    return isAccount ? ReplaceDatabase(folder) : ReplaceWorkgroupFile(workgroup);
}

}  // namespace

HostData::HostData(const std::string& folder) : m_Folder(folder) {
    try {
        Prepare();
    } catch (const std::exception&) {
        if (IsMistake(folder)) throw;
        m_WhyPassing = CurrentError().Description;
        CopyToMemory(folder);
        Prepare();
    }
}

HostData::~HostData() = default;

void HostData::Prepare() {
    for (int repairs = 0;; ++repairs) {
        try {
            m_Account = platform::PrepareHostDatabase(m_Folder);
            return;
        } catch (const platform::UnusableDatabase& damage) {
            if (repairs == kMostRepairs) throw;
            m_Mended.push_back(damage.Description + "; " + Repair(m_Folder));
        }
    }
}

void HostData::CopyToMemory(const std::string& from) {
    m_Mended.clear();
    m_Memory = std::make_unique<platform::MemoryFolder>();
    m_Folder = m_Memory->Path();
    for (const auto& name : {std::string(kDatabaseFile), std::string(kDatabaseFile) + "-wal"}) {
        std::error_code ignored;
        if (fs::is_regular_file(from + name, ignored)) fs::copy_file(from + name, m_Folder + name, ignored);
    }
}

std::vector<std::string> HostData::Notices() const {
    auto notices = m_Mended;
    if (!m_WhyPassing.empty()) {
        notices.push_back(m_WhyPassing + "; devices and their names are kept in memory until this ends");
    }
    return notices;
}

}  // namespace orvix::station
