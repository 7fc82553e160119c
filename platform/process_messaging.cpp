#include "platform/process_messaging.h"

#include "platform/call_tracker.h"
#include "platform/channels.h"
#include "platform/link_timer.h"
#include "platform/random_text.h"
#include "platform/shared_entries.h"

namespace orvix::platform {

namespace {
/// Some 130 bits, so that no two processes draw the same text.
constexpr std::size_t kPrefixLength = 22;
}  // namespace

Directory::Directory() : m_Channels(std::make_shared<Endpoints>()), m_SharedEntries(std::make_shared<Entries>()) {}

ProcessMessaging::ProcessMessaging(Directory& directory, Apartment& apartment)
    : m_Directory(directory), m_Apartment(apartment), m_IdentifierPrefix(RandomText(kPrefixLength)) {}

std::unique_ptr<Channel> ProcessMessaging::CreateChannel() {
    return CreateProcessChannel(m_Directory.Channels(), m_Apartment);
}

std::unique_ptr<SharedEntry> ProcessMessaging::CreateSharedEntry() {
    return CreateProcessEntry(m_Directory.SharedEntries(), *this, m_Apartment);
}

std::unique_ptr<CallTracker> ProcessMessaging::CreateCallTracker() {
    return std::make_unique<ProcessCallTracker>(m_Directory.Channels(), *this);
}

std::unique_ptr<LinkTimer> ProcessMessaging::CreateLinkTimer() {
    return std::make_unique<ApartmentLinkTimer>(m_Apartment);
}

std::string ProcessMessaging::NewIdentifier() {
    return m_IdentifierPrefix + std::to_string(++m_Identifiers);
}

}  // namespace orvix::platform
