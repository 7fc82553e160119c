#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "devices/cOrvixDevicesNB1.h"
#include "devices/cOrvixNB1TP.h"
#include "host/property_bag.h"
#include "host/text.h"
#include "tests/support/fake_adapter.h"
#include "tests/support/mission_status_seam.h"
#include "tests/support/test_host.h"

namespace orvix::tests {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr char kFile[] = "/data/Oven.file";

struct ExportTest : testing::Test {
    ExportTest() {
        Devices.Adapter(&Adapter);
        Sensor = Devices.Add("12", 106);
        Sensor->SerialNumber("S1");
        Sensor->Name("Oven");
        auto& device = dynamic_cast<cOrvixNB1Device&>(*Sensor);
        Mission().Name("Batch 7");
        MissionStatusSeam::CommitName(Mission());
        for (const auto& [varID, value] : {std::pair<int, Variant>{3, "20.5"}, {4, ByteArray{}}}) {
            const VariableRef record = device.VarsEx().Add(std::to_string(varID));
            record->VarID(varID);
            record->Value(value);
            record->Valid(true);
        }
    }

    cOrvixNB1TPMission& Mission() {
        return dynamic_cast<cOrvixNB1TPMission&>(dynamic_cast<cOrvixNB1Device&>(*Sensor).Mission());
    }

    void Log(const std::vector<float>& samples, double start = 1'795'000'000) {  // 2026-11-18 11:06:40
        auto& status = MissionStatusSeam::Status(Mission());
        status.StartValue = start;
        status.MissionSamples = static_cast<std::int32_t>(samples.size());
        status.Rate = 90;
        MissionStatusSeam::SetTempLog(Mission(), samples);
    }

    std::string Saved(iOrvixDevice& device, std::int32_t format) {
        device.SaveAs(kFile, format);
        return Host.Stores.FileContents.at(kFile);
    }

    /// Tells also of which device, and how many there are.
    struct WatchingAdapter : FakeAdapter {
        explicit WatchingAdapter(iOrvixDevices& devices) : Collection(devices) {}
        void iOrvixDevToAdapt_DeviceVarChanged(iOrvixDevice& device, VariableRecord& variable) override {
            Events.push_back("changed:" + std::to_string(variable.VarID()) + " of " + device.Address() + ", " +
                             std::to_string(Collection.Count()) + " devices");
        }
        iOrvixDevices& Collection;
    };

