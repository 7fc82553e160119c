#include "station/source/scan.h"

#include <utility>

#include "devices/protocol/device_models.h"

namespace orvix::station {
namespace {

// The first step asks for the serial number, each further one for what a model measures.
constexpr std::size_t kSteps = 1 + kDeviceModels.size();

const DeviceModelTable& ModelOfStep(std::size_t step) {
    return *kDeviceModels.at(step - 1);
}

constexpr int kAttempts = 3;

// If two answers differ, one of them may be late; the third tells which.
constexpr int kMostAnswers = 3;

// One unreadable answer may be a disturbance of the line; an address with more is one where a device is.
constexpr int kSignsOfADevice = 2;

bool IsUnanswered(Outcome outcome) {
    return outcome == Outcome::Silent || outcome == Outcome::Late;
}

}  // namespace

Scan::Scan(ScanRange range) : m_Range(range) {
    Enter(m_Range.From);
}

std::optional<ScanRequest> Scan::Next() const {
    if (m_Device.Address == 0) return std::nullopt;
    return ScanRequest{m_Device.Address,
                       m_Step == 0 ? ORVIXCNB1_VAR_SERIAL_NUMBER : ModelOfStep(m_Step).Measurement.VarID};
}

std::vector<FoundDevice> Scan::TakeFound() {
    return std::exchange(m_Found, {});
}

void Scan::Take(const Exchange& exchange, const ReadingValue& value) {
    TakeExtras(exchange.Extras);
    if (m_Before) Report(*std::exchange(m_Before, std::nullopt));
    const bool isValue = !std::holds_alternative<std::monostate>(value);
    // The answer of a device that answers late may be to another question.
    const bool isToAnother = m_Device.AnswersLate && exchange.ReplyCode != exchange.Asked;
    const bool isAnswer = exchange.Outcome == Outcome::Good && isValue && !isToAnother;
    const bool isForeign = exchange.Outcome == Outcome::Foreign || (exchange.Outcome == Outcome::Good && isToAnother);
    const bool isPlain =
        isAnswer || isForeign || IsUnanswered(exchange.Outcome) || exchange.Outcome == Outcome::Refused;
    if (!isPlain) ++m_Unreadable;
    if (m_Unreadable > 0 || (isAnswer && exchange.BytesAfter > 0)) m_Device.Suspect = true;

    const bool isClean = isPlain && !isForeign && exchange.BytesAfter == 0;
    const bool isExpected = m_Step > 0 || m_Device.Suspect || m_Device.AnswersLate;
    const bool again = !isClean || (IsUnanswered(exchange.Outcome) && isExpected);
    if (again && ++m_Attempt < kAttempts) return;
    const bool isConfirmed = isAnswer && IsConfirmed(exchange);
    if (isAnswer && !isConfirmed && m_Answers < kMostAnswers) return;
    m_Attempt = 0;
    m_Answers = 0;
    Identify(exchange, isConfirmed ? value : ReadingValue());
}

/// Every model answers with a serial number, so it tells none, and nothing of the address was asked before it.
bool Scan::IsConfirmed(const Exchange& answer) {
    const bool isAlike = m_Answers++ > 0 && answer.ReplyCode == m_Code;
    m_Alike = isAlike ? m_Alike + 1 : 1;
    m_Code = answer.ReplyCode;
    return m_Step == 0 || m_Alike > 1;
}

/// What two devices on one address, or noise, have said once is not to be relied on.
void Scan::Report(FoundDevice device) {
    if (device.Suspect && m_Asked.insert(device.Address).second) {
        m_Suspects.push_back(device.Address);
    } else {
        m_Found.push_back(std::move(device));
    }
}

/// What has come on top of answers is evidence against the device that it comes from.
void Scan::TakeExtras(const std::vector<Surplus>& extras) {
    for (const auto& extra : extras) {
        auto* device = DeviceAt(extra.Address);
        if (extra.What == Surplus::Kind::Late) {
            if (device != nullptr) device->AnswersLate = true;
            if (device == nullptr && m_Told.insert(extra.Address).second) m_Late.push_back(extra.Address);
        } else if (device != nullptr) {
            device->Suspect = true;
            if (extra.What != Surplus::Kind::Doubled && device == &m_Device) ++m_Unreadable;
        }
    }
}

FoundDevice* Scan::DeviceAt(int address) {
    if (address == m_Device.Address) return &m_Device;
    return m_Before && address == m_Before->Address ? &*m_Before : nullptr;
}

void Scan::Identify(const Exchange& exchange, const ReadingValue& value) {
    const bool isAnswer = !std::holds_alternative<std::monostate>(value);
    if (m_Step == 0) {
        const bool isThere =
            m_Unreadable >= kSignsOfADevice || m_Device.AnswersLate || m_Asked.contains(m_Device.Address);
        if (exchange.Outcome == Outcome::Foreign || (IsUnanswered(exchange.Outcome) && !isThere)) return Leave(isThere);
        if (isAnswer) m_Device.SerialNumber = std::get<std::string>(value);
    } else if (isAnswer) {
        const auto& model = ModelOfStep(m_Step);
        m_Device.Model = model.DeviceModel;
        m_Device.Variable = NameOf(model.Measurement.VarID);
        m_Device.Value = value;
        return Leave(true);
    }
    if (++m_Step == kSteps) Leave(true);
}

void Scan::Leave(bool found) {
    const int address = m_Device.Address;
    const bool isSweep = m_Done < Total();
    if (isSweep) ++m_Done;
    if (found) m_Told.insert(address);
    if (found) m_Before = std::move(m_Device);
    if (m_Done < Total()) return Enter(address + 1);
    if (EnterAgain()) return;
    // Nothing comes behind it any more.
    if (m_Before) Report(*std::exchange(m_Before, std::nullopt));
    if (!EnterAgain()) Enter(0);
}

bool Scan::EnterAgain() {
    auto& next = m_Late.empty() ? m_Suspects : m_Late;
    if (next.empty()) return false;
    Enter(next.front());
    next.pop_front();
    m_Device.AnswersLate = &next == &m_Late;
    m_Device.Suspect = &next == &m_Suspects;
    return true;
}

void Scan::Enter(int address) {
    m_Device = {};
    m_Device.Address = address;
    m_Step = 0;
    m_Unreadable = 0;
}

}  // namespace orvix::station
