#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "host/apartment.h"
#include "platform/file_descriptor.h"
#include "station/run/listener.h"

namespace orvix::station {

/// Runs a command of the user's at each alarm that starts or ends, one at a time, in their order, on a thread of its
/// own. No shell is between: the first word is the program, searched in PATH, the others are its arguments. Standard
/// input is empty, standard output goes to standard error. The event is in the environment:
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

    /// `tell` is called in `home` with one sentence when a command failed.
    AlarmCommand(std::vector<std::string> command, Duration limit, Apartment& home,
                 std::function<void(const std::string&)> tell);
    /// Kills a command that is running; events that wait are dropped.
    ~AlarmCommand() override;

    void OnAlarm(const AlarmEvent& event) override;

private:
    void Live();
    void Run(const AlarmEvent& event);
    /// Waits for the program's end. Returns what went wrong with it; empty: nothing.
    std::string Await(int process);
    void Tell(const std::string& problem);

    const std::vector<std::string> m_Command;
    const Duration m_Limit;
    Apartment& m_Home;
    const std::function<void(const std::string&)> m_Tell;

    std::mutex m_Mutex;  ///< guards the members below
    std::condition_variable m_Wake;
    std::deque<AlarmEvent> m_Waiting;
    bool m_Stopping = false;

    platform::FileDescriptor m_StopEvent;  ///< readable once the command that is running must end
    std::thread m_Thread;
};

}  // namespace orvix::station
