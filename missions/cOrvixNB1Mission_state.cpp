#include "missions/cOrvixNB1Mission.h"

namespace orvix {
namespace {

void Assign(std::string& field, const Variant& value) {
    field = value.ToText();
}
void Assign(bool& field, const Variant& value) {
    field = value.ToBoolean();
}
void Assign(float& field, const Variant& value) {
    field = value.ToSingle();
}

}  // namespace

template <class Mission, class Visit>
void cOrvixNB1Mission::ForEachStateField(Mission& mission, Visit visit) {
    visit("Name", mission.m_Name);
    visit("NewName", mission.m_NewName);
    visit("AlarmHighFlag", mission.m_AlarmHighFlag);
    visit("AlarmLowFlag", mission.m_AlarmLowFlag);
    visit("MinTemp", mission.m_MinTemp);
    visit("MaxTemp", mission.m_MaxTemp);
    visit("StatusLoaded", mission.m_StatusLoaded);
    visit("StatusChanged", mission.m_StatusChanged);
    visit("TempLogLoaded", mission.m_TempLogLoaded);
    visit("TempLogChanged", mission.m_TempLogChanged);
    visit("AlmostOneAlarm", mission.m_AlmostOneAlarm);
    visit("LastAlarmStatus", mission.m_LastAlarmStatus);
    visit("LastAlarmInfo", mission.m_LastAlarmInfo);
    visit("NewAlarm", mission.m_NewAlarm);
    visit("NewAlarmInfo", mission.m_NewAlarmInfo);
}

PropertyBag cOrvixNB1Mission::BuildStateBag() const {
    PropertyBag bag;
    ForEachStateField(*this, [&bag](const char* key, const auto& field) { bag.WriteProperty(key, field); });
    return bag;
}

void cOrvixNB1Mission::LoadStateBag(const PropertyBag& bag) {
    ForEachStateField(*this, [&bag](const char* key, auto& field) { Assign(field, bag.ReadProperty(key)); });
}

ByteArray cOrvixNB1Mission::iOrvixNB1Mission_GetSuperState() const {
    PropertyBag outer;
    outer.WriteProperty("State", BuildStateBag().Contents());
    return outer.Contents();
}

void cOrvixNB1Mission::iOrvixNB1Mission_SetSuperState(ByteView arState) {
    ResetLogs(false);
    const PropertyBag outer(ByteArray(arState.begin(), arState.end()));
    const PropertyBag inner(outer.ReadProperty("State").ToBytes());
    LoadStateBag(inner);
}

}  // namespace orvix
