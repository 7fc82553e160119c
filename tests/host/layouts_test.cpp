#include <gtest/gtest.h>

#include "host/property_bag.h"
#include "host/record_set.h"
#include "host/text.h"
#include "host/variables.h"
#include "tests/support/error_of.h"
#include "tests/support/scripted_line.h"

namespace orvix::tests {
namespace {

/// What a step raises as "number: description", empty when it raises nothing.
template <class Step>
std::string Raised(Step step) {
    const Error error = ErrorOf(step);
    return error.Number == errors::None ? "" : std::to_string(error.Number) + ": " + error.Description;
}

std::string HexOf(const ByteArray& bytes) {
    return Hex(BytesToText(bytes));
}

TEST(Layouts, EveryTypeOfAPropertyBag) {
    const struct {
        Variant Value;
        std::string Bytes;
    } cases[] = {
        {{}, "00"},
        {Null{}, "01"},
        {false, "02"},
        {true, "03"},
        {std::int16_t{-1}, "04 01"},
        {std::int16_t{63}, "04 7E"},
        {std::int16_t{64}, "04 80 01"},
        {std::int16_t{-32768}, "04 FF FF 03"},
        {std::int16_t{32767}, "04 FE FF 03"},
        {std::int32_t{300}, "05 D8 04"},
        {std::numeric_limits<std::int32_t>::min(), "05 FF FF FF FF 0F"},
        {std::numeric_limits<std::int32_t>::max(), "05 FE FF FF FF 0F"},
        {1.5F, "06 00 00 C0 3F"},
        {-2.0, "07 00 00 00 00 00 00 00 C0"},
        {Currency{10000}, "08 10 27 00 00 00 00 00 00"},
        {Date{1.0}, "09 00 00 00 00 00 00 F0 3F"},
        {"AB", "0A 02 41 42"},
        {ByteArray{7, 255}, "0B 02 07 FF"},
    };
    for (const auto& [value, bytes] : cases) {
        PropertyBag bag;
        bag.WriteProperty("k", value);
        EXPECT_EQ(HexOf(bag.Contents()), "4E 42 31 01 01 6B " + bytes);
        PropertyBag loaded(bag.Contents());
        EXPECT_EQ(loaded.ReadProperty("k"), value);
    }
    PropertyBag bag;
    bag.WriteProperty("", std::string(128, 'x'));
    EXPECT_EQ(HexOf(bag.Contents()).substr(0, 27), "4E 42 31 01 00 0A 80 01 78 ");
}

TEST(Layouts, WhatIsWrongWithAPropertyBagAndWhere) {
    const std::pair<const char*, const char*> cases[] = {
        {"4E 42 31", "no header at byte 0"},
        {"4E 42 31 00", "no header at byte 0"},
        {"4E 42 31 01 02 6B", "2 bytes needed, 1 left at byte 5"},
        {"4E 42 31 01 01 6B", "1 bytes needed, 0 left at byte 6"},
        {"4E 42 31 01 01 6B 0C", "unknown type 12 at byte 6"},
        {"4E 42 31 01 01 6B 06 00 00 00", "4 bytes needed, 3 left at byte 7"},
        {"4E 42 31 01 01 6B 0A 81 02 41", "257 bytes needed, 1 left at byte 9"},
        {"4E 42 31 01 01 6B 04 80 80 04", "integer beyond its type at byte 7"},
        {"4E 42 31 01 01 6B 04 81 80 04", "integer beyond its type at byte 7"},
        {"4E 42 31 01 01 6B 05 80 80 80 80 10", "integer beyond its type at byte 7"},
        {"4E 42 31 01 01 6B 05 80 80 80 80 80 80 80 80 80 02", "number too long at byte 7"},
        {"4E 42 31 01 01 6B 05 80 80 80 80 80 80 80 80 80 80 00", "number too long at byte 7"},
    };
    for (const auto& [bytes, error] : cases) {
        PropertyBag bag;
        EXPECT_EQ(Raised([&, hex = bytes] { bag.Contents(TextToBytes(Bytes(hex))); }),
                  std::string("321: property bag: ") + error);
        EXPECT_FALSE(bag.Exists("k"));
    }
    // What is read in order meets no second entry of a name, and whatever else is looked for tells of it.
    const PropertyBag twice(TextToBytes(Bytes("4E 42 31 01 01 6B 03 01 6B 02")));
    EXPECT_EQ(twice.ReadProperty("k"), Variant(true));
    const std::string complaint = "321: property bag: name \"k\" again at byte 7";
    EXPECT_EQ(Raised([&] { twice.ReadProperty("l"); }), complaint);
    EXPECT_EQ(Raised([&] { twice.Exists("k"); }), complaint);
    EXPECT_EQ(Raised([&] { PropertyBag(twice).WriteProperty("l", 1); }), complaint);
}

TEST(Layouts, ARecordSet) {
    RecordSet table({{"A", FieldType::Char, 2}, {"Bc", FieldType::Currency}, {"C", FieldType::Boolean}});
    for (const char* text : {"x", "yz"}) {
        table.AddNew();
        table.Set(0, text);
        if (*text == 'y') table.Set(1, Currency{-2});
        if (*text == 'y') table.Set(2, true);
        table.Update();
    }
    const std::string head =
        "4E 42 31 52 01 03 00 01 41 01 02 00 64 00 00 00 02 42 63 02 00 00 64 00 00 00 01 43 03 00 00 64 00 00 00 ";
    const std::string rows = "02 00 00 00 00 78 20 79 7A 01 00 00 00 00 00 00 00 00 FE FF FF FF FF FF FF FF 01 00 01";
    EXPECT_EQ(HexOf(table.Save()), head + rows);
    EXPECT_EQ(HexOf(RecordSet::Load(table.Save()).Save()), head + rows);

    const std::pair<std::string, const char*> broken[] = {
        {"4E 42 31 52", "no header at byte 0"},
        {"4E 42 31 52 02 03", "no header at byte 0"},
        {"4E 42 31 52 01 01 00 01 41 00 02 00 00 00 00 00", "column of unknown type or wrong size at byte 7"},
        {"4E 42 31 52 01 01 00 01 41 04 00 00 00 00 00 00", "column of unknown type or wrong size at byte 7"},
        {"4E 42 31 52 01 01 00 01 41 01 00 00 00 00 00 00", "column of unknown type or wrong size at byte 7"},
        {"4E 42 31 52 01 01 00 01 41 02 01 00 00 00 00 00", "column of unknown type or wrong size at byte 7"},
        {head + rows + " 00", "2 rows do not match the length at byte 35"},
        {head + rows.substr(0, rows.size() - 3), "2 rows do not match the length at byte 35"},
        {head + rows.substr(0, rows.size() - 5) + "00 02", "no boolean at byte 63"},
    };
    for (const auto& [bytes, error] : broken) {
        EXPECT_EQ(Raised([&, hex = bytes] { RecordSet::Load(TextToBytes(Bytes(hex))); }),
                  std::string("321: record set: ") + error);
    }
    const auto accepts = [](FieldDefinition field) { return Raised([&] { RecordSet({field}); }).empty(); };
    for (const int size : {0, 1, 65535, 65536})
        EXPECT_EQ(accepts({"A", FieldType::Char, size}), size == 1 || size == 65535);
    EXPECT_FALSE(accepts({"A", FieldType::Boolean, 1}));
    for (const std::size_t columns : {65535U, 65536U}) {
        const RecordSet wide(std::vector<FieldDefinition>(columns, {"", FieldType::Boolean}));
        EXPECT_EQ(Raised([&] { wide.Save(); }).empty(), columns == 65535);
    }
    for (const std::size_t length : {255U, 256U})
        EXPECT_EQ(accepts({std::string(length, 'n'), FieldType::Currency}), length == 255);
}

// One flag at a time, so that no two can stand for each other.
TEST(Layouts, AVariableRecord) {
    for (const std::string flag : {"Valid", "Suspended", "Pending", "Monitored"}) {
        PropertyBag bag;
        bag.WriteProperty("Description", "Temp");
        bag.WriteProperty("Tag", "tag");
        bag.WriteProperty("Value", 21.5F);
        bag.WriteProperty("Valid", flag == "Valid");
        bag.WriteProperty("VarID", 2);
        bag.WriteProperty("Suspended", flag == "Suspended");
        bag.WriteProperty("Pending", flag == "Pending");
        bag.WriteProperty("MonitorFlag", 1);
        bag.WriteProperty("MonitorInterval", 4000);
        bag.WriteProperty("Monitored", flag == "Monitored");
        VariableRecord record;
        record.SetSuperState(bag.Contents());
        EXPECT_EQ(record.GetSuperState(), bag.Contents());
        EXPECT_EQ(record.Valid(), flag == "Valid");
        EXPECT_EQ(record.Suspended(), flag == "Suspended");
        EXPECT_EQ(record.Pending(), flag == "Pending");
        EXPECT_EQ(record.Monitored(), flag == "Monitored");
        EXPECT_EQ(record.Description() + record.Tag() + record.Value().ToText(), "Temptag21.5");
        EXPECT_EQ(record.VarID() + record.MonitorFlag() + record.MonitorInterval(), 4003);
        record.SetSuperState(PropertyBag().Contents());
        EXPECT_EQ(record.GetSuperState(), bag.Contents()) << "a missing entry keeps its field";
    }
}

}  // namespace
}  // namespace orvix::tests
