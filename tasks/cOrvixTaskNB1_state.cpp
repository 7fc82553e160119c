#include <algorithm>
#include <cstddef>
#include <cstdint>
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

std::string ItemKey(std::string_view prefix, std::size_t position) {
    std::string key(prefix);
    return key += std::to_string(position);
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

    void ItemsThenCount(std::string_view prefix, std::string_view countKey, const VariantList& list) {
        Items(prefix, list);
        Count(countKey, list);
    }
    void CountThenItems(std::string_view countKey, std::string_view prefix, const VariantList& list) {
        Count(countKey, list);
        Items(prefix, list);
    }

private:
    void Items(std::string_view prefix, const VariantList& list) {
        std::size_t position = 0;
        for (const Variant& item : list)
            m_Bag.Add(ItemKey(prefix, ++position), item);
    }
    void Count(std::string_view key, const VariantList& list) {
        m_Bag.Add(key, static_cast<std::int32_t>(list.size()));
    }

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

    void ItemsThenCount(std::string_view prefix, std::string_view countKey, VariantList& list) {
        Variant item;
        while (m_Bag.ReadNext(ItemKey(prefix, list.size() + 1), item))
            list.push_back(std::exchange(item, {}));
        CountThenItems(countKey, prefix, list);
    }
    /// Items beyond the count are dropped. Nothing keeps the count from being larger than what is there.
    void CountThenItems(std::string_view countKey, std::string_view prefix, VariantList& list) {
        std::int32_t count = 0;
        m_Bag.Read(countKey, count);
        const auto limit = static_cast<std::size_t>(std::max(count, 0));
        if (list.size() > limit) list.resize(limit);
        Variant item;
        while (list.size() < limit && m_Bag.Read(ItemKey(prefix, list.size() + 1), item))
            list.push_back(std::exchange(item, {}));
    }

private:
    const PropertyBag& m_Bag;
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
    visitor.ItemsThenCount("Param", "ParamsCount", task.m_Params);
    visitor.CountThenItems("RtnArgsCount", "RtnArg", task.m_RtnArgs);
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
    const PropertyBag outer(std::move(state));
    Variant device;  // stands first, and is not loaded back
    outer.ReadNext(kDeviceKey, device);
    const PropertyBag inner(outer.ReadProperty(kStateKey).ToBytes());
    try {
        VisitState(*this, StateReader(inner));
    } catch (...) {
        // A task is loaded whole or not at all.
        Clear();
        throw;
    }
}

}  // namespace orvix
