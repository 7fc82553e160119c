#include "station/source/scan.h"

#include <gtest/gtest.h>

#include <map>

#include "station/commands/scan_display.h"
#include "station/run/capacity.h"

namespace orvix::tests {
namespace {

using station::Exchange;
using station::FoundDevice;
using station::Outcome;
using station::ReadingValue;
using station::Scan;
using station::Surplus;

constexpr auto kSerial = ORVIXCNB1_VAR_SERIAL_NUMBER;
constexpr auto kTemperature = ORVIXCNB1_VAR_TEMPERATURE;
constexpr auto kInputs = ORVIXCNB1_VAR_INPUTBYTE;

/// What becomes of a request.
struct End {
    station::Outcome Outcome = station::Outcome::Silent;
    ReadingValue Value = {};
    std::size_t BytesAfter = 0;
    std::vector<Surplus> Extras = {};
    bool IsToAnother = false;  ///< the answer is to another question
    std::string Code = {};
};

End Answered(ReadingValue value) {
    return {.Outcome = Outcome::Good, .Value = std::move(value)};
}

End WithMore(End end) {
    end.BytesAfter = 13;
    return end;
}

End With(End end, int address, Surplus::Kind what) {
    end.Extras.push_back({address, what, 0});
    return end;
}

/// What comes back to the requests for one variable of one address, in order, the last one again and again. An address
/// that is not there keeps silent.
using Script = std::map<std::pair<int, ORVIXCNB1_VARS>, std::vector<End>>;

struct ScanResult {
    std::vector<FoundDevice> Found;
    int Exchanges = 0;
};

ScanResult Scanned(Script script, station::ScanRange range) {
    Scan scan(range);
    ScanResult result;
    while (const auto request = scan.Next()) {
        ++result.Exchanges;
        auto& ends = script[{request->Address, request->Variable}];
        const auto end = ends.empty() ? End{} : ends.front();
        if (ends.size() > 1) ends.erase(ends.begin());
        Exchange exchange;
        exchange.Address = request->Address;
        exchange.Outcome = end.Outcome;
        exchange.Extras = end.Extras;
        exchange.BytesAfter = end.BytesAfter;
        exchange.ReplyCode = end.IsToAnother ? "x" : end.Code;
        scan.Take(exchange, end.Value);
        for (const auto& device : scan.TakeFound())
            result.Found.push_back(device);
    }
    EXPECT_EQ(scan.Done(), scan.Total());
    return result;
}

TEST(Scan, ASilentAddressCostsOneExchange) {
    const auto result = Scanned({}, {1, 255});
    EXPECT_EQ(result.Exchanges, 255);
    EXPECT_TRUE(result.Found.empty());
}

TEST(Scan, TellsWhatIsAtAnAddress) {
    const auto serial = Answered(std::string("S"));
    const auto sensor = Answered(21.5);
    const auto module = Answered(std::int32_t{5});
    const End refused{.Outcome = Outcome::Refused};
    const End damaged{.Outcome = Outcome::Damaged};
    const End silent;
    const End foreign{.Outcome = Outcome::Foreign};
    // What address 2 of three answers when asked for serial number, temperature and inputs.
    const struct {
        const char* What;
        std::vector<End> Serial, Temperature, Inputs;
        bool Found;
        std::int32_t Model;
        bool Suspect;
        int Exchanges;
    } cases[] = {
        {"a sensor", {serial}, {sensor}, {}, true, 106, false, 5},
        {"a digital module", {serial}, {refused}, {module}, true, 104, false, 6},
        {"a module silent on what it does not know", {serial}, {silent}, {module}, true, 104, false, 8},
        {"a model without a serial number", {refused}, {sensor}, {}, true, 106, false, 5},
        {"another model", {serial}, {refused}, {refused}, true, 0, false, 5},
        {"a sensor that misses a request", {serial}, {silent, sensor}, {}, true, 106, false, 6},
        {"two sensors, answers on top of each other", {damaged, serial}, {sensor}, {}, true, 106, true, 9},
        {"two sensors, one answer after the other", {serial}, {WithMore(sensor)}, {}, true, 106, true, 12},
        {"the second one apart", {serial}, {With(sensor, 2, Surplus::Kind::Doubled)}, {}, true, 106, true, 8},
        {"never to be read", {damaged}, {damaged}, {damaged}, true, 0, true, 20},
        {"a value of no kind", {serial}, {Answered({})}, {module}, true, 104, true, 14},
        {"a disturbance of the line", {damaged, silent}, {}, {}, false, 0, false, 5},
        {"nobody, while another answers", {foreign}, {}, {}, false, 0, false, 5},
        {"nobody, bytes of another before", {With(silent, 9, Surplus::Kind::Doubled)}, {}, {}, false, 0, false, 3},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.What);
        const auto result =
            Scanned({{{2, kSerial}, c.Serial}, {{2, kTemperature}, c.Temperature}, {{2, kInputs}, c.Inputs}}, {1, 3});
        EXPECT_EQ(result.Exchanges, c.Exchanges);
        ASSERT_EQ(result.Found.size(), c.Found ? 1U : 0U);
        if (!c.Found) continue;
        const auto& device = result.Found[0];
        EXPECT_EQ(device.Address, 2);
        EXPECT_EQ(device.Model, c.Model);
        EXPECT_EQ(device.Suspect, c.Suspect);
        const auto expected = c.Model == 106   ? ReadingValue(21.5)
                              : c.Model == 104 ? ReadingValue(std::int32_t{5})
                                               : ReadingValue();
        EXPECT_EQ(device.Value, expected);
    }
}

End WithCode(End end, const char* code) {
    end.Code = code;
    return end;
}

// A value that is the answer to an earlier question is no value, and the first of its kind tells no model.
TEST(Scan, AModelIsToldByTwoAnswersAlike) {
    const auto serial = Answered(std::string("S"));
    const auto late = WithCode(Answered(0.0), "serial");
    const auto right = WithCode(Answered(21.5), "temperature");
    const auto module = Answered(std::int32_t{5});
    const End refused{.Outcome = Outcome::Refused};
    const struct {
        const char* What;
        std::vector<End> Temperature;
        std::int32_t Model;
        ReadingValue Value;
    } cases[] = {
        {"a module's serial number comes late", {late, refused}, 104, std::int32_t{5}},
        {"a sensor's does", {late, right}, 106, 21.5},
        {"never twice the same", {late, right, late}, 104, std::int32_t{5}},
        {"one answer only", {right, {}}, 104, std::int32_t{5}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.What);
        const auto result =
            Scanned({{{1, kSerial}, {serial}}, {{1, kTemperature}, c.Temperature}, {{1, kInputs}, {module}}}, {1, 1});
        ASSERT_EQ(result.Found.size(), 1U);
        EXPECT_EQ(result.Found[0].Model, c.Model);
        EXPECT_EQ(result.Found[0].Value, c.Value);
    }
}

// Two devices on one address may answer as one when it is asked for the first time.
TEST(Scan, ASuspectIsAskedAgainAtTheEnd) {
    const End damaged{.Outcome = Outcome::Damaged};
    const auto serial = Answered(std::string("S"));
    const auto result = Scanned({{{1, kSerial}, {damaged, serial, serial, damaged}},
                                 {{1, kTemperature}, {Answered(20.0), Answered(20.0), damaged}},
                                 {{2, kSerial}, {serial}},
                                 {{2, kTemperature}, {Answered(20.0)}}},
                                {1, 2});
    ASSERT_EQ(result.Found.size(), 2U);
    EXPECT_EQ(result.Found[0].Address, 2);
    EXPECT_EQ(result.Found[1].Address, 1);
    EXPECT_TRUE(result.Found[1].Suspect);
    EXPECT_EQ(result.Found[1].Model, 0) << "it is not remembered";
}

TEST(Scan, TheBarFitsTheTerminal) {
    const station::ScanProgress progress{60, 255, std::chrono::seconds(3)};
    const auto text = station::ProgressText(progress, 2);
    for (const int columns : {200, 80, 60, 45, 41, 20, 1}) {
        const auto shown = station::BarText(progress, text, columns);
        EXPECT_LT(shown.size(), static_cast<std::size_t>(columns)) << shown;
        EXPECT_EQ(shown.find('[') == 0, columns > 45) << shown;
    }
}

// Its answers come while others are asked, and may be to what was asked of it before.
TEST(Scan, ADeviceThatAnswersLateIsAskedAgainAndSaidToBeLate) {
    const End silent;
    const auto late = With(silent, 2, Surplus::Kind::Late);
    auto misplaced = Answered(99.0);
    misplaced.IsToAnother = true;
    const struct {
        const char* What;
        std::vector<End> Serial, Temperature;
        std::int32_t Model;
    } cases[] = {
        {"always", {silent, silent, late}, {late}, 0},
        {"within the next exchange", {silent, silent, Answered(std::string("S"))}, {misplaced, Answered(20.0)}, 106},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.What);
        const auto result = Scanned({{{2, kSerial}, c.Serial},
                                     {{2, kTemperature}, c.Temperature},
                                     {{4, kSerial}, {With(silent, 2, Surplus::Kind::Late), silent}}},
                                    {1, 5});
        ASSERT_EQ(result.Found.size(), 1U);
        EXPECT_EQ(result.Found[0].Address, 2);
        EXPECT_EQ(result.Found[0].Model, c.Model);
        EXPECT_TRUE(result.Found[0].AnswersLate);
        EXPECT_FALSE(result.Found[0].Suspect);
    }
}

