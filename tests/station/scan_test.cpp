#include "station/source/scan.h"

#include <gtest/gtest.h>

#include <map>

#include "station/run/capacity.h"

namespace orvix::tests {
namespace {

using station::FoundDevice;
using station::Scan;
using station::ScanOutcome;
using Kind = ScanOutcome::Kind;

constexpr auto kSerial = ORVIXCNB1_VAR_SERIAL_NUMBER;
constexpr auto kTemperature = ORVIXCNB1_VAR_TEMPERATURE;
constexpr auto kInputs = ORVIXCNB1_VAR_INPUTBYTE;

ScanOutcome Answered(station::ReadingValue value) {
    return {.What = Kind::Answered, .Value = std::move(value)};
}

ScanOutcome Of(Kind what) {
    return {.What = what, .Value = {}};
}

ScanOutcome WithMore(ScanOutcome outcome) {
    outcome.MoreBytes = true;
    return outcome;
}

ScanOutcome AfterOthers(ScanOutcome outcome) {
    outcome.EarlierBytes = true;
    return outcome;
}

/// What comes back to the requests for one variable of one address, in order, the last one again and again. An address
/// that is not there keeps silent.
using Script = std::map<std::pair<int, ORVIXCNB1_VARS>, std::vector<ScanOutcome>>;

struct ScanResult {
    std::vector<FoundDevice> Found;
    int Exchanges = 0;
};

ScanResult Scanned(Script script, station::ScanRange range) {
    Scan scan(range);
    ScanResult result;
    while (const auto request = scan.Next()) {
        ++result.Exchanges;
        auto& outcomes = script[{request->Address, request->Variable}];
        scan.Take(outcomes.empty() ? ScanOutcome{} : outcomes.front());
        if (outcomes.size() > 1) outcomes.erase(outcomes.begin());
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
    const auto refused = Of(Kind::Refused);
    const auto garbled = Of(Kind::Garbled);
    const auto silent = Of(Kind::Silent);
    // What address 2 of three answers when asked for serial number, temperature and inputs. A garbled first answer may
    // be a late one of address 1, which is then asked three times more.
    const struct {
        const char* What;
        std::vector<ScanOutcome> Serial, Temperature, Inputs;
        bool Found;
        std::int32_t Model;
        bool Suspect;
        int Exchanges;
    } cases[] = {
        {"a sensor", {serial}, {sensor}, {}, true, 106, false, 4},
        {"a digital module", {serial}, {refused}, {module}, true, 104, false, 5},
        {"a module silent on what it does not know", {serial}, {silent}, {module}, true, 104, false, 7},
        {"a model without a serial number", {refused}, {sensor}, {}, true, 106, false, 4},
        {"another model", {serial}, {refused}, {refused}, true, 0, false, 5},
        {"a sensor that misses a request", {serial}, {silent, sensor}, {}, true, 106, false, 5},
        {"two sensors, answers on top of each other", {garbled, serial}, {sensor}, {}, true, 106, true, 8},
        {"two sensors, one answer after the other", {serial}, {WithMore(sensor)}, {}, true, 106, true, 6},
        {"the second one late", {serial}, {AfterOthers(sensor)}, {}, true, 106, true, 4},
        {"never to be read", {garbled}, {garbled}, {garbled}, true, 0, true, 14},
        {"a disturbance of the line", {garbled, silent}, {}, {}, false, 0, false, 8},
        {"a slow device", {silent, AfterOthers(silent)}, {AfterOthers(silent)}, {}, false, 0, false, 3},
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
        const auto expected = c.Model == 106   ? station::ReadingValue(21.5)
                              : c.Model == 104 ? station::ReadingValue(std::int32_t{5})
                                               : station::ReadingValue();
        EXPECT_EQ(device.Value, expected);
    }
}

// Its answer comes while the next address is asked.
TEST(Scan, ALateAnswerSendsTheScanBack) {
    const auto late = AfterOthers(Of(Kind::Silent));
    const auto result = Scanned({{{2, kSerial}, {Of(Kind::Silent), Of(Kind::Silent), late}},
                                 {{2, kTemperature}, {late}},
                                 {{2, kInputs}, {late}},
                                 {{3, kSerial}, {late, Of(Kind::Silent)}}},
                                {1, 3});
    ASSERT_EQ(result.Found.size(), 1U);
    EXPECT_EQ(result.Found[0].Address, 2);
    EXPECT_TRUE(result.Found[0].Suspect);
}

TEST(Scan, BytesBehindTheLastAnswerOfAnAddressMakeItSuspect) {
    const auto result = Scanned({{{1, kSerial}, {Answered(std::string("S"))}},
                                 {{1, kTemperature}, {Answered(20.0)}},
                                 {{2, kSerial}, {AfterOthers(Of(Kind::Silent))}}},
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
        {14, 0, false, 460, 470, "14 devices need 0.47 s a round at 9600 baud; 460 ms is not possible"},
        {0, 14, false, 100, 420, "14 devices need 0.42 s a round at 9600 baud; 100 ms is not possible"},
        {20, 0, true, 500, 860, "20 devices need 0.86 s a round at 9600 baud; 500 ms is not possible"},
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
