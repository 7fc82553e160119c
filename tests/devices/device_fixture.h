#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "devices/cOrvixNB1DM.h"
#include "devices/cOrvixNB1TP.h"
#include "host/property_bag.h"
#include "host/text.h"
#include "tasks/cOrvixTaskNB1.h"
#include "tests/support/fake_adapter.h"
#include "tests/support/mission_status_seam.h"
#include "tests/support/test_host.h"

namespace orvix::tests {

/// A sensor and a digital module at address 5, without an adapter's loop around them.
class DeviceTest : public testing::Test {
protected:
    World m_World;
    TestHost m_Host{m_World};
    FakeAdapter m_Adapter;
    std::unique_ptr<SQLPlantDevices> m_Plant = m_Host.Database.CreatePlantDevices(m_Host.Database.CreateConnection());
    cOrvixNB1TP m_Sensor{m_Host.Services};
    cOrvixNB1DM m_Module{m_Host.Services};

    void SetUp() override {
        m_Adapter.Plant = m_Plant.get();
        for (iOrvixDevice* device : std::initializer_list<iOrvixDevice*>{&m_Sensor, &m_Module}) {
            device->Adapter(&m_Adapter);
            device->Address("5");
        }
    }

    std::unique_ptr<iOrvixTaskNB1> Task(std::int32_t varID) {
        std::unique_ptr<iOrvixTaskNB1> task = std::make_unique<cOrvixTaskNB1>(m_Host.Services);
        task->GetVar(static_cast<ORVIXCNB1_VARS>(varID));
        return task;
    }

    /// A task that the driver has executed.
    std::unique_ptr<iOrvixTaskNB1> Answered(std::int32_t varID, const Variant& payload) {
        auto task = Task(varID);
        task->e(errors::None);
        task->RtnArgs().push_back(payload);
        return task;
    }

    /// The records of a device: "VarID value flags kind/interval", of the flags the first letters of valid, pending,
    /// monitored and suspended.
    static std::vector<std::string> Records(iOrvixDevice& device) {
        std::vector<std::string> all;
        for (const auto& [key, record] : device.VarsEx()) {
            const std::pair<bool, char> flags[] = {{record->Valid(), 'v'},
                                                   {record->Pending(), 'p'},
                                                   {record->Monitored(), 'm'},
                                                   {record->Suspended(), 's'}};
            std::string line = key + " " + record->Value().ToText() + " ";
            for (const auto& [set, letter] : flags)
                line += set ? letter : '-';
            all.push_back(line + " " + NumberText(record->MonitorFlag()) + "/" + NumberText(record->MonitorInterval()));
        }
        return all;
    }

    static cOrvixNB1Mission& MissionOf(iOrvixDevice& device) {
        auto& mission = dynamic_cast<cOrvixNB1Device&>(device).Mission();
        return dynamic_cast<cOrvixNB1Mission&>(mission);
    }

    static VariableRecord& Var(iOrvixDevice& device, std::int32_t varID) {
        return *device.VarsEx().Item(std::to_string(varID));
    }

    /// Makes the sensor one that was restored from a file.
    void TakeOffline() {
        PropertyBag bag(m_Sensor.GetSuperState());
        PropertyBag fields(bag.ReadProperty("State").ToBytes());
        fields.WriteProperty("DeviceOrigin", kDeviceOriginFile);
        fields.WriteProperty("Monitor", true);
        bag.WriteProperty("State", fields.Contents());
        m_Sensor.SetSuperState(bag.Contents());
        m_Adapter.Take();
    }
};

}  // namespace orvix::tests
