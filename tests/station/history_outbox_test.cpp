#include <gtest/gtest.h>

#include "platform/virtual_apartment.h"
#include "station/sink/history/histories.h"
#include "station/store/history_rescue.h"
#include "station/store/outbox_reader.h"
#include "tests/station/history_fixture.h"

namespace orvix::tests {
namespace {

constexpr std::int64_t kDayOfOutbox = 86'400 * kSecond;

/// "n device@time=value", "n device@from-until*failures", or "n device kind from-until" of an alarm.
std::string TextOf(const OutboxRow& row) {
    std::ostringstream text;
    text << row.N << " " << row.Identifier << (row.Alarm ? " " + row.Alarm->Kind + " " : "@") << row.Time - kStart;
    if (row.Alarm) {
        text << "-" << (row.Alarm->Ended ? std::to_string(*row.Alarm->Ended - kStart) : "");
    } else if (const auto* degrees = std::get_if<double>(&row.Value)) {
        text << "=" << *degrees;
    } else if (const auto* inputs = std::get_if<std::int32_t>(&row.Value)) {
        text << "=0x" << std::hex << *inputs << (row.Why == Doubt::None ? "" : "?");
    } else {
        text << "-" << row.Until - kStart << "*" << row.Count;
        EXPECT_EQ(row.Reason.Text, "No reply");
    }
    return text.str();
}

struct HistoryOutboxTest : HistoryTest {
    /// Another run, after one that was killed.
    void Run(const HistorySetup& setup, const Lines& brokers, std::int64_t time) {
        Begin(setup, 100'000, time);
        m_Pending->SendTo(brokers);
        Turn(time);
    }
    void Acknowledge(const std::string& broker, std::int64_t n, std::int64_t time) {
        m_Pending->Acknowledge({broker, m_Outbox.History()}, n);
        PassTo(time);
    }
    /// So many turns that what is too old is removed.
    void PassTo(std::int64_t time) const {
        for (int turn = 0; turn < 70; ++turn)
            Turn(time + turn * kSecond);
    }
    /// "from-to skipped" and the rows.
    Lines After(std::int64_t n, std::int64_t most = 1000) {
        const auto batch = m_Outbox.After(n, most);
        Lines lines{std::to_string(batch.From) + "-" + std::to_string(batch.To) + " " + std::to_string(batch.Skipped)};
        for (const auto& row : batch.Rows)
            lines.push_back(TextOf(row));
        return lines;
    }

    OutboxReader m_Outbox{m_File};
};

TEST_F(HistoryOutboxTest, CarriesEveryRowOnceInTheOrderOfRecording) {
    EXPECT_THROW(m_Outbox.Newest(), Error) << "there is no history yet";
    Run({}, {}, 0);
    Add(5, 0, 1.0);
    Turn(0);
    EXPECT_EQ(After(0), Lines{"1-0 0"}) << "what is recorded without a broker is not carried";
    m_Pending->SendTo({"a:1883"});
    EXPECT_EQ(m_Outbox.Acknowledged("a:1883"), std::nullopt);

    Add(5, 1000, 20.5);
    Add(6, 1001, {}, 5);
    Add(5, 2000, 20.75);
    Turn(2000);
    Add(6, 2001, {}, 5);
    auto inputs = ReadingAt(kStart + 2500, "line", 7, 9);
    inputs.Variable = "inputs";
    inputs.Seq = ++m_Seq;
    inputs.Why = Doubt::Jump;
    m_Pending->Add(inputs, ClocksAt(2500));
    AlarmEvent alarm{.UnixMilliseconds = kStart + 2600, .Port = "line", .Address = 5, .Name = "Nimbo1"};
    alarm.Identifier = "d5";
    alarm.Alarm = AlarmName(m_Session, ++m_Seq);
    alarm.Started = alarm.UnixMilliseconds;
    m_Pending->Add(alarm);
    Turn(3000);
    Add(6, 3001, 22.0);
    alarm.What = AlarmChange::Ended;
    alarm.UnixMilliseconds = kStart + 3500;
    m_Pending->Add(alarm);
    Turn(4000);
    EXPECT_EQ(After(0), (Lines{"1-9 0", "1 d5@1000=20.5", "3 d5@2000=20.75", "5 d7@2500=0x9?", "6 d5 low 2600-3500",
                               "7 d6@1001-3001*2", "8 d6@3001=22", "9 d5 low 2600-3500"}))
        << "of a gap that goes on the last state, and of an alarm each";
    EXPECT_EQ(After(3, 2), (Lines{"4-5 0", "4 d6@1001-3001*2", "5 d7@2500=0x9?"}));
    EXPECT_EQ(m_Outbox.Newest(), 9);
    EXPECT_EQ(After(9), Lines{"10-9 0"});
    EXPECT_EQ(m_Outbox.Acknowledged("a:1883"), 0);
}

TEST_F(HistoryOutboxTest, KeepsRowsUntilAllBrokersHaveThemAndForAWeekLonger) {
    Run({}, {"a", "b"}, 0);
    for (int second = 1; second <= 4; ++second)
        Add(5, second * kSecond, second);
    Turn(5 * kSecond);
    m_Pending->Acknowledge({"a", "another history"}, 4);
    Acknowledge("a", 3, 6 * kSecond);
    Acknowledge("a", 2, 90 * kSecond);

    Run({}, {"b", "a"}, 200 * kSecond);
    EXPECT_EQ(m_Outbox.Acknowledged("a"), 3) << "also after a kill";
    EXPECT_EQ(m_Outbox.Acknowledged("b"), 0);
    PassTo(8 * kDayOfOutbox);
    EXPECT_EQ(After(0).front(), "1-4 0") << "b has none yet";
    Acknowledge("b", 4, 8 * kDayOfOutbox + 100 * kSecond);
    EXPECT_EQ(After(0), (Lines{"1-4 3", "4 d5@4000=4"}));

    Add(5, 9 * kDayOfOutbox, 5.0);
    Acknowledge("a", 4, 9 * kDayOfOutbox);
    m_Pending->SendTo({"c"});
    PassTo(10 * kDayOfOutbox);
    EXPECT_EQ(m_Outbox.Acknowledged("c"), 4) << "a new broker gets what is still there";
    m_Pending->SendTo({});
    PassTo(17 * kDayOfOutbox);
    EXPECT_EQ(After(0), Lines{"1-5 5"}) << "one that is taken away holds nothing";
}

TEST_F(HistoryOutboxTest, WhatRetentionRemovesIsSaidOnceAndSkipped) {
    const std::int64_t hour = 3600 * kSecond;
    Run({.Keep = std::chrono::hours(1)}, {"a"}, 0);
    for (int minute = 0; minute < 120; ++minute)
        Add(5, minute * 60 * kSecond, minute);
    PassTo(2 * hour);
    EXPECT_EQ(After(0).front(), "1-120 61");
    EXPECT_EQ(After(0)[1], "62 d5@3660000=61");
    PassTo(2 * hour + 300 * kSecond);
    EXPECT_EQ(After(0).front(), "1-120 66");
    std::string said;
    for (const auto& text : m_Said)
        said += text.find("wait for a broker") == std::string::npos ? "" : text;
    EXPECT_NE(said.find("rows that wait for a broker from before"), std::string::npos);
    EXPECT_EQ(said.find("rows that wait"), said.rfind("rows that wait"));

    // No reading is removed for its age, as many as the size asks for.
    Run({.MostBytes = 300'000}, {"a"}, 3 * hour);
    for (int second = 0; second < 20'000; ++second)
        Add(5, 3 * hour + second * kSecond, second);
    for (int turn = 0; turn < 4; ++turn)
        PassTo(9 * hour);
    const auto batch = m_Outbox.After(0, 100'000);
    EXPECT_EQ(batch.To, 20'120);
    EXPECT_EQ(batch.Skipped + static_cast<std::int64_t>(batch.Rows.size()), batch.To);
    EXPECT_GT(batch.Rows.size(), 3000U);
    platform::SqliteConnection connection(m_File);
    platform::SqliteStatement waiting(connection, "SELECT count(*) FROM outbox");
    waiting.Step();
    EXPECT_LT(waiting.LongNumber(0), static_cast<std::int64_t>(batch.Rows.size()) + 1000);
}

TEST_F(HistoryOutboxTest, OfAReplacedFileTheRestIsCarriedUnderItsNewName) {
    Run({}, {"a"}, 0);
    for (int second = 1; second <= 4; ++second)
        Add(5, second * kSecond, second);
    Turn(5 * kSecond);
    Acknowledge("a", 3, 6 * kSecond);
    const auto before = m_Outbox.History();
    m_Writer.reset();
    ReplaceUnusableHistory(m_File, kStart);
    EXPECT_NE(m_Outbox.History(), before);
    EXPECT_EQ(After(m_Outbox.Acknowledged("a").value_or(0)), (Lines{"4-4 0", "4 d5@4000=4"}));

    platform::SqliteConnection(m_File).Execute("DELETE FROM outbox");
    ReplaceUnusableHistory(m_File, kStart + kDayOfOutbox);
    Run({}, {"a"}, 7 * kSecond);
    Add(5, 8 * kSecond, 5.0);
    Turn(9 * kSecond);
    EXPECT_EQ(After(m_Outbox.Acknowledged("a").value_or(99)), (Lines{"1-1 0", "1 d5@8000=5"}))
        << "numbers begin anew, and so does what is acknowledged";
}

TEST(HistoriesForBrokers, WhatIsSimulatedHasAnOutboxOfItsOwn) {
    const TestFolder folder;
    platform::VirtualScheduler time(Date{0});
    platform::VirtualApartment home(time);
    Histories histories([&](const std::string& port) { return folder.Path + "/" + port; }, {}, "session", home,
                        [](const std::string&) {});
    histories.SendTo({"a"});
    histories.OnReading(ReadingOf(5, 0, 20.0));
    auto simulated = ReadingOf(6, 0, 21.0);
    simulated.Port = "simulated";
    histories.OnReading(simulated);
    EXPECT_EQ(histories.Files(), (Lines{folder.Path + "/line", folder.Path + "/simulated"}));
    EXPECT_EQ(histories.Close(), 0);
    for (const auto& file : histories.Files()) {
        OutboxReader outbox(file);
        const auto batch = outbox.After(0, 10);
        ASSERT_EQ(batch.Rows.size(), 1U);
        EXPECT_EQ(batch.Rows[0].Identifier, file.ends_with("simulated") ? "d6" : "d5");
        EXPECT_EQ(outbox.Acknowledged("a"), 0);
    }
}

}  // namespace
}  // namespace orvix::tests
