#include "station/library/bus.h"

#include "devices/protocol/device_models.h"
#include "host/text.h"
#include "station/library/doubt.h"
#include "station/model/clock.h"
#include "tasks/iOrvixTaskNB1.h"

namespace orvix::station {
namespace {

ReadingValue ValueOf(const VariableRecord& record) {
    const auto text = record.Value().ToText();
    switch (record.VarID()) {
        case ORVIXCNB1_VAR_TEMPERATURE:
            return LeadingReal(text);
        case ORVIXCNB1_VAR_INPUTBYTE:
            return text.size() == 1 ? static_cast<unsigned char>(text[0]) : record.Value().ToLong();
        default:
            return SerialText(text);
    }
}

}  // namespace

void Bus::WatchRecord(const std::shared_ptr<iOrvixDevice>& device, std::int32_t varID) {
    device->VarsEx().Item(NumberText(varID))->OnValid([this, address = device->Address()](VariableRecord&) {
        // A record is written more than once while an answer is applied: only what stands at the end of the turn
        // counts.
        if (m_Written.empty()) m_Host.Apartment().Post([this] { TellReadings(); });
        m_Written.insert(address);
    });
    device->VarsEx().Item(NumberText(std::int32_t{ORVIXCNB1_VAR_SERIAL_NUMBER}))->OnValid([this](VariableRecord&) {
        m_Host.Apartment().Post([this] { m_Readings.Look(); });
    });
}

std::shared_ptr<iOrvixDevice> Bus::FindDevice(const std::string& address) const {
    auto* devices = m_Adapter ? m_Adapter->Devices() : nullptr;
    return devices != nullptr && devices->Exists(address) ? devices->Item(address) : nullptr;
}

void Bus::TellReadings() {
    for (const auto& address : std::exchange(m_Written, {})) {
        const auto device = FindDevice(address);
        if (!device) continue;
        const auto varID = MeasuredVariable(device->DeviceModel());
        auto reading = MakeReading(*device, varID);
        if (reading.Valid()) {
            m_LastTrouble.clear();
        } else {
            reading.Error = m_TaskFailure.value_or(CauseOf(reading.Address, reading.Error));
        }
        auto& record = *device->VarsEx().Item(NumberText(varID));
        // The answer of some models clears the flag, so it is always set.
        record.MonitorFlag(kPolled);
        if (reading.Valid()) reading.Why = DoubtOf(reading);
        if (m_Setup.PlainPolling) {
            m_Listener.OnReading(reading);
        } else {
            PlanPoll(reading, record);
            TellWhenSure(reading);
        }
    }
}

Doubt Bus::DoubtOf(const Reading& reading) const {
    const bool isKnown = m_Exchange && m_Exchange->Address == reading.Address && m_Exchange->Outcome == Outcome::Good &&
                         m_Exchange->Asked == DeviceModelOf(reading.Model).Measurement.Code;
    return station::DoubtOf(reading, isKnown ? &*m_Exchange : nullptr, m_Setup.Plausible);
}

void Bus::TellWhenSure(const Reading& reading) {
    const bool isLineIll = m_Exchange && m_Exchange->Address == reading.Address && m_Exchange->FollowsDamage;
    const auto [told, again] = m_Jumps.Take(reading, m_Host.Apartment().Now(), isLineIll);
    for (const auto& sure : told)
        m_Readings.Take(sure);
    if (!again) return;
    const auto task = m_Library.Create<iOrvixTaskNB1>("cOrvixTaskNB1", m_Host.Get());
    m_Again[reading.Address] =
        Queue(*task, reading.Address, reading.Model, MeasuredVariable(reading.Model), kFirstInQueue);
}

SilentDevices::Poll Bus::PollOf(const Reading& reading) const {
    using Poll = SilentDevices::Poll;
    if (reading.Valid()) return Poll::Answered;
    if (!m_Exchange || m_Exchange->Address != reading.Address) return Poll::Unknown;
    switch (m_Exchange->Outcome) {
        case Outcome::Good:
        case Outcome::Refused:
            return Poll::Answered;
        case Outcome::LineLost:
            return Poll::Unknown;
        default:
            return Poll::Unanswered;
    }
}

void Bus::PlanPoll(const Reading& reading, VariableRecord& record) {
    const bool wasPlanned = m_Silent.Any();
    m_Silent.Ended(reading.Address, PollOf(reading), m_Host.Apartment().Now());
    if (m_Silent.IsLeftOut(reading.Address)) record.MonitorFlag(kLeftOut);
    if (m_Silent.Any() && !wasPlanned) m_RoundTimer->Rearm(static_cast<std::int32_t>(m_Setup.Every.count()), true);
}

void Bus::AskSilentDevice() {
    if (!m_Silent.Any()) return m_RoundTimer->Enabled(false);
    const auto address = m_Silent.NextToAsk(m_Host.Apartment().Now());
    if (!address) return;
    const auto device = FindDevice(NumberText(std::int32_t{*address}));
    if (device) device->VarsEx().Item(NumberText(MeasuredVariable(device->DeviceModel())))->MonitorFlag(kPolled);
}

Reading Bus::MakeReading(iOrvixDevice& device, std::int32_t varID) const {
    Reading reading;
    reading.UnixMilliseconds = UnixMillisecondsOf(m_Host.Apartment().DateNow());
    reading.Port = m_Setup.PortLabel;
    reading.Address = LeadingNumber(device.Address());
    reading.Model = device.DeviceModel();
    reading.Name = device.Name();
    reading.Variable = NameOf(varID);
    const auto key = NumberText(varID);
    if (!device.VarsEx().Exists(key) || !device.VarsEx().Item(key)->Valid()) {
        reading.Error = Explain(errors::NotExecuted, "there is no valid value");
        return reading;
    }
    const auto record = device.VarsEx().Item(key);
    if (!Attempt([&] { reading.Value = ValueOf(*record); })) {
        reading.Error = {errors::BadFrame, "the device's answer is not a value of this kind", record->Value().ToText()};
    }
    return reading;
}

}  // namespace orvix::station
