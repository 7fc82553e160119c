#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/trace_socket.h"
#include "station/library/bus.h"
#include "station/library/port_numbers.h"
#include "station/library/services_thread.h"
#include "station/store/host_data.h"

namespace orvix::station {

/// What the buses of a station share; outlives them.
struct StationResources {
    /// Makes the database ready and loads the library. Raises what stands in the way.
    StationResources(StationFolders folders, const std::string& libraryFile);

    /// What the services of a bus are made of.
    ServicesSetup ServicesFor(const BusSetup& setup);

    const HostData Host;
    const StationFolders Folders;
    const orvix::station::Library Library;
    PortNumbers Ports{Folders};
    platform::Directory Directory;
    platform::SocketTraceViewer Viewer{Library.Handle()};
};

/// A bus on a thread of its own, from construction to destruction. Its listener is called in an apartment.
class BusThread {
public:
    /// Raises what keeps the bus from starting. `ended` is called in `home` when a bus that was closed has gone, so
    /// that destruction waits no more.
    BusThread(StationResources& station, Apartment& home, const BusSetup& setup, Listener& listener,
              std::function<void()> ended = nullptr);
    /// Takes the bus down in order, unless that has begun, and waits for its thread.
    ~BusThread();
    BusThread(const BusThread&) = delete;
    BusThread& operator=(const BusThread&) = delete;

    /// The bus's own, as it was when it started.
    const BusSetup& Setup() const { return m_Setup; }
    /// Whether the threads of the bus and of its driver have got on with their work: they may be in an exchange, but in
    /// none longer than one can be; one that is closed ends in twice that time. Ask it now and then, on the thread that
    /// made it; `now` is the steady time.
    bool Moves(Duration now);
    /// Does something with the bus, on its thread.
    void Post(std::function<void(Bus&)> work);
    /// Begins to take the bus down; nothing can be done with it any more.
    void Close();

private:
    /// Asked of the thread, to be set when it comes to it.
    struct Sign {
        Duration AskedAt;
        std::shared_ptr<std::atomic<bool>> Given;
    };

    const Duration m_LongestStop;
    Apartment& m_Home;
    std::optional<Sign> m_Sign;
    std::optional<Duration> m_Closed;  ///< when it was
    BusSetup m_Setup;
    Bus* m_Bus = nullptr;
    ServicesThread m_Thread;
};

}  // namespace orvix::station
