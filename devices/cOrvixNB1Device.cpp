#include "devices/cOrvixNB1Device.h"

#include "host/database.h"
#include "host/iOrvixAdapter.h"
#include "host/property_bag.h"
#include "host/record_set.h"
#include "host/text.h"

namespace orvix {

namespace {

/// Family part of every variable's tag, whatever the model.
constexpr std::int32_t kTagFamily = 104;

/// Monitoring kind of a variable that the device gives up.
constexpr std::int32_t kMonitorRemoved = 2;

/// Records that come into being when something first needs them.
bool IsSuppliedOnDemand(std::int32_t varID) {
    return varID == ORVIXCNB1_VAR_STATUS || varID == ORVIXCNB1_VAR_TEMP_LOG || varID == ORVIXCNB1_VAR_ALMOST_ONE_ALARM;
}

}  // namespace

cOrvixNB1Device::cOrvixNB1Device(const Services& services, const DeviceModelTable& model,
                                 std::unique_ptr<cOrvixNB1Mission> mission)
    : m_Services(services),
      m_Model(model),
      PlexaERR(services),
      m_Tracer(services),
      m_LogPath(services.Stores.Paths().Normalise(services.Stores.Paths().LibraryFolder() + "Log")),
      m_Name(model.DeviceDescription),
      m_Mission(std::move(mission)) {
    m_Mission->SetParentDevice(this);
}

cOrvixNB1Device::~cOrvixNB1Device() {
    ReleaseOwn();
}

void cOrvixNB1Device::ReleaseOwn() {
    if (m_Mission) m_Mission->SetParentDevice(nullptr);
    m_Mission.reset();
    m_VarsEx.Clear();
    m_Adapter = nullptr;
}

void cOrvixNB1Device::Clear() {
    try {
        m_VarsEx.Clear();
        for (const ORVIXCNB1_VARS varID : {ORVIXCNB1_VAR_SERIAL_NUMBER, m_Model.Measurement.VarID}) {
            const VariableRef record = AddRecord(varID);
            record->Value(record->Tag());
        }
    } catch (...) {
        PlexaERR.ReportIn(m_Model.ClearLabel);
    }
}

VariableRef cOrvixNB1Device::AddRecord(std::int32_t varID) {
    VariableRef record = m_VarsEx.Add(NumberText(varID));
    record->VarID(varID);
    record->Description(VariableDescription(varID));
    TagRecord(*record);
    return record;
}

void cOrvixNB1Device::TagRecord(VariableRecord& record) const {
    const std::int32_t portType = m_Adapter ? m_Adapter->PortType() : 0;
    const std::string portAddress = m_Adapter ? m_Adapter->PortAddress() : "";
    record.Tag(VariableTag(portType, portAddress, kTagFamily, m_Address, record.VarID()));
}

void cOrvixNB1Device::TagRecords() {
    for (const auto& entry : m_VarsEx)
        Attempt([&] { TagRecord(*entry.second); });
}

VariableRef cOrvixNB1Device::Record(std::int32_t varID) {
    const std::string key = NumberText(varID);
    if (IsSuppliedOnDemand(varID) && !m_VarsEx.Exists(key)) return AddRecord(varID);
    return m_VarsEx.Item(key);
}

VariableRef cOrvixNB1Device::iOrvixDevice_DefaultVar() {
    return Record(m_Model.Measurement.VarID);
}

std::string cOrvixNB1Device::Label(const char* operation) const {
    return std::string(m_Model.ClassName) + "." + operation;
}

bool cOrvixNB1Device::iOrvixDevice_MonitorVar(std::int32_t VarID, std::int32_t Flag, std::int32_t Interval) {
    try {
        if (Flag != 0) {
            SafeVarMonAdd(VarID, Flag, Interval);
        } else {
            SafeVarMonRemove(VarID);
        }
        NotifyMonitorChanged();
    } catch (...) {
        PlexaERR.ReportIn(Label("iOrvixDevice_MonitorVar(VarID&,flag,Interval)"));
    }
    return true;
}

void cOrvixNB1Device::SafeVarMonAdd(std::int32_t VarID, std::int32_t Flag, std::int32_t Interval) {
    try {
        const std::string key = NumberText(VarID);
        const VariableRef record = m_VarsEx.Item(key);
        record->MonitorFlag(Flag);
        record->MonitorInterval(Interval);
        if (Flag == kMonitorRemoved) m_VarsEx.Remove(key);
    } catch (...) {
        PlexaERR.ReportIn(Label("SafeVarMonAdd(VarID,VarMon,Interval&)"));
    }
}

void cOrvixNB1Device::SafeVarMonRemove(std::int32_t VarID) {
    m_VarsEx.Item(NumberText(VarID))->MonitorFlag(0);
}

ByteArray cOrvixNB1Device::iOrvixDevice_Rec() const {
    PropertyBag bag;
    bag.WriteProperty("Log", MissionLog().Save());
    return bag.Contents();
}

RecordSet& cOrvixNB1Device::MissionLog() const {
    const RecordSetRef log = LiveMission()->LogEx();
    if (!log) throw Error(errors::MissingItem, "The mission holds no temperature log");
    return *log;
}

const Variant& cOrvixNB1Device::SerialNumberValue() const {
    return m_VarsEx.Item(NumberText(ORVIXCNB1_VAR_SERIAL_NUMBER))->Value();
}

/// Empty until the device has told it: the record begins with its own tag for a value.
std::string cOrvixNB1Device::KnownSerialNumber() const {
    std::string text = SerialNumberValue().ToText();
    return IsVariableTag(text) ? "" : text;
}

void cOrvixNB1Device::iOrvixDevice_SerialNumber(std::string rhs) {
    Attempt([&] {
        const VariableRef record = Record(ORVIXCNB1_VAR_SERIAL_NUMBER);
        record->Value(std::move(rhs));
        record->Valid(true);
    });
}

void cOrvixNB1Device::iOrvixDevice_Address(std::string rhs) {
    m_Address = std::move(rhs);
    if (m_DeviceOrigin != kDeviceOriginFile) {
        Clear();
        return;
    }
    // Nothing would ever read the values of a device from a file again.
    TagRecords();
}

void cOrvixNB1Device::iOrvixDevice_Name(std::string rhs) {
    if (m_DeviceOrigin != kDeviceOriginFile) {
        Attempt([&] { PlantDevices().SetName(SerialNumberValue().ToText(), rhs); });
    }
    m_Name = std::move(rhs);
}

void cOrvixNB1Device::iOrvixDevice_ConnectedEx(bool rhs) {
    if (rhs && !m_ConnectedEx) {
        for (const auto& [key, record] : m_VarsEx)
            record->Monitored(true);
        NotifyMonitorChanged();
    }
    m_ConnectedEx = rhs;
}

void cOrvixNB1Device::iOrvixDevice_Monitor(bool rhs) {
    m_Monitor = rhs && m_DeviceOrigin != kDeviceOriginFile;
    for (const auto& [key, record] : m_VarsEx)
        record->Suspended(!rhs);
    NotifyMonitorChanged();
}

void cOrvixNB1Device::iOrvixDevice_LogMode(bool rhs) {
    m_LogMode = rhs;
    m_Tracer.LogMode(rhs);
}

void cOrvixNB1Device::iOrvixDevice_LogPath(std::string rhs) {
    m_LogPath = std::move(rhs);
    m_Tracer.LogPath(m_LogPath);
}

}  // namespace orvix
