#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/file_descriptor.h"
#include "platform/real_apartment.h"
#include "station/model/listener.h"

namespace orvix::station {

/// Runs a command of the user's at each alarm that starts or ends, one at a time, in their order. No shell is
/// between: the first word is the program, searched in PATH, the others are its arguments. Standard input is empty,
/// standard output goes to standard error. The event is in the environment:
///
///   NIMBO1_EVENT    "start" or "end"
///   NIMBO1_ALARM    "low", "high" or "input N"
///   NIMBO1_PORT, NIMBO1_ADDRESS, NIMBO1_NAME
///   NIMBO1_VALUE, NIMBO1_LIMIT    decimal numbers
///   NIMBO1_TIME     ISO 8601, UTC
///   NIMBO1_TEXT     the event as a sentence
///
/// A command that takes longer than the limit is killed with everything that it has started. More events than wait for
/// their turn already are dropped; both are told.
class AlarmCommand : public Listener {
public:
    static constexpr std::size_t kMostWaiting = 100;

    /// `command` may be empty: nothing is run. `home` is where all is done; `tell` is called there with one sentence
    /// when a command failed.
    AlarmCommand(std::vector<std::string> command, Duration limit, platform::RealApartment& home,
                 std::function<void(const std::string&)> tell);
    /// Kills a command that is running; events that wait are dropped.
    ~AlarmCommand() override;

    /// The command from now on.
    void Command(std::vector<std::string> command) { m_Command = std::move(command); }
    void OnAlarm(const AlarmEvent& event) override;

private:
    struct Running {
        std::string Program;
        int Process = 0;
        bool IsKilled = false;  ///< it took too long
        platform::FileDescriptor Handle;
        std::unique_ptr<platform::DescriptorWatch> End;
        std::unique_ptr<Timer> Limit;
    };

    /// Runs the command for the events that wait, unless it is running for an earlier one.
    void RunNext();
    void Start(const AlarmEvent& event);
    void Kill();
    void TakeEnd();
    void TellOf(const std::string& program, const std::string& problem) const;

    const Duration m_Limit;
    platform::RealApartment& m_Home;
    const std::function<void(const std::string&)> m_Tell;
    std::vector<std::string> m_Command;
    std::deque<AlarmEvent> m_Waiting;
    std::unique_ptr<Running> m_Running;
};

}  // namespace orvix::station
