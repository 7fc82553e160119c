#include "station/library/doubt.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <deque>
#include <iostream>
#include <random>
#include <sstream>

#include "devices/protocol/device_models.h"
#include "devices/protocol/frame.h"
#include "station/library/jump_check.h"
#include "station/line/answer_habits.h"
#include "station/line/exchange_tracker.h"
#include "station/run/alarm_book.h"
#include "station/run/latest_values.h"
#include "tests/station/readings.h"

namespace orvix::tests {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using namespace station;

constexpr int kAddress = 5;

Reading Temperature(double degrees, Doubt why = Doubt::None) {
    auto reading = ReadingAt(0, "A", kAddress, degrees);
    reading.Why = why;
    return reading;
}

TEST(Doubts, OfAnAnswerThatIsNotAsMostBeforeItFromTheFourthOn) {
    AnswerHabits habits;
    const auto isOdd = [&](const std::string& code, bool isSumRight) {
        const auto deviation = habits.Take(code, isSumRight);
        return std::pair(deviation.HasOtherCode, deviation.HasWrongSum);
    };
    const std::pair no(false, false);
    EXPECT_EQ(isOdd("a", true), no);
    EXPECT_EQ(isOdd("b", false), no) << "the second";
    EXPECT_EQ(isOdd("a", true), no);
    EXPECT_EQ(isOdd("b", false), std::pair(true, true)) << "the fourth";
    EXPECT_EQ(isOdd("a", true), no);
    for (int i = 0; i < 16; ++i)
        isOdd("c", false);
    EXPECT_EQ(isOdd("c", false), no) << "another device that never has a right one";
    EXPECT_EQ(isOdd("c", true), no);
    EXPECT_EQ(isOdd("a", true), std::pair(true, false));
}

TEST(Doubts, OfValuesThatAreNotPlausible) {
    Exchange exchange;
    const std::pair<double, Doubt> cases[] = {
        {21.5, Doubt::None},       {-40, Doubt::None},        {-40.1, Doubt::OutOfRange},  {84.9, Doubt::None},
        {85, Doubt::PowerOnValue}, {85.1, Doubt::OutOfRange}, {1572864, Doubt::OutOfRange}};
    for (const auto& [degrees, doubt] : cases) {
        exchange.Payload = RealToBytes(static_cast<float>(degrees));
        EXPECT_EQ(DoubtOf(Temperature(degrees == 85 ? 0 : degrees), &exchange, {}), doubt) << degrees;
    }
    EXPECT_EQ(DoubtOf(Temperature(101), nullptr, {0, 400, {}}), Doubt::None);
    EXPECT_EQ(DoubtOf(Temperature(std::nan("")), nullptr, {}), Doubt::OutOfRange);
}

/// What is told of temperatures that come a second apart, by their doubts: "ok", "jump", and "?" for a second reading.
std::string Told(std::optional<double> maxStep, const std::vector<double>& degrees, Duration period = 1s,
                 bool isLineIll = false) {
    JumpCheck check(maxStep, 3s);
    std::string text;
    Duration now = 0s;
    for (const auto value : degrees) {
        const auto [told, again] = check.Take(Temperature(value), now += period, isLineIll);
        for (const auto& reading : told)
            text += reading.Why == Doubt::None ? "ok " : "jump ";
        if (again) text += "? ";
    }
    return text;
}

TEST(Doubts, OfAJumpUntilASecondReadingConfirmsIt) {
    EXPECT_EQ(Told({}, {20, 70, 20}), "ok ok ok ");
    EXPECT_EQ(Told(5, {20, 25, 21}), "ok ok ok ");
    EXPECT_EQ(Told(5, {20, 70, 71, 72}), "ok ? ok ok ok ") << "confirmed";
    EXPECT_EQ(Told(5, {20, 70, 21, 22}), "ok ? jump ok ok ") << "not confirmed";
    EXPECT_EQ(Told(5, {20, 70, 40, 21}), "ok ? jump jump ok ") << "two that agree with nothing";
    EXPECT_EQ(Told(5, {20, 70}, 10s), "ok ok ") << "the good one is stale";
    EXPECT_EQ(Told({}, {20, 20.4, 21, 21.1}, 1s, true), "? ok ok ? ok ok ") << "on an ill line";
    EXPECT_EQ(Told({}, {20, 20, 24, 20}, 1s, true), "? ok ok ? jump ok ");
    JumpCheck check(5, 3s);
    check.Take(Temperature(20), 1s, false);
    check.Take(Temperature(70), 2s, false);
    Reading failed = Temperature(0);
    failed.Value = {};
    const auto told = check.Take(failed, 2s, false).Told;
    ASSERT_EQ(told.size(), 2U);
    EXPECT_EQ(told[0].Why, Doubt::Jump);
    EXPECT_FALSE(told[1].Valid());
}

TEST(Doubts, NeverMakeAGoodValueOrAnAlarm) {
    LatestValues values;
    AlarmBook alarms;
    alarms.Watch("A", {.Address = kAddress, .Model = 106, .Name = {}, .Limits = {.Low = {}, .High = 30}}, 0s);
    auto good = Temperature(21);
    good.UnixMilliseconds = 1000;
    values.Take(good, 1s, 1s);
    auto doubtful = Temperature(70, Doubt::ReplyCode);
    doubtful.UnixMilliseconds = 2000;
    values.Take(doubtful, 1s, 2s);
    EXPECT_TRUE(alarms.Take(doubtful, 1s).empty());
    EXPECT_EQ(doubtful.Quality, Quality::Doubtful);
    EXPECT_EQ(doubtful.LastGood, ReadingValue(21.0));
    EXPECT_EQ(doubtful.Shown(), ReadingValue(70.0));
    EXPECT_EQ(values.At(4s)[0].Quality, Quality::Doubtful);
    EXPECT_EQ(values.At(6s)[0].Quality, Quality::Stale);
    EXPECT_EQ(values.At(60s)[0].Quality, Quality::Offline);
}

/// What a storm makes of the values of a device.
struct Storm {
    int Wrong = 0;        ///< that passed the checks and are wrong by more than half a degree or by an input
    int WrongAsGood = 0;  ///< of these, told as good
    int Right = 0;
    int RightAsGood = 0;

