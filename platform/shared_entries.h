#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "host/apartment.h"
#include "host/messaging.h"
#include "platform/process_messaging.h"

namespace orvix::platform {

class SharedEntryState;

/// The shared entries that somebody holds, by name.
class Directory::Entries : public std::enable_shared_from_this<Directory::Entries> {
public:
    /// Raises General when there is none of that name.
    std::shared_ptr<SharedEntryState> Open(const std::string& name);
    /// Raises General when there is one of that name.
    std::shared_ptr<SharedEntryState> Create(const std::string& name);
    /// Forgets the name of an entry that has gone, unless a new one bears it already.
    void Forget(const std::string& name);

private:
    std::mutex m_Mutex;
    std::map<std::string, std::weak_ptr<SharedEntryState>> m_ByName;
};

/// A handle for use in the apartment. `messaging` names the entries that are created without a name.
std::unique_ptr<SharedEntry> CreateProcessEntry(std::shared_ptr<Directory::Entries> entries, Messaging& messaging,
                                                Apartment& apartment);

}  // namespace orvix::platform
