#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <functional>
#include <map>

#include "devices/protocol/basOrvixNB1.h"
#include "devices/protocol/frame.h"
#include "station/line/exchange_tracker.h"
#include "station/model/known_failures.h"
#include "station/model/text.h"
#include "station/run/diagnosis.h"
#include "station/run/health_book.h"

namespace orvix::tests {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using namespace station;
using LineKind = LineEvent::Kind;

constexpr int kFirst = 5;
constexpr int kLast = 9;
constexpr int kIll = 7;
constexpr auto kTimeOut = 50ms;
constexpr int kRetries = 3;
const std::string kCommand = "\x0B\x00"s;

std::string Damaged(std::string reply, std::size_t offset) {
    reply[offset] = static_cast<char>(reply[offset] ^ 0x10);
    return reply;
}

/// One bus of five sensors that a driver polls every second, told to a book of health. What a device makes of a request
/// is a fault's matter.
class FaultyLine {
public:
    /// What is heard after a request, and how long after it.
    struct Answer {
        Duration After = 2ms;
        std::string Bytes;
    };
    using Fault = std::function<std::vector<Answer>(const std::string& reply, int request)>;

    explicit FaultyLine(std::chrono::milliseconds asked = 1s) {
        m_Setup.PortLabel = "A";
        m_Setup.Every = asked;
        m_Setup.Retries = kRetries;
        for (int address = kFirst; address <= kLast; ++address)
            m_Setup.Devices.push_back({address, kTemperatureSensorModel, {}, {}});
        m_Book.OnSetup(m_Setup);
        Tell(LineKind::Opened);
    }

    void Tell(LineKind what, const std::string& bytes = {}, const std::string& reason = {}) {
        const LineEvent event{.Time = m_Now, .Port = "A", .What = what, .Bytes = bytes, .Reason = reason};
        m_Book.OnLine(event);
        m_Tracker.Take(event);
    }

    void Poll(int rounds, const Fault& fault, bool everywhere = false) {
        for (int round = 0; round < rounds; ++round) {
            const auto next = m_Now + 1s;
            for (int address = kFirst; address <= kLast; ++address)
                Read(address, address == kIll || everywhere ? fault : Well);
            m_Now = std::max(m_Now, next);
        }
    }

    std::vector<Finding> Findings() { return Diagnose(Health()); }
    BusHealth Health() { return m_Book.At(m_Now, 0, {}).Buses[0]; }
    void Pass(Duration time) { m_Now += time; }
    /// Another device at the address, told as when a configuration is read again.
    void Replace(int address) {
        m_Book.OnDeviceGone(IdOf("A", address));
        m_Book.OnSetup(m_Setup);
    }

    static std::vector<Answer> Well(const std::string& reply, int) { return {{20ms, reply}}; }

private:
    void Read(int address, const Fault& fault) {
        const auto reply = BuildFrame(address, kCommand, RealToBytes(21.5F));
        for (int attempt = 0; attempt <= kRetries; ++attempt) {
            Discard();
            Tell(LineKind::Sent, BuildFrame(address, kCommand, {}));
            for (auto& answer : fault(reply, m_Requests[address]++))
                m_Coming.emplace(m_Now + answer.After, answer.Bytes);
            if (Receive(address)) return;
        }
        m_Tracker.Settle();
    }

    void Discard() {
        std::string bytes;
        while (!m_Coming.empty() && m_Coming.begin()->first <= m_Now)
            bytes += TakeNext();
        if (!bytes.empty()) Tell(LineKind::Discarded, bytes);
    }

    /// As the driver does: until the frame is whole or the time is over.
    bool Receive(int address) {
        const auto end = m_Now + kTimeOut;
        std::string received;
        while (!m_Coming.empty() && m_Coming.begin()->first <= end) {
            m_Now = std::max(m_Now, m_Coming.begin()->first);
            const auto bytes = TakeNext();
            received += bytes;
            Tell(LineKind::Received, bytes);
            const auto length = FrameLength(received);
            if (length && received.size() >= *length) return CheckReply(received, address).error == errors::None;
        }
        m_Now = end;
        return false;
    }

    std::string TakeNext() { return m_Coming.extract(m_Coming.begin()).mapped(); }

