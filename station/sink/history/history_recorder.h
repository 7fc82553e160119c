#pragma once

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

#include "station/model/listener.h"
#include "station/store/history_writer.h"

namespace orvix::station {

/// Keeps the readings of a running station in its history. The file is written by one thread, at least once a second;
/// whatever becomes of it, nobody waits for it but Close.
class HistoryRecorder : public Listener {
public:
    /// `say` is called on the writing thread.
    HistoryRecorder(std::string file, const HistorySetup& setup, HistoryWriter::Say say);
    ~HistoryRecorder() override { Close(); }

    void OnReading(const Reading& reading) override { m_Pending.Add(reading); }
    void OnAlarm(const AlarmEvent& alarm) override { m_Pending.Add(alarm); }

    /// Writes the rest. Returns how many readings have not come into the file since writing began to fail.
    std::int64_t Close();

private:
    void WriteInTurns();

    PendingRows m_Pending;
    HistoryWriter m_Writer;
    std::mutex m_Mutex;
    std::condition_variable m_Wake;
    bool m_Stop = false;
    std::thread m_Thread;
};

}  // namespace orvix::station
