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

class StateWriter {
public:
    explicit StateWriter(PropertyBag& bag) : m_Bag(bag) {}

    template <class T>
    void Field(std::string_view key, const T& field) {
        m_Bag.WriteProperty(key, field);
    }
    void Field(std::string_view key, ORVIXCNB1_TASK_ACTION field) { m_Bag.WriteProperty(key, std::int32_t{field}); }

    void Items(std::string_view prefix, const VariantList& list) {
        std::int32_t position = 0;
        for (const Variant& item : list)
            m_Bag.WriteProperty(ItemKey(prefix, ++position), item);
    }
    void Count(std::string_view key, const VariantList& list) {
        m_Bag.WriteProperty(key, static_cast<std::int32_t>(list.size()));
    }

private:
    PropertyBag& m_Bag;
};

/// A field whose entry is missing keeps its cleared value.
class StateReader {
public:
    explicit StateReader(const PropertyBag& bag) : m_Bag(bag) {}

    void Field(std::string_view key, std::string& field) { field = m_Bag.ReadProperty(key, field).ToText(); }
    void Field(std::string_view key, std::int32_t& field) { field = m_Bag.ReadProperty(key, field).ToLong(); }
    void Field(std::string_view key, bool& field) { field = m_Bag.ReadProperty(key, field).ToBoolean(); }
    void Field(std::string_view key, Variant& field) { field = m_Bag.ReadProperty(key, field); }
    void Field(std::string_view key, ORVIXCNB1_TASK_ACTION& field) {
        field = static_cast<ORVIXCNB1_TASK_ACTION>(m_Bag.ReadProperty(key, std::int32_t{field}).ToLong());
    }

    void Items(std::string_view prefix, VariantList& list) {
        for (std::int32_t position = 1; position <= m_Limit; ++position) {
            const std::string key = ItemKey(prefix, position);
            if (!m_Bag.Exists(key)) return;
            list.push_back(m_Bag.ReadProperty(key));
        }
    }
    /// A count stands behind the items of its list or in front of them: it cuts what has been read and limits what
    /// follows. Nothing keeps it from being larger than what is there.
    void Count(std::string_view key, VariantList& list) {
        m_Limit = std::max(m_Bag.ReadProperty(key, 0).ToLong(), 0);
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
    outer.WriteProperty(kDeviceKey, m_Device ? Variant(m_Device->GetSuperState()) : Variant(""));
    PropertyBag inner;
    VisitState(*this, StateWriter(inner));
    outer.WriteProperty(kStateKey, inner.Contents());
    return outer.Contents();
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
