#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>

#include "host/text.h"
#include "tasks/cOrvixTaskNB1.h"
#include "tests/support/error_of.h"
#include "tests/support/fake_adapter.h"
#include "tests/support/fake_device.h"
#include "tests/support/mission_status_seam.h"
#include "tests/support/test_host.h"

namespace orvix {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using tests::ErrorOf;
using Seam = MissionStatusSeam;

class MissionTest : public testing::Test {
protected:
    MissionTest() {
        Seam::SetParent(sensor, &device);
        Seam::SetParent(digital, &device);
        Seam::Status(sensor) = {.StartValue = 1795345923, .MissionSamples = 3, .Rate = 30};  // 2026-11-22 11:12:03
        Seam::Status(digital) = Seam::Status(sensor);
        Seam::Temperature(sensor) = {.HighAlarm = 30, .LowAlarm = 10};
    }

    static std::string Cell(const Variant& value) { return value.IsNull() ? "-" : value.ToText(); }
    /// The rows in cursor order, their cells separated by blanks.
    static std::vector<std::string> Rows(const RecordSetRef& table) {
        std::vector<std::string> rows;
        for (; !table->EndOfFile(); table->MoveNext()) {
            std::string& row = rows.emplace_back();
            for (std::size_t i = 0; i < table->Fields().size(); ++i)
                row += (i ? " " : "") + Cell(table->Field(i));
        }
        return rows;
    }
    static std::string StateText(const iOrvixNB1Mission& mission, const char* key) {
        const PropertyBag outer(mission.GetSuperState());
        return PropertyBag(outer.ReadProperty("State").ToBytes()).ReadProperty(key).ToText();
    }

