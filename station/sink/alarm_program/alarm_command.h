#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/real_apartment.h"
#include "station/model/listener.h"
#include "station/sink/alarm_program/guarded_program.h"

namespace orvix::station {

/// Runs a command of the user's at each alarm that starts, is acknowledged or ends, of one device one at a time, in
/// their order. No shell is between: the first word is the program, searched in PATH, the others are its arguments.
/// Standard input is empty, standard output goes to standard error. The event is in the environment:
///
///   NIMBO1_EVENT    "start", "acknowledge" or "end"
///   NIMBO1_ALARM_ID the same from start to end
///   NIMBO1_ALARM    "low", "high", "input N", "silent", "doubtful" or "port"
///   NIMBO1_PORT, NIMBO1_ADDRESS, NIMBO1_DEVICE (its id), NIMBO1_NAME; address and device are empty for a port
///   NIMBO1_VALUE, NIMBO1_LIMIT    decimal numbers
///   NIMBO1_TIME, NIMBO1_STARTED    of the event and of the alarm, ISO 8601, UTC
///   NIMBO1_TEXT     the event as a sentence
///   NIMBO1_ACKNOWLEDGED_BY, NIMBO1_COMMENT    empty unless somebody knows of it
///
/// A command that takes longer than the limit is killed, and what it has started ends with it in any case. While one
/// runs, the newest state of each alarm waits; how many older ones were dropped for it is told in one line.
class AlarmCommand : public Listener {
public:
    /// Commands that run at the same time, for as many devices.
    static constexpr std::size_t kMostRunning = 8;

    /// `command` may be empty: nothing is run. `home` is where all is done; `tell` is called there with one sentence
    /// when a command failed.
    AlarmCommand(std::vector<std::string> command, Duration limit, platform::RealApartment& home,
                 std::function<void(const std::string&)> tell);
    ~AlarmCommand() override { Close(); }

    /// The command from now on.
    void Command(std::vector<std::string> command) { m_Command = std::move(command); }
    void OnAlarm(const AlarmEvent& event) override;
    /// Kills the commands that are running, and tells how many events wait: they are dropped.
    void Close();

private:
    struct Running {
        Running(const std::vector<std::string>& command, const AlarmEvent& event);

        std::string Program;
        GuardedProgram Process;
        bool IsKilled = false;  ///< it took too long
        std::unique_ptr<platform::DescriptorWatch> End;
        std::unique_ptr<Timer> Limit;
    };

    /// What is to be told of one device.
    struct Queue {
        std::list<AlarmEvent> Waiting;  ///< each alarm's newest state
        std::uint64_t Dropped = 0;      ///< older ones since the command was started for the device
        std::unique_ptr<Running> Now;   ///< null: it is not running for the device
    };

    /// Runs the command for events that wait, for as many devices as may be.
    void RunNext();
    std::size_t Runs() const;
    void RunFor(Queue& queue);
    void Start(Queue& queue, const AlarmEvent& event);
    void TakeEnd(Queue& queue);
    void TellOf(const std::string& program, const std::string& problem) const;

    const Duration m_Limit;
    platform::RealApartment& m_Home;
    const std::function<void(const std::string&)> m_Tell;
    std::vector<std::string> m_Command;
    std::map<DeviceId, Queue> m_Queues;
    DeviceId m_Latest;  ///< for which the command was started; others go first
};

}  // namespace orvix::station
