// Stored states: of tasks, missions and variable records, and the property bags and record sets they are made of.
//
// Input: a letter from the table at the end, then the bytes of the state. The small letters wrap them into the outer
// bag of a state first, so that what lies inside is reached without its length being right.

#include <algorithm>

#include "fuzz/support/input.h"
#include "fuzz/support/require.h"
#include "host/property_bag.h"
#include "host/record_set.h"
#include "host/text.h"
#include "host/variables.h"
#include "missions/cOrvixNB1DMMission.h"
#include "missions/cOrvixNB1TPMission.h"
#include "tasks/cOrvixTaskNB1.h"
#include "tests/support/test_host.h"

namespace orvix::fuzz {
namespace {

struct Hosted {
    tests::World World;
    tests::TestHost Host{World};
};

ByteArray Outer(const ByteArray& inner) {
    PropertyBag bag;
    bag.WriteProperty("Device", "");
    bag.WriteProperty("State", inner);
    return bag.Contents();
}

/// What has been accepted is written in a form that is accepted again and gives the same.
template <class Keeper>
void KeepsItsState(Keeper& first, Keeper& second, const ByteArray& bytes) {
    if (!Accepts([&] { first.SetSuperState(bytes); })) return;
    const ByteArray state = first.GetSuperState();
    second.SetSuperState(state);
    Require(second.GetSuperState() == state, "a state that was saved is loaded whole");
}

void Task(const ByteArray& bytes) {
    Hosted hosted;
    cOrvixTaskNB1 first(hosted.Host.Services);
    cOrvixTaskNB1 second(hosted.Host.Services);
    KeepsItsState<iOrvixTaskNB1>(first, second, bytes);
    static_cast<iOrvixTaskNB1&>(first).Tag();
}

template <class MissionClass>
void Mission(const ByteArray& bytes) {
    Hosted hosted;
    MissionClass first(hosted.Host.Services);
    MissionClass second(hosted.Host.Services);
    KeepsItsState<iOrvixNB1Mission>(first, second, bytes);
}

void Record(const ByteArray& bytes) {
    VariableRecord first;
    VariableRecord second;
    KeepsItsState(first, second, bytes);
}

/// A bag, and what its values convert to.
void Bag(const ByteArray& bytes) {
    PropertyBag bag;
    if (!Accepts([&] { bag.Contents(bytes); })) return;
    Require(bag.Contents() == bytes, "a bag keeps the bytes that it was given");
    if (!Accepts([&] { bag.Exists("a"); })) return;  // a name stands twice
    for (const char* name : {"", "a", "b", "State"}) {
        const Variant value = bag.ReadProperty(name, 1);
        Accepts([&] { value.ToLong(); });
        Accepts([&] { value.ToInteger(); });
        Accepts([&] { value.ToSingle(); });
        Accepts([&] { value.ToBoolean(); });
        Accepts([&] { value.ToBytes(); });
        Accepts([&] { value.ToText(); });
        bag.WriteProperty(name, value);
        PropertyBag copy(bag.Contents());
        Require(copy.Contents() == bag.Contents() && copy.Exists(name), "a bag that was written is read");
    }
}

void Table(const ByteArray& bytes) {
    Accepts([&] {
        RecordSet table = RecordSet::Load(bytes);
        const ByteArray saved = table.Save();
        Require(RecordSet::Load(saved).Save() == saved, "a table that was saved is loaded whole");
        for (const auto& field : table.Fields()) {
            Accepts([&] { table.Sort(field.Name + " desc"); });
            std::size_t rows = 0;
            for (table.MoveFirst(); !table.EndOfFile(); table.MoveNext(), ++rows)
                table.Field(field.Name);
            Require(rows == table.RecordCount(), "a walk meets every row");
        }
    });
}

constexpr struct {
    char Letter;
    bool Wrapped;
    void (*Run)(const ByteArray& bytes);
} kStates[] = {
    {'T', false, Task},
    {'t', true, Task},
    {'M', false, Mission<cOrvixNB1TPMission>},
    {'m', true, Mission<cOrvixNB1TPMission>},
    {'d', true, Mission<cOrvixNB1DMMission>},
    {'V', false, Record},
    {'B', false, Bag},
    {'R', false, Table},
};

}  // namespace
}  // namespace orvix::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace orvix::fuzz;
    Input input(data, size);
    const char letter = static_cast<char>(input.Byte());
    const orvix::ByteArray bytes = orvix::TextToBytes(input.Rest());
    for (const auto& state : kStates) {
        if (state.Letter == letter) state.Run(state.Wrapped ? Outer(bytes) : bytes);
    }
    return 0;
}
