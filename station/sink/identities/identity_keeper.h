#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "host/apartment.h"
#include "station/model/listener.h"

namespace orvix::station {

/// Keeps in the host database what devices are called, so that it never changes. A thread writes it: nobody waits for
/// the file but the destructor. What cannot be written is tried again until it can, at last by the destructor.
class IdentityKeeper : public Listener {
public:
    /// `dataFolder` ends with "/" and holds a host database; `kept` is what that has. `say` is called in `home` when
    /// writing begins to fail, and when it works again.
    IdentityKeeper(std::string dataFolder, const std::vector<DeviceIdentity>& kept, Apartment& home,
                   std::function<void(const std::string&)> say);
    ~IdentityKeeper() override;

    void OnIdentity(const DeviceIdentity& identity) override;

private:
    void Work();
    void Write(std::deque<DeviceIdentity>& waiting);
    void Say(const std::string& text);

    const std::string m_Folder;
    Apartment& m_Home;
    const std::function<void(const std::string&)> m_Say;
    std::map<DeviceId, DeviceIdentity> m_Kept;  ///< by the place
    std::mutex m_Mutex;
    std::condition_variable m_Wake;
    std::deque<DeviceIdentity> m_Waiting;
    bool m_Stop = false;
    bool m_Fails = false;  ///< of the thread alone
    std::thread m_Thread;
};

}  // namespace orvix::station
