#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "diagnostics/basPlexaErr.h"
#include "host/messaging.h"
#include "host/object.h"
#include "host/services.h"
#include "tasks/iOrvixNB1Task.h"
#include "tasks/iOrvixTaskNB1.h"

namespace orvix {

/// A task: what to do, where, what came back, and the bookkeeping of the exchange. It is used by one thread at a time.
///
/// Its super-state is a property bag of two entries: "Device", the state of the device or an empty text, and "State",
/// the contents of a bag of the task's fields (VisitState lists them). The device is not loaded back.
class cOrvixTaskNB1 final : public Object, public iOrvixTaskNB1, public iOrvixNB1Task {
public:
    explicit cOrvixTaskNB1(const Services& services);
    ~cOrvixTaskNB1() override;

private:
    std::string iOrvixTask_ID() const override { return m_ID; }
    void iOrvixTask_ID(std::string rhs) override { m_ID = std::move(rhs); }
    VariantList& iOrvixTask_Params() override { return m_Params; }
    VariantList& iOrvixTask_RtnArgs() override { return m_RtnArgs; }
    std::string iOrvixTask_MemoryMapKey() const override { return m_MemoryMapKey; }
    void iOrvixTask_MemoryMapKey(std::string rhs) override { m_MemoryMapKey = std::move(rhs); }
    std::string iOrvixTask_Name() const override { return m_Name; }
    void iOrvixTask_Name(std::string rhs) override { m_Name = std::move(rhs); }
    ErrorNumber iOrvixTask_e() const override { return m_e; }
    void iOrvixTask_e(ErrorNumber rhs) override { m_e = rhs; }
    std::string iOrvixTask_eDescr() const override { return m_eDescr; }
    void iOrvixTask_eDescr(std::string rhs) override { m_eDescr = std::move(rhs); }
    bool iOrvixTask_ContinueIfFail() const override { return m_ContinueIfFail; }
    void iOrvixTask_ContinueIfFail(bool rhs) override { m_ContinueIfFail = rhs; }
    std::int32_t iOrvixTask_TimeoutInterval() const override { return m_TimeoutInterval; }
    void iOrvixTask_TimeoutInterval(std::int32_t rhs) override { m_TimeoutInterval = rhs; }
    std::int32_t iOrvixTask_NetTimeoutInterval() const override { return m_NetTimeoutInterval; }
    void iOrvixTask_NetTimeoutInterval(std::int32_t rhs) override { m_NetTimeoutInterval = rhs; }
    bool iOrvixTask_Executed() const override { return m_Executed; }
    void iOrvixTask_Executed(bool rhs) override;
    std::shared_ptr<iOrvixDevice> iOrvixTask_Device() const override { return m_Device; }
    void iOrvixTask_Device(std::shared_ptr<iOrvixDevice> rhs) override;
    std::string iOrvixTask_DeviceAddress() const override { return m_DeviceAddress; }
    void iOrvixTask_DeviceAddress(std::string rhs) override { m_DeviceAddress = std::move(rhs); }
    std::int32_t iOrvixTask_DeviceModel() const override { return m_DeviceModel; }
    void iOrvixTask_DeviceModel(std::int32_t rhs) override { m_DeviceModel = rhs; }
    std::int32_t iOrvixTask_DeviceOrigin() const override { return m_DeviceOrigin; }
    void iOrvixTask_DeviceOrigin(std::int32_t rhs) override { m_DeviceOrigin = rhs; }
    ByteArray iOrvixTask_GetSuperState() const override;
    void iOrvixTask_SetSuperState(ByteView arState) override;
    void iOrvixTask_Clear() override;
    void iOrvixTask_Destroy() override;

