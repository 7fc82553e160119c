#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <utility>

#include "host/iOrvixDevice.h"
#include "host/property_bag.h"
#include "tasks/cOrvixTaskNB1.h"

namespace orvix {
namespace {

constexpr char kDeviceKey[] = "Device";
constexpr char kStateKey[] = "State";

std::string ItemKey(std::string_view prefix, std::int32_t position) {
    return std::string(prefix) + std::to_string(position);
}

/// The entries' names are all different.
class StateWriter {
public:
    explicit StateWriter(PropertyBag& bag) : m_Bag(bag) {}

    template <class T>
    void Field(std::string_view key, const T& field) {
        m_Bag.Add(key, field);
    }
    void Field(std::string_view key, ORVIXCNB1_TASK_ACTION field) { m_Bag.Add(key, std::int32_t{field}); }

    void Items(std::string_view prefix, const VariantList& list) {
        std::int32_t position = 0;
        for (const Variant& item : list)
            m_Bag.Add(ItemKey(prefix, ++position), item);
    }
    void Count(std::string_view key, const VariantList& list) {
        m_Bag.Add(key, static_cast<std::int32_t>(list.size()));
    }

private:
    PropertyBag& m_Bag;
};

/// A field whose entry is missing keeps its cleared value.
class StateReader {
public:
    explicit StateReader(const PropertyBag& bag) : m_Bag(bag) {}

    template <class T>
    void Field(std::string_view key, T& field) {
        m_Bag.Read(key, field);
    }
    void Field(std::string_view key, ORVIXCNB1_TASK_ACTION& field) {
        std::int32_t number = field;
        m_Bag.Read(key, number);
        field = static_cast<ORVIXCNB1_TASK_ACTION>(number);
    }

    void Items(std::string_view prefix, VariantList& list) {
        for (std::int32_t position = 1; position <= m_Limit; ++position) {
            Variant item;
            if (!m_Bag.Read(ItemKey(prefix, position), item)) return;
            list.push_back(std::move(item));
        }
    }
    /// A count stands behind the items of its list or in front of them: it cuts what has been read and limits what
    /// follows. Nothing keeps it from being larger than what is there.
    void Count(std::string_view key, VariantList& list) {
        m_Limit = 0;
        m_Bag.Read(key, m_Limit);
        m_Limit = std::max(m_Limit, 0);
        if (list.size() > static_cast<std::size_t>(m_Limit)) list.resize(static_cast<std::size_t>(m_Limit));
    }

private:
    const PropertyBag& m_Bag;
    std::int32_t m_Limit = std::numeric_limits<std::int32_t>::max();
};

}  // namespace

template <class Task, class Visitor>
void cOrvixTaskNB1::VisitState(Task& task, Visitor visitor) {
    visitor.Field("ID", task.m_ID);
    visitor.Field("CmdType", task.m_CmdType);
    visitor.Field("Cmd", task.m_Cmd);
    visitor.Field("CmdSended", task.m_CmdSended);
    visitor.Field("CmdExecuted", task.m_CmdExecuted);
    visitor.Field("ResponseAsParameter", task.m_ResponseAsParameter);
    visitor.Field("Response", task.m_Response);
    visitor.Field("ResponseBytes", task.m_ResponseBytes);
    visitor.Field("DataReturnedAsArray", task.m_DataReturnedAsArray);
    visitor.Field("Arrival", task.m_Arrival);
    visitor.Field("ArrivalBytes", task.m_ArrivalBytes);
    visitor.Field("ArrivalExpectedBytes", task.m_ArrivalExpectedBytes);
    visitor.Field("WaitingMultiPart", task.m_WaitingMultiPart);
    visitor.Items("Param", task.m_Params);
    visitor.Count("ParamsCount", task.m_Params);
    visitor.Count("RtnArgsCount", task.m_RtnArgs);
    visitor.Items("RtnArg", task.m_RtnArgs);
    visitor.Field("Name", task.m_Name);
    visitor.Field("TimeoutInterval", task.m_TimeoutInterval);
    visitor.Field("NetTimeoutInterval", task.m_NetTimeoutInterval);
    visitor.Field("e", task.m_e);
    visitor.Field("eDescr", task.m_eDescr);
    visitor.Field("ContinueIfFail", task.m_ContinueIfFail);
    visitor.Field("MemMapKey", task.m_MemoryMapKey);
    visitor.Field("DeviceAddress", task.m_DeviceAddress);
    visitor.Field("DeviceModel", task.m_DeviceModel);
}

ByteArray cOrvixTaskNB1::iOrvixTask_GetSuperState() const {
    PropertyBag outer;
    if (m_Device) {
        outer.Add(kDeviceKey, m_Device->GetSuperState());
    } else {
        outer.Add(kDeviceKey, std::string());
    }
    PropertyBag inner;
    VisitState(*this, StateWriter(inner));
    outer.Add(kStateKey, inner.Contents());
    return std::move(outer).Contents();
}

void cOrvixTaskNB1::iOrvixTask_SetSuperState(ByteView arState) {
    // The bytes may stand in a list of this very task.
    ByteArray state(arState.begin(), arState.end());
    Clear();
    PropertyBag outer;
    outer.Contents(std::move(state));
    PropertyBag inner;
    inner.Contents(outer.ReadProperty(kStateKey).ToBytes());
    try {
        VisitState(*this, StateReader(inner));
    } catch (...) {
        // A task is loaded whole or not at all.
        Clear();
        throw;
    }
}

}  // namespace orvix
