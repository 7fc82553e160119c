#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "host/object.h"
#include "host/variables.h"
#include "host/variant.h"

namespace orvix {

class iOrvixAdapter;
class iOrvixTask;

/// Forms of a saved device: a text listing, a report document, and the state from which it can be restored, which any
/// other number stands for too.
inline constexpr std::int32_t kDeviceOriginLive = 1;
inline constexpr std::int32_t kDeviceOriginFile = 2;  ///< restored from a file: no exchange backs it

inline constexpr std::int32_t kFileFormatText = 1;
inline constexpr std::int32_t kFileFormatReport = 2;
inline constexpr std::int32_t kFileFormatDevice = 3;

/// A device as the host sees it.
class iOrvixDevice {
public:
    virtual ~iOrvixDevice() = default;

    /// The temperature log: a property bag whose entry "Log" holds the saved record set.
    ByteArray Rec() const { return iOrvixDevice_Rec(); }
    std::int32_t ThreadID() const { return iOrvixDevice_ThreadID(); }
    /// Owning adapter; not owned, null once destroyed.
    iOrvixAdapter* Adapter() const { return iOrvixDevice_Adapter(); }
    void Adapter(iOrvixAdapter* rhs) { iOrvixDevice_Adapter(rhs); }
    /// Variable records by the decimal text of their VarID.
    VariableCollection& VarsEx() { return iOrvixDevice_VarsEx(); }
    /// The record of the measured value. Raises MissingItem when it is not there.
    VariableRef DefaultVar() { return iOrvixDevice_DefaultVar(); }
    /// Chooses how a variable is monitored: Flag 0 not at all, 1 by polling every Interval milliseconds. Returns true.
    bool MonitorVar(std::int32_t VarID, std::int32_t Flag, std::int32_t Interval) {
        return iOrvixDevice_MonitorVar(VarID, Flag, Interval);
    }
    /// 106 temperature sensor, 104 digital module.
    std::int32_t DeviceModel() const { return iOrvixDevice_DeviceModel(); }
    /// 1 a live device, 2 one restored from a file.
    std::int32_t DeviceOrigin() const { return iOrvixDevice_DeviceOrigin(); }
    std::string DeviceDescription() const { return iOrvixDevice_DeviceDescription(); }
    Object& MostSpecificComponent() { return iOrvixDevice_MostSpecificComponent(); }
    /// Text of record 1. Raises MissingItem when it is not there.
    std::string SerialNumber() const { return iOrvixDevice_SerialNumber(); }
    void SerialNumber(std::string rhs) { iOrvixDevice_SerialNumber(std::move(rhs)); }
    /// Bus address as decimal text. Writing it rebuilds the variable records of a live device.
    std::string Address() const { return iOrvixDevice_Address(); }
    void Address(std::string rhs) { iOrvixDevice_Address(std::move(rhs)); }
    /// Display name; writing it also names the device in the plant registry.
    std::string Name() const { return iOrvixDevice_Name(); }
    void Name(std::string rhs) { iOrvixDevice_Name(std::move(rhs)); }

    /// Scales are not supported: they read 0 or false and ignore writes.
    double ScaleMin() const { return iOrvixDevice_ScaleMin(); }
    double ScaleMax() const { return iOrvixDevice_ScaleMax(); }
    bool CalScaleEnabled() const { return iOrvixDevice_CalScaleEnabled(); }
    void CalScaleEnabled(bool rhs) { iOrvixDevice_CalScaleEnabled(rhs); }
    double CalScaleMax() const { return iOrvixDevice_CalScaleMax(); }
    void CalScaleMax(double rhs) { iOrvixDevice_CalScaleMax(rhs); }
    double CalScaleMin() const { return iOrvixDevice_CalScaleMin(); }
    void CalScaleMin(double rhs) { iOrvixDevice_CalScaleMin(rhs); }
    bool CheckCalScale() { return iOrvixDevice_CheckCalScale(); }

