#include "missions/cOrvixNB1Mission.h"

#include <memory>

#include "host/error.h"
#include "host/iOrvixAdapter.h"
#include "host/iOrvixDevToAdapt.h"
#include "host/iOrvixDevice.h"
#include "host/messaging.h"
#include "host/text.h"
#include "tasks/cOrvixTaskNB1.h"

namespace orvix {

cOrvixNB1Mission::cOrvixNB1Mission(const Services& services) : m_Services(services), PlexaERR(services) {
    ResetLogs(true);
}

iOrvixDevice& cOrvixNB1Mission::ParentDevice() const {
    if (m_Parent == nullptr) throw Error(errors::General, "The mission belongs to no device");
    return *m_Parent;
}

Variant cOrvixNB1Mission::ParentValue(ORVIXCNB1_VARS VarID) const {
    return ParentDevice().VarsEx().Item(NumberText(std::int32_t{VarID}))->Value();
}

void cOrvixNB1Mission::SetStatus(const std::string& Status) {
    try {
        m_StatusChanged = !m_StatusLoaded;
        m_TempLogChanged = false;
        m_StatusLoaded = false;
        TakeStatusValue(Status);
        m_StatusLoaded = true;
    } catch (...) {
        PlexaERR.ErrorIn("cOrvixNB1Q27Mission.SetStatus(Status)");
    }
}

Date cOrvixNB1Mission::iOrvixNB1Mission_MissionStartDate() const {
    return DeviceTimeToDate(NumberText(m_Status.StartValue));
}

Date cOrvixNB1Mission::iOrvixNB1Mission_MissionEndDate() const {
    return AddMinutes(MissionStartDate(), MinutesToSample(m_Status.MissionSamples));
}

void cOrvixNB1Mission::iOrvixNB1Mission_Terminate(SharedEntry& Track) {
    try {
        iOrvixDevice& device = ParentDevice();
        const bool connected = device.ConnectedEx();
        const std::string name = device.Name();
        PlexaERR.Check(connected, errors::Validation, errors::NotConnected, name);

        Track.Create("");
        const auto task = std::make_shared<cOrvixTaskNB1>(m_Services);
        task->DeviceAddress(device.Address());
        task->DeviceModel(device.DeviceModel());
        task->CmdType(ORVIXCNB1_TA_STOP_MISSION);
        task->Params().emplace_back(StatusImage());
        task->MemoryMapKey(Track.Name());

        ByteArray state = task->GetSuperState();
        Track.Lock();
        Track.Data().ArgumentList.push_back(std::move(state));
        Track.Unlock();
        Track.Published(false);

        auto* adapter = dynamic_cast<iOrvixDevToAdapt*>(device.Adapter());
        if (adapter == nullptr) throw Error(errors::General, "Device " + name + " has no adapter");
        adapter->NewTask(task, 0);
    } catch (...) {
        PlexaERR.ErrorIn("cOrvixNB1Q27Mission.Terminate(Track)");
    }
}

}  // namespace orvix