    void Count(const Reading& told, double truth) {
        const auto* degrees = std::get_if<double>(&told.Value);
        const double value = degrees != nullptr ? *degrees : std::get<std::int32_t>(told.Value);
        const bool isRight = std::abs(value - truth) <= (degrees != nullptr ? 0.5 : 0.0);
        ++(isRight ? Right : Wrong);
        if (told.IsGood()) ++(isRight ? RightAsGood : WrongAsGood);
    }
};

/// A device that is read once a second, and at once again when its value is in doubt, over a line that turns each bit
/// of an answer with some probability. Its temperature changes slowly, its inputs every twenty minutes.
class StormyDevice {
public:
    StormyDevice(const DeviceModelTable& model, std::optional<double> maxStep, double probability)
        : m_Model(model), m_Code(model.Measurement.Code), m_Jumps(maxStep, 3s), m_IsTurned(probability) {}

    Storm Read(int times) {
        for (int i = 0; i < times; ++i, m_Now += 1s) {
            const bool isTemperature = m_Model.DeviceModel == kTemperatureSensorModel;
            const double truth = isTemperature ? 21.5 + 5 * std::sin(i / 1000.0) : i / 1200 % 256;
            m_Truths.push_back(truth);
            if (ReadOnce(truth)) {
                m_Truths.push_back(truth);
                ReadOnce(truth);
            }
        }
        return m_Storm;
    }

private:
    bool ReadOnce(double truth) {
        auto reading = Temperature(0);
        reading.Model = m_Model.DeviceModel;
        reading.Value = Asked(truth);
        if (reading.Valid()) reading.Why = DoubtOf(reading, &*m_Exchange, {});
        const auto result = m_Jumps.Take(reading, m_Now, m_Exchange->FollowsDamage);
        for (const auto& told : result.Told) {
            if (told.Valid()) m_Storm.Count(told, m_Truths.front());
            m_Truths.pop_front();
        }
        return result.AskAgain;
    }

    ReadingValue Asked(double truth) {
        auto reply = BuildFrame(kAddress, m_Code, m_Model.Encode(truth));
        for (auto& byte : reply) {
            for (int bit = 0; bit < 8; ++bit)
                if (m_IsTurned(m_Random)) byte = static_cast<char>(byte ^ 1 << bit);
        }
        const auto request = BuildFrame(kAddress, m_Code, {});
        m_Tracker.Take({.Time = m_Now, .What = LineEvent::Kind::Sent, .Bytes = request});
        m_Tracker.Take({.Time = m_Now + 20ms, .What = LineEvent::Kind::Received, .Bytes = reply});
        m_Tracker.Settle();
        if (m_Exchange->Outcome != Outcome::Good) return {};
        try {
            return std::visit([](auto value) -> ReadingValue { return value; }, m_Model.Decode(m_Exchange->Payload));
        } catch (const Error&) {
            return {};
        }
    }

    const DeviceModelTable& m_Model;
    std::string m_Code;
    std::optional<Exchange> m_Exchange;
    ExchangeTracker m_Tracker{0, 50ms, [this](const Exchange& exchange) { m_Exchange = exchange; }};
    JumpCheck m_Jumps;
    std::mt19937 m_Random{1};
    std::bernoulli_distribution m_IsTurned;
    Duration m_Now = 0s;
    std::deque<double> m_Truths;  ///< of the readings that were not told yet
    Storm m_Storm;
};

// NIMBO1_STORM sets how often each device is read.
TEST(Doubts, InAStormFewWrongValuesAreToldAsGood) {
    const char* wanted = std::getenv("NIMBO1_STORM");
    const int times = wanted == nullptr ? 30'000 : std::stoi(wanted);
    for (const double probability : {0.003, 0.01, 0.02}) {
        for (const auto* model : kDeviceModels) {
            for (const auto& maxStep : {std::optional<double>(), std::optional<double>(5)}) {
                const auto storm = StormyDevice(*model, maxStep, probability).Read(times);
                std::ostringstream text;
                text << model->Name << " at " << probability << ", step " << maxStep.value_or(0) << ": of "
                     << storm.Wrong << " wrong " << storm.WrongAsGood << " as good, of " << storm.Right << " right "
                     << storm.RightAsGood;
                if (wanted != nullptr) std::cout << text.str() << std::endl;
                EXPECT_GT(storm.Wrong, 5) << text.str();
                EXPECT_LE(storm.WrongAsGood, storm.Wrong / (maxStep ? 20 : 4)) << text.str();
                EXPECT_GT(storm.RightAsGood, storm.Right / (probability < 0.015 ? 2 : 8)) << text.str();
            }
        }
    }
}

}  // namespace
}  // namespace orvix::tests