    BusSetup m_Setup;
    HealthBook m_Book;
    ExchangeTracker m_Tracker{kRetries, [this](const Exchange& exchange) { m_Book.OnExchange(exchange); }};
    Duration m_Now = 1000s;
    std::map<int, int> m_Requests;
    std::multimap<Duration, std::string> m_Coming;
};

using Answers = std::vector<FaultyLine::Answer>;

Answers None(const std::string&, int) {
    return {};
}

/// Bytes as they come off a line of 9600 baud.
Answers Paced(Duration after, const std::string& bytes) {
    Answers answers;
    for (const char byte : bytes)
        answers.push_back({after += 1ms, {byte}});
    return answers;
}

// Every fault that the simulator knows, at the rates people will try.
const struct {
    const char* What;
    const char* Says;  ///< of the one device; "" for none
    FaultyLine::Fault Fault;
} kFaults[] = {
    {"well", "", FaultyLine::Well},
    {"two failures", "",
     [](const std::string& r, int n) {
         return n == 3 || n == 30 ? Answers{} : Answers{{2ms, r}};
     }},
    {"dead",
     "address 7 never answers: power, wiring or address; asked less often until it answers; the others are fine", None},
    {"died", "address 7 stopped answering 90 s ago: power, wiring or device; asked less often until it answers",
     [](const std::string& r, int n) {
         return n < 10 ? Answers{{2ms, r}} : Answers{};
     }},
    {"drop", "25 % of the exchanges with address 7 fail (time-outs): cable or device",
     [](const std::string& r, int n) {
         return n % 4 == 1 ? Answers{} : Answers{{2ms, r}};
     }},
    {"almost late", "address 7 answers late (p95 48 ms of 50 ms): a larger",
     [](const std::string& r, int) {
         return Answers{{48ms, r}};
     }},
    {"late", "address 7 answers after the time-out of 50 ms",
     [](const std::string& r, int) {
         return Answers{{80ms, r}};
     }},
    {"very late", "address 7 answers after the time-out of 50 ms",
     [](const std::string& r, int) {
         return Answers{{400ms, r}};
     }},
    {"late, cut in two by the time-out", "address 7 answers after the time-out of 50 ms",
     [](const std::string& r, int) { return Paced(39ms, r); }},
    {"late, cut in two by requests to others", "address 7 answers after the time-out of 50 ms",
     [](const std::string& r, int) { return Paced(89ms, r); }},
    {"checksum", "10 % of the exchanges with address 7 bring checksum errors: its cable",
     [](const std::string& r, int n) {
         return Answers{{2ms, n % 10 == 1 ? Damaged(r, 7) : r}};
     }},
    {"any byte damaged", "bring checksum errors: its cable",
     [](const std::string& r, int n) {
         return Answers{{2ms, n % 3 == 0 ? Damaged(r, (n / 3) % r.size()) : r}};
     }},
    {"cut", "bring damaged answers: its cable",
     [](const std::string& r, int n) {
         return Answers{{2ms, n % 5 == 0 ? r.substr(0, 6) : r}};
     }},
    {"refuses", "address 7 refuses: wrong model? nimbo1 scan tells it",
     [](const std::string&, int) {
         return Answers{{2ms, BuildFrame(kIll, "\x07\x00"s, "\xC9")}};
     }},
    {"refuses at times", "address 7 refuses 20 % of the requests: wrong",
     [](const std::string& r, int n) {
         return Answers{{2ms, n % 5 == 0 ? BuildFrame(kIll, "\x07\x00"s, "\xC9") : r}};
     }},
    {"noise before", "noise: stray bytes around the answers of address 7",
     [](const std::string& r, int n) {
         return Answers{{2ms, n % 5 == 0 ? "\x01\x02" + r : r}};
     }},
    {"noise that ends the exchange before the answer does", "noise: stray bytes around the answers of address 7",
     [](const std::string& r, int n) {
         return n % 5 == 0 ? Paced(2ms, "\x01\x02" + r) : Answers{{2ms, r}};
     }},
    {"noise after", "noise: stray bytes around the answers of address 7",
     [](const std::string& r, int n) {
         return Answers{{2ms, n % 5 == 0 ? r + "\x01\x02" : r}};
     }},
    {"two answers at once", "two devices share address 7",
     [](const std::string& r, int) {
         return Answers{{2ms, r + r}};
     }},
    {"two answers in turn", "two devices share address 7",
     [](const std::string& r, int) {
         return Answers{{2ms, r}, {9ms, r}};
     }},
    {"two answers, the second cut in two by the next request", "two devices share address 7",
     [](const std::string& r, int) { return Paced(2ms, r + r); }},
    {"two answers mixed", "two devices share address 7",
     [](const std::string& r, int n) {
         std::string mixed;
         for (const char c : r)
             mixed += std::string(2, c);
         return Answers{{2ms, n % 2 == 0 ? mixed : r}};
     }},
};

TEST(Diagnosis, OneFaultOfOneDeviceOfFiveIsToldAndNothingElse) {
    for (const auto& fault : kFaults) {
        SCOPED_TRACE(fault.What);
        FaultyLine line;
        line.Poll(100, fault.Fault);
        const auto findings = line.Findings();
        const bool isIll = *fault.Says != '\0';
        for (const auto& finding : findings)
            EXPECT_EQ(finding.Address, kIll) << finding.Sentence;
        ASSERT_EQ(findings.size(), isIll ? 1U : 0U);
        if (isIll) {
            EXPECT_NE(findings[0].Sentence.find(fault.Says), std::string::npos) << findings[0].Sentence;
        }
        line.Pass(1s);
    }
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

TEST(Diagnosis, WhatAllDevicesHaveIsTheBuss) {
    for (const auto& [what, says] : {
             std::pair("dead", "no device answers"),
             {"checksum", "checksum errors on every address: termination, ground or speed"},
             {"any byte damaged", "checksum errors on every address: termination, ground or speed"},
             {"almost late", "every address answers late (p95 48 ms of 50 ms)"},
             {"drop", "25 % of the exchanges time out, on every address"},
             {"noise before", "noise: stray bytes between exchanges"},
             {"noise after", "noise: stray bytes between exchanges"},
         }) {
        SCOPED_TRACE(what);
        FaultyLine line;
        const auto* fault = std::find_if(std::begin(kFaults), std::end(kFaults),
                                         [name = std::string(what)](const auto& it) { return it.What == name; });
        line.Poll(100, fault->Fault, true);
        const auto findings = line.Findings();
        ASSERT_EQ(findings.size(), 1U);
        EXPECT_EQ(findings[0].Address, 0);
        EXPECT_EQ(findings[0].Sentence.find(says), 0U) << findings[0].Sentence;
    }
}

TEST(Diagnosis, AnEchoIsNoSecondDevice) {
    FaultyLine line;
    line.Poll(
        100,
        [](const std::string& r, int) {
            return Answers{{1ms, BuildFrame(r[2], kCommand, {})}, {20ms, r}};
        },
        true);
    const auto findings = line.Findings();
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_EQ(findings[0].Sentence, "every request comes back: switch the converter's local echo off");
}

TEST(Diagnosis, SpeaksOfNow) {
    FaultyLine line;
    line.Poll(20, FaultyLine::Well);
    line.Tell(LineKind::Sent, BuildFrame(kIll, kCommand, {}));
    line.Tell(LineKind::Failed, {}, "no such device");
    line.Pass(12s);
    const auto gone = line.Findings();
    ASSERT_EQ(gone.size(), 1U);
    EXPECT_EQ(gone[0].Sentence.find("the port is gone since 12 s (no such device)"), 0U) << gone[0].Sentence;

    line.Tell(LineKind::Opened);
    line.Poll(20, FaultyLine::Well);
    EXPECT_EQ(line.Findings(), std::vector<Finding>{}) << "plugged in again";
    line.Poll(20, None);
    EXPECT_EQ(line.Findings().size(), 1U);
    line.Poll(360, FaultyLine::Well);
    EXPECT_EQ(line.Findings(), std::vector<Finding>{}) << "minutes later";

    FaultyLine late;
    late.Poll(100, [](const std::string& r, int) { return Answers{{1500ms, r}}; });
    ASSERT_EQ(late.Findings().size(), 1U);
    EXPECT_NE(late.Findings()[0].Sentence.find("answers after the time-out"), std::string::npos) << "a period later";

    FaultyLine slow(500ms);
    slow.Poll(20, FaultyLine::Well);
    EXPECT_EQ(slow.Findings().at(0).Sentence.find("devices are read every 1 s, not every 500 ms"), 0U);
}

TEST(Health, CountsEachKindOfEndAndTheLoad) {
    FaultyLine line;
    line.Poll(60, [](const std::string& reply, int n) {
        const Answers answers[] = {{}, {{2ms, Damaged(reply, 7)}}, {{2ms, Damaged(reply, 0)}}, {{30ms, reply}}};
        return answers[n % 4];
    });
    const auto health = line.Health();
    const auto& ill = health.Addresses[kIll - kFirst];
    EXPECT_EQ(ill.Total.TimeOuts(), 60U);
    EXPECT_EQ(ill.Total.Count(Outcome::Checksum), 60U);
    EXPECT_EQ(ill.Total.BadFrames(), 60U);
    EXPECT_EQ(ill.Total.Count(Outcome::Good), 60U);
    EXPECT_EQ(ill.Total.Retries, 180U);
    EXPECT_EQ(ill.Total.Period(), 1s);
    EXPECT_EQ(ill.Recent.RoundTrips.Max(), 30ms);
    EXPECT_EQ(ill.Recent.RoundTrips.Quantile(0.5), 30ms);
    // A second has 8 requests of 9 bytes and 7 answers of 13, a byte takes 10 of 9600 bits.
    EXPECT_NEAR(health.LoadLastMinute, (8 * 9 + 7 * 13) / 960.0, 0.01);
}

TEST(Health, ADeviceInPlaceOfAnotherBeginsAnew) {
    FaultyLine line;
    line.Poll(5, None);
    line.Replace(kIll);
    line.Poll(2, FaultyLine::Well);
    const auto health = line.Health();
    for (const auto& address : health.Addresses)
        EXPECT_EQ(address.Total.Exchanges(), address.Address == kIll ? 2U : 7U) << address.Address;
}

}  // namespace
}  // namespace orvix::tests
