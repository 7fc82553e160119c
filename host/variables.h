#pragma once

#include <cstdint>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/variant.h"

namespace orvix {

/// One variable of a device, as the host shows it.
class VariableRecord {
public:
    const std::string& Description() const { return m_Description; }
    void Description(std::string rhs) { m_Description = std::move(rhs); }
    /// Unique name of the variable on its port.
    const std::string& Tag() const { return m_Tag; }
    void Tag(std::string rhs) { m_Tag = std::move(rhs); }
    const Variant& Value() const { return m_Value; }
    void Value(Variant rhs) { m_Value = std::move(rhs); }
    bool Valid() const { return m_Valid; }
    /// Every write notifies, also one that changes nothing: it tells that an answer has come.
    void Valid(bool rhs);
    /// A value of ORVIXCNB1_VARS.
    std::int32_t VarID() const { return m_VarID; }
    void VarID(std::int32_t rhs) { m_VarID = rhs; }
    bool Suspended() const { return m_Suspended; }
    void Suspended(bool rhs) { m_Suspended = rhs; }
    /// A request is outstanding.
    bool Pending() const { return m_Pending; }
    void Pending(bool rhs) { m_Pending = rhs; }
    /// Polling kind; 1 is read by polling.
    std::int32_t MonitorFlag() const { return m_MonitorFlag; }
    void MonitorFlag(std::int32_t rhs) { m_MonitorFlag = rhs; }
    /// Polling interval in milliseconds.
    std::int32_t MonitorInterval() const { return m_MonitorInterval; }
    void MonitorInterval(std::int32_t rhs) { m_MonitorInterval = rhs; }
    bool Monitored() const { return m_Monitored; }
    void Monitored(bool rhs) { m_Monitored = rhs; }

    /// Called after every write of Valid.
    void OnValid(std::function<void(VariableRecord&)> handler) { m_OnValid = std::move(handler); }

    /// The record as a property bag with the entries "Description", "Tag", "Value", "Valid", "VarID", "Suspended",
    /// "Pending", "MonitorFlag", "MonitorInterval", "Monitored".
    ByteArray GetSuperState() const;
    /// Raises InvalidContents for bytes that are no bag, and leaves the record as it was. A missing entry keeps its
    /// field.
    void SetSuperState(ByteView state);

private:
    std::string m_Description;
    std::string m_Tag;
    Variant m_Value;
    bool m_Valid = false;
    std::int32_t m_VarID = 0;
    bool m_Suspended = false;
    bool m_Pending = false;
    std::int32_t m_MonitorFlag = 0;
    std::int32_t m_MonitorInterval = 0;
    bool m_Monitored = false;
    std::function<void(VariableRecord&)> m_OnValid;
};

using VariableRef = std::shared_ptr<VariableRecord>;

/// Variable records in order of addition, each under a key: the decimal text of its VarID in a device's collection, its
/// tag in a collection of all devices.
class VariableCollection {
    using Items = std::vector<std::pair<std::string, VariableRef>>;

public:
    /// Walks what the collection held at the beginning.
    class Iterator {
    public:
        explicit Iterator(std::shared_ptr<const Items> items) : m_Items(std::move(items)) {}

        const Items::value_type& operator*() const { return (*m_Items)[m_At]; }
        Iterator& operator++() {
            ++m_At;
            return *this;
        }
        bool operator==(std::default_sentinel_t) const { return m_At == m_Items->size(); }

    private:
        std::shared_ptr<const Items> m_Items;
        std::size_t m_At = 0;
    };

    VariableCollection() = default;
    /// Copies share their items until one of them changes. Moving is copying: what is left behind can be used.
    VariableCollection(const VariableCollection&) = default;
    VariableCollection& operator=(const VariableCollection&) = default;
    ~VariableCollection() = default;

    bool Exists(std::string_view key) const;
    /// Raises MissingItem, naming the key.
    VariableRef Item(std::string_view key) const;
    std::size_t Count() const { return m_Items->size(); }
    /// Adds a new record. Raises General when the key is taken.
    VariableRef Add(std::string_view key);
    /// Adds a record that stands in another collection too.
    void Add(std::string_view key, VariableRef record);
    /// Raises MissingItem, naming the key.
    void Remove(std::string_view key);
    void Clear() { m_Items = std::make_shared<Items>(); }

    /// Key and record, in order of addition. The collection may be changed meanwhile.
    Iterator begin() const { return Iterator(m_Items); }
    std::default_sentinel_t end() const { return {}; }

private:
    /// The items, no longer those that others go through.
    Items& OwnItems();

    std::shared_ptr<Items> m_Items = std::make_shared<Items>();
};

/// The variable-naming service: "NB1/<port type>x<port address>/<family>/<device address>/<variable>".
std::string VariableTag(std::int32_t portType, std::string_view portAddress, std::int32_t family,
                        std::string_view deviceAddress, std::int32_t varID);

/// Whether a text is one that VariableTag makes.
bool IsVariableTag(std::string_view text);

}  // namespace orvix
