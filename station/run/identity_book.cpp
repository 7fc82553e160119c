#include "station/run/identity_book.h"

#include <algorithm>
#include <utility>

namespace orvix::station {
namespace {

char IdentifierCharacter(char c) {
    if (c >= 'A' && c <= 'Z') return static_cast<char>(c - 'A' + 'a');
    const bool isKept = (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_';
    return isKept ? c : '-';
}

std::string AsIdentifier(const std::string& serialNumber) {
    std::string identifier(serialNumber.size(), '-');
    std::transform(serialNumber.begin(), serialNumber.end(), identifier.begin(), IdentifierCharacter);
    return identifier;
}

}  // namespace

DeviceIdentity IdentityBook::Take(DeviceIdentity found) {
    const auto known = m_Identities.find(found.Id());
    if (found.SerialNumber.empty()) {
        if (known == m_Identities.end()) return found;
        found.SerialNumber = known->second.SerialNumber;
        found.Identifier = known->second.Identifier;
        return found;
    }
    if (known != m_Identities.end() && known->second.SerialNumber == found.SerialNumber) {
        found.Identifier = known->second.Identifier;
        return found;
    }
    if (known != m_Identities.end()) {
        found.Remark = "another device answers: serial number " + found.SerialNumber + ", before it was " +
                       known->second.SerialNumber;
    }
    m_Identities.erase(found.Id());
    const DeviceIdentity* owner = nullptr;
    found.Identifier = FreeIdentifier(found, owner);
    if (owner != nullptr) {
        found.Remark = "serial number " + found.SerialNumber + " is also that of " + owner->Port + ", " +
                       std::to_string(owner->Address) + " " + owner->Name + "; this device is called " +
                       found.Identifier;
    }
    m_Identities.emplace(found.Id(), found);
    return found;
}

std::string IdentityBook::IdentifierOf(const DeviceId& place) const {
    const auto at = m_Identities.find(place);
    return at == m_Identities.end() ? std::string() : at->second.Identifier;
}

/// `owner` becomes the device that has the identifier already.
std::string IdentityBook::FreeIdentifier(const DeviceIdentity& found, const DeviceIdentity*& owner) const {
    const auto plain = AsIdentifier(found.SerialNumber);
    auto identifier = plain;
    for (int number = 2;; ++number) {
        const auto has = [&](const auto& entry) { return entry.second.Identifier == identifier; };
        const auto at = std::find_if(m_Identities.begin(), m_Identities.end(), has);
        if (at == m_Identities.end()) return identifier;
        if (owner == nullptr) owner = &at->second;
        identifier = plain + "-" + std::to_string(number);
    }
}

}  // namespace orvix::station