    ORVIXCNB1_TASK_ACTION iOrvixTaskNB1_CmdType() const override { return m_CmdType; }
    void iOrvixTaskNB1_CmdType(ORVIXCNB1_TASK_ACTION rhs) override { m_CmdType = rhs; }
    Variant iOrvixTaskNB1_Cmd() const override { return m_Cmd; }
    void iOrvixTaskNB1_Cmd(Variant rhs) override { m_Cmd = std::move(rhs); }
    bool iOrvixTaskNB1_CmdSended() const override { return m_CmdSended; }
    void iOrvixTaskNB1_CmdSended(bool rhs) override;
    bool iOrvixTaskNB1_CmdExecuted() const override { return m_CmdExecuted; }
    void iOrvixTaskNB1_CmdExecuted(bool rhs) override { m_CmdExecuted = rhs; }
    Variant iOrvixTaskNB1_Response() const override { return m_Response; }
    void iOrvixTaskNB1_Response(Variant rhs) override { m_Response = std::move(rhs); }
    std::int32_t iOrvixTaskNB1_ResponseBytes() const override { return m_ResponseBytes; }
    void iOrvixTaskNB1_ResponseBytes(std::int32_t rhs) override { m_ResponseBytes = rhs; }
    Variant iOrvixTaskNB1_Arrival() const override { return m_Arrival; }
    void iOrvixTaskNB1_Arrival(Variant rhs) override { m_Arrival = std::move(rhs); }
    std::int32_t iOrvixTaskNB1_ArrivalBytes() const override { return m_ArrivalBytes; }
    void iOrvixTaskNB1_ArrivalBytes(std::int32_t rhs) override { m_ArrivalBytes = rhs; }
    std::int32_t iOrvixTaskNB1_ArrivalExpectedBytes() const override { return m_ArrivalExpectedBytes; }
    void iOrvixTaskNB1_ArrivalExpectedBytes(std::int32_t rhs) override { m_ArrivalExpectedBytes = rhs; }
    bool iOrvixTaskNB1_WaitingMultiPart() const override { return m_WaitingMultiPart; }
    void iOrvixTaskNB1_WaitingMultiPart(bool rhs) override { m_WaitingMultiPart = rhs; }
    bool iOrvixTaskNB1_Timeout() const override { return m_Timeout; }
    ORVIXCNB1_VARS iOrvixTaskNB1_VarID() const override;
    bool iOrvixTaskNB1_IsLinked() const override { return m_IsLinked; }
    bool iOrvixTaskNB1_MemoryReaded() const override { return m_MemoryReaded; }
    std::string iOrvixTaskNB1_Tag() const override;
    void iOrvixTaskNB1_GetVar(ORVIXCNB1_VARS VarID) override;
    void iOrvixTaskNB1_GetDeviceList(std::int32_t DeviceModel) override;
    void iOrvixTaskNB1_ReadLinkedResult(iOrvixTaskNB1& Task) override;
    void iOrvixTaskNB1_ReadMemory() override;
    void iOrvixTaskNB1_ForgetExchange() override;

    bool iOrvixNB1Task_Executed() const override { return m_Executed; }

    // Event handlers.
    void m_Tmr_Tick();

    /// Shows the visitor every entry of the inner bag, in writing order, with the field that it carries.
    template <class Task, class Visitor>
    static void VisitState(Task& task, Visitor visitor);

    /// The task's shared entry; null when it cannot be opened.
    std::unique_ptr<SharedEntry> OpenEntry() const;
    void PublishResult();
    void StopTimer();
    void ReleaseTimer();

    const Services& m_Services;
    cPlexaERR PlexaERR;

    // Clear gives most of these their first values; the others start with those here and are kept by it.
    std::string m_ID;
    ORVIXCNB1_TASK_ACTION m_CmdType = ORVIXCNB1_TA_NONE;
    Variant m_Cmd;
    bool m_CmdSended = false;
    bool m_CmdExecuted = false;
    bool m_ResponseAsParameter = false;
    Variant m_Response;
    std::int32_t m_ResponseBytes = 0;
    bool m_DataReturnedAsArray = false;
    Variant m_Arrival;
    std::int32_t m_ArrivalBytes = 0;
    std::int32_t m_ArrivalExpectedBytes = 0;
    bool m_WaitingMultiPart = false;
    std::shared_ptr<iOrvixDevice> m_Device;
    std::string m_DeviceAddress;
    std::int32_t m_DeviceModel = 0;
    std::int32_t m_DeviceOrigin = 0;
    std::string m_Name;
    VariantList m_Params;
    VariantList m_RtnArgs;
    ErrorNumber m_e = errors::None;
    std::string m_eDescr;
    bool m_ContinueIfFail = false;
    std::string m_MemoryMapKey;
    std::int32_t m_TimeoutInterval = 0;
    std::int32_t m_NetTimeoutInterval = 0;
    bool m_Timeout = false;
    bool m_Executed = false;
    bool m_MemoryReaded = false;
    bool m_IsLinked = false;
    std::unique_ptr<Timer> m_Tmr;
};

}  // namespace orvix
