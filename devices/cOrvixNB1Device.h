#pragma once

#include <functional>
#include <memory>
#include <string>

#include "devices/iOrvixNB1Device.h"
#include "devices/protocol/device_models.h"
#include "diagnostics/basEventTracer.h"
#include "diagnostics/basPlexaErr.h"
#include "host/iOrvixDevToAdapt.h"
#include "host/iOrvixDevice.h"
#include "host/object.h"
#include "host/services.h"
#include "missions/cOrvixNB1Mission.h"
#include "tasks/iOrvixTaskNB1.h"

namespace orvix {

class SQLPlantDevices;

/// The behaviour of both devices: variable records, commands, answers, notifications and state. A model adds its table
/// and how it decodes a reading.
///
/// Super-state: a property bag, in its layout with a checksum, with the entries "SerialNumber" (value of record 1),
/// "Address", "DeviceModel", "State" (bytes of a bag with "SerialNumber", "Address", "DeviceModel", "DeviceOrigin",
/// "Name", "PwdR", "PwdRW", "Connected", "Monitor"), "VarsCount", and "Var1", "Var2" ... with the super-states of the
/// records in order.
///
/// Bytes that hold no such state, the state of another model, or a record of no known variable raise an error and leave
/// the device as it was. A status or a log that the mission refuses raises after the rest has been restored.
///
/// The value of record 4, the temperature log, is the samples in recording order, each a little-endian 32-bit float of
/// degrees Celsius.
class cOrvixNB1Device : public Object, public iOrvixDevice, public iOrvixNB1Device {
public:
    ~cOrvixNB1Device() override;

    using iOrvixDevice::GetSuperState;
    using iOrvixDevice::SetSuperState;

    /// Takes a saved state over as an offline device of another address and name, whatever origin it tells; the tags of
    /// its records follow the address. Raises as SetSuperState does. Nobody is told: NotifyRestored does that.
    void Restore(ByteView arState, const std::string& address, const std::string& name);
    /// Raises the notifications that follow from the restored status.
    void NotifyRestored() { NotifyStatusIntake(); }

protected:
    cOrvixNB1Device(const Services& services, const DeviceModelTable& model, std::unique_ptr<cOrvixNB1Mission> mission);

    /// Hands a status text to the mission and raises the notifications that follow from it. Rename also gives the
    /// mission's new name to the plant registry; Notify tells the adapter. Raises what the mission raises for a text
    /// that it cannot read.
    void ApplyStatus(const std::string& Status, bool Rename, bool Notify);

    VariableCollection m_VarsEx;

private:
    /// Decodes the payload of a measurement, stores it as the record's value and applies it as status. Raises for a
    /// payload that cannot be read.
    virtual void StoreReading(VariableRecord& record, const Variant& payload) = 0;

    // Variable records
    void Clear();
    VariableRef AddRecord(std::int32_t varID);
    void TagRecord(VariableRecord& record) const;
    void TagRecords();
    VariableRef Record(std::int32_t varID);
    const Variant& SerialNumberValue() const;
    std::string KnownSerialNumber() const;
    void SafeVarMonAdd(std::int32_t VarID, std::int32_t Flag, std::int32_t Interval);
    void SafeVarMonRemove(std::int32_t VarID);
    std::string Label(const char* operation) const;

    // Commands and answers
    std::string BuildCommand(iOrvixTaskNB1& task);
    ErrorNumber Trapped(iOrvixTask& Task, const char* operation, const std::function<void(iOrvixTaskNB1&)>& step) const;
    void TakePart(iOrvixTaskNB1& task);
    ErrorNumber ResponseInterpreterEx(iOrvixTaskNB1& task);
    void ApplyAnswer(iOrvixTaskNB1& task);
    void ApplyVariable(iOrvixTaskNB1& task);
    void StoreVariable(VariableRecord& record, iOrvixTaskNB1& task);
    void FinishVariable(VariableRecord& record);
    void ApplyMissionChange(iOrvixTaskNB1& task, const char* action);
    void CheckDriverResult(const iOrvixTaskNB1& task);
    std::int32_t MissionInterval();
    std::int32_t MissionMonitorFlag();

    // Notifications
    iOrvixDevToAdapt& ToAdapter() const;
    orvix::SQLPlantDevices& PlantDevices() const;
    std::shared_ptr<cOrvixNB1Mission> LiveMission() const;
    void RequestVarToAdapter(ORVIXCNB1_VARS VarID);
    void NotifyStatusIntake();
    void NotifyMonitorChanged();
    void NotifyStatusChanged();
    void NotifyTempLogChanged();
    void NotifyNewAlarm();
    void NotifyVar(ORVIXCNB1_VARS VarID);

    // State
    struct State;
    ByteArray SaveFields() const;
    State ReadState(ByteView bytes) const;
    void TakeOver(State state);
    void RestoreMission(bool notify);
    const Variant* RestoredValue(ORVIXCNB1_VARS VarID) const;
    void ReleaseOwn();

    // Export
    class OriginGuard;
    void CheckMissionData();
    std::string TextListing(const std::string& exportAddress);
    void WriteReport(const std::string& FileName, const std::string& exportAddress);
    RecordSet& MissionLog() const;

