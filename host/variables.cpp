#include "host/variables.h"

#include <algorithm>

#include "host/error.h"
#include "host/property_bag.h"
#include "host/text.h"

namespace orvix {

namespace {

constexpr char kTagPrefix[] = "NB1/";
constexpr std::ptrdiff_t kTagSlashes = 4;

/// The entry of `key` in a collection's items, or its end.
template <class Items>
auto Find(Items& items, std::string_view key) {
    return std::find_if(items.begin(), items.end(), [key](const auto& item) { return item.first == key; });
}

template <class Items>
auto FindExisting(Items& items, std::string_view key) {
    const auto found = Find(items, key);
    if (found == items.end()) throw Error(errors::MissingItem, "no variable \"" + std::string(key) + '"');
    return found;
}

}  // namespace

void VariableRecord::Valid(bool rhs) {
    m_Valid = rhs;
    const auto handler = m_OnValid;  // which may set another
    if (handler) handler(*this);
}

ByteArray VariableRecord::GetSuperState() const {
    PropertyBag bag;
    bag.WriteProperty("Description", m_Description);
    bag.WriteProperty("Tag", m_Tag);
    bag.WriteProperty("Value", m_Value);
    bag.WriteProperty("Valid", m_Valid);
    bag.WriteProperty("VarID", m_VarID);
    bag.WriteProperty("Suspended", m_Suspended);
    bag.WriteProperty("Pending", m_Pending);
    bag.WriteProperty("MonitorFlag", m_MonitorFlag);
    bag.WriteProperty("MonitorInterval", m_MonitorInterval);
    bag.WriteProperty("Monitored", m_Monitored);
    return bag.Contents();
}

void VariableRecord::SetSuperState(ByteView state) {
    const PropertyBag bag(ByteArray(state.begin(), state.end()));
    VariableRecord restored = *this;
    restored.m_Description = bag.ReadProperty("Description", m_Description).ToText();
    restored.m_Tag = bag.ReadProperty("Tag", m_Tag).ToText();
    restored.m_Value = bag.ReadProperty("Value", m_Value);
    restored.m_Valid = bag.ReadProperty("Valid", m_Valid).ToBoolean();
    restored.m_VarID = bag.ReadProperty("VarID", m_VarID).ToLong();
    restored.m_Suspended = bag.ReadProperty("Suspended", m_Suspended).ToBoolean();
    restored.m_Pending = bag.ReadProperty("Pending", m_Pending).ToBoolean();
    restored.m_MonitorFlag = bag.ReadProperty("MonitorFlag", m_MonitorFlag).ToLong();
    restored.m_MonitorInterval = bag.ReadProperty("MonitorInterval", m_MonitorInterval).ToLong();
    restored.m_Monitored = bag.ReadProperty("Monitored", m_Monitored).ToBoolean();
    *this = std::move(restored);
}

bool VariableCollection::Exists(std::string_view key) const {
    return Find(*m_Items, key) != m_Items->end();
}

VariableRef VariableCollection::Item(std::string_view key) const {
    return FindExisting(*m_Items, key)->second;
}

VariableRef VariableCollection::Add(std::string_view key) {
    auto record = std::make_shared<VariableRecord>();
    Add(key, record);
    return record;
}

void VariableCollection::Add(std::string_view key, VariableRef record) {
    if (Exists(key)) throw Error(errors::General, "variable \"" + std::string(key) + "\" is there already");
    OwnItems().emplace_back(key, std::move(record));
}

void VariableCollection::Remove(std::string_view key) {
    Items& items = OwnItems();
    items.erase(FindExisting(items, key));
}

VariableCollection::Items& VariableCollection::OwnItems() {
    if (m_Items.use_count() > 1) m_Items = std::make_shared<Items>(*m_Items);
    return *m_Items;
}

std::string VariableTag(std::int32_t portType, std::string_view portAddress, std::int32_t family,
                        std::string_view deviceAddress, std::int32_t varID) {
    std::string tag = kTagPrefix + NumberText(portType) + 'x';
    tag.append(portAddress).append("/").append(NumberText(family)).append("/");
    return tag.append(deviceAddress).append("/").append(NumberText(varID));
}

bool IsVariableTag(std::string_view text) {
    return text.starts_with(kTagPrefix) && std::count(text.begin(), text.end(), '/') >= kTagSlashes;
}

}  // namespace orvix
