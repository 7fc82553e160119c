#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "platform/file_descriptor.h"
#include "station/recording/recording.h"
#include "station/run/listener.h"

namespace orvix::station {

/// Writes a recording while a station works: what happens on the lines is on the file system a second later. A thread
/// of its own does the writing; when that fails the recording ends there, and the station goes on.
class Recorder : public Listener {
public:
    /// Makes the file, which must not be there yet, and begins. `now` is the steady time of line events. `tell` is
    /// called, on one thread or the other, with a sentence about what is missing in the recording, each once. Raises
    /// SystemError when the file cannot be made.
    Recorder(const std::string& path, const std::vector<BusSetup>& buses, Duration now,
             std::function<void(const std::string& text)> tell);
    ~Recorder() override;
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;

    void OnLine(const LineEvent& event) override;
    /// Writes what is left; nothing more is recorded. Returns what is missing in the end.
    std::optional<std::string> Finish();

private:
    /// Nothing for a bus that the header does not name.
    std::optional<std::size_t> BusOf(const std::string& port) const;
    void TellMissing(const std::string& port);
    void Write();
    /// Returns why it failed.
    std::optional<std::string> WriteOut(const std::string& lines);

    std::string m_Path;
    std::vector<std::string> m_Ports;
    Duration m_Started;
    std::function<void(const std::string&)> m_Tell;
    std::set<std::string> m_Missing;  ///< ports that came later
    platform::FileDescriptor m_File;

    std::mutex m_Mutex;
    std::condition_variable m_Wake;
    std::string m_Lines;      ///< not written yet
    bool m_Stopping = false;  ///< the file is to be completed
    bool m_Ended = false;     ///< nothing more is recorded
    std::optional<std::string> m_LastFailure;
    std::thread m_Thread;
};

}  // namespace orvix::station
