#pragma once

#include <string>
#include <utility>

#include "host/iOrvixDevice.h"

namespace orvix::tests {

/// A sensor "Oven" at address 5 as its mission sees it. What a device does beyond that it does not do.
class FakeDevice : public Object, public iOrvixDevice {
public:
    bool Connected = false;
    VariableCollection Vars;
    iOrvixAdapter* Owner = nullptr;

    /// Adds a record of that value under its VarID.
    void AddVar(std::int32_t varID, Variant value) {
        const VariableRef record = Vars.Add(std::to_string(varID));
        record->VarID(varID);
        record->Value(std::move(value));
    }

private:
    ByteArray iOrvixDevice_Rec() const override { return {}; }
    std::int32_t iOrvixDevice_ThreadID() const override { return 1; }
    iOrvixAdapter* iOrvixDevice_Adapter() const override { return Owner; }
    void iOrvixDevice_Adapter(iOrvixAdapter* rhs) override { Owner = rhs; }
    VariableCollection& iOrvixDevice_VarsEx() override { return Vars; }
    VariableRef iOrvixDevice_DefaultVar() override { return Vars.Item("2"); }
    bool iOrvixDevice_MonitorVar(std::int32_t, std::int32_t, std::int32_t) override { return true; }
    std::int32_t iOrvixDevice_DeviceModel() const override { return 106; }
    std::int32_t iOrvixDevice_DeviceOrigin() const override { return 1; }
    std::string iOrvixDevice_DeviceDescription() const override { return "Fake"; }
    Object& iOrvixDevice_MostSpecificComponent() override { return *this; }
    std::string iOrvixDevice_SerialNumber() const override { return {}; }
    void iOrvixDevice_SerialNumber(std::string) override {}
    std::string iOrvixDevice_Address() const override { return "5"; }
    void iOrvixDevice_Address(std::string) override {}
    std::string iOrvixDevice_Name() const override { return "Oven"; }
    void iOrvixDevice_Name(std::string) override {}
    double iOrvixDevice_ScaleMin() const override { return 0; }
    double iOrvixDevice_ScaleMax() const override { return 0; }
    bool iOrvixDevice_CalScaleEnabled() const override { return false; }
    double iOrvixDevice_CalScaleMax() const override { return 0; }
    double iOrvixDevice_CalScaleMin() const override { return 0; }
    void iOrvixDevice_CalScaleEnabled(bool) override {}
    void iOrvixDevice_CalScaleMax(double) override {}
    void iOrvixDevice_CalScaleMin(double) override {}
    bool iOrvixDevice_CheckCalScale() override { return false; }
    std::string iOrvixDevice_PwdR() const override { return {}; }
    void iOrvixDevice_PwdR(std::string) override {}
    std::string iOrvixDevice_PwdRW() const override { return {}; }
    void iOrvixDevice_PwdRW(std::string) override {}
    void iOrvixDevice_SaveDirtySettings() override {}
    void iOrvixDevice_UndoDirtySettings() override {}
    std::int32_t iOrvixDevice_TimeFormat() const override { return 1; }
    bool iOrvixDevice_ConnectedEx() const override { return Connected; }
    void iOrvixDevice_ConnectedEx(bool rhs) override { Connected = rhs; }
    bool iOrvixDevice_Monitor() const override { return false; }
    void iOrvixDevice_Monitor(bool) override {}
    bool iOrvixDevice_Registered() const override { return false; }
    bool iOrvixDevice_DebugMode() const override { return false; }
    void iOrvixDevice_DebugMode(bool) override {}
    bool iOrvixDevice_LogMode() const override { return false; }
    void iOrvixDevice_LogMode(bool) override {}
    std::string iOrvixDevice_LogPath() const override { return {}; }
    void iOrvixDevice_LogPath(std::string) override {}
    void iOrvixDevice_TaskCommand(iOrvixTask&) override {}
    void iOrvixDevice_ResponseInterpreter(iOrvixTask&) override {}
    ByteArray iOrvixDevice_GetSuperState() override { return {}; }
    void iOrvixDevice_SetSuperState(ByteView) override {}
    void iOrvixDevice_Destroy() override {}
    void iOrvixDevice_SaveAs(const std::string&, std::int32_t) override {}
};

}  // namespace orvix::tests
