#include "station/library/bus.h"

#include "devices/protocol/device_models.h"
#include "host/iOrvixTask.h"
#include "host/text.h"
#include "station/library/device_export.h"
#include "station/model/clock.h"
#include "tasks/iOrvixTaskNB1.h"

namespace orvix::station {
namespace {

// How long a task may wait for the link to come up before its own time counts.
constexpr std::chrono::seconds kLinkLimit{5};

// The driver accepts a request for a serial number only as one to a sensor, also for a digital module.
constexpr std::int32_t kAsksSerialNumbers = kTemperatureSensorModel;

}  // namespace

Reading Bus::Read(int address, ORVIXCNB1_VARS variable) {
    const auto device = FindDevice(NumberText(std::int32_t{address}));
    if (!device) return Unread(address, variable);
    m_Adapter->OnLine(true);
    Failure failure;
    const auto model = variable == ORVIXCNB1_VAR_SERIAL_NUMBER ? kAsksSerialNumbers : device->DeviceModel();
    const bool done = ExecuteTask(address, model, variable, failure);
    auto reading = MakeReading(*device, variable);
    if (!done) {
        reading.Value = {};
        reading.Error = failure;
    }
    if (!reading.Valid()) return reading;
    if (variable == MeasuredVariable(reading.Model)) reading.Why = DoubtOf(reading);
    reading.Quality = reading.IsGood() ? Quality::Good : Quality::Doubtful;
    reading.LastGood = reading.Value;
    reading.LastGoodUnixMilliseconds = reading.UnixMilliseconds;
    reading.Age = std::chrono::milliseconds(0);
    return reading;
}

Reading Bus::Read(int address) {
    const auto device = FindDevice(NumberText(std::int32_t{address}));
    return Read(address, device ? MeasuredVariable(device->DeviceModel()) : ORVIXCNB1_VAR_NONE);
}

Reading Bus::Unread(int address, ORVIXCNB1_VARS variable) const {
    Reading reading;
    reading.UnixMilliseconds = UnixMillisecondsOf(m_Host.Apartment().DateNow());
    reading.Port = m_Setup.PortLabel;
    reading.Address = address;
    reading.Variable = NameOf(variable);
    reading.Error = {errors::General, "the device is no longer read", {}};
    return reading;
}

DeviceFile Bus::Export(int address, std::int32_t format) {
    const auto device = FindDevice(NumberText(std::int32_t{address}));
    if (!device) return {.Error = Unread(address, ORVIXCNB1_VAR_NONE).Error};
    const auto& model = DeviceModelOf(device->DeviceModel());
    std::vector<ORVIXCNB1_VARS> variables{model.Measurement.VarID};
    if (model.HasSerialNumber) variables.push_back(ORVIXCNB1_VAR_SERIAL_NUMBER);
    for (const auto variable : variables) {
        auto reading = Read(address, variable);
        if (!reading.Valid()) return {.Error = std::move(reading.Error)};
    }
    SupplyRecord(*device, ORVIXCNB1_VAR_STATUS, device->DefaultVar()->Value().ToText());
    // The bus carries no log: that of a live device is empty.
    SupplyRecord(*device, ORVIXCNB1_VAR_TEMP_LOG, ByteArray{});
    m_LinkTrouble.clear();
    if (auto bytes = FileOf(*device, format)) return {.Bytes = std::move(*bytes)};
    return {.Error = Failure{errors::General, m_LinkTrouble, m_LastTrouble}};
}

/// The device makes the record, with its name and tag, when it is asked for the command that reads it.
void Bus::SupplyRecord(iOrvixDevice& device, ORVIXCNB1_VARS variable, Variant value) const {
    const auto task = m_Library.Create<iOrvixTaskNB1>("cOrvixTaskNB1", m_Host.Get());
    task->GetVar(variable);
    device.TaskCommand(*task);
    const auto record = device.VarsEx().Item(NumberText(std::int32_t{variable}));
    record->Value(std::move(value));
    record->Pending(false);
    record->Valid(true);
}

std::unique_ptr<SharedEntry> Bus::Queue(iOrvixTaskNB1& task, int address, std::int32_t model, ORVIXCNB1_VARS variable,
                                        std::int32_t priority) {
    task.DeviceAddress(NumberText(std::int32_t{address}));
    task.DeviceModel(model);
    task.NetTimeoutInterval(m_Setup.TimeoutFactor);
    task.TimeoutInterval(static_cast<std::int32_t>(m_Setup.LongestExchange().count()));
    task.GetVar(variable);

    auto entry = m_Host.Get().Messaging.CreateSharedEntry();
    entry->Create({});
    entry->Lock();
    entry->Data().ArgumentList.push_back(task.GetSuperState());
    entry->Unlock();
    m_Adapter->NewWork(entry->Name(), priority);
    return entry;
}

std::unique_ptr<SharedEntry> Bus::QueueSerialNumber(int address) {
    const auto task = m_Library.Create<iOrvixTaskNB1>("cOrvixTaskNB1", m_Host.Get());
    return Queue(*task, address, kAsksSerialNumbers, ORVIXCNB1_VAR_SERIAL_NUMBER, kLastInQueue);
}

std::optional<std::string> Bus::SerialNumberOf(int address) const {
    const auto device = FindDevice(NumberText(std::int32_t{address}));
    const auto key = NumberText(std::int32_t{ORVIXCNB1_VAR_SERIAL_NUMBER});
    if (!device || !device->VarsEx().Exists(key) || !device->VarsEx().Item(key)->Valid()) return std::nullopt;
    return device->VarsEx().Item(key)->Value().ToText();
}

bool Bus::ExecuteTask(int address, std::int32_t model, ORVIXCNB1_VARS variable, Failure& failure) {
    m_LinkTrouble.clear();
    const auto task = m_Library.Create<iOrvixTaskNB1>("cOrvixTaskNB1", m_Host.Get());
    // Somebody waits for it.
    const auto entry = Queue(*task, address, model, variable, kFirstInQueue);
    const auto limit = m_Setup.LongestExchange() + kLinkLimit;
    const auto answered = [&] { return entry->WaitForCompletion(0) || !m_LinkTrouble.empty() || m_CloseTimer; };
    m_Host.Apartment().PumpUntil(answered, limit);
    if (!entry->WaitForCompletion(0)) {
        failure = {errors::NotConnected, m_LinkTrouble.empty() ? "the task was not answered" : m_LinkTrouble,
                   m_LastTrouble};
        return false;
    }
    entry->Lock();
    const Error outcome(entry->Data().e, entry->Data().eDescr);
    entry->Unlock();
    if (outcome.Number != errors::None)
        failure = m_TaskFailure.value_or(CauseOf(address, Explain(outcome.Number, outcome.Description)));
    return outcome.Number == errors::None;
}

}  // namespace orvix::station
