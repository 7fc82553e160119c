#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <random>

#include "station/model/known_failures.h"
#include "station/model/text.h"
#include "tests/station/faulty_line.h"

namespace orvix::tests {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using namespace station;
using std::chrono::milliseconds;
using LineKind = LineEvent::Kind;

constexpr int kIll = FaultyLine::kIll;
const std::string kNoise = "\x01\x02"s;

Answers None(const std::string&, int) {
    return {};
}

FaultyLine::Fault After(Duration time) {
    return [time](const std::string& reply, int) { return Answers{{time, reply}}; };
}

FaultyLine::Fault PacedAfter(Duration time) {
    return [time](const std::string& reply, int) { return Paced(time, reply); };
}

/// What becomes of an answer.
using Change = std::function<std::string(const std::string& reply)>;

/// Each answer is changed of which the number divided by `of` leaves `rest`.
FaultyLine::Fault Changed(Change change, int of = 1, int rest = 0) {
    return [=](const std::string& reply, int n) { return Answers{{20ms, n % of == rest ? change(reply) : reply}}; };
}

Change DamagedAt(std::size_t offset) {
    return [offset](const std::string& reply) { return Damaged(reply, offset); };
}

/// Each bit is wrong with this probability; the same every time.
Change Flipped(double probability) {
    return [probability, random = std::make_shared<std::mt19937>(1)](std::string reply) {
        std::bernoulli_distribution isWrong(probability);
        for (auto& byte : reply) {
            for (int bit = 0; bit < 8; ++bit)
                if (isWrong(*random)) byte = static_cast<char>(byte ^ 1 << bit);
        }
        return reply;
    };
}

/// The address is another one, in a frame that is right or in one that was right before.
Change Addressed(int offset, bool isRight) {
    return [=](std::string reply) {
        reply[2] = static_cast<char>(reply[2] + offset);
        const auto checksum = reply.size() - 2;
        if (isRight) reply[checksum] = static_cast<char>(reply[1] ^ reply[2]);
        return reply;
    };
}

std::string WithoutValue(const std::string& reply) {
    return BuildFrame(reply[2], FaultyLine::kCommand, "ab");
}

std::string Refusal(const std::string& reply) {
    return BuildFrame(reply[2], "\x07\x00"s, "\xC9");
}

std::string Mixed(const std::string& reply) {
    std::string mixed;
    for (const char c : reply)
        mixed += std::string(2, c);
    return mixed;
}

FaultyLine::Fault ReceivedAt(double baud) {
    return [baud](const std::string& reply, int) {
        const auto bytes = SampledAt(baud, reply);
        Answers answers;
        for (std::size_t i = 0; i < bytes.size(); ++i)
            answers.push_back({7ms + 13ms * static_cast<int>(i + 1) / static_cast<int>(bytes.size()), {bytes[i]}});
        return answers;
    };
}

constexpr char kNever[] = "address 7 never answers: power, wiring or address";
constexpr char kNoneAnswers[] =
    "no device answers: power of the bus, its two wires swapped, the speed, or the wrong port";
constexpr char kOther[] = "address 7 answers with a wrong address: the address that is set in the device";
constexpr char kAllOther[] = "every device answers with a wrong address: a gateway or converter";
constexpr char kShared[] = "two devices share address 7: its answers come twice; give one of them another address";
constexpr char kAllTwice[] = "the answers of all devices come twice: a converter or repeater";
constexpr char kMostDamaged[] = "most answers from address 7 are damaged: its cable or speed";
constexpr char kAllDamaged[] = "most answers from every address are damaged: speed or wiring";
constexpr char kNoisy[] = "noise: stray bytes around the answers from address 7: its cable or ground";
constexpr char kAllNoisy[] = "noise: stray bytes between exchanges";
constexpr char kNothing[] = "";

const struct {
    const char* What;
    const char* Says;       ///< of the device, one of five, that has it
    const char* SaysOfAll;  ///< of the bus when all have it; null: it has nothing of its own
    FaultyLine::Fault Fault;
} kFaults[] = {
    {"well", kNothing, kNothing, FaultyLine::Well},
    {"two failures", kNothing, kNothing,
     [](const std::string& r, int n) {
         return n == 3 || n == 30 ? Answers{} : Answers{{2ms, r}};
     }},
    {"dead", kNever, kNoneAnswers, None},
    {"died", "address 7 stopped answering 90 s ago: power, wiring or device", kNoneAnswers,
     [](const std::string& r, int n) {
         return n < 10 ? Answers{{2ms, r}} : Answers{};
     }},
    {"drop", "25 % of the attempts to read address 7 fail (time-outs): cable or device",
     "25 % of the attempts time out, on every address: cable or converter",
     [](const std::string& r, int n) {
         return n % 4 == 1 ? Answers{} : Answers{{2ms, r}};
     }},
    {"almost late", "address 7 answers late (p95 48 ms of 50 ms): a larger",
     "every address answers late (p95 48 ms of 50 ms)", After(48ms)},
    {"late by little", "address 7 answers after the time-out of 50 ms: --timeout-factor 14 would be enough",
     "every address answers after the time-out of 50 ms: --timeout-factor 14 would be enough", After(54ms)},
    {"late", "address 7 answers after the time-out of 50 ms: --timeout-factor 17 would be enough",
     "every address answers after the time-out of 50 ms: --timeout-factor 17 would be enough", After(65ms)},
    {"later", "address 7 answers after the time-out of 50 ms: --timeout-factor 20 would be enough",
     "every address answers after the time-out of 50 ms: --timeout-factor 20 would be enough", After(80ms)},
    // Of one that comes while nobody listens it is known only that it was there before the next request.
    {"very late", "address 7 answers after the time-out of 50 ms: --timeout-factor 240 would be enough",
     "every address answers after the time-out of 50 ms: --timeout-factor 100 would be enough", After(400ms)},
    {"late, cut in two by the time-out",
     "address 7 answers after the time-out of 50 ms: --timeout-factor 13 would be enough",
     "every address answers after the time-out of 50 ms: --timeout-factor 13 would be enough", PacedAfter(39ms)},
    {"late, cut in two by requests to others", "address 7 answers after the time-out of 50 ms",
     "every address answers after the time-out of 50 ms", PacedAfter(89ms)},
    {"now and then late", "address 7 answers after the time-out of 50 ms: --timeout-factor 16 would be enough",
     "every address answers after the time-out of 50 ms: --timeout-factor 16 would be enough",
     [](const std::string& r, int n) {
         return Answers{{n % 10 == 0 ? 62ms : 20ms, r}};
     }},
    {"another address", kOther, kAllOther, Changed(Addressed(1, true))},
    {"another address that no device has", kOther, kAllOther, Changed(Addressed(90, true))},
    {"another address, of the one before", kOther, kAllOther, Changed(Addressed(-1, true))},
    {"another address at times", kOther, kAllOther, Changed(Addressed(1, true), 10)},
    {"another address, checksum of the right one", kOther, kAllOther, Changed(Addressed(1, false))},
    {"checksum", "10 % of the attempts to read address 7 end in checksum errors: its cable",
     "checksum errors on every address: termination, ground or speed", Changed(DamagedAt(7), 10, 1)},
    {"address damaged", "10 % of the attempts to read address 7 end in damaged answers: its cable",
     "damaged answers on every address: termination, ground or speed",
     [](const std::string& r, int n) {
         auto reply = r;
         if (n % 10 == 1) reply[2] = static_cast<char>(reply[2] ^ 1 << n / 10 % 8);
         return Answers{{20ms, reply}};
     }},
    {"any byte damaged", "29 % of the attempts to read address 7 end in checksum errors: its cable",
     "checksum errors on every address: termination, ground or speed",
     [](const std::string& r, int n) {
         return Answers{{2ms, n % 3 == 0 ? Damaged(r, static_cast<std::size_t>(n / 3) % r.size()) : r}};
     }},
    {"cut", "20 % of the attempts to read address 7 end in damaged answers: its cable",
     "damaged answers on every address: termination, ground or speed",
     Changed([](const std::string& r) { return r.substr(0, 6); }, 5)},
    {"3 % of bits flipped", kMostDamaged, kAllDamaged, Changed(Flipped(0.03))},
    {"40 % of bits flipped", kMostDamaged, kAllDamaged, Changed(Flipped(0.4))},
    {"speed 1200", kMostDamaged, kAllDamaged, ReceivedAt(1200)},
    {"speed 4800", kMostDamaged, kAllDamaged, ReceivedAt(4800)},
    {"speed 19200", kMostDamaged, kAllDamaged, ReceivedAt(19200)},
    {"speed 115200", kMostDamaged, kAllDamaged, ReceivedAt(115200)},
    {"no value", "address 7 answers, but not with a value: wrong model?",
     "the devices answer, but not with values: wrong model?", Changed(WithoutValue)},
    {"refuses", "address 7 refuses: wrong model? nimbo1 scan shows it", nullptr, Changed(Refusal)},
    {"refuses at times", "address 7 refuses 20 % of the requests: wrong", nullptr, Changed(Refusal, 5)},
    {"noise before", kNoisy, kAllNoisy, Changed([](const std::string& r) { return kNoise + r; }, 5)},
    {"noise that ends the exchange before the answer does", kNoisy, nullptr,
     [](const std::string& r, int n) {
         return n % 5 == 0 ? Paced(2ms, kNoise + r) : Answers{{2ms, r}};
     }},
    {"noise after", kNoisy, kAllNoisy, Changed([](const std::string& r) { return r + kNoise; }, 5)},
    {"two answers at once", kShared, kAllTwice, Changed([](const std::string& r) { return r + r; })},
    {"two answers in turn", kShared, kAllTwice,
     [](const std::string& r, int) {
         return Answers{{2ms, r}, {9ms, r}};
     }},
    {"two answers, the second cut in two by the next request", kShared, nullptr,
     [](const std::string& r, int) { return Paced(2ms, r + r); }},
    {"two answers mixed", kShared, kAllTwice, Changed(Mixed, 2)},
};

/// That a line's findings are these, by address and the beginning of the sentence.
void ExpectFindings(FaultyLine& line, const std::vector<Finding>& expected) {
    const auto findings = line.Findings();
    const auto isAsExpected = [](const Finding& found, const Finding& it) {
        return found.Address == it.Address && found.Sentence.starts_with(it.Sentence);
    };
    std::string text;
    for (const auto& finding : findings)
        text += std::to_string(finding.Address) + " " + finding.Sentence + "\n";
    EXPECT_TRUE(std::equal(findings.begin(), findings.end(), expected.begin(), expected.end(), isAsExpected)) << text;
}

TEST(Diagnosis, OneFaultOfOneDeviceOfFiveIsToldAndNothingElse) {
    for (const auto& fault : kFaults) {
        SCOPED_TRACE(fault.What);
        FaultyLine line;
        line.Poll(100, fault.Fault);
        ExpectFindings(line, *fault.Says == '\0' ? std::vector<Finding>{} : std::vector<Finding>{{kIll, fault.Says}});
    }
}

// Where a request follows the other at once, what comes byte by byte for one runs into the time of the next. Rubbish is
// at times as an answer of the next would be.
TEST(Diagnosis, OnABusWithoutPausesOthersAreSeldomAccused) {
    const auto rubbish = [random = std::make_shared<std::mt19937>(7)](const std::string& reply) {
        std::string bytes((*random)() % (3 * reply.size()) + 1, '\0');
        for (auto& byte : bytes)
            byte = static_cast<char>((*random)());
        return bytes;
    };
    const Change changes[] = {[](const std::string& reply) { return reply + reply; }, Mixed, rubbish, Flipped(0.4),
                              Flipped(0.03)};
    int minutes = 0;
    int accused = 0;
    for (const auto& change : changes) {
        for (const int of : {1, 2, 3}) {
            const auto paced = [&](const std::string& reply, int n) {
                return n % of == 0 ? Paced(2ms, change(reply)) : FaultyLine::Well(reply, n);
            };
            for (const int devices : {3, 5, 10}) {
                FaultyLine line(devices);
                line.HasPauses = false;
                for (int minute = 0; minute < 5; ++minute, ++minutes) {
                    line.Poll(100, paced);
                    const auto findings = line.Findings();
                    accused += std::any_of(findings.begin(), findings.end(), [](const auto& finding) {
                        return finding.Address != 0 && finding.Address != kIll;
                    });
                }
            }
        }
    }
    EXPECT_LE(accused, minutes / 50);
}

TEST(Diagnosis, WhatAllDevicesHaveIsTheBuss) {
    for (const auto& fault : kFaults) {
        if (fault.SaysOfAll == nullptr) continue;
        SCOPED_TRACE(fault.What);
        FaultyLine line;
        line.Poll(100, fault.Fault, FaultyLine::kAll);
        ExpectFindings(line,
                       *fault.SaysOfAll == '\0' ? std::vector<Finding>{} : std::vector<Finding>{{0, fault.SaysOfAll}});
    }
}

TEST(Diagnosis, TheTimeOutThatItNamesDoes) {
    for (const auto delay : {54ms, 65ms, 80ms, 120ms, 190ms}) {
        FaultyLine line;
        line.Poll(100, After(delay), FaultyLine::kAll);
        const auto sentence = line.Findings().at(0).Sentence;
        const std::string before = "--timeout-factor ";
        const auto factor = std::stoi(sentence.substr(sentence.find(before) + before.size()));
        EXPECT_GT(ReplyLimit(factor), delay) << sentence;
        EXPECT_LT(ReplyLimit(factor), 1.4 * delay) << sentence;
    }
}

TEST(Diagnosis, WhatComesOnTheIdleLineIsNobodys) {
    using Send = std::function<void(FaultyLine & line, Duration at, unsigned random)>;
    const auto paced = [](FaultyLine& line, Duration at, const std::string& bytes) {
        for (const auto& byte : Paced(at, bytes))
            line.Comes(byte.After, byte.Bytes);
    };
    const auto ask = [=](FaultyLine& line, Duration at, int address) {
        paced(line, at, BuildFrame(address, FaultyLine::kCommand, {}));
        paced(line, at + 20ms, BuildFrame(address, FaultyLine::kCommand, RealToBytes(21.5F)));
    };
    const std::pair<const char*, Send> cases[] = {
        {"a byte",
         [=](FaultyLine& line, Duration at, unsigned random) { paced(line, at, {static_cast<char>(random)}); }},
        {"some bytes",
         [=](FaultyLine& line, Duration at, unsigned random) {
             paced(line, at, {static_cast<char>(random), 'a', static_cast<char>(random >> 8), '\x1D', 'b', 'c'});
         }},
        {"another master asks the same devices",
         [=](FaultyLine& line, Duration at, unsigned random) { ask(line, at, 5 + static_cast<int>(random % 5)); }},
        {"another master asks others",
         [=](FaultyLine& line, Duration at, unsigned random) { ask(line, at, 50 + static_cast<int>(random % 5)); }},
    };
    for (const auto& [what, send] : cases) {
        for (const int timesARound : {1, 10}) {
            SCOPED_TRACE(what);
            FaultyLine line;
            std::mt19937 random(1);
            for (int round = 0; round < 100; ++round) {
                for (int i = 0; i < timesARound; ++i)
                    send(line, milliseconds(random() % 1000), static_cast<unsigned>(random()));
                line.Poll(1, FaultyLine::Well);
            }
            ExpectFindings(line, {{0, "noise on the idle line ("}});
        }
    }
}

TEST(Diagnosis, TheStationReadsOnBehindAnEcho) {
    FaultyLine line;
    line.Echoes = true;
    line.Poll(1, None);
    EXPECT_EQ(line.GoodReadings, 2) << "the requests that come back are seen through";
    line.Poll(100, None);
    EXPECT_EQ(line.GoodReadings, 4);
    const auto echo = "the converter echoes what it sends: switch its echo off";
    ExpectFindings(line, {{0, echo}, {kIll, "address 7 never answers"}});
    line.Echoes = false;
    line.Poll(2, FaultyLine::Well);
    EXPECT_EQ(line.GoodReadings, 5) << "it was switched off";
    line.Poll(360, FaultyLine::Well);
    ExpectFindings(line, {});
}

TEST(Diagnosis, OneDeviceAlone) {
    const std::pair<FaultyLine::Fault, const char*> cases[] = {
        {None, "the only device, address 5, never answers: power, wiring, address, port or speed"},
        {After(65ms), "address 5 answers after the time-out of 50 ms: --timeout-factor 17 would be enough"},
        {Changed(Flipped(0.4)), "most answers from address 5 are damaged: its cable or speed"},
        {Changed(WithoutValue), "address 5 answers, but not with a value"},
    };
    for (const auto& [fault, says] : cases) {
        FaultyLine line(1);
        line.Poll(100, fault, FaultyLine::kAll);
        ExpectFindings(line, {{FaultyLine::kFirst, says}});
    }
}

TEST(Diagnosis, WhatAllHaveIsNotSaidOfTheOneThatHadItMostSoFar) {
    FaultyLine line;
    const auto damaged = [](const std::string& reply, int n) {
        return Answers{{20ms, n % (reply[2] == kIll ? 5 : 9) == 1 ? Damaged(reply, 7) : reply}};
    };
    line.Poll(12, damaged, FaultyLine::kAll);
    ExpectFindings(line, {{0, "checksum errors on every address"}});
    FaultyLine other;
    other.Poll(100, [](const std::string& reply, int n) {
        return Answers{{20ms, n % 2 == 0 ? Damaged(reply, 7) : reply}};
    });
    other.Poll(5, Changed(DamagedAt(7), 5, 1), FaultyLine::kAll);
    ExpectFindings(other, {{kIll, "49 % of the attempts to read address 7 end in checksum errors"}});
}

TEST(Diagnosis, APortThatFailsAgainAndAgainIsUnsteady) {
    FaultyLine line;
    for (int i = 0; i < 6; ++i) {
        line.Poll(20, FaultyLine::Well);
        line.Unplug(6);
        line.Tell(LineKind::Opened);
    }
    line.Poll(20, FaultyLine::Well);
    ExpectFindings(line, {{0, "the port is unsteady, it failed 6 times in the last minutes: its plug, the hub"}});
    line.Poll(660, FaultyLine::Well);
    ExpectFindings(line, {});
}

/// What each row of a document's table says, without the marks of code.
std::vector<std::string> RowsBelow(const std::string& heading, const std::string& name) {
    std::ifstream document(NIMBO1_DOCS "/" + name);
    std::vector<std::string> rows;
    bool isBelow = false;
    for (std::string line; std::getline(document, line);) {
        line.erase(std::remove(line.begin(), line.end(), '`'), line.end());
        if (isBelow && !line.starts_with("| ")) break;
        if (isBelow) rows.push_back(line);
        if (line == heading) isBelow = std::getline(document, line).good();
    }
    return rows;
}

TEST(Diagnosis, ItsDocumentHasAllThatItSaysAndNothingElse) {
    std::vector<std::string> rows;
    for (const auto& [sentence, cure] : AllFindingTexts())
        rows.push_back(std::string("| ") + sentence + " | " + cure + " |");
    EXPECT_EQ(RowsBelow("| sentence | do |", "health.md"), rows);
}

TEST(KnownFailures, AreInTheirDocumentWithTheirCures) {
    const auto rows = RowsBelow("| code | sentence | cause | cure |", "error-codes.md");
    ASSERT_GE(rows.size(), KnownFailures().size());
    for (std::size_t i = 0; i < KnownFailures().size(); ++i) {
        const auto& [code, sentence, cure] = KnownFailures()[i];
        EXPECT_TRUE(rows[i].starts_with("| " + CodeText(code) + " | " + sentence + " | ")) << rows[i];
        EXPECT_TRUE(rows[i].ends_with(std::string(" | ") + cure + " |")) << rows[i];
    }
}

TEST(Diagnosis, SpeaksOfNow) {
    FaultyLine line;
    line.Poll(20, FaultyLine::Well);
    line.Tell(LineKind::Sent, BuildFrame(kIll, FaultyLine::kCommand, {}));
    line.Tell(LineKind::Failed, {}, "no such device");
    line.Pass(12s);
    ExpectFindings(line, {{0, "the port has been gone for 12 s (no such device)"}});

    line.Tell(LineKind::Opened);
    line.Poll(20, FaultyLine::Well);
    EXPECT_EQ(line.Findings(), std::vector<Finding>{}) << "plugged in again";
    line.Poll(20, None);
    EXPECT_EQ(line.Findings().size(), 1U);
    line.Poll(360, FaultyLine::Well);
    EXPECT_EQ(line.Findings(), std::vector<Finding>{}) << "minutes later";

    FaultyLine late;
    late.Poll(100, After(1500ms));
    ExpectFindings(late, {{kIll, "address 7 answers after the time-out"}});

    FaultyLine slow(5, 500ms);
    slow.Poll(20, FaultyLine::Well);
    ExpectFindings(slow, {{0, "devices are read every 1 s, not every 500 ms"}});
}

}  // namespace
}  // namespace orvix::tests