    World Shared;
    TestHost Host{Shared};
    cOrvixDevicesNB1 Devices{Host.Services};
    WatchingAdapter Adapter{Devices};
    std::shared_ptr<iOrvixDevice> Sensor;
};

TEST_F(ExportTest, TextListing) {
    const std::string head = "\t\t\r\nDevice: Oven\r\nSerial Number: S1\r\nAddress: 12\r\nMission: Batch 7\t\t\r\n";
    const std::string columns = "\t\t\r\nDate\tTime\tTemp\r\n";
    EXPECT_EQ(Saved(*Sensor, kFileFormatText), head + "Rate: 0\t\t\r\n" + columns);
    Log({20.0F, -0.5F, 31.25F});
    EXPECT_EQ(Saved(*Sensor, kFileFormatText), head + "Rate: 90\t\t\r\n" + columns +
                                                   "18/11/26 11:06:40\t18/11/26 11:06:40\t20\r\n"
                                                   "18/11/26 12:36:40\t18/11/26 12:36:40\t-0.5\r\n"
                                                   "18/11/26 14:06:40\t18/11/26 14:06:40\t31.2\r\n");
    EXPECT_EQ(Sensor->DeviceOrigin(), 1);
}

TEST_F(ExportTest, ReportDocument) {
    const std::string head =
        "page 1.5|1.5|1.5|1.5|20|14|\nfont 0|Arial|10|\nfont 1|Arial|10|\nfont 2|Arial|10|\nfont 3|Courier|14|\n"
        "title Batch 7\nDevice: Oven\nSerial Number: S1\nDevice: 12\nMission: Batch 7\nDate|Time|Temp|\nplot "
        "0|2|\u00B0C|";
    const std::string row = "18/11/2026 11:06:40|11:06|20.5|\n";
    Log({20.5F});
    EXPECT_EQ(Saved(*Sensor, kFileFormatReport), head + "none|none|\n" + row) << "no limits";
    auto& limits = MissionStatusSeam::Temperature(Mission());
    limits.HighAlarm = 30;
    Log({});
    EXPECT_EQ(Saved(*Sensor, kFileFormatReport), head + "none|none|\n") << "no row tells a limit";
    Log({20.5F});
    EXPECT_EQ(Saved(*Sensor, kFileFormatReport), head + "30|0|\n" + row) << "a limit may be 0";
    limits = {.HighAlarm = 0, .LowAlarm = -5};
    Log({-5});
    EXPECT_EQ(Saved(*Sensor, kFileFormatReport), head + "0|-5|\n18/11/2026 11:06:40|11:06|-5|\n");
    for (const auto& [start, shown] : {std::pair(1'893'456'000.0, "01/01/2030"), {4'102'444'800.0, "01/01/2100"}}) {
        Log({20.5F}, start);
        EXPECT_THAT(Saved(*Sensor, kFileFormatReport), HasSubstr(shown));
        EXPECT_THAT(Saved(*Sensor, kFileFormatText), HasSubstr(std::string(shown, 6) + (shown + 8) + " 00:00:00\t"));
    }
}

// The record begins with its tag for a value, and keeps it through files.
TEST_F(ExportTest, ASerialNumberThatWasNeverReadIsEmpty) {
    for (const std::int32_t model : {106, 104}) {
        const auto device = Devices.Add("7", model);
        const auto saved = [&](iOrvixDevice& exported, std::int32_t format) {
            for (const char* key : {"3", "4"}) {
                if (!exported.VarsEx().Exists(key)) exported.VarsEx().Add(key)->VarID(key[0] - '0');
                exported.VarsEx().Item(key)->Valid(true);
            }
            return Saved(exported, format);
        };
        EXPECT_THAT(saved(*device, kFileFormatText), HasSubstr("\r\nSerial Number: \r\n")) << model;
        EXPECT_THAT(saved(*device, kFileFormatReport), HasSubstr("\nSerial Number: \n")) << model;
        EXPECT_EQ(device->SerialNumber(), "NB1/2x3/104/7/1");
        if (model == 106) {
            saved(*device, kFileFormatDevice);
            const auto restored = Devices.AddFromFile(kFile);
            ASSERT_TRUE(restored);
            EXPECT_THAT(saved(*restored, kFileFormatText), HasSubstr("\r\nSerial Number: \r\n"));
        }
        device->SerialNumber("S7");
        EXPECT_THAT(saved(*device, kFileFormatText), HasSubstr("\r\nSerial Number: S7\r\n"));
        EXPECT_THAT(saved(*device, kFileFormatReport), HasSubstr("\nSerial Number: S7\n"));
        Devices.Remove("7");
    }
}

TEST_F(ExportTest, ADeviceFileGoesRound) {
    Saved(*Sensor, kFileFormatDevice);
    const std::size_t live = Devices.VarsEx().Count();
    const auto offline = Devices.AddFromFile(kFile);
    ASSERT_TRUE(offline) << Host.Reports.All.back();
    EXPECT_EQ(offline->DeviceOrigin(), 2);
    EXPECT_EQ(offline->Name() + offline->SerialNumber() + offline->Address(), "OvenS112-2");
    EXPECT_EQ(offline->VarsEx().Item("1")->Tag(), "NB1/2x3/104/12-2/1");
    EXPECT_EQ(offline->VarsEx().Item("3")->Value(), Sensor->VarsEx().Item("3")->Value());
    EXPECT_EQ(Devices.VarsEx().Count(), live) << "the aggregate is that of live devices";
    offline->Name("mine");
    EXPECT_EQ(Devices.AddFromFile(kFile), offline);
    EXPECT_EQ(offline->Name(), "mine") << "not loaded again";
    EXPECT_EQ(Devices.Item("12"), Sensor);
    EXPECT_THAT(Saved(*offline, kFileFormatText), HasSubstr("\r\nAddress: 12-2\r\n"));
    EXPECT_EQ(Saved(*offline, 99), BytesToText(offline->GetSuperState()));
    Devices.Remove("12-2");
    EXPECT_EQ(Devices.AddFromFile(kFile)->Address(), "12-2") << "also of a file of a file";

    PropertyBag module(Sensor->GetSuperState());
    module.WriteProperty("DeviceModel", 104);
    Host.Stores.FileContents["/data/module"] = BytesToText(module.Contents());
    Host.Stores.FileContents["/data/junk"] = "junk";
    for (const char* file : {"/data/module", "/data/junk", "/data/missing"}) {
        EXPECT_EQ(Devices.AddFromFile(file), nullptr);
        EXPECT_THAT(Host.Reports.All.back(), HasSubstr("cOrvixDevicesNB1.iOrvixDevices_AddFromFile(PathFile)"));
    }
}

// Also the plain state of a live device, and one in the layout without a checksum.
TEST_F(ExportTest, WhateverIsLoadedFromAFileIsOfflineBeforeAnyoneHearsOfIt) {
    Sensor->Monitor(true);
    const PropertyBag plain(Sensor->GetSuperState());
    PropertyBag odd = plain;
    PropertyBag fields(odd.ReadProperty("State").ToBytes());
    fields.WriteProperty("DeviceOrigin", 7);
    odd.WriteProperty("State", fields.Contents());
    for (const ByteArray& state : {Sensor->GetSuperState(), plain.Contents(), odd.Contents()}) {
        Host.Stores.FileContents[kFile] = BytesToText(state);
        Adapter.Take();
        const auto restored = Devices.AddFromFile(kFile);
        ASSERT_TRUE(restored) << Host.Reports.All.back();
        EXPECT_THAT(Adapter.Take(), ElementsAre("changed:3 of 12-2, 2 devices"));
        EXPECT_EQ(restored->DeviceOrigin(), 2);
        EXPECT_FALSE(restored->Monitor());
        EXPECT_EQ(restored->VarsEx().Item("3")->Value(), Variant("20.5"));
        EXPECT_EQ(restored->VarsEx().Item("1")->Value(), Variant("S1"));
        Devices.Remove("12-2");
    }
    Sensor->VarsEx().Item("4")->Value(TextToBytes("abc"));  // no whole samples
    Host.Stores.FileContents[kFile] = BytesToText(Sensor->GetSuperState());
    EXPECT_EQ(Devices.AddFromFile(kFile), nullptr);
    Sensor->VarsEx().Remove("3");
    Sensor->VarsEx().Remove("4");
    Host.Stores.FileContents[kFile] = BytesToText(Sensor->GetSuperState());
    EXPECT_TRUE(Devices.AddFromFile(kFile));
    EXPECT_THAT(Adapter.Take(), IsEmpty()) << "nothing of what was not loaded, nor of a status that is not there";
}

TEST_F(ExportTest, NoSingleErrorInADeviceFileIsLoaded) {
    const std::string file = Saved(*Sensor, kFileFormatDevice);
    for (std::size_t bit = 0; bit < 8 * file.size(); ++bit) {
        std::string damaged = file;
        damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ 1 << bit % 8);
        Host.Stores.FileContents[kFile] = damaged;
        EXPECT_EQ(Devices.AddFromFile(kFile), nullptr) << bit;
    }
    EXPECT_EQ(Devices.Count(), 1);
}

