#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "station/model/listener.h"
#include "station/sink/history/history_recorder.h"

namespace orvix::station {

/// Keeps what is read in the history of its data folder, and what is simulated in one of its own, which is there as
/// soon as there is something for it.
class Histories : public Listener {
public:
    /// What belongs to a port goes into the file of this name.
    using FileOf = std::function<std::string(const std::string& port)>;

    /// The others as for HistoryRecorder.
    Histories(FileOf fileOf, const HistorySetup& setup, std::string session, Apartment& home, HistoryWriter::Say say);

    void OnIdentity(const DeviceIdentity& identity) override { Of(identity.Port).OnIdentity(identity); }
    void OnReading(const Reading& reading) override { Of(reading.Port).OnReading(reading); }
    void OnAlarm(const AlarmEvent& alarm) override { Of(alarm.Port).OnAlarm(alarm); }
    void OnTrouble(const std::string& port, const Failure& failure) override { Of(port).OnTrouble(port, failure); }
    void OnDeviceGone(const DeviceId& device) override { Of(device.Port).OnDeviceGone(device); }

    /// The brokers that what is recorded is carried to from now on, none to begin with, and for how long they can ask
    /// for it again.
    void SendTo(const std::vector<std::string>& brokers, std::chrono::hours resend = kResend);
    /// A broker has all rows of the file that is meant up to a number.
    void Acknowledge(const BrokerOfHistory& who, std::int64_t n);
    /// Those that there is something for in this run; some may not be there yet.
    std::vector<std::string> Files() const;

    /// The time of the one that has stood still for longest.
    std::optional<Duration> StandsStill() const;
    std::int64_t Close();

private:
    HistoryRecorder& Of(const std::string& port);

    const FileOf m_FileOf;
    const HistorySetup m_Setup;
    const std::string m_Session;
    Apartment& m_Home;
    const HistoryWriter::Say m_Say;
    std::vector<std::string> m_Brokers;
    std::chrono::hours m_Resend = kResend;
    std::map<std::string, std::unique_ptr<HistoryRecorder>> m_Recorders;  ///< by file
};

}  // namespace orvix::station
