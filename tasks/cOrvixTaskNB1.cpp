#include "tasks/cOrvixTaskNB1.h"

#include <utility>

#include "devices/protocol/basOrvixNB1.h"
#include "host/iOrvixDevice.h"
#include "host/text.h"

namespace orvix {
namespace {

constexpr std::int32_t kDefaultInterval = 10;
constexpr std::int32_t kLiveDevice = 1;

}  // namespace

cOrvixTaskNB1::cOrvixTaskNB1(const Services& services) : m_Services(services), PlexaERR(services) {
    Clear();
}

cOrvixTaskNB1::~cOrvixTaskNB1() {
    iOrvixTask_Destroy();
}

void cOrvixTaskNB1::iOrvixTask_Clear() {
    m_ID.clear();
    m_CmdType = ORVIXCNB1_TA_NONE;
    m_Cmd = "";
    m_CmdSended = false;
    m_CmdExecuted = false;
    m_ResponseAsParameter = false;
    m_Response = "";
    m_ResponseBytes = 0;
    m_DataReturnedAsArray = false;
    m_WaitingMultiPart = false;
    m_Device.reset();
    m_DeviceAddress.clear();
    m_DeviceModel = 0;
    m_DeviceOrigin = kLiveDevice;
    m_Params.clear();
    m_RtnArgs.clear();
    m_e = errors::NotExecuted;
    m_eDescr.clear();
    m_MemoryMapKey.clear();
    m_TimeoutInterval = kDefaultInterval;
    m_NetTimeoutInterval = kDefaultInterval;
    m_Timeout = false;
    m_Executed = false;
    m_IsLinked = false;
    StopTimer();
    if (!m_Tmr) Attempt([&] { m_Tmr = m_Services.Apartment.CreateTimer([this] { m_Tmr_Tick(); }); });
}

void cOrvixTaskNB1::iOrvixTask_Destroy() {
    ReleaseTimer();
    m_Device.reset();
    m_Params.clear();
    m_RtnArgs.clear();
}

void cOrvixTaskNB1::iOrvixTaskNB1_ForgetExchange() {
    StopTimer();
    m_CmdSended = false;
    m_CmdExecuted = false;
    m_IsLinked = false;
    m_Timeout = false;
    m_Executed = false;
    m_WaitingMultiPart = false;
    m_Response = "";
    m_ResponseBytes = 0;
    m_Arrival = "";
    m_ArrivalBytes = 0;
    m_ArrivalExpectedBytes = 0;
    m_RtnArgs.clear();
}

void cOrvixTaskNB1::StopTimer() {
    if (m_Tmr) Attempt([&] { m_Tmr->Enabled(false); });
}

void cOrvixTaskNB1::ReleaseTimer() {
    StopTimer();
    m_Tmr.reset();
}

void cOrvixTaskNB1::iOrvixTask_Device(std::shared_ptr<iOrvixDevice> rhs) {
    m_Device = std::move(rhs);
    if (!m_Device) return;
    m_DeviceModel = m_Device->DeviceModel();
    m_DeviceAddress = m_Device->Address();
    m_DeviceOrigin = m_Device->DeviceOrigin();
}

void cOrvixTaskNB1::iOrvixTaskNB1_GetVar(ORVIXCNB1_VARS VarID) {
    m_Name = ActionDescription(ORVIXCNB1_TA_GET_VAR) + " " + VariableDescription(VarID) + " Device " + m_DeviceAddress;
    m_CmdType = ORVIXCNB1_TA_GET_VAR;
    m_Params.emplace_back(std::int32_t{VarID});
}

void cOrvixTaskNB1::iOrvixTaskNB1_GetDeviceList(std::int32_t DeviceModel) {
    m_Name = ActionDescription(ORVIXCNB1_TA_GET_DEVICELIST);
    m_CmdType = ORVIXCNB1_TA_GET_DEVICELIST;
    m_DeviceModel = DeviceModel;
    m_DataReturnedAsArray = true;
}

ORVIXCNB1_VARS cOrvixTaskNB1::iOrvixTaskNB1_VarID() const {
    std::int32_t varID = ORVIXCNB1_VAR_NONE;
    if (!m_Params.empty()) Attempt([&] { varID = m_Params.front().ToLong(); });
    return static_cast<ORVIXCNB1_VARS>(varID);
}

std::string cOrvixTaskNB1::iOrvixTaskNB1_Tag() const {
    return JoinFields({m_DeviceAddress, NumberText(m_DeviceModel), NumberText(m_DeviceOrigin),
                       NumberText(std::int32_t{m_CmdType}), NumberText(std::int32_t{VarID()})});
}

void cOrvixTaskNB1::iOrvixTaskNB1_CmdSended(bool rhs) {
    m_CmdSended = rhs;
    if (!rhs) return;
    // The interval may have come from outside, where nothing keeps it from being negative.
    if (m_TimeoutInterval <= 0) m_TimeoutInterval = kDefaultInterval;
    m_Timeout = false;
    if (m_Tmr) m_Tmr->Rearm(m_TimeoutInterval, true);
}

void cOrvixTaskNB1::m_Tmr_Tick() {
    // An answer that is in must not be overwritten while it waits to be interpreted.
    if (m_CmdExecuted) return;
    m_Timeout = true;
    m_e = errors::TimeOut;
    m_eDescr = PlexaERR.GetMessageText(errors::TimeOut);
}

void cOrvixTaskNB1::iOrvixTask_Executed(bool rhs) {
    m_Executed = rhs;
    if (!rhs) return;
    StopTimer();
    if (!m_MemoryMapKey.empty()) PublishResult();
    m_Executed = rhs;
}

std::unique_ptr<SharedEntry> cOrvixTaskNB1::OpenEntry() const {
    std::unique_ptr<SharedEntry> entry;
    const bool opened = Attempt([&] {
        entry = m_Services.Messaging.CreateSharedEntry();
        entry->Open(m_MemoryMapKey);
    });
    return opened ? std::move(entry) : nullptr;
}

void cOrvixTaskNB1::PublishResult() {
    const auto entry = OpenEntry();
    if (!entry) return;
    const bool locked = Attempt([&] { entry->Lock(); });
    Attempt([&] { entry->Data().ResultList.push_back(GetSuperState()); });
    Attempt([&] {
        entry->Data().e = m_e;
        entry->Data().eDescr = m_eDescr;
    });
    if (locked) Attempt([&] { entry->Unlock(); });
    Attempt([&] { entry->Complete(m_e == errors::None); });
}

void cOrvixTaskNB1::iOrvixTaskNB1_ReadMemory() {
    const std::string givenID = m_ID;
    const std::string loadedFrom = m_MemoryMapKey;
    const auto entry = loadedFrom.empty() ? nullptr : OpenEntry();
    if (entry && Attempt([&] { entry->Lock(); })) {
        const auto& arguments = entry->Data().ArgumentList;
        if (!arguments.empty()) Attempt([&] { SetSuperState(arguments.front()); });
        Attempt([&] { entry->Unlock(); });
    }
    if (!givenID.empty()) m_ID = givenID;
    if (m_MemoryMapKey.empty()) m_MemoryMapKey = loadedFrom;
    m_MemoryReaded = true;
}

void cOrvixTaskNB1::iOrvixTaskNB1_ReadLinkedResult(iOrvixTaskNB1& Task) {
    m_CmdSended = true;
    m_CmdExecuted = true;
    m_RtnArgs = Task.RtnArgs();
    m_e = Task.e();
    m_eDescr = Task.eDescr();
    m_IsLinked = true;
    Executed(true);
}

}  // namespace orvix
