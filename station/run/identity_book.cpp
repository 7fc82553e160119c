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

/// Two serial numbers that give the same are the same.
std::string AsIdentifier(const std::string& serialNumber) {
    std::string identifier(serialNumber.size(), '-');
    std::transform(serialNumber.begin(), serialNumber.end(), identifier.begin(), IdentifierCharacter);
    return identifier;
}

}  // namespace

void IdentityBook::Know(const std::vector<DeviceIdentity>& earlier) {
    for (const auto& device : earlier) {
        m_Devices[device.Identifier] = {device.Model, device.SerialNumber};
        m_Places[device.Id()] = {device.Identifier, false};
    }
}

std::optional<DeviceIdentity> IdentityBook::Expect(const DeviceId& place, std::int32_t model) {
    const auto at = m_Places.find(place);
    if (at == m_Places.end()) return std::nullopt;
    const auto& [identifier, answers] = at->second;
    const auto& device = m_Devices[identifier];
    if (device.Model == model) {
        return DeviceIdentity{.Port = place.Port,
                              .Address = place.Address,
                              .Model = model,
                              .Name = {},
                              .SerialNumber = device.SerialNumber,
                              .Identifier = identifier,
                              .Remark = {},
                              .HasAnswered = answers};
    }
    m_Places.erase(at);
    return std::nullopt;
}

DeviceIdentity IdentityBook::Take(DeviceIdentity found) {
    if (found.Identifier.empty()) found.Identifier = Choose(found);
    auto& device = m_Devices[found.Identifier];
    device.Model = found.Model;
    if (!found.SerialNumber.empty()) device.SerialNumber = found.SerialNumber;
    found.SerialNumber = device.SerialNumber;
    std::erase_if(m_Places, [&](const auto& entry) { return entry.second.Identifier == found.Identifier; });
    m_Places[found.Id()] = {found.Identifier, found.HasAnswered};
    return found;
}

std::string IdentityBook::Choose(DeviceIdentity& found) {
    const auto before = Expect(found.Id(), found.Model);
    if (found.SerialNumber.empty()) return before ? before->Identifier : NewNumber();
    const auto known = before ? before->SerialNumber : std::string();
    if (before && AsIdentifier(known) == AsIdentifier(found.SerialNumber)) return before->Identifier;

    const DeviceId* owner = nullptr;
    auto identifier = Absent(found, owner);
    // One that was known without a serial number stays what it is.
    if (identifier.empty() && before && known.empty()) identifier = before->Identifier;
    if (identifier.empty()) identifier = FreeIdentifier(found.SerialNumber);
    if (owner != nullptr) {
        found.Remark = "serial number " + found.SerialNumber + " is also that of " + owner->Port + ", " +
                       std::to_string(owner->Address) + "; this device is called " + identifier;
    } else if (!known.empty()) {
        found.Remark = "another device answers: serial number " + found.SerialNumber + ", before it was " + known;
    }
    return identifier;
}

std::string IdentityBook::Absent(const DeviceIdentity& found, const DeviceId*& owner) const {
    for (const auto& [identifier, device] : m_Devices) {
        const bool isSame = !device.SerialNumber.empty() && device.Model == found.Model &&
                            AsIdentifier(device.SerialNumber) == AsIdentifier(found.SerialNumber);
        if (!isSame) continue;
        const auto answers = [&id = identifier](const auto& entry) {
            return entry.second.Answers && entry.second.Identifier == id;
        };
        const auto there = std::find_if(m_Places.begin(), m_Places.end(), answers);
        if (there == m_Places.end()) return identifier;
        owner = &there->first;
    }
    return {};
}

std::string IdentityBook::IdentifierOf(const DeviceId& place) const {
    const auto at = m_Places.find(place);
    return at == m_Places.end() ? std::string() : at->second.Identifier;
}

void IdentityBook::MayHaveGone(const DeviceId& place) {
    const auto at = m_Places.find(place);
    if (at != m_Places.end()) at->second.Answers = false;
}

std::string IdentityBook::NewNumber() const {
    std::int64_t highest = 0;
    for (const auto& [identifier, device] : m_Devices) {
        const auto digits = identifier.empty() ? identifier : identifier.substr(1);
        constexpr std::size_t kMostDigits = 9;  // a serial number may look like this
        const bool isNumbered = identifier.starts_with('d') && !digits.empty() && digits.size() <= kMostDigits &&
                                digits.find_first_not_of("0123456789") == std::string::npos;
        if (isNumbered) highest = std::max<std::int64_t>(highest, std::stol(digits));
    }
    return "d" + std::to_string(highest + 1);
}

std::string IdentityBook::FreeIdentifier(const std::string& serialNumber) const {
    const auto plain = AsIdentifier(serialNumber);
    auto identifier = plain;
    for (int number = 2; m_Devices.contains(identifier); ++number)
        identifier = plain + "-" + std::to_string(number);
    return identifier;
}

}  // namespace orvix::station