    // iOrvixDevice
    ByteArray iOrvixDevice_Rec() const override;
    std::int32_t iOrvixDevice_ThreadID() const override { return m_Services.Apartment.ThreadID(); }
    iOrvixAdapter* iOrvixDevice_Adapter() const override { return m_Adapter; }
    void iOrvixDevice_Adapter(iOrvixAdapter* rhs) override { m_Adapter = rhs; }
    VariableCollection& iOrvixDevice_VarsEx() override { return m_VarsEx; }
    VariableRef iOrvixDevice_DefaultVar() override;
    bool iOrvixDevice_MonitorVar(std::int32_t VarID, std::int32_t Flag, std::int32_t Interval) override;
    std::int32_t iOrvixDevice_DeviceModel() const override { return m_Model.DeviceModel; }
    std::int32_t iOrvixDevice_DeviceOrigin() const override { return m_DeviceOrigin; }
    std::string iOrvixDevice_DeviceDescription() const override { return m_Model.DeviceDescription; }
    Object& iOrvixDevice_MostSpecificComponent() override { return *this; }
    std::string iOrvixDevice_SerialNumber() const override { return SerialNumberValue().ToText(); }
    void iOrvixDevice_SerialNumber(std::string rhs) override;
    std::string iOrvixDevice_Address() const override { return m_Address; }
    void iOrvixDevice_Address(std::string rhs) override;
    std::string iOrvixDevice_Name() const override { return m_Name; }
    void iOrvixDevice_Name(std::string rhs) override;
    double iOrvixDevice_ScaleMin() const override { return 0; }
    double iOrvixDevice_ScaleMax() const override { return 0; }
    bool iOrvixDevice_CalScaleEnabled() const override { return false; }
    void iOrvixDevice_CalScaleEnabled(bool) override {}
    double iOrvixDevice_CalScaleMax() const override { return 0; }
    void iOrvixDevice_CalScaleMax(double) override {}
    double iOrvixDevice_CalScaleMin() const override { return 0; }
    void iOrvixDevice_CalScaleMin(double) override {}
    bool iOrvixDevice_CheckCalScale() override { return false; }
    std::string iOrvixDevice_PwdR() const override { return m_PwdR; }
    void iOrvixDevice_PwdR(std::string rhs) override { m_PwdR = std::move(rhs); }
    std::string iOrvixDevice_PwdRW() const override { return m_PwdRW; }
    void iOrvixDevice_PwdRW(std::string rhs) override { m_PwdRW = std::move(rhs); }
    void iOrvixDevice_SaveDirtySettings() override {}
    void iOrvixDevice_UndoDirtySettings() override {}
    std::int32_t iOrvixDevice_TimeFormat() const override { return 1; }
    bool iOrvixDevice_ConnectedEx() const override { return m_ConnectedEx; }
    void iOrvixDevice_ConnectedEx(bool rhs) override;
    bool iOrvixDevice_Monitor() const override { return m_Monitor; }
    void iOrvixDevice_Monitor(bool rhs) override;
    bool iOrvixDevice_Registered() const override { return false; }
    bool iOrvixDevice_DebugMode() const override { return m_DebugMode; }
    void iOrvixDevice_DebugMode(bool rhs) override { m_DebugMode = rhs; }
    bool iOrvixDevice_LogMode() const override { return m_LogMode; }
    void iOrvixDevice_LogMode(bool rhs) override;
    std::string iOrvixDevice_LogPath() const override { return m_LogPath; }
    void iOrvixDevice_LogPath(std::string rhs) override;
    void iOrvixDevice_TaskCommand(iOrvixTask& Task) override;
    void iOrvixDevice_ResponseInterpreter(iOrvixTask& Task) override;
    ByteArray iOrvixDevice_GetSuperState() override;
    void iOrvixDevice_SetSuperState(ByteView arState) override;
    void iOrvixDevice_Destroy() override { ReleaseOwn(); }
    void iOrvixDevice_SaveAs(const std::string& FileName, std::int32_t FileFormat) override;

    // iOrvixNB1Device
    iOrvixNB1Mission& iOrvixNB1Device_Mission() override { return *LiveMission(); }
    ByteArray iOrvixNB1Device_GetSuperState() override { return iOrvixDevice_GetSuperState(); }
    void iOrvixNB1Device_SetSuperState(ByteView arState) override { iOrvixDevice_SetSuperState(arState); }

    const Services& m_Services;
    const DeviceModelTable& m_Model;
    cPlexaERR PlexaERR;
    cEventTracer m_Tracer;
    bool m_DebugMode = false;
    bool m_LogMode = false;
    std::string m_LogPath;
    std::string m_Address;
    std::int32_t m_DeviceOrigin = kDeviceOriginLive;
    std::string m_Name;
    std::string m_PwdR;
    std::string m_PwdRW;
    bool m_ConnectedEx = false;
    iOrvixAdapter* m_Adapter = nullptr;
    bool m_Monitor = false;
    std::shared_ptr<cOrvixNB1Mission> m_Mission;
};

}  // namespace orvix
