#include "station/source/scan.h"

#include <iterator>
#include <utility>

#include "devices/protocol/basOrvixNB1.h"

namespace orvix::station {
namespace {

struct Step {
    ORVIXCNB1_VARS Variable;
    std::int32_t Model;  ///< of the devices that answer it; 0: all
};

constexpr Step kSteps[] = {
    {ORVIXCNB1_VAR_SERIAL_NUMBER, 0},
    {ORVIXCNB1_VAR_TEMPERATURE, kTemperatureSensorModel},
    {ORVIXCNB1_VAR_INPUTBYTE, kDigitalModuleModel},
};

constexpr int kAttempts = 3;

// One unreadable answer may be a disturbance of the line; an address with more is one where a device is.
constexpr int kSignsOfADevice = 2;

using Kind = ScanOutcome::Kind;

}  // namespace

Scan::Scan(ScanRange range) : m_Range(range) {
    Enter(m_Range.From);
}

std::optional<ScanRequest> Scan::Next() const {
    if (m_Device.Address == 0) return std::nullopt;
    return ScanRequest{m_Device.Address, kSteps[m_Step].Variable};
}

std::vector<FoundDevice> Scan::TakeFound() {
    return std::exchange(m_Found, {});
}

void Scan::Take(const ScanOutcome& outcome) {
    Blame(outcome);
    if (m_Before) m_Found.push_back(*std::exchange(m_Before, std::nullopt));
    const bool isClean = outcome.What != Kind::Garbled && !outcome.MoreBytes;
    const bool isExpected = m_Step > 0 || m_Device.Suspect;
    const bool again = !isClean || (outcome.What == Kind::Silent && isExpected);
    if (again && ++m_Attempt < kAttempts) return;
    m_Attempt = 0;
    Identify(outcome);
}

/// Finds whose the bytes are that are not as they should be.
void Scan::Blame(const ScanOutcome& outcome) {
    const bool isFirst = m_Step == 0 && m_Attempt == 0;
    if (outcome.EarlierBytes && !isFirst) ++m_Unreadable;
    if (outcome.EarlierBytes && isFirst && m_Before) m_Before->Suspect = true;
    if (outcome.What == Kind::Garbled) ++m_Unreadable;
    if (m_Unreadable > 0 || outcome.MoreBytes) m_Device.Suspect = true;
    // What comes first at this address may be the late answer of the one before.
    const bool isLate = isFirst && (outcome.EarlierBytes || outcome.What == Kind::Garbled);
    if (isLate && m_SilentBefore > 0) m_Late.push_back(m_SilentBefore);
}

void Scan::Identify(const ScanOutcome& outcome) {
    const bool isAnswer = outcome.What == Kind::Answered;
    if (m_Step == 0) {
        if (outcome.What == Kind::Silent && m_Unreadable < kSignsOfADevice) return Leave(false);
        if (isAnswer) m_Device.SerialNumber = std::get<std::string>(outcome.Value);
    } else if (isAnswer) {
        m_Device.Model = kSteps[m_Step].Model;
        m_Device.Variable = NameOf(kSteps[m_Step].Variable);
        m_Device.Value = outcome.Value;
        return Leave(true);
    }
    if (++m_Step == std::size(kSteps)) Leave(true);
}

void Scan::Leave(bool found) {
    const int address = m_Device.Address;
    const bool isSweep = m_Done < Total();
    if (isSweep) ++m_Done;
    m_SilentBefore = found || !isSweep ? 0 : address;
    if (found) m_Before = std::move(m_Device);
    if (m_Done < Total()) return Enter(address + 1);
    if (!m_Late.empty()) {
        Enter(m_Late.front());
        m_Late.pop_front();
        // Its answer has been missed once: it is asked as often as one that is known to be there.
        m_Device.Suspect = true;
        return;
    }
    Enter(0);
    if (m_Before) m_Found.push_back(*std::exchange(m_Before, std::nullopt));
}

void Scan::Enter(int address) {
    m_Device = {};
    m_Device.Address = address;
    m_Step = 0;
    m_Unreadable = 0;
}

}  // namespace orvix::station
