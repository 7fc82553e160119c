#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "host/apartment.h"
#include "host/messaging.h"

namespace orvix::platform {

/// What all apartments of a process share: the endpoints by name and the shared entries by name. Safe to use from any
/// thread.
class Directory {
public:
    Directory();

    class Endpoints;
    class Entries;
    std::shared_ptr<Endpoints> Channels() const { return m_Channels; }
    std::shared_ptr<Entries> SharedEntries() const { return m_SharedEntries; }

private:
    std::shared_ptr<Endpoints> m_Channels;
    std::shared_ptr<Entries> m_SharedEntries;
};

/// The messaging of one apartment, for use on its thread.
class ProcessMessaging : public Messaging {
public:
    ProcessMessaging(Directory& directory, Apartment& apartment);

    std::unique_ptr<Channel> CreateChannel() override;
    std::unique_ptr<SharedEntry> CreateSharedEntry() override;
    std::unique_ptr<CallTracker> CreateCallTracker() override;
    std::unique_ptr<LinkTimer> CreateLinkTimer() override;
    /// Letters and digits: a random text that is this object's own, and a number.
    std::string NewIdentifier() override;

private:
    Directory& m_Directory;
    Apartment& m_Apartment;
    std::string m_IdentifierPrefix;
    std::uint64_t m_Identifiers = 0;
};

}  // namespace orvix::platform
