#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "host/date.h"
#include "host/text.h"
#include "host/variant.h"
#include "tests/support/error_of.h"

namespace orvix {
namespace {

using tests::ErrorOf;

TEST(ErrorTest, AHandlerSeesEveryExceptionAsAnError) {
    EXPECT_EQ(CurrentError().Number, errors::None);
    try {
        throw std::runtime_error("inside");
    } catch (...) {
        EXPECT_EQ(CurrentError().Number, errors::General);
        EXPECT_EQ(CurrentError().Description, "inside");
    }
    EXPECT_EQ(SystemError("port", ENOENT).Description, "port: No such file or directory");
    EXPECT_EQ(SystemError("port", ENOENT).SystemCode, ENOENT);
}

TEST(VariantTest, NumbersRoundHalvesToEvenAndAreBounded) {
    EXPECT_EQ(Variant(2.5).ToLong(), 2);
    EXPECT_EQ(Variant(" +3.5 ").ToLong(), 4);
    EXPECT_EQ(Variant(-32768.5).ToInteger(), -32768);
    EXPECT_EQ(ErrorOf([] { Variant(32767.5).ToInteger(); }).Number, errors::Overflow);
    EXPECT_EQ(ErrorOf([] { Variant(2147483648.0).ToLong(); }).Number, errors::Overflow);
    EXPECT_EQ(ErrorOf([] { Variant(std::nan("")).ToLong(); }).Number, errors::Overflow);
    EXPECT_EQ(ErrorOf([] { Variant(1e39).ToSingle(); }).Number, errors::Overflow);
    EXPECT_EQ(Currency::FromDouble(0.00025).Scaled, 2);
    EXPECT_EQ(Currency::FromDouble(-922337203685477.5808).Scaled, std::numeric_limits<std::int64_t>::min());
    for (const double beyond : {1e15, 922337203685477.5808, -922337203685477.9, std::nan("")})
        EXPECT_EQ(ErrorOf([&] { Currency::FromDouble(beyond); }).Number, errors::Overflow);
}

TEST(VariantTest, WhatIsNoNumberIsATypeMismatch) {
    for (const Variant& value : {Variant(""), Variant("3x"), Variant("+-3"), Variant("nan"), Variant("inf"),
                                 Variant("1,5"), Variant(Null{}), Variant(ByteArray{1})}) {
        EXPECT_EQ(ErrorOf([&] { value.ToDouble(); }).Number, errors::TypeMismatch);
    }
    EXPECT_EQ(Variant().ToDouble(), 0);
    EXPECT_EQ(Variant(true).ToLong(), -1);
    for (const Variant& value :
         {Variant(" tRUE "), Variant("-1"), Variant("0.1"), Variant(2), Variant(0.5F), Variant(true)})
        EXPECT_TRUE(value.ToBoolean());
    for (const Variant& value : {Variant(), Variant(" False "), Variant("0"), Variant(0.0), Variant(false)})
        EXPECT_FALSE(value.ToBoolean());
}

TEST(VariantTest, TextsOfValues) {
    const std::pair<Variant, const char*> cases[] = {
        {21.5F, "21.5"},
        {0.1F, "0.1"},
        {-0.0F, "0"},
        {16777216.0F, "1.677722E+07"},
        {1234567.0F, "1234567"},
        {0.1 + 0.2, "0.3"},
        {Currency{-5}, "-0.0005"},
        {Currency{215000}, "21.5"},
        {Currency{std::numeric_limits<std::int64_t>::min()}, "-922337203685477.5808"},
        {true, "True"},
        {ByteArray{65, 66}, "AB"},
    };
    for (const auto& [value, text] : cases)
        EXPECT_EQ(value.ToText(), text);
    EXPECT_EQ(HexText(errors::NotExecuted), "8004158A");
}

TEST(TextTest, LeadingNumbers) {
    const std::tuple<const char*, std::int32_t, double> cases[] = {
        {"3x", 3, 3},
        {" -40.0C", -40, -40},
        {"x9", 0, 0},
        {"", 0, 0},
        {"1.5e1", 1, 15},
        {"inf", 0, 0},
        {"99999999999", 0, 99999999999.0},
        {"-", 0, 0},
        {"0.5", 0, 0.5},
        {".5", 0, 0.5},
        {"9/9", 9, 9},
        {"2147483647", 2147483647, 2147483647},
    };
    for (const auto& [text, number, real] : cases) {
        EXPECT_EQ(LeadingNumber(text), number) << text;
        EXPECT_EQ(LeadingReal(text), real) << text;
    }
}

TEST(TextTest, OnlyTheLettersOfAsciiHaveACase) {
    EXPECT_TRUE(EqualsIgnoringCase("AZ@[az", "az@[AZ"));
    for (const auto& [a, b] : {std::pair("@", "`"), {"[", "{"}, {"a", "ab"}, {"\xC4", "\xE4"}})
        EXPECT_FALSE(EqualsIgnoringCase(a, b));
}

TEST(TextTest, FieldsSplitAsTheyWereJoined) {
    const std::vector<std::string> fields = {"", "a", "", "b", ""};
    EXPECT_EQ(SplitFields(JoinFields({"", "a", "", "b", ""})), fields);
    EXPECT_EQ(ReplaceAll("||a|||", "||", "\r\n"), "\r\na\r\n|");
}

TEST(DateTest, EveryDayOfTheCalendarGoesThereAndBack) {
    CivilTime previous;
    for (double day = -657434; day <= 2958465; ++day) {
        const CivilTime time = ToCivilTime({day});
        ASSERT_EQ(FromCivilTime(time).Days, day);
        ASSERT_TRUE(time.Day == previous.Day + 1 || time.Day == 1);
        previous = time;
    }
    EXPECT_EQ(Format({-657434}, "yyyy-mm-dd"), "0100-01-01");
    EXPECT_EQ(Format({2958465}, "yyyy-mm-dd"), "9999-12-31");
    for (const double outside : {-657435.0, 2958466.0, 2958465.9999999, std::nan(""), HUGE_VAL}) {
        EXPECT_EQ(ErrorOf([&] { ToCivilTime({outside}); }).Number, errors::Overflow) << outside;
    }
}

TEST(DateTest, PartsOfADateAreWithinTheirRanges) {
    const auto accepted = [](CivilTime time) { return ErrorOf([&] { FromCivilTime(time); }).Number == errors::None; };
    const struct {
        int CivilTime::*Part;
        int Low, High;
    } parts[] = {{&CivilTime::Year, 100, 9999}, {&CivilTime::Month, 1, 12},  {&CivilTime::Day, 1, 31},
                 {&CivilTime::Hour, 0, 23},     {&CivilTime::Minute, 0, 59}, {&CivilTime::Second, 0, 59}};
    for (const auto& [part, low, high] : parts) {
        for (const int value : {low - 1, low, high, high + 1}) {
            CivilTime time{2024, 1, 2, 3, 4, 5};
            time.*part = value;
            EXPECT_EQ(accepted(time), value >= low && value <= high) << value;
        }
    }
    const std::pair<int, int> februaries[] = {{2023, 28}, {2024, 29}, {1900, 28}, {2000, 29}};
    for (const auto& [year, days] : februaries) {
        EXPECT_TRUE(accepted({year, 2, days, 0, 0, 0}));
        EXPECT_FALSE(accepted({year, 2, days + 1, 0, 0, 0}));
    }
    EXPECT_EQ(FromCivilTime({1970, 1, 1, 6, 30, 36}).Days, 25569 + 23436.0 / 86400);
    EXPECT_EQ(Format(FromCivilTime({907, 4, 3, 2, 1, 0}), "YYYY yy mm/DD Hh:nN:ss x"), "0907 07 04/03 02:01:00 x");
    EXPECT_EQ(FromUnixMilliseconds(86400000 + 43200000).Days, 25570.5);
    EXPECT_EQ(AddMinutes({1.0}, -36 * 60).Days, -0.5);
}

TEST(DateTest, ChartTimesRoundTripToTheSecond) {
    const Date start = DeviceTimeToDate("1709164800");  // 2024-02-29
    for (int minutes = 0; minutes < 100000; minutes += 7) {
        const Date time = AddMinutes(start, minutes);
        ASSERT_EQ(ToCivilTime(ChartTimeToDate(DateToChartTime(time))), ToCivilTime(time));
    }
    EXPECT_EQ(Format(ChartTimeToDate("20991231235959"), "dd/mm/yyyy Hh:Nn:Ss"), "31/12/2099 23:59:59");
    EXPECT_EQ(DateToChartTime(FromUnixMilliseconds(999999999600)), "20010909014640");
    EXPECT_EQ(Format(ChartTimeToDate("19990909091939"), "yyyy-mm-dd hh:nn:ss"), "1999-09-09 09:19:39");
    for (const char* text : {"20230229000000", "20241301000000", "20240101240000", "2024010100000", "2024010100000x",
                             "202401010000000", "2024-1-1000000", ""}) {
        EXPECT_EQ(ErrorOf([&] { ChartTimeToDate(text); }).Number, errors::TypeMismatch) << text;
    }
    EXPECT_EQ(ErrorOf([] { DeviceTimeToDate("1e15"); }).Number, errors::Overflow);
    EXPECT_EQ(ErrorOf([] { DeviceTimeToDate("soon"); }).Number, errors::TypeMismatch);
}

}  // namespace
}  // namespace orvix