TEST(Scan, BytesBehindTheLastAnswerOfAnAddressMakeItSuspect) {
    const auto result = Scanned({{{1, kSerial}, {Answered(std::string("S"))}},
                                 {{1, kTemperature}, {Answered(20.0)}},
                                 {{2, kSerial}, {With({}, 1, Surplus::Kind::Noise)}}},
                                {1, 2});
    ASSERT_EQ(result.Found.size(), 1U);
    EXPECT_TRUE(result.Found[0].Suspect);
}

// 22 bytes of an exchange with a sensor and 19 with a module, ten bits each, and a tick; two beside another thread.
TEST(Capacity, APeriodThatIsTooShortBecomesTheBestOne) {
    const struct {
        int Sensors, Modules;
        bool DriverThread;
        int Every, Best;
        const char* Says;
    } cases[] = {
        {1, 0, false, 100, 100, ""},
        {14, 0, false, 470, 470, ""},
        {14, 0, false, 460, 470, "14 devices that answer need 0.47 s a round at 9600 baud; 460 ms is not possible"},
        {0, 14, false, 100, 420, "14 devices that answer need 0.42 s a round at 9600 baud; 100 ms is not possible"},
        {20, 0, true, 500, 860, "20 devices that answer need 0.86 s a round at 9600 baud; 500 ms is not possible"},
    };
    for (const auto& c : cases) {
        station::BusSetup bus;
        bus.Devices.assign(static_cast<std::size_t>(c.Sensors), {1, 106, {}, {}});
        bus.Devices.resize(bus.Devices.size() + static_cast<std::size_t>(c.Modules), {1, 104, {}, {}});
        bus.Every = std::chrono::milliseconds(c.Every);
        bus.DriverThread = c.DriverThread;
        EXPECT_EQ(station::FitPeriod(bus).value_or(""), c.Says);
        EXPECT_EQ(bus.Every.count(), c.Best);
    }
}

}  // namespace
}  // namespace orvix::tests