    tests::World world;
    tests::TestHost host{world};
    tests::FakeDevice device;
    cOrvixNB1TPMission sensor{host.Services};
    cOrvixNB1DMMission digital{host.Services};
};

TEST_F(MissionTest, StatusIntakeSetsTheFlagsByTheFirstIntakeAndNotByTheValue) {
    EXPECT_EQ(Seam::Flags(sensor), "0000");
    Seam::SetStatus(sensor, "21.5");
    EXPECT_EQ(Seam::Flags(sensor), "1100");
    Seam::SetTempLogChanged(sensor, true);
    Seam::SetStatus(sensor, "-3");
    EXPECT_EQ(Seam::Flags(sensor), "1000");

    const Error error = ErrorOf([&] { Seam::SetStatus(sensor, "warm"); });
    EXPECT_EQ(error.Number, errors::TypeMismatch);
    EXPECT_EQ(error.Source, "PlexaERR.ErrorIn");
    EXPECT_THAT(error.Description, HasSubstr("(cOrvixNB1Q27Mission.SetStatus(Status))"));
    EXPECT_EQ(Seam::Flags(sensor), "0000");
    EXPECT_EQ(Seam::Temperature(sensor).StatusValue, -3.0F);

    sensor.SimulateTrend(true);
    EXPECT_EQ(Seam::Flags(sensor), "0101");
    EXPECT_TRUE(sensor.InProgress());
}

TEST_F(MissionTest, DigitalIntakeTakesTheFirstCharacterApart) {
    Seam::SetStatus(digital, "\xC1 and more");
    EXPECT_THAT(Seam::Digital(digital).Input, ElementsAre(false, true, false, false, false, false, false, true, true));
    EXPECT_EQ(Seam::Digital(digital).StatusValue, 0xC1);
    EXPECT_EQ(ErrorOf([&] { Seam::SetStatus(digital, ""); }).Number, errors::TypeMismatch);
}

TEST_F(MissionTest, ParentsVariablesAreReadInTheirTypes) {
    EXPECT_EQ(ErrorOf([&] { (void)sensor.Temperature(); }).Number, errors::MissingItem);
    device.AddVar(ORVIXCNB1_VAR_TEMPERATURE, "21.5");
    EXPECT_EQ(sensor.Temperature(), 21.5F);
    const std::pair<Variant, int> inputs[] = {{"\xFF", 255}, {"5", 53}, {"12", 12}, {std::int32_t{7}, 7}};
    for (const auto& [value, expected] : inputs) {
        device.Vars.Clear();
        device.AddVar(ORVIXCNB1_VAR_INPUTBYTE, value);
        EXPECT_EQ(digital.InputByte(), expected);
    }
    Seam::SetParent(digital, nullptr);
    EXPECT_EQ(ErrorOf([&] { (void)digital.InputByte(); }).Number, errors::General);
}

TEST_F(MissionTest, BuildsThreeTablesAndTheAlarmText) {
    Seam::SetTempLog(sensor, {20.25F, 31, 20.75F});
    const std::string second = "20261122114203 22/11/26 11:42:03 31 30 10";
    const std::string third = "20261122121203 22/11/26 12:12:03 20.8 30 10";
    const std::string first = "20261122111203 22/11/26 11:12:03 20.2 30 10";
    EXPECT_THAT(Rows(sensor.GraphLogEx()), ElementsAre(first, second, third));
    EXPECT_THAT(Rows(sensor.LogEx()),
                ElementsAre(first + " False False", second + " True False", third + " False False"));
    EXPECT_THAT(Rows(sensor.AlarmLogEx()), ElementsAre(second + " True False", third + " False False"));
    EXPECT_EQ(StateText(sensor, "NewAlarmInfo"), "Alarm Oven temp: 20.8C      date: 22/11/26  time: 12:12");
    EXPECT_EQ(sensor.MinTemp(), 20.2F);
    EXPECT_EQ(sensor.MaxTemp(), 31.0F);
    EXPECT_TRUE(sensor.AlarmHighFlag() && !sensor.AlarmLowFlag() && Seam::NewAlarm(sensor));
    EXPECT_EQ(Seam::Flags(sensor), "0010");
    EXPECT_EQ(sensor.MissionEndDate(), FromCivilTime({2026, 11, 22, 12, 42, 3}));

    Seam::SetNewAlarm(sensor, false);
    Seam::SetTempLog(sensor, {30, 10, 20});  // at the limits, and no news
    EXPECT_TRUE(sensor.AlarmHighFlag() && sensor.AlarmLowFlag() && !Seam::NewAlarm(sensor));
    Seam::SetTempLog(sensor, {20, 20, 20});
    EXPECT_FALSE(sensor.AlmostOneAlarm());
    Seam::SetTempLog(sensor, {20, 9, 20});
    EXPECT_TRUE(Seam::NewAlarm(sensor));
}

TEST_F(MissionTest, DigitalLogHasNoLimitsAndNoAlarms) {
    Seam::SetTempLog(digital, {-100, 0, 900});
    EXPECT_EQ(Rows(digital.LogEx()).front(), "20261122111203 22/11/26 11:12:03 -100 - - False False");
    EXPECT_EQ(Rows(digital.GraphLogEx()).back(), "20261122121203 22/11/26 12:12:03 900 - -");
    EXPECT_EQ(digital.MinTemp(), -100.0F);
    EXPECT_TRUE(digital.AlarmLogEx()->EndOfFile() && !digital.AlmostOneAlarm());
}

TEST_F(MissionTest, AFailedBuildKeepsWhatItHasDone) {
    const Error error = ErrorOf([&] { Seam::SetTempLog(sensor, {35, 20}); });
    EXPECT_EQ(error.Number, errors::MissingItem);
    EXPECT_THAT(error.Description, HasSubstr("(cOrvixNB1Q27Mission.SetTempLog(ASng))"));
    EXPECT_EQ(sensor.LogEx()->RecordCount(), 2U);
    EXPECT_EQ(StateText(sensor, "NewAlarmInfo"), "Alarm Oven temp: 20C      date: 22/11/26  time: 11:42");
    EXPECT_EQ(Seam::Flags(sensor), "0000");
    EXPECT_EQ(StateText(sensor, "AlarmHighFlag") + StateText(sensor, "AlmostOneAlarm"), "TrueFalse");
    EXPECT_EQ(sensor.MaxTemp(), 0);

    EXPECT_EQ(ErrorOf([&] { Seam::SetTempLog(sensor, {20, NAN, 20}); }).Number, errors::Overflow);
    EXPECT_EQ(sensor.LogEx()->RecordCount(), 1U);
    Seam::Temperature(sensor).HighAlarm = NAN;
    EXPECT_EQ(ErrorOf([&] { Seam::SetTempLog(sensor, {5, 20, 20}); }).Number, errors::Overflow);
    EXPECT_EQ(StateText(sensor, "AlarmLowFlag"), "True") << "the table refuses a limit after the sample has alarmed";
    Seam::Status(sensor).Rate = 32767;
    Seam::Status(sensor).MissionSamples = 65539;
    EXPECT_EQ(ErrorOf([&] { (void)sensor.MissionEndDate(); }).Number, errors::Overflow);
    Seam::Status(sensor).MissionSamples = 0;
    Seam::SetTempLog(sensor, {});
    EXPECT_EQ(Seam::Flags(sensor), "0010");
    EXPECT_EQ(sensor.LogEx()->RecordCount(), 0U);
}

TEST_F(MissionTest, SimulationShowsOneMoreSampleEachBuild) {
    std::vector<std::size_t> shown;
    for (int build = 0; build < 8; ++build) {
        if (build == 0 || build == 6) sensor.SimulateTrend(true);
        Seam::SetTempLog(sensor, {20, 20, 20});
        shown.push_back(sensor.LogEx()->RecordCount());
    }
    EXPECT_THAT(shown, ElementsAre(2, 3, 1, 2, 3, 1, 2, 3));
}

TEST(LogTables, RoundsExactHalvesToEven) {
    const std::pair<float, float> cases[] = {{20.75F, 20.8F}, {-20.25F, -20.2F}, {20.45F, 20.5F}, {1e30F, 1e30F}};
    for (const auto& [sample, rounded] : cases)
        EXPECT_EQ(RoundToDecimal(sample), rounded) << sample;
    EXPECT_EQ(NumberText(RoundToDecimal(-0.04F)), "0");
}

TEST(LogTables, TextsOfATimeAreThoseOfItsDateWhateverCameBefore) {
    // Across leap days and turns of the year, in centuries that two digits do not tell apart; on and between seconds.
    for (const char* start : {"20240228235859", "20291231220000", "19251231220000", "21000228235859"}) {
        for (const double fraction : {0.0, 0.5 / 86400}) {
            for (const int step : {0, 1, 7, 1440, 4321, -30}) {
                LogRowMaker rows(std::nullopt);
                for (int i = 0; i < 300; ++i) {
                    const Date time = AddMinutes({ChartTimeToDate(start).Days + fraction}, i * step);
                    const LogRow& row = rows.Make(time, 20);
                    ASSERT_EQ(row.TimeVal, Format(time, "dd/mm/yy hh:nn:ss"))
                        << start << " and " << i << " of " << step;
                    ASSERT_EQ(row.ChartTime, DateToChartTime(time));
                }
            }
        }
    }
}

TEST_F(MissionTest, SettingsOutsideTheirRangeAreRefused) {
    const auto accepts = [&](auto step) { return ErrorOf(step).Number == errors::None; };
    for (const int rate : {0, 1, 255, 256})
        EXPECT_EQ(accepts([&] { sensor.Rate(static_cast<std::int16_t>(rate)); }), rate == 1 || rate == 255);
    for (const std::int32_t delay : {-1, 0, 65535, 65536})
        EXPECT_EQ(accepts([&] { sensor.Delay(delay); }), delay == 0 || delay == 65535);
    for (const float limit : {-40.1F, -40.0F, 85.0F, 85.1F, NAN}) {
        EXPECT_EQ(accepts([&] { sensor.HighAlarm(limit); }), limit == -40 || limit == 85);
        EXPECT_EQ(accepts([&] { sensor.LowAlarm(limit); }), limit == -40 || limit == 85);
    }
    const Error error = ErrorOf([&] { sensor.LowAlarm(-41); });
    EXPECT_EQ(error.Number, errors::Validation);
    EXPECT_EQ(error.Source, "PlexaERR.Check");
    EXPECT_THAT(error.Description, AllOf(HasSubstr("Low Temp Alarm"), HasSubstr("-40 to 85")));
    EXPECT_EQ(sensor.Rate(), 30);  // the status, not what was written

    sensor.Name("Cellar");
    EXPECT_EQ(sensor.Name(), "");
    Seam::CommitName(sensor);
    EXPECT_EQ(sensor.Name(), "Cellar");
}

// One flag at a time, so that no two can stand for each other.
TEST_F(MissionTest, StateCarriesEveryField) {
    constexpr const char* kKeys[] = {"Name",          "NewName",        "AlarmHighFlag",  "AlarmLowFlag",
                                     "MinTemp",       "MaxTemp",        "StatusLoaded",   "StatusChanged",
                                     "TempLogLoaded", "TempLogChanged", "AlmostOneAlarm", "LastAlarmStatus",
                                     "LastAlarmInfo", "NewAlarm",       "NewAlarmInfo"};
    const std::map<std::string, Variant> others = {{"Name", "now"},          {"NewName", "next"},
                                                   {"MinTemp", -1.5F},       {"MaxTemp", 2.5F},
                                                   {"LastAlarmInfo", "old"}, {"NewAlarmInfo", "new"}};
    for (const std::string flag : kKeys) {
        SCOPED_TRACE(flag);
        PropertyBag inner, outer;
        for (const std::string key : kKeys)
            inner.WriteProperty(key, others.contains(key) ? others.at(key) : Variant(key == flag));
        outer.WriteProperty("State", inner.Contents());
        cOrvixNB1TPMission loaded(host.Services);
        loaded.SetSuperState(outer.Contents());
        EXPECT_EQ(loaded.GetSuperState(), outer.Contents());
        EXPECT_EQ(Seam::Flags(loaded),
                  std::string(flag == "StatusLoaded" ? "1" : "0") + (flag == "StatusChanged" ? "1" : "0") +
                      (flag == "TempLogLoaded" ? "1" : "0") + (flag == "TempLogChanged" ? "1" : "0"));
        EXPECT_EQ(loaded.AlmostOneAlarm(), flag == "AlmostOneAlarm");
        EXPECT_EQ(Seam::NewAlarm(loaded), flag == "NewAlarm");
        EXPECT_FALSE(loaded.AlarmHighFlag() || loaded.AlarmLowFlag()) << "none without AlmostOneAlarm";
        EXPECT_EQ(loaded.Name() + loaded.LastAlarmInfo(), "nowold");
        EXPECT_EQ(loaded.MinTemp() + loaded.MaxTemp(), 1.0F);
    }
}

TEST_F(MissionTest, StatusIsReadAsItStands) {
    Seam::Status(sensor) = {.InProgress = true,
                            .StartValue = 1795345923,
                            .MissionSamples = 4,
                            .MaxSamples = 2048,
                            .RolloverOccurred = true,
                            .Rate = 30,
                            .Delay = 60000,
                            .Rollover = true,
                            .Synchronize = true};
    EXPECT_TRUE(sensor.InProgress() && sensor.RolloverOccurred() && sensor.Rollover() && sensor.Synchronize());
    EXPECT_EQ(sensor.MissionSamples() + sensor.TotMissionSamples(), 8);
    EXPECT_EQ(sensor.MaxSamples() + sensor.Delay() + sensor.Rate(), 2048 + 60000 + 30);
    EXPECT_EQ(sensor.MissionStartDate(), FromCivilTime({2026, 11, 22, 11, 12, 3}));
    EXPECT_EQ(sensor.HighAlarm() - sensor.LowAlarm(), 20.0F);
    // Settings are pending until a mission starts; no status tells of them.
    sensor.Rollover(false);
    sensor.Synchronize(false);
    EXPECT_TRUE(sensor.Rollover() && sensor.Synchronize());
    sensor.ClockAlarm(true);
    EXPECT_TRUE(sensor.ClockAlarm() && !digital.ClockAlarm());
    EXPECT_EQ(sensor.Decimals(), 1);
    EXPECT_FALSE(sensor.HighTempResolution() || digital.InProgress());
}

TEST_F(MissionTest, StateTravelsWithoutTables) {
    sensor.Name("Cellar");
    Seam::SetStatus(sensor, "21");
    Seam::SetTempLog(sensor, {20, 31, 20});
    cOrvixNB1TPMission copy(host.Services);
    copy.SetSuperState(sensor.GetSuperState());
    EXPECT_TRUE(copy.AlarmHighFlag());
    EXPECT_FALSE(copy.LogEx() || copy.GraphLogEx() || copy.AlarmLogEx());

    EXPECT_EQ(ErrorOf([&] { sensor.SetSuperState(ByteArray{1, 2, 3}); }).Number, errors::InvalidContents);
    EXPECT_FALSE(sensor.LogEx() || sensor.AlarmHighFlag());
    EXPECT_EQ(ErrorOf([&] { sensor.SetSuperState(PropertyBag().Contents()); }).Number, errors::MissingItem);
}

TEST(MissionImage, IsPackedLittleEndian) {
    const MissionStatus status{true, 1.0, 0x01020304, 5, true, 30, 65535, true, true};
    const std::string common =
        "FF FF 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 F0 3F 04 03 02 01 00 00 00 00 00 00 00 00 05 00 00 00 "
        "FF FF 1E 00"
        " FF FF 00 00 FF FF FF FF";
    EXPECT_EQ(tests::Hex(BytesToText(PackedImage(status, TemperatureStatus{1.0F, 2.0F, -2.0F}))),
              common + " 00 00 80 3F 00 00 00 40 00 00 00 C0");
    DigitalStatus digital{.StatusValue = 0x41};
    digital.Input[1] = digital.Input[8] = true;
    const std::string image = BytesToText(PackedImage(status, digital));
    ASSERT_EQ(image.size(), 124U);
    EXPECT_EQ(tests::Hex(image.substr(0, 70)),
              common + " 41 00 00 00 FF FF 00 00 00 00 00 00 00 00 00 00 00 00 FF FF 00 00");
}

TEST_F(MissionTest, TerminateSubmitsAStopTaskInItsEntry) {
    tests::FakeAdapter adapter;
    device.Owner = &adapter;
    const auto entry = host.Messaging.CreateSharedEntry();
    const Error refused = ErrorOf([&] { sensor.Terminate(*entry); });
    EXPECT_EQ(refused.Number, errors::Validation);
    EXPECT_THAT(refused.Description, AllOf(HasSubstr("Oven"), HasSubstr("Mission.Terminate(Track))")));
    EXPECT_TRUE(adapter.Tasks.empty());

    device.Connected = true;
    sensor.Terminate(*entry);
    ASSERT_EQ(adapter.Tasks.size(), 1U);
    EXPECT_FALSE(entry->HandedOver());
    cOrvixTaskNB1 task(host.Services);
    task.MemoryMapKey(entry->Name());
    task.ReadMemory();
    EXPECT_EQ(task.GetSuperState(), adapter.Tasks[0]->GetSuperState());
    EXPECT_EQ(task.CmdType(), ORVIXCNB1_TA_STOP_MISSION);
    EXPECT_EQ(task.DeviceAddress() + "/" + NumberText(task.DeviceModel()), "5/106");
    EXPECT_THAT(task.Params(), ElementsAre(Variant(PackedImage(Seam::Status(sensor), Seam::Temperature(sensor)))));
}

}  // namespace
}  // namespace orvix
