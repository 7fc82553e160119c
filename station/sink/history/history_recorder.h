#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "station/model/listener.h"
#include "station/sink/history/watched_turns.h"
#include "station/store/history_writer.h"

namespace orvix::station {

/// Keeps the readings of a running station in its history. The file is written by one thread, at least once a second;
/// whatever becomes of it, nobody waits for it but Close.
class HistoryRecorder : public Listener {
public:
    /// `session` is the UUID of the run. `say` is called in `home`, also when the file takes nothing for long.
    HistoryRecorder(std::string file, const HistorySetup& setup, const std::string& session, Apartment& home,
                    HistoryWriter::Say say);
    ~HistoryRecorder() override { Close(); }

    void OnIdentity(const DeviceIdentity& identity) override;
    void OnReading(const Reading& reading) override { m_Pending.Add(reading, ReadClocks()); }
    void OnAlarm(const AlarmEvent& alarm) override { m_Pending.Add(alarm); }
    void OnTrouble(const std::string& port, const Failure& failure) override {
        m_Pending.Trouble(port, failure, ReadClocks());
    }
    void OnDeviceGone(const DeviceId& device) override { m_Pending.Unwatch(device, ReadClocks()); }

    /// The brokers that what is recorded is carried to from now on, out of the outbox of the file.
    void SendTo(const std::vector<std::string>& brokers, std::chrono::hours resend) {
        m_Pending.SendTo(brokers, resend);
    }
    /// A broker has all rows up to a number. It is written with the next rows.
    void Acknowledge(const BrokerOfHistory& who, std::int64_t n) { m_Pending.Acknowledge(who, n); }

    /// For how long nothing could be written, because that fails, or because the file keeps the thread for too long.
    std::optional<Duration> StandsStill() const;
    /// Writes the rest. Returns how many readings have not come into the file since writing began to fail.
    std::int64_t Close();

private:
    /// What the thread has to say. Told in `home`, at the latest by Close.
    struct Said {
        std::mutex Mutex;
        std::vector<std::string> Texts;
    };

    /// On the thread.
    void Write();
    void SayLater(const std::string& text);
    static void Tell(Said& said, const HistoryWriter::Say& say);

    Apartment& m_Home;
    const HistoryWriter::Say m_Say;
    const std::shared_ptr<Said> m_Said = std::make_shared<Said>();
    std::atomic<Duration> m_FailsSince{Duration::zero()};  ///< zero: it works
    PendingRows m_Pending;
    HistoryWriter m_Writer;
    bool m_IsClosed = false;
    WatchedTurns m_Turns;
};

}  // namespace orvix::station