    /// Passwords are kept for the host, neither checked nor sent.
    std::string PwdR() const { return iOrvixDevice_PwdR(); }
    void PwdR(std::string rhs) { iOrvixDevice_PwdR(std::move(rhs)); }
    std::string PwdRW() const { return iOrvixDevice_PwdRW(); }
    void PwdRW(std::string rhs) { iOrvixDevice_PwdRW(std::move(rhs)); }
    void SaveDirtySettings() { iOrvixDevice_SaveDirtySettings(); }
    void UndoDirtySettings() { iOrvixDevice_UndoDirtySettings(); }
    std::int32_t TimeFormat() const { return iOrvixDevice_TimeFormat(); }
    /// Connection state as the adapter last set it.
    bool ConnectedEx() const { return iOrvixDevice_ConnectedEx(); }
    void ConnectedEx(bool rhs) { iOrvixDevice_ConnectedEx(rhs); }
    /// Device-level monitoring switch.
    bool Monitor() const { return iOrvixDevice_Monitor(); }
    void Monitor(bool rhs) { iOrvixDevice_Monitor(rhs); }
    bool Registered() const { return iOrvixDevice_Registered(); }
    bool DebugMode() const { return iOrvixDevice_DebugMode(); }
    void DebugMode(bool rhs) { iOrvixDevice_DebugMode(rhs); }
    /// Also switches the apartment's event tracer.
    bool LogMode() const { return iOrvixDevice_LogMode(); }
    void LogMode(bool rhs) { iOrvixDevice_LogMode(rhs); }
    /// Also the folder of the apartment's event tracer.
    std::string LogPath() const { return iOrvixDevice_LogPath(); }
    void LogPath(std::string rhs) { iOrvixDevice_LogPath(std::move(rhs)); }
    /// Writes the command into a task. Never raises: failures go into the task's e and eDescr.
    void TaskCommand(iOrvixTask& Task) { iOrvixDevice_TaskCommand(Task); }
    /// Takes one part of an answer and applies the answer when it is complete. Never raises: failures go into the
    /// task's e and eDescr, with CmdExecuted set.
    void ResponseInterpreter(iOrvixTask& Task) { iOrvixDevice_ResponseInterpreter(Task); }
    ByteArray GetSuperState() { return iOrvixDevice_GetSuperState(); }
    /// Raises InvalidContents or MissingItem for bytes that hold no device.
    void SetSuperState(ByteView arState) { iOrvixDevice_SetSuperState(arState); }
    /// Drops everything the device refers to.
    void Destroy() { iOrvixDevice_Destroy(); }
    /// Writes what the device knows of its mission to a file, in place of one of that name, which is gone also after a
    /// failure. The status and log variables must be valid. Never raises: failures are reported.
    void SaveAs(const std::string& FileName, std::int32_t FileFormat) { iOrvixDevice_SaveAs(FileName, FileFormat); }

private:
    virtual ByteArray iOrvixDevice_Rec() const = 0;
    virtual std::int32_t iOrvixDevice_ThreadID() const = 0;
    virtual iOrvixAdapter* iOrvixDevice_Adapter() const = 0;
    virtual void iOrvixDevice_Adapter(iOrvixAdapter* rhs) = 0;
    virtual VariableCollection& iOrvixDevice_VarsEx() = 0;
    virtual VariableRef iOrvixDevice_DefaultVar() = 0;
    virtual bool iOrvixDevice_MonitorVar(std::int32_t VarID, std::int32_t Flag, std::int32_t Interval) = 0;
    virtual std::int32_t iOrvixDevice_DeviceModel() const = 0;
    virtual std::int32_t iOrvixDevice_DeviceOrigin() const = 0;
    virtual std::string iOrvixDevice_DeviceDescription() const = 0;
    virtual Object& iOrvixDevice_MostSpecificComponent() = 0;
    virtual std::string iOrvixDevice_SerialNumber() const = 0;
    virtual void iOrvixDevice_SerialNumber(std::string rhs) = 0;
    virtual std::string iOrvixDevice_Address() const = 0;
    virtual void iOrvixDevice_Address(std::string rhs) = 0;
    virtual std::string iOrvixDevice_Name() const = 0;
    virtual void iOrvixDevice_Name(std::string rhs) = 0;
    virtual double iOrvixDevice_ScaleMin() const = 0;
    virtual double iOrvixDevice_ScaleMax() const = 0;
    virtual bool iOrvixDevice_CalScaleEnabled() const = 0;
    virtual void iOrvixDevice_CalScaleEnabled(bool rhs) = 0;
    virtual double iOrvixDevice_CalScaleMax() const = 0;
    virtual void iOrvixDevice_CalScaleMax(double rhs) = 0;
    virtual double iOrvixDevice_CalScaleMin() const = 0;
    virtual void iOrvixDevice_CalScaleMin(double rhs) = 0;
    virtual bool iOrvixDevice_CheckCalScale() = 0;
    virtual std::string iOrvixDevice_PwdR() const = 0;
    virtual void iOrvixDevice_PwdR(std::string rhs) = 0;
    virtual std::string iOrvixDevice_PwdRW() const = 0;
    virtual void iOrvixDevice_PwdRW(std::string rhs) = 0;
    virtual void iOrvixDevice_SaveDirtySettings() = 0;
    virtual void iOrvixDevice_UndoDirtySettings() = 0;
    virtual std::int32_t iOrvixDevice_TimeFormat() const = 0;
    virtual bool iOrvixDevice_ConnectedEx() const = 0;
    virtual void iOrvixDevice_ConnectedEx(bool rhs) = 0;
    virtual bool iOrvixDevice_Monitor() const = 0;
    virtual void iOrvixDevice_Monitor(bool rhs) = 0;
    virtual bool iOrvixDevice_Registered() const = 0;
    virtual bool iOrvixDevice_DebugMode() const = 0;
    virtual void iOrvixDevice_DebugMode(bool rhs) = 0;
    virtual bool iOrvixDevice_LogMode() const = 0;
    virtual void iOrvixDevice_LogMode(bool rhs) = 0;
    virtual std::string iOrvixDevice_LogPath() const = 0;
    virtual void iOrvixDevice_LogPath(std::string rhs) = 0;
    virtual void iOrvixDevice_TaskCommand(iOrvixTask& Task) = 0;
    virtual void iOrvixDevice_ResponseInterpreter(iOrvixTask& Task) = 0;
    virtual ByteArray iOrvixDevice_GetSuperState() = 0;
    virtual void iOrvixDevice_SetSuperState(ByteView arState) = 0;
    virtual void iOrvixDevice_Destroy() = 0;
    virtual void iOrvixDevice_SaveAs(const std::string& FileName, std::int32_t FileFormat) = 0;
};

}  // namespace orvix
