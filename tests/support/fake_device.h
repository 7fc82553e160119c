#pragma once

#include <string>

#include "host/iOrvixDevice.h"
#include "tests/support/fake_property.h"

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
    NB1_FAKE_PROPERTY(iOrvixDevice, std::string, SerialNumber);
    NB1_FAKE_PROPERTY(iOrvixDevice, std::string, Address) = "5";
    NB1_FAKE_PROPERTY(iOrvixDevice, std::string, Name) = "Oven";
    double iOrvixDevice_ScaleMin() const override { return 0; }
    double iOrvixDevice_ScaleMax() const override { return 0; }
    NB1_FAKE_PROPERTY(iOrvixDevice, bool, CalScaleEnabled) = false;
    NB1_FAKE_PROPERTY(iOrvixDevice, double, CalScaleMax) = 0;
    NB1_FAKE_PROPERTY(iOrvixDevice, double, CalScaleMin) = 0;
    bool iOrvixDevice_CheckCalScale() override { return false; }
    NB1_FAKE_PROPERTY(iOrvixDevice, std::string, PwdR);
    NB1_FAKE_PROPERTY(iOrvixDevice, std::string, PwdRW);
    void iOrvixDevice_SaveDirtySettings() override {}
    void iOrvixDevice_UndoDirtySettings() override {}
    std::int32_t iOrvixDevice_TimeFormat() const override { return 1; }
    bool iOrvixDevice_ConnectedEx() const override { return Connected; }
    void iOrvixDevice_ConnectedEx(bool rhs) override { Connected = rhs; }
    NB1_FAKE_PROPERTY(iOrvixDevice, bool, Monitor) = false;
    bool iOrvixDevice_Registered() const override { return false; }
    NB1_FAKE_PROPERTY(iOrvixDevice, bool, DebugMode) = false;
    NB1_FAKE_PROPERTY(iOrvixDevice, bool, LogMode) = false;
    NB1_FAKE_PROPERTY(iOrvixDevice, std::string, LogPath);
    void iOrvixDevice_TaskCommand(iOrvixTask&) override {}
    void iOrvixDevice_ResponseInterpreter(iOrvixTask&) override {}
    ByteArray iOrvixDevice_GetSuperState() override { return {}; }
    void iOrvixDevice_SetSuperState(ByteView) override {}
    void iOrvixDevice_Destroy() override {}
    void iOrvixDevice_SaveAs(const std::string&, std::int32_t) override {}
};

}  // namespace orvix::tests
