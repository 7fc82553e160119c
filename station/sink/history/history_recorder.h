#pragma once

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "station/model/listener.h"
#include "station/store/history_writer.h"

namespace orvix::station {

/// Keeps the readings of a running station in its history. The file is written by one thread, at least once a second;
/// whatever becomes of it, nobody waits for it but Close.
class HistoryRecorder : public Listener {
public:
    /// `say` is called in `home`, also when the file takes nothing for long.
    HistoryRecorder(std::string file, const HistorySetup& setup, Apartment& home, HistoryWriter::Say say);
    ~HistoryRecorder() override { Close(); }

    void OnSetup(const BusSetup& setup) override;
    void OnReading(const Reading& reading) override { m_Pending.Add(reading, ReadClocks()); }
    void OnAlarm(const AlarmEvent& alarm) override { m_Pending.Add(alarm); }
    void OnTrouble(const std::string& port, const Failure& failure) override {
        m_Pending.Trouble(port, failure, ReadClocks());
    }
    void OnDeviceGone(const DeviceId& device) override { m_Pending.Unwatch(device, ReadClocks()); }

    /// How long the file has kept the writing thread, when that is too long.
    std::optional<Duration> StandsStill() const;
    /// Writes the rest. Returns how many readings have not come into the file since writing began to fail.
    std::int64_t Close();

private:
    void WriteInTurns();

    /// Says once that the file takes nothing, and once that it does again.
    void Look();

    Apartment& m_Home;
    const HistoryWriter::Say m_Say;
    std::atomic<Duration> m_TurnBegan{Duration::zero()};  ///< zero: between two turns
    bool m_IsStill = false;
    PendingRows m_Pending;
    HistoryWriter m_Writer;
    std::mutex m_Mutex;
    std::condition_variable m_Wake;
    bool m_Stop = false;
    std::thread m_Thread;
    std::unique_ptr<Timer> m_Look;
};

}  // namespace orvix::station
