#include <bit>
#include <vector>

#include "devices/cOrvixNB1Device.h"
#include "host/property_bag.h"
#include "host/text.h"

namespace orvix {

/// A super-state that has been read whole, before any of it is taken over.
struct cOrvixNB1Device::State {
    std::string Address;
    std::int32_t DeviceOrigin = kDeviceOriginLive;
    std::string Name;
    std::string PwdR;
    std::string PwdRW;
    bool Connected = false;
    bool Monitor = false;
    VariableCollection Vars;
};

namespace {

std::string VarEntry(std::int32_t number) {
    return "Var" + NumberText(number);
}

/// Each record stands under its own VarID.
VariableCollection ReadRecords(const PropertyBag& bag) {
    VariableCollection records;
    const std::int32_t count = bag.ReadProperty("VarsCount").ToLong();
    for (std::int32_t number = 1; number <= count; ++number) {
        auto record = std::make_shared<VariableRecord>();
        record->SetSuperState(bag.ReadProperty(VarEntry(number)).ToBytes());
        const std::int32_t varID = record->VarID();
        if (varID <= ORVIXCNB1_VAR_NONE || varID > ORVIXCNB1_VAR_INPUTBYTE) {
            throw Error(errors::InvalidContents, VarEntry(number) + " is of no variable: " + NumberText(varID));
        }
        records.Add(NumberText(varID), record);
    }
    return records;
}

std::vector<float> SamplesFromBytes(const ByteArray& bytes) {
    constexpr std::size_t width = sizeof(float);
    if (bytes.size() % width != 0) {
        throw Error(errors::InvalidContents, "The temperature log has " + std::to_string(bytes.size()) +
                                                 " bytes, which is no whole number of samples");
    }
    std::vector<float> samples(bytes.size() / width);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        std::uint32_t bits = 0;
        for (std::size_t byte = width; byte-- > 0;)
            bits = bits << 8 | bytes[i * width + byte];
        samples[i] = std::bit_cast<float>(bits);
    }
    return samples;
}

}  // namespace

ByteArray cOrvixNB1Device::iOrvixDevice_GetSuperState() {
    PropertyBag bag;
    bag.WriteProperty("SerialNumber", SerialNumberValue());
    bag.WriteProperty("Address", m_Address);
    bag.WriteProperty("DeviceModel", m_Model.DeviceModel);
    bag.WriteProperty("State", SaveFields());
    bag.WriteProperty("VarsCount", static_cast<std::int32_t>(m_VarsEx.Count()));
    std::int32_t number = 0;
    for (const auto& [key, record] : m_VarsEx)
        bag.WriteProperty(VarEntry(++number), record->GetSuperState());
    return bag.SealedContents();
}

ByteArray cOrvixNB1Device::SaveFields() const {
    PropertyBag bag;
    bag.WriteProperty("SerialNumber", SerialNumberValue());
    bag.WriteProperty("Address", m_Address);
    bag.WriteProperty("DeviceModel", m_Model.DeviceModel);
    bag.WriteProperty("DeviceOrigin", m_DeviceOrigin);
    bag.WriteProperty("Name", m_Name);
    bag.WriteProperty("PwdR", m_PwdR);
    bag.WriteProperty("PwdRW", m_PwdRW);
    bag.WriteProperty("Connected", m_ConnectedEx);
    bag.WriteProperty("Monitor", m_Monitor);
    return bag.Contents();
}

cOrvixNB1Device::State cOrvixNB1Device::ReadState(ByteView bytes) const {
    const PropertyBag bag(ByteArray(bytes.begin(), bytes.end()));
    const PropertyBag fields(bag.ReadProperty("State").ToBytes());
    const Variant serialNumber = fields.ReadProperty("SerialNumber");

    State state;
    state.Address = fields.ReadProperty("Address").ToText();
    const std::int32_t model = fields.ReadProperty("DeviceModel").ToLong();
    if (model != m_Model.DeviceModel) {
        throw Error(errors::InvalidContents, "The state is that of a device of model " + NumberText(model) + ", not " +
                                                 NumberText(m_Model.DeviceModel));
    }
    state.DeviceOrigin = fields.ReadProperty("DeviceOrigin").ToLong();
    state.Name = fields.ReadProperty("Name").ToText();
    state.PwdR = fields.ReadProperty("PwdR").ToText();
    state.PwdRW = fields.ReadProperty("PwdRW").ToText();
    state.Connected = fields.ReadProperty("Connected").ToBoolean();
    state.Monitor = fields.ReadProperty("Monitor").ToBoolean();
    state.Vars = ReadRecords(bag);
    state.Vars.Item(NumberText(ORVIXCNB1_VAR_SERIAL_NUMBER))->Value(serialNumber);
    return state;
}

void cOrvixNB1Device::iOrvixDevice_SetSuperState(ByteView arState) {
    TakeOver(ReadState(arState));
    RestoreMission(true);
}

void cOrvixNB1Device::Restore(ByteView arState, const std::string& address, const std::string& name) {
    State state = ReadState(arState);
    state.DeviceOrigin = kDeviceOriginFile;
    state.Address = address;
    state.Name = name;
    TakeOver(std::move(state));
    TagRecords();
    RestoreMission(false);
}

void cOrvixNB1Device::TakeOver(State state) {
    m_Address = std::move(state.Address);
    m_DeviceOrigin = state.DeviceOrigin;
    m_Name = std::move(state.Name);
    m_PwdR = std::move(state.PwdR);
    m_PwdRW = std::move(state.PwdRW);
    m_ConnectedEx = state.Connected;
    m_Monitor = state.Monitor && state.DeviceOrigin != kDeviceOriginFile;
    m_VarsEx = state.Vars;
}

void cOrvixNB1Device::RestoreMission(bool notify) {
    if (const Variant* status = RestoredValue(ORVIXCNB1_VAR_STATUS)) ApplyStatus(status->ToText(), false, notify);
    if (const Variant* log = RestoredValue(ORVIXCNB1_VAR_TEMP_LOG)) {
        LiveMission()->SetTempLog(SamplesFromBytes(log->ToBytes()));
    }
}

/// Null for a record that is not there or has no value.
const Variant* cOrvixNB1Device::RestoredValue(ORVIXCNB1_VARS VarID) const {
    const std::string key = NumberText(VarID);
    if (!m_VarsEx.Exists(key)) return nullptr;
    const Variant& value = m_VarsEx.Item(key)->Value();
    const auto* text = value.As<std::string>();
    return value.IsEmpty() || value.IsNull() || (text && text->empty()) ? nullptr : &value;
}

}  // namespace orvix
