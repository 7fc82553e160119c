#include <algorithm>
#include <limits>
#include <set>

#include "devices/protocol/basOrvixNB1.h"
#include "tests/driver/driver_fixture.h"

namespace orvix::tests {
namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::StartsWith;

class ExchangeTest : public DriverTest {
protected:
    ExchangeTest() { Send("CONNECT"); }

    std::ptrdiff_t Attempts() const {
        return std::ranges::count_if(Host.Line.Log, [](const auto& line) { return line.starts_with("Output="); });
    }

    /// A failure of the exchange is told twice, with the validation error's number, the text and where it passed.
    void ExpectFailure(const iOrvixTaskNB1& task, const std::string& text) {
        const std::string report = text + " (PlexaERR.Check.cOrvixDriverNB1.NetRequest Port 3)";
        EXPECT_EQ(task.e(), errors::Validation);
        EXPECT_EQ(task.eDescr(), report);
        EXPECT_THAT(Messages,
                    ElementsAre("SOCKETERROR | -2147217304 | " + report, "TASKCOMPLETE | -2147217304 | " + report));
    }
};

TEST_F(ExchangeTest, RaisesRequestToSendOnlyAroundTheFrameAndReturnsThePayload) {
    constexpr char kRequestWithPayload[] = "1D 06 05 02 0B 00 41 42 0A 03 03";
    Host.Line.Log.clear();
    Host.Line.Expect(kRequestWithPayload, {{Bytes("1D 08 05 04 0B")}, {Bytes("00 80 A0 00 00 2F 0D 03 FF")}});
    const auto task = Execute({.Params = {std::int32_t{ORVIXCNB1_VAR_TEMPERATURE}, "AB"}});
    EXPECT_THAT(Messages, ElementsAre("TASKCOMPLETE | 0 | "));
    EXPECT_EQ(task->RtnArgs(), VariantList{Bytes("80 A0 00 00")});
    EXPECT_EQ(task->ArrivalExpectedBytes(), 7);
    EXPECT_THAT(Host.Line.Log, ElementsAre("InBufferCount=0", "RTSEnable=True",
                                           std::string("Output=") + kRequestWithPayload, "RTSEnable=False"));
}

TEST_F(ExchangeTest, TriesAgainUntilTheFirstSuccess) {
    const struct {
        std::int16_t NetRetry;
        std::ptrdiff_t Silent, Attempts;
    } cases[] = {{-3, 9, 1}, {0, 9, 1}, {2, 9, 3}, {2, 1, 2}};
    for (const auto& it : cases) {
        Driver->NetRetry(it.NetRetry);
        Host.Line.Log.clear();
        for (std::ptrdiff_t i = 0; i < it.Attempts; ++i)
            Host.Line.Expect(kTemperatureRequest, {{Bytes(i < it.Silent ? "" : kTemperatureReply)}});
        EXPECT_EQ(Execute({})->e() == errors::None, it.Attempts > it.Silent);
        EXPECT_EQ(Attempts(), it.Attempts);
    }
}

TEST_F(ExchangeTest, BoundsAnyTimeFactor) {
    using Limits = std::numeric_limits<std::int32_t>;
    constexpr Duration kLate = milliseconds(100000);
    Host.Line.Expect(kTemperatureRequest, {});
    ExpectFailure(*Execute({.TimeFactor = Limits::min()}), HostText(errors::TimeOut));
    EXPECT_EQ(Took, Duration::zero());
    Host.Line.Expect(kTemperatureRequest, {{Bytes(kTemperatureReply), kLate}});
    EXPECT_EQ(Execute({.TimeFactor = Limits::max()})->e(), errors::None);
    EXPECT_EQ(Took, kLate);
}

TEST_F(ExchangeTest, WhatCannotBeFramedIsNotSent) {
    const std::pair<const char*, ErrorNumber> addresses[] = {{"", errors::TypeMismatch},
                                                             {"70000", errors::Overflow},
                                                             {"-1", errors::Validation},
                                                             {"256", errors::Validation}};
    for (const auto& [address, error] : addresses)
        EXPECT_EQ(Execute({.Address = address})->e(), error) << address;
    EXPECT_EQ(Execute({.Params = {std::int32_t{2}, std::string(252, 'x')}})->e(), errors::Validation);
    EXPECT_EQ(Attempts(), 0);
}

TEST_F(DriverTest, AllowsEachCommandAndVariableForItsModelsOnly) {
    using Models = std::set<std::int32_t>;
    const Models every = {0, 21, 41, 104, 106};
    const ByteArray bytes = {1, 2};
    constexpr char kModel[] = "Invalid device model";
    const struct {
        bool Simulation;
        std::int32_t CmdType;
        Variant Param;
        Models Allowed;
        std::string Otherwise;
    } cases[] = {
        {false, 0, {}, {}, "Invalid CmdType"}, {false, 1, 1, {106}, kModel},         {false, 1, 2, {106}, kModel},
        {false, 1, 3, {21, 41}, kModel},       {false, 1, 4, {21}, kModel},          {false, 1, 5, {}, "Invalid var"},
        {false, 1, 6, {104}, kModel},          {false, 2, 2, {}, "Invalid CmdType"}, {false, 3, {}, every, ""},
        {false, 4, {}, {21}, kModel},          {false, 5, bytes, {21}, kModel},      {true, 1, 1, {106}, kModel},
        {true, 1, 3, {}, "Invalid var"},       {true, 1, 6, {104}, kModel},          {true, 2, {}, every, ""},
        {true, 4, {}, {}, "Invalid CmdType"}};
    for (const auto& it : cases) {
        Driver->Simulation(it.Simulation);
        for (const std::int32_t model : every) {
            SCOPED_TRACE(testing::Message() << it.CmdType << " " << it.Otherwise << " model " << model);
            const auto task = Execute({.CmdType = it.CmdType, .Params = {it.Param}, .Model = model});
            const auto refused = StartsWith("Task not executed: " + it.Otherwise + " (");
            EXPECT_NE(testing::Value(task->eDescr(), refused), it.Allowed.contains(model)) << task->eDescr();
            EXPECT_EQ(task->ArrivalExpectedBytes(), task->ResponseBytes());
        }
    }
    Driver->Simulation(false);
    const auto malformed = Execute({.CmdType = ORVIXCNB1_TA_STOP_MISSION, .Params = {true}, .Model = 21});
    EXPECT_NE(malformed->e(), errors::None) << "a mission's parameter is bytes";
}

TEST_F(DriverTest, SimulatesReadingsFromTheWindowsFieldsWithoutTouchingTheLine) {
    Host.Stores.SettingValues = {{"OrvixNimbo1Lib/Sym/SymDelay2x3", "120"},
                                 {"OrvixNimbo1Lib/Sym/SymMin2x3", "20"},
                                 {"OrvixNimbo1Lib/Sym/SymMax2x3", "30"},
                                 {"OrvixNimbo1Lib/Sym/SymDig2x3", "37"}};
    Driver->Simulation(true);
    Driver->DebugMode(true);
    Host.Line.Log.clear();
    Send("CONNECT");
    EXPECT_THAT(Adapter.Take(), ElementsAre("CONNECTED"));
    std::set<double> values;
    for (int i = 0; i < 50; ++i) {
        values.insert(BytesToReal(Execute({})->RtnArgs().at(0).ToText()));
        EXPECT_EQ(Took, milliseconds(120));
    }
    EXPECT_GE(*values.begin(), 20.0);
    EXPECT_LT(*values.rbegin(), 31.0);
    EXPECT_GT(values.size(), 40U);
    const auto inputs = Execute({.Params = {std::int32_t{ORVIXCNB1_VAR_INPUTBYTE}}, .Model = 104});
    EXPECT_EQ(inputs->RtnArgs(), VariantList{"37"});
    Send("DISCONNECT");
    EXPECT_THAT(Host.Line.Log, ElementsAre());
}

}  // namespace
}  // namespace orvix::tests
