#pragma once

#include <sys/types.h>

#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "host/apartment.h"
#include "platform/file_descriptor.h"
#include "station/model/listener.h"
#include "station/store/recording.h"

namespace orvix::station {

/// Writes a recording while a station works: what happens on the lines is on the file system a second later. A thread
/// of its own does the writing; when that fails the recording ends there until it is opened anew, and the station goes
/// on.
class Recorder : public Listener {
public:
    /// Makes the file, which must not be there yet, and begins. `home` is where it is told what happens, and has the
    /// steady time of line events. `namesPorts`: the station's lines do. `tell` is called there with a sentence about
    /// what is missing in the recording. Raises SystemError when the file cannot be made.
    Recorder(const std::string& path, Apartment& home, bool namesPorts,
             std::function<void(const std::string& text)> tell);
    ~Recorder() override;
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;

    void OnSetup(const BusSetup& setup) override;
    void OnIdentity(const DeviceIdentity& identity) override;
    void OnLine(const LineEvent& event) override;
    void OnPortGone(const std::string& port) override;
    /// Begins a complete new recording when the path names another file or none any more: the old one was moved away.
    /// Else one that has ended goes on.
    void Reopen();
    /// Writes what is left; nothing more is recorded. Returns what is missing in the end.
    std::optional<std::string> Finish();

private:
    struct RunningBus {
        BusSetup Setup;  ///< the latest; with the serial numbers that are known, for a recording that begins later
        Duration Began{0};
        bool Gone = false;
    };

    /// The bus that was the latest on the port at that time.
    std::optional<std::size_t> BusOn(const std::string& port, Duration time) const;
    std::string Header() const;
    void Add(const std::string& line);
    /// What the buses are, told again; what happened on them before belongs to no bus any more.
    std::string SetupsOfNow(Duration now);
    /// What is told from now on belongs to a new recording.
    void Begin(bool inNewFile);
    /// What is told from now on follows what a recording that ended has.
    void GoOn();
    void TellThatItWorks();

    // On the thread.
    void Write();
    void Fail(const std::string& failure);
    /// Makes the file anew unless the path still names it.
    void MakeAnew();
    void Tell(const std::string& text);
    /// `cut`: where the lines of a new recording begin. Returns why it failed.
    std::optional<std::string> WriteOut(std::string_view lines, std::optional<std::size_t> cut);
    /// Whole ones, even when it fails.
    std::optional<std::string> WriteLines(std::string_view lines);

    std::string m_Path;
    Apartment& m_Home;
    const bool m_NamesPorts;
    Duration m_Started;
    std::vector<RunningBus> m_Buses;  ///< also those that are gone
    std::function<void(const std::string&)> m_Tell;
    platform::FileDescriptor m_File;
    platform::FileDescriptor m_NewFile;  ///< open while the recording that follows has not begun
    off_t m_Size = 0;                    ///< of the whole lines in the file

    std::mutex m_Mutex;
    std::condition_variable m_Wake;
    std::string m_Lines;               ///< not written yet
    std::optional<std::size_t> m_Cut;  ///< of m_Lines, where those of a new recording begin
    bool m_Reopening = false;          ///< whether the path still names the file is to be found out
    bool m_Stopping = false;           ///< the file is to be completed
    bool m_Failed = false;             ///< the recording has ended before its time
    std::optional<std::string> m_LastFailure;
    std::thread m_Thread;
};

}  // namespace orvix::station
