#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "host/iOrvixTask.h"
#include "tasks/enumerations.h"

namespace orvix {

/// This library's own view of a task: the host's members and those of the exchange with the device.
class iOrvixTaskNB1 : public iOrvixTask {
public:
    ORVIXCNB1_TASK_ACTION CmdType() const { return iOrvixTaskNB1_CmdType(); }
    void CmdType(ORVIXCNB1_TASK_ACTION rhs) { iOrvixTaskNB1_CmdType(rhs); }
    /// Command bytes built by the device, one character a byte.
    Variant Cmd() const { return iOrvixTaskNB1_Cmd(); }
    void Cmd(Variant rhs) { iOrvixTaskNB1_Cmd(std::move(rhs)); }
    /// The command has been sent; writing true starts the time-out timer.
    bool CmdSended() const { return iOrvixTaskNB1_CmdSended(); }
    void CmdSended(bool rhs) { iOrvixTaskNB1_CmdSended(rhs); }
    /// The driver has finished its exchange for this task.
    bool CmdExecuted() const { return iOrvixTaskNB1_CmdExecuted(); }
    void CmdExecuted(bool rhs) { iOrvixTaskNB1_CmdExecuted(rhs); }
    /// This part of the answer.
    Variant Response() const { return iOrvixTaskNB1_Response(); }
    void Response(Variant rhs) { iOrvixTaskNB1_Response(std::move(rhs)); }
    std::int32_t ResponseBytes() const { return iOrvixTaskNB1_ResponseBytes(); }
    void ResponseBytes(std::int32_t rhs) { iOrvixTaskNB1_ResponseBytes(rhs); }
    /// The answer as far as it has come.
    Variant Arrival() const { return iOrvixTaskNB1_Arrival(); }
    void Arrival(Variant rhs) { iOrvixTaskNB1_Arrival(std::move(rhs)); }
    std::int32_t ArrivalBytes() const { return iOrvixTaskNB1_ArrivalBytes(); }
    void ArrivalBytes(std::int32_t rhs) { iOrvixTaskNB1_ArrivalBytes(rhs); }
    std::int32_t ArrivalExpectedBytes() const { return iOrvixTaskNB1_ArrivalExpectedBytes(); }
    void ArrivalExpectedBytes(std::int32_t rhs) { iOrvixTaskNB1_ArrivalExpectedBytes(rhs); }
    /// An answer in several parts is being collected.
    bool WaitingMultiPart() const { return iOrvixTaskNB1_WaitingMultiPart(); }
    void WaitingMultiPart(bool rhs) { iOrvixTaskNB1_WaitingMultiPart(rhs); }
    /// The time-out timer has fired.
    bool Timeout() const { return iOrvixTaskNB1_Timeout(); }
    /// The first parameter; ORVIXCNB1_VAR_NONE when there is none.
    ORVIXCNB1_VARS VarID() const { return iOrvixTaskNB1_VarID(); }
    /// The result was copied from another task.
    bool IsLinked() const { return iOrvixTaskNB1_IsLinked(); }
    /// ReadMemory has run.
    bool MemoryReaded() const { return iOrvixTaskNB1_MemoryReaded(); }
    /// What the task does, as a text: two tasks with equal tags ask the device for the same thing.
    /// Address SEP model SEP origin SEP command type SEP variable.
    std::string Tag() const { return iOrvixTaskNB1_Tag(); }
    /// Makes this a task that reads a variable. The parameters are not emptied first.
    void GetVar(ORVIXCNB1_VARS VarID) { iOrvixTaskNB1_GetVar(VarID); }
    /// Makes this a task that lists the devices on the line.
    void GetDeviceList(std::int32_t DeviceModel) { iOrvixTaskNB1_GetDeviceList(DeviceModel); }
    /// Takes over the result of another task that did the same work, and completes.
    void ReadLinkedResult(iOrvixTaskNB1& Task) { iOrvixTaskNB1_ReadLinkedResult(Task); }
    /// Loads the task from its shared memory entry. A task keeps the identifier it has been given, and the name of the
    /// entry it was loaded from when the state carries none.
    void ReadMemory() { iOrvixTaskNB1_ReadMemory(); }
    /// Makes the task one that nothing has been done for: the marks of sent, executed, linked, timed out, published and
    /// waiting for parts are taken off, the answer and its byte counts emptied, the time-out timer stopped. What is to
    /// be done, and result code and text, stay.
    void ForgetExchange() { iOrvixTaskNB1_ForgetExchange(); }

private:
    virtual ORVIXCNB1_TASK_ACTION iOrvixTaskNB1_CmdType() const = 0;
    virtual void iOrvixTaskNB1_CmdType(ORVIXCNB1_TASK_ACTION rhs) = 0;
    virtual Variant iOrvixTaskNB1_Cmd() const = 0;
    virtual void iOrvixTaskNB1_Cmd(Variant rhs) = 0;
    virtual bool iOrvixTaskNB1_CmdSended() const = 0;
    virtual void iOrvixTaskNB1_CmdSended(bool rhs) = 0;
    virtual bool iOrvixTaskNB1_CmdExecuted() const = 0;
    virtual void iOrvixTaskNB1_CmdExecuted(bool rhs) = 0;
    virtual Variant iOrvixTaskNB1_Response() const = 0;
    virtual void iOrvixTaskNB1_Response(Variant rhs) = 0;
    virtual std::int32_t iOrvixTaskNB1_ResponseBytes() const = 0;
    virtual void iOrvixTaskNB1_ResponseBytes(std::int32_t rhs) = 0;
    virtual Variant iOrvixTaskNB1_Arrival() const = 0;
    virtual void iOrvixTaskNB1_Arrival(Variant rhs) = 0;
    virtual std::int32_t iOrvixTaskNB1_ArrivalBytes() const = 0;
    virtual void iOrvixTaskNB1_ArrivalBytes(std::int32_t rhs) = 0;
    virtual std::int32_t iOrvixTaskNB1_ArrivalExpectedBytes() const = 0;
    virtual void iOrvixTaskNB1_ArrivalExpectedBytes(std::int32_t rhs) = 0;
    virtual bool iOrvixTaskNB1_WaitingMultiPart() const = 0;
    virtual void iOrvixTaskNB1_WaitingMultiPart(bool rhs) = 0;
    virtual bool iOrvixTaskNB1_Timeout() const = 0;
    virtual ORVIXCNB1_VARS iOrvixTaskNB1_VarID() const = 0;
    virtual bool iOrvixTaskNB1_IsLinked() const = 0;
    virtual bool iOrvixTaskNB1_MemoryReaded() const = 0;
    virtual std::string iOrvixTaskNB1_Tag() const = 0;
    virtual void iOrvixTaskNB1_GetVar(ORVIXCNB1_VARS VarID) = 0;
    virtual void iOrvixTaskNB1_GetDeviceList(std::int32_t DeviceModel) = 0;
    virtual void iOrvixTaskNB1_ReadLinkedResult(iOrvixTaskNB1& Task) = 0;
    virtual void iOrvixTaskNB1_ReadMemory() = 0;
    virtual void iOrvixTaskNB1_ForgetExchange() = 0;
};

}  // namespace orvix