TEST_F(ExportTest, FailuresAreReportedAndLeaveTheDeviceAsItWas) {
    const auto fails = [&](std::int32_t format, const std::string& why) {
        SCOPED_TRACE(why);
        Host.Stores.FileContents[kFile] = "old";
        Host.Reports.All.clear();
        EXPECT_NO_THROW(Sensor->SaveAs(kFile, format));
        ASSERT_EQ(Host.Reports.All.size(), 1U);
        EXPECT_THAT(Host.Reports.All[0],
                    AllOf(HasSubstr(why), HasSubstr("cOrvixNB1Q27.iOrvixDevice_SaveAs(FileName,FileFormat)")));
        EXPECT_FALSE(Host.Stores.FileContents.contains(kFile)) << "the old file goes first";
        EXPECT_EQ(Sensor->DeviceOrigin(), 1);
    };
    Host.Stores.ReportRefusal = "no room for 100%1 ||";
    fails(kFileFormatReport, "no room for 100%1 ||");
    Host.Stores.FilesCannotBeWritten = true;
    fails(kFileFormatText, "No space");
    Host.Stores.FilesCannotBeWritten = false;
    Mission().SetSuperState(Mission().GetSuperState());
    fails(kFileFormatText, "no temperature log");
    for (const char* key : {"3", "4"}) {
        Sensor->VarsEx().Item(key)->Valid(false);
        fails(kFileFormatDevice, "&H80041068");
        Sensor->VarsEx().Item(key)->Valid(true);
    }
}

