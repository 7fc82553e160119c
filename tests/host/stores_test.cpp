#include <gtest/gtest.h>

#include <sys/resource.h>

#include <random>

#include "host/checksum.h"
#include "host/error.h"
#include "host/property_bag.h"
#include "host/record_set.h"
#include "host/text.h"
#include "host/variables.h"

namespace orvix {
namespace {

/// Feeds damaged copies of valid bytes and random bytes to `load`: each is accepted or refused with InvalidContents.
template <class Load>
void ExpectOnlyInvalidContents(const ByteArray& valid, Load load) {
    std::mt19937 random(1);  // NOLINT: the same run every time
    const auto tryLoad = [&](const ByteArray& bytes) {
        try {
            load(bytes);
        } catch (const Error& error) {
            EXPECT_EQ(error.Number, errors::InvalidContents);
        }
    };
    for (std::size_t length = 0; length < valid.size(); ++length) {
        tryLoad({valid.begin(), valid.begin() + static_cast<std::ptrdiff_t>(length)});
    }
    for (int i = 0; i < 20000; ++i) {
        ByteArray bytes = valid;
        for (std::size_t changes = 1 + random() % 4; changes > 0; --changes) {
            bytes[random() % bytes.size()] = static_cast<std::uint8_t>(random() % 3 == 0 ? 0xFF : random());
        }
        tryLoad(bytes);
    }
}

const std::pair<const char*, Variant> kEntries[] = {
    {"Empty", {}},
    {"Null", Null{}},
    {"True", true},
    {"Int16", std::int16_t{-32768}},
    {"Min", std::numeric_limits<std::int32_t>::min()},
    {"Single", -0.1F},
    {"Double", 0.1},
    {"Money", Currency{-215000}},
    {"Date", Date{45000.25}},
    {"Text", std::string("\0\xFFtext", 6)},
    {"Bytes", ByteArray(300, 7)},
    {"", "no name"},
};

PropertyBag SampleBag() {
    PropertyBag bag;
    for (const auto& [name, value] : kEntries)
        bag.WriteProperty(name, value);
    return bag;
}

TEST(PropertyBagTest, EveryTypeComesBackInAnyOrder) {
    PropertyBag bag(SampleBag().Contents());
    for (const auto& [name, value] : kEntries)
        EXPECT_EQ(bag.ReadProperty(name), value) << name;
    for (auto entry = std::rbegin(kEntries); entry != std::rend(kEntries); ++entry) {
        EXPECT_EQ(bag.ReadProperty(entry->first), entry->second) << entry->first;
    }
    EXPECT_FALSE(bag.Exists("text"));
    EXPECT_EQ(bag.ReadProperty("text", 5), Variant(5));
    EXPECT_THROW(bag.ReadProperty("text"), Error);
}

TEST(PropertyBagTest, AnEntryWrittenAgainKeepsItsPlace) {
    PropertyBag bag;
    bag.WriteProperty("a", "one");
    bag.WriteProperty("b", 2);
    bag.WriteProperty("a", std::string(200, 'x'));
    bag.WriteProperty("c", 3);
    bag.WriteProperty("a", true);
    PropertyBag expected;
    expected.Add("a", true);
    EXPECT_TRUE(expected.Exists("a"));
    expected.Add("b", std::int32_t{2});
    expected.WriteProperty("b", 2);
    expected.Add("c", Variant(3));
    EXPECT_EQ(bag.Contents(), expected.Contents());
    EXPECT_EQ(expected.ReadProperty("c"), Variant(3));
}

/// What a field holds after an entry of that value has been read into it.
template <class T>
Variant ReadInto(const Variant& value) {
    PropertyBag bag;
    bag.WriteProperty("k", value);
    T field{};
    EXPECT_FALSE(bag.Read("other", field));
    EXPECT_EQ(field, T{});
    EXPECT_TRUE(bag.Read("k", field));
    return field;
}

TEST(PropertyBagTest, EntriesAreReadIntoFieldsAsTheirValuesConvert) {
    for (const auto& [name, value] : kEntries) {
        SCOPED_TRACE(name);
        const auto expectLike = [&, it = value](auto read, auto convert) {
            try {
                const Variant expected = convert(it);
                EXPECT_EQ(read(it), expected);
            } catch (const Error& error) {
                EXPECT_THROW(read(it), Error) << error.Description;
            }
        };
        expectLike(ReadInto<bool>, [](const Variant& it) { return it.ToBoolean(); });
        expectLike(ReadInto<std::int32_t>, [](const Variant& it) { return it.ToLong(); });
        expectLike(ReadInto<std::string>, [](const Variant& it) { return it.ToText(); });
        expectLike(ReadInto<Variant>, [](const Variant& it) { return it; });
    }
    EXPECT_EQ(ReadInto<bool>(false), Variant(false));
}

TEST(PropertyBagTest, BrokenContentsAreRefusedAndChangeNothing) {
    const ByteArray valid = SampleBag().Contents();
    PropertyBag bag = SampleBag();
    ExpectOnlyInvalidContents(valid, [](const ByteArray& bytes) { PropertyBag().Contents(bytes); });
    const std::string broken[] = {
        "",
        std::string("NB1\x02", 4),                                // another version
        std::string("NB1\x01\x01z\x0A\xFF\xFF\xFF\xFF\x0F", 12),  // a text of 4 GiB
        std::string("NB1\x01\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x7F", 14),
    };
    for (const std::string& bytes : broken) {
        EXPECT_THROW(bag.Contents(TextToBytes(bytes)), Error) << bytes;
        EXPECT_EQ(bag.Contents(), valid);
    }
}

TEST(PropertyBagTest, ASealShowsEverySingleErrorAndWhatIsMissing) {
    EXPECT_EQ(Crc32(TextToBytes("123456789")), 0xCBF43926U);
    PropertyBag answer;
    answer.WriteProperty("a", 42);
    EXPECT_EQ(answer.SealedContents(), TextToBytes(std::string("NB1\2\1a\5T\x10\0\0\0\xC7\x2B\x48\xA9", 16)));
    const PropertyBag bag = SampleBag();
    const ByteArray sealed = bag.SealedContents();
    PropertyBag loaded(sealed);
    EXPECT_EQ(loaded.Contents(), bag.Contents()) << "the first layout again";
    EXPECT_EQ(loaded.SealedContents(), sealed);

    const auto refused = [&](ByteArray bytes) {
        EXPECT_THROW(loaded.Contents(std::move(bytes)), Error);
        EXPECT_EQ(loaded.Contents(), bag.Contents());
    };
    for (std::size_t bit = 0; bit < 8 * sealed.size(); ++bit) {
        SCOPED_TRACE(bit);
        ByteArray damaged = sealed;
        damaged[bit / 8] ^= static_cast<std::uint8_t>(1U << bit % 8);
        refused(std::move(damaged));
    }
    for (std::size_t length = 0; length < sealed.size(); ++length)
        refused({sealed.begin(), sealed.begin() + static_cast<std::ptrdiff_t>(length)});
    ByteArray longer = sealed;
    longer.push_back(0);
    refused(std::move(longer));
}

const std::vector<FieldDefinition> kFields = {
    {"TimeVal", FieldType::Char, 4}, {"Temp", FieldType::Currency}, {"isHIAlarm", FieldType::Boolean}};

RecordSet SampleTable(std::size_t rows) {
    RecordSet table(kFields);
    for (std::size_t i = 0; i < rows; ++i) {
        table.AddNew();
        table.Set(0, std::to_string(i % 7));
        if (i % 5 != 0) table.Set(1, Currency{static_cast<std::int64_t>(i % 3) - 1});
        table.Set(2, i % 2 == 0);
        table.Update();
    }
    return table;
}

TEST(RecordSetTest, RowsCountWhenTheyAreCommitted) {
    RecordSet table(kFields);
    EXPECT_TRUE(table.EndOfFile());
    EXPECT_THROW(table.Set(0, "x"), Error);
    table.AddNew();
    table.Set(table.ColumnOf("TIMEVAL"), "too long");
    EXPECT_EQ(table.RecordCount(), 0U);
    table.AddNew();
    EXPECT_THROW(table.Set(1, true), Error);
    table.Update();
    EXPECT_EQ(table.RecordCount(), 1U);
    EXPECT_TRUE(table.Field("timeval").IsNull());
    EXPECT_THROW(table.Field("none"), Error);
    table.AddNew();
    table.Set(0, "too long");
    table.Set(1, Currency{5});
    table.Update();
    table.AddNewAlike();
    table.Set(0, "x");
    table.Update();
    table.MoveNext();
    EXPECT_EQ(table.Field(0), Variant("too"));
    table.MoveNext();
    EXPECT_EQ(table.Field(0), Variant("x"));
    EXPECT_EQ(table.Field(1), Variant(Currency{5}));
    EXPECT_TRUE(table.Field(2).IsNull());
    table.MoveNext();
    EXPECT_THROW(table.Field(0), Error);
}

/// Rows as the cursor walks them.
std::vector<VariantList> Walk(RecordSet& table) {
    std::vector<VariantList> rows;
    for (table.MoveFirst(); !table.EndOfFile(); table.MoveNext()) {
        rows.push_back({table.Field(0), table.Field(1), table.Field(2)});
    }
    return rows;
}

TEST(RecordSetTest, SortIsStableWithNullsFirstAndCanBeCleared) {
    RecordSet table = SampleTable(2000);  // several blocks
    const auto unsorted = Walk(table);
    const auto key = [](const VariantList& row) {
        const auto* money = row[1].As<Currency>();
        return money == nullptr ? std::int64_t{-1000} : money->Scaled;
    };
    auto expected = unsorted;
    std::stable_sort(expected.begin(), expected.end(), [&](const auto& a, const auto& b) { return key(a) < key(b); });
    table.Sort("temp ASC");
    EXPECT_EQ(Walk(table), expected);
    table.Sort("Temp desc");
    EXPECT_TRUE(table.Field("Temp").IsNull());
    const auto descending = Walk(table);
    EXPECT_EQ(descending[400][1], Variant(Currency{1}));
    EXPECT_EQ(descending.back()[1], Variant(Currency{-1}));
    for (const bool down : {false, true}) {
        expected = unsorted;
        std::stable_sort(expected.begin(), expected.end(), [&](const auto& a, const auto& b) {
            return down ? b[0].ToText() < a[0].ToText() : a[0].ToText() < b[0].ToText();
        });
        table.Sort(down ? "timeval DESC" : "timeval");
        EXPECT_EQ(Walk(table), expected);
    }
    table.Sort("");
    EXPECT_EQ(Walk(table), unsorted);
    EXPECT_THROW(table.Sort("temp sideways"), Error);
    EXPECT_THROW(table.Sort("none"), Error);
}

TEST(RecordSetTest, SavedTablesComeBackAndBrokenOnesAreRefused) {
    for (const std::size_t rows : {0U, 1U, 8U, 5000U}) {
        RecordSet table = SampleTable(rows);
        RecordSet loaded = RecordSet::Load(table.Save());
        EXPECT_EQ(loaded.Fields(), table.Fields());
        EXPECT_EQ(Walk(loaded), Walk(table));
    }
    ExpectOnlyInvalidContents(SampleTable(40).Save(), [](const ByteArray& bytes) { RecordSet::Load(bytes); });
}

std::string Bytes(std::size_t value, int width) {
    std::string bytes;
    for (; width > 0; --width, value >>= 8)
        bytes.push_back(static_cast<char>(value));
    return bytes;
}

/// Most memory that the process has had so far, in bytes.
std::size_t PeakMemory() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<std::size_t>(usage.ru_maxrss) * 1024;
}

TEST(RecordSetTest, AStreamTakesMemoryForWhatItHoldsOnly) {
    const std::string wide = std::string("\0\1\xFF\xFF", 4) + Bytes(0x64, 4);  // a text of 65535 characters
    std::string wideColumns;
    for (int i = 0; i < 10000; ++i)
        wideColumns += wide;
    const struct {
        const char* What;
        std::string Stream;  // behind the header
        bool IsTable;
    } cases[] = {
        {"wide columns without rows", Bytes(10000, 2) + wideColumns + Bytes(0, 4), true},
        {"wide columns with a row", Bytes(10000, 2) + wideColumns + Bytes(1, 4), false},
        {"more columns than fit", Bytes(65535, 2) + wideColumns, false},
        {"more rows than fit", Bytes(1, 2) + wide + Bytes(0xFFFFFFFF, 4) + std::string(80000, ' '), false},
        {"rows without columns", Bytes(0, 2) + Bytes(0xFFFFFFFF, 4), false},
    };
    const std::size_t before = PeakMemory();
    for (const auto& [what, stream, isTable] : cases) {
        SCOPED_TRACE(what);
        const auto load = [bytes = TextToBytes("NB1R\1" + stream)] { return RecordSet::Load(bytes); };
        if (isTable) {
            EXPECT_EQ(RecordSet::Load(load().Save()).Fields().size(), 10000U);
        } else {
            EXPECT_THROW(load(), Error);
        }
    }
    EXPECT_LT(PeakMemory() - before, std::size_t{64} << 20);
}

TEST(VariableTest, RecordsAreFoundByKeyAndEveryWriteOfValidNotifies) {
    VariableRecord record;
    int notified = 0;
    record.OnValid([&](VariableRecord&) { ++notified; });
    record.Valid(true);
    record.Valid(true);
    EXPECT_EQ(notified, 2);
    EXPECT_THROW(record.SetSuperState(ByteArray{1, 2}), Error);
    EXPECT_EQ(VariableTag(2, "3", 104, "12", 6), "NB1/2x3/104/12/6");

    VariableCollection all;
    all.Add("b")->VarID(2);
    all.Add("a");
    EXPECT_THROW(all.Add("a"), Error);
    EXPECT_EQ(all.Item("b")->VarID(), 2);
    all.Remove("b");
    EXPECT_FALSE(all.Exists("b"));
    EXPECT_THROW(all.Item("b"), Error);
}

}  // namespace
}  // namespace orvix
