#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "host/apartment.h"
#include "platform/file_descriptor.h"
#include "station/model/listener.h"
#include "station/store/recording.h"

namespace orvix::station {

/// Writes a recording while a station works: what happens on the lines is on the file system a second later. A thread
/// of its own does the writing; when that fails the recording ends there, and the station goes on.
class Recorder : public Listener {
public:
    /// Makes the file, which must not be there yet, and begins. `clock` tells the steady time of line events. `tell` is
    /// called on the writing thread with a sentence about what is missing in the recording. Raises SystemError when the
    /// file cannot be made.
    Recorder(const std::string& path, const Apartment& clock, std::function<void(const std::string& text)> tell);
    ~Recorder() override;
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;

    void OnSetup(const BusSetup& setup) override;
    void OnLine(const LineEvent& event) override;
    void OnPortGone(const std::string& port) override;
    /// Writes what is left; nothing more is recorded. Returns what is missing in the end.
    std::optional<std::string> Finish();

private:
    struct RunningBus {
        std::string Port;
        Duration Began{0};
        bool Gone = false;
    };

    /// The bus that was the latest on the port at that time.
    std::optional<std::size_t> BusOn(const std::string& port, Duration time) const;
    void Add(const std::string& line);
    void Write();
    /// Returns why it failed.
    std::optional<std::string> WriteOut(const std::string& lines);

    std::string m_Path;
    const Apartment& m_Clock;
    const Duration m_Started;
    std::vector<RunningBus> m_Buses;  ///< also those that are gone
    std::function<void(const std::string&)> m_Tell;
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
