#include "station/sink/identities/identity_keeper.h"

#include <utility>

#include "station/store/device_registry.h"

namespace orvix::station {

IdentityKeeper::IdentityKeeper(std::string dataFolder, const std::vector<DeviceIdentity>& kept, Apartment& home,
                               std::function<void(const std::string&)> say)
    : m_Folder(std::move(dataFolder)), m_Home(home), m_Say(std::move(say)) {
    for (const auto& identity : kept)
        m_Kept[identity.Id()] = identity;
    m_Thread = std::thread([this] { Work(); });
}

IdentityKeeper::~IdentityKeeper() {
    {
        const std::lock_guard lock(m_Mutex);
        m_Stop = true;
    }
    m_Wake.notify_one();
    m_Thread.join();
}

void IdentityKeeper::OnIdentity(const DeviceIdentity& identity) {
    auto& kept = m_Kept[identity.Id()];
    if (kept.Identifier == identity.Identifier && kept.SerialNumber == identity.SerialNumber) return;
    kept = identity;
    const std::lock_guard lock(m_Mutex);
    m_Waiting.push_back(identity);
    m_Wake.notify_one();
}

void IdentityKeeper::Work() {
    constexpr std::chrono::seconds kPause{5};
    std::unique_lock lock(m_Mutex);
    for (bool isLast = false; !isLast;) {
        if (m_Fails) {
            m_Wake.wait_for(lock, kPause, [this] { return m_Stop; });
        } else {
            m_Wake.wait(lock, [this] { return m_Stop || !m_Waiting.empty(); });
        }
        isLast = m_Stop;
        auto waiting = std::exchange(m_Waiting, {});
        lock.unlock();
        Write(waiting);
        lock.lock();
        m_Waiting.insert(m_Waiting.begin(), waiting.begin(), waiting.end());
    }
}

/// Takes away what is written.
void IdentityKeeper::Write(std::deque<DeviceIdentity>& waiting) {
    try {
        for (; !waiting.empty(); waiting.pop_front())
            DeviceRegistry(m_Folder).Keep(waiting.front());
        if (std::exchange(m_Fails, false)) Say("what devices are called is written down again");
    } catch (const std::exception&) {
        const auto why = CurrentError().Description;
        if (!std::exchange(m_Fails, true))
            Say("that a device is called " + waiting.front().Identifier + " cannot be written down: " + why);
    }
}

void IdentityKeeper::Say(const std::string& text) {
    m_Home.Post([say = m_Say, text] { say(text); });
}

}  // namespace orvix::station
