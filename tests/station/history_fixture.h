#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "station/store/history_reader.h"
#include "station/store/history_writer.h"
#include "tests/station/program.h"
#include "tests/station/readings.h"
#include "tests/support/test_folder.h"

namespace orvix::tests {

using namespace station;

constexpr std::int64_t kStart = 1'795'000'000'000;
constexpr std::int64_t kSecond = 1000;

inline Reading ReadingOf(int address, std::int64_t time, ReadingValue value, ErrorNumber code = 0) {
    auto reading = ReadingAt(kStart + time, "line", address, std::move(value));
    reading.Error = {code, code == 0 ? "" : "No reply", {}};
    return reading;
}

inline ClockTimes ClocksAt(std::int64_t time) {
    return {kStart + time, time, time};
}

/// A history written and read in a time of its own.
struct HistoryTest : testing::Test {
    void Begin(HistorySetup setup = {}, std::size_t mostPending = 1000, std::int64_t time = 0) {
        m_Pending = std::make_unique<PendingRows>(mostPending, setup.Record);
        m_Session = std::to_string(time) + " ms, a session";
        const HistorySession session{m_Session, kStart + time, 1};
        m_Writer = std::make_unique<HistoryWriter>(*m_Pending, m_File, setup, session,
                                                   [this](const std::string& text) { m_Said.push_back(text); });
    }
    void Add(int address, std::int64_t time, ReadingValue value, ErrorNumber code = 0) const {
        auto reading = ReadingOf(address, time, std::move(value), code);
        reading.Seq = ++m_Seq;
        m_Pending->Add(reading, ClocksAt(time));
    }
    void Turn(std::int64_t time) const { m_Writer->Turn(ClocksAt(time)); }
    std::int64_t End(std::int64_t time) const { return m_Writer->End(ClocksAt(time)); }
    HistoryReader Reader(std::int64_t now) const { return {m_File, kStart + now}; }
    /// The rows from one time to another: "address@time=value", or "address@from-to*count code" of a gap.
    std::vector<std::string> Rows(std::int64_t since, std::int64_t until) const {
        auto reader = Reader(until);
        const auto devices = reader.Find({});
        std::vector<std::string> rows;
        reader.Read(devices, {kStart + since, kStart + until}, [&](const HistoryRow& row) {
            std::ostringstream text;
            text << row.Device->Key.Address << "@" << row.Time - kStart;
            if (const auto* degrees = std::get_if<double>(&row.Value)) {
                text << "=" << *degrees;
            } else {
                text << "-" << row.Until - kStart << "*" << row.Count << " " << row.Reason.Code;
            }
            rows.push_back(text.str());
            return true;
        });
        return rows;
    }

    TestFolder m_Folder;
    const std::string m_File = m_Folder.Path + "/history.db";
    std::unique_ptr<PendingRows> m_Pending;
    std::unique_ptr<HistoryWriter> m_Writer;
    std::string m_Session;
    std::vector<std::string> m_Said;
    mutable std::int64_t m_Seq = 0;
};

using Lines = std::vector<std::string>;

}  // namespace orvix::tests