/// Bytes with a few of them changed, cut out, doubled or made huge.
std::string Mutated(std::string bytes, std::mt19937& random) {
    for (auto changes = 1 + random() % 4; changes > 0 && !bytes.empty(); --changes) {
        const std::size_t at = random() % bytes.size();
        const std::string pieces[] = {"", bytes.substr(random() % bytes.size(), random() % 200),
                                      "\xFF\xFF\xFF\xFF\x0F",  // a length of four gigabytes
                                      std::string(1, static_cast<char>(random() % 256))};
        bytes.replace(at, random() % 20, pieces[random() % std::size(pieces)]);
    }
    if (random() % 4 == 0) bytes.resize(random() % (bytes.size() + 1));
    return bytes;
}

// What is still a device or a mission may be loaded; anything else is an error of the system's own.
TEST_F(ExportTest, CorruptedFilesAndStatesAreErrorsAndNothingElse) {
    Sensor->VarsEx().Item("4")->Value(TextToBytes(Bytes("00 00 A0 41 00 00 B0 41")));
    PropertyBag whole;  // without the checksum, which would catch nearly all
    whole.Contents(Sensor->GetSuperState());
    const std::string device = BytesToText(whole.Contents());
    const std::string mission = BytesToText(Mission().GetSuperState());
    std::mt19937 random(20261122);
    int refused = 0;
    for (int i = 0; i < 10000; ++i) {
        SCOPED_TRACE(i);
        Host.Stores.FileContents[kFile] = Mutated(device, random);
        Host.Reports.All.clear();
        const std::shared_ptr<iOrvixDevice> restored = Devices.AddFromFile(kFile);
        ASSERT_EQ(restored == nullptr, Host.Reports.All.size() == 1);
        if (restored && restored != Sensor) Devices.Remove(restored->Address());
        try {
            Mission().SetSuperState(TextToBytes(Mutated(mission, random)));
        } catch (const Error&) {
            ++refused;
        }
    }
    EXPECT_GT(refused, 5000);
    EXPECT_EQ(Devices.Count(), 1);

    std::string nested = device;
    for (int depth = 0; depth < 2000; ++depth) {
        PropertyBag bag;
        bag.WriteProperty("State", TextToBytes(nested));
        nested = BytesToText(bag.Contents());
    }
    Host.Stores.FileContents[kFile] = nested;
    EXPECT_EQ(Devices.AddFromFile(kFile), nullptr);
    EXPECT_THROW(Mission().SetSuperState(TextToBytes(nested)), Error);
}

}  // namespace
}  // namespace orvix::tests
