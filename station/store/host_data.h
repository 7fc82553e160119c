#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/database.h"

namespace orvix::platform {
class MemoryFolder;
}

namespace orvix::station {

/// The host's database, made ready whatever has become of its files: a station is to measure all the same. What cannot
/// be read is set aside and made anew with all that can be read of it. Where nothing can be written, a copy in memory
/// is used until the end.
class HostData {
public:
    /// `folder` ends with "/". Raises Error for one that cannot be there, and when there is no memory for files either.
    explicit HostData(const std::string& folder);
    ~HostData();
    HostData(const HostData&) = delete;
    HostData& operator=(const HostData&) = delete;

    /// Folder of the database; ends with "/".
    const std::string& Folder() const { return m_Folder; }
    const DatabaseAccount& Account() const { return m_Account; }
    /// Why what is written is gone at the end; empty: it is kept.
    const std::string& WhyPassing() const { return m_WhyPassing; }
    /// What people should know of all this, a sentence each.
    std::vector<std::string> Notices() const;

private:
    void CopyToMemory(const std::string& from);
    void Prepare();

    std::string m_Folder;
    DatabaseAccount m_Account;
    std::string m_WhyPassing;
    std::vector<std::string> m_Mended;
    std::unique_ptr<platform::MemoryFolder> m_Memory;
};

}  // namespace orvix::station
