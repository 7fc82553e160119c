#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "devices/protocol/frame.h"
#include "station/line/exchange_tracker.h"

namespace orvix::tests {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using namespace station;
using Kind = LineEvent::Kind;

const std::string kCode = "\x0B\x00"s;
const std::string kRequest = BuildFrame(5, kCode, {});
const std::string kReply = BuildFrame(5, kCode, "\x83\x2C\x00\x00"s);
const std::string kOtherRequest = BuildFrame(6, kCode, {});
const std::string kOtherReply = BuildFrame(6, kCode, "\x83\x40\x00\x00"s);
const std::string kRefusal = BuildFrame(5, "\x07\x00"s, "\xC9");

constexpr int kRetries = 1;
constexpr auto kTimeOut = 50ms;

std::string Changed(std::string bytes, std::size_t offset) {
    bytes[offset] = static_cast<char>(bytes[offset] ^ 0x10);
    return bytes;
}

/// What happens on a line, a millisecond a step.
struct Step {
    Kind What = Kind::Received;
    std::string Bytes = {};
    bool IsSettled = false;  ///< nothing happens, but the exchange's time is over
};

Step Asks() {
    return {Kind::Sent, kRequest};
}
Step AsksOther() {
    return {Kind::Sent, kOtherRequest};
}
Step Came(const std::string& bytes) {
    return {Kind::Received, bytes};
}
Step WasThere(const std::string& bytes) {
    return {Kind::Discarded, bytes};
}
Step TimeIsOver() {
    return {.IsSettled = true};
}

const char* NameOf(Outcome outcome) {
    constexpr const char* names[] = {"good",    "silent",  "cut short", "damaged",  "checksum",
                                     "refused", "foreign", "late",      "line lost"};
    return names[static_cast<std::size_t>(outcome)];
}

/// "5 good", and what came on top: "6 foreign (5 late)", "5 good (5 noise 2)".
std::string TextOf(const Exchange& exchange) {
    auto text = std::to_string(exchange.Address) + " " + NameOf(exchange.Outcome);
    if (exchange.IsEcho) text += " echo";
    if (exchange.Attempt > 0) text += " again";
    if (exchange.BytesAfter > 0) text += " +" + std::to_string(exchange.BytesAfter);
    for (const auto& extra : exchange.Extras) {
        constexpr const char* names[] = {"noise", "doubled", "late", "other address"};
        text += " (" + std::to_string(extra.Address) + " " + names[static_cast<std::size_t>(extra.What)];
        if (extra.Bytes > 0) text += " " + std::to_string(extra.Bytes);
        text += ")";
    }
    return text;
}

std::vector<std::string> Tracked(const std::vector<Step>& steps) {
    std::vector<std::string> exchanges;
    ExchangeTracker tracker(kRetries, kTimeOut,
                            [&](const Exchange& exchange) { exchanges.push_back(TextOf(exchange)); });
    Duration now = 1000s;
    for (const auto& step : steps) {
        now += 1ms;
        if (step.IsSettled) {
            tracker.Settle();
        } else {
            tracker.Take({.Time = now, .What = step.What, .Bytes = step.Bytes});
        }
    }
    return exchanges;
}

TEST(Exchanges, AreMadeOfTheBytesOnALine) {
    const auto head = kReply.substr(0, 6);
    const auto tail = kReply.substr(6);
    const std::string noise = "\x01\x02"s;
    const struct {
        const char* What;
        std::vector<Step> Steps;
        std::vector<std::string> Exchanges;
    } cases[] = {
        {"good", {Asks(), Came(kReply)}, {"5 good"}},
        {"good in pieces", {Asks(), Came(head), Came(tail)}, {"5 good"}},
        {"silent", {Asks(), TimeIsOver()}, {"5 silent"}},
        {"silent, told by the next request", {Asks(), Asks()}, {"5 silent"}},
        {"cut short", {Asks(), Came(head), TimeIsOver()}, {"5 cut short"}},
        {"damaged", {Asks(), Came(Changed(kReply, 0))}, {"5 damaged"}},
        {"another address",
         {Asks(), Came(kOtherReply), AsksOther(), Came(kOtherReply), Asks(), Came(kReply)},
         {"5 foreign", "6 good", "5 good (5 other address)"}},
        {"checksum", {Asks(), Came(Changed(kReply, 7))}, {"5 checksum"}},
        {"refused", {Asks(), Came(kRefusal)}, {"5 refused"}},
        {"the line is lost", {Asks(), {Kind::Failed}}, {"5 line lost"}},
        {"lost between exchanges", {Asks(), Came(kReply), {Kind::Failed}}, {"5 good"}},
        {"a retry", {Asks(), TimeIsOver(), Asks(), Came(kReply), Asks()}, {"5 silent", "5 good again"}},
        {"retries end", {Asks(), Asks(), Asks(), Came(kReply)}, {"5 silent", "5 silent again", "5 good"}},
        {"the request comes back", {Asks(), Came(kRequest), Came(kReply)}, {"5 foreign echo"}},
        {"and is no second device",
         {Asks(), Came(kRequest + kReply), WasThere(noise), AsksOther(), Came(kOtherReply)},
         {"5 foreign echo +13", "6 good"}},
        {"doubled at once",
         {Asks(), Came(kReply + kReply), AsksOther(), Came(kOtherReply)},
         {"5 good +13", "6 good (5 doubled)"}},
        {"doubled apart",
         {Asks(), Came(kReply), WasThere(kReply), AsksOther(), Came(kOtherReply)},
         {"5 good", "6 good (5 doubled)"}},
        {"two answers mixed",
         {Asks(), Came(kReply), Asks(), Came("\x1D\x1D"s), Came(std::string(24, '\x08')), AsksOther(), TimeIsOver()},
         {"5 good", "5 cut short", "6 silent (5 doubled)"}},
        {"noise behind an answer",
         {Asks(), Came(kReply), WasThere(noise), Asks(), Came(kReply)},
         {"5 good", "5 good (5 noise 2)"}},
        {"late, before the same is asked",
         {Asks(), TimeIsOver(), WasThere(kReply), Asks(), Came(kReply)},
         {"5 silent", "5 good again (5 late)"}},
        {"late, and again",
         {Asks(), WasThere(kReply), Asks(), TimeIsOver(), WasThere(kReply), Asks(), TimeIsOver()},
         {"5 silent", "5 late again (5 late)", "5 late (5 late)"}},
        {"late no more",
         {Asks(), Asks(), WasThere(kReply + kReply), Asks(), Asks(), Asks(), TimeIsOver()},
         {"5 silent", "5 silent again", "5 late (5 late) (5 late)", "5 late again", "5 silent"}},
        {"late, for another's answer",
         {AsksOther(), Came(kOtherReply), Asks(), TimeIsOver(), AsksOther(), Came(kReply), WasThere(kOtherReply),
          AsksOther(), Came(kOtherReply)},
         {"6 good", "5 silent", "6 foreign (5 late)", "6 good again"}},
        {"late, torn by its own time-out",
         {Asks(), Came(head), WasThere(tail), Asks(), Came(kReply)},
         {"5 cut short", "5 good again (5 late)"}},
        {"late, torn by another's request",
         {AsksOther(), Came(kOtherReply), Asks(), WasThere(head), AsksOther(), Came(tail + kOtherReply), AsksOther(),
          Came(kOtherReply)},
         {"6 good", "5 silent", "6 foreign (5 late)", "6 good again"}},
        {"opened anew",
         {Asks(), TimeIsOver(), {Kind::Closed}, {Kind::Opened}, WasThere(noise), Asks(), Came(kReply)},
         {"5 silent", "5 good"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.What);
        EXPECT_EQ(Tracked(c.Steps), c.Exchanges);
    }
}

TEST(Exchanges, TellWhatTheFramesSay) {
    std::vector<Exchange> told;
    ExchangeTracker tracker(kRetries, kTimeOut, [&](const Exchange& exchange) { told.push_back(exchange); });
    const auto reply = BuildFrame(5, "\x07\x01"s, "21");
    for (const auto& answer : {reply, Changed(reply, reply.size() - 2)}) {
        tracker.Take({.Time = 10ms, .Port = "A", .What = Kind::Sent, .Bytes = kRequest});
        tracker.Take({.Time = 32ms, .Port = "A", .What = Kind::Received, .Bytes = answer});
    }
    ASSERT_EQ(told.size(), 2U);
    EXPECT_EQ(told[0].Port, "A");
    EXPECT_EQ(told[0].Asked, kCode);
    EXPECT_EQ(told[0].Sent, 10ms);
    EXPECT_EQ(told[0].RoundTrip, 22ms);
    EXPECT_EQ(told[0].ReplyCode, "\x07\x01");
    EXPECT_TRUE(told[0].OuterChecksumOk);
    EXPECT_EQ(told[1].Outcome, Outcome::Good);
    EXPECT_FALSE(told[1].OuterChecksumOk);
}

}  // namespace
}  // namespace orvix::tests
