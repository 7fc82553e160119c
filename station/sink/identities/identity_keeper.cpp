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
    std::unique_lock lock(m_Mutex);
    for (;;) {
        m_Wake.wait(lock, [this] { return m_Stop || !m_Waiting.empty(); });
        if (m_Waiting.empty()) return;
        const auto identity = std::move(m_Waiting.front());
        m_Waiting.pop_front();
        lock.unlock();
        Write(identity);
        lock.lock();
    }
}

void IdentityKeeper::Write(const DeviceIdentity& identity) {
    try {
        DeviceRegistry(m_Folder).Keep(identity);
    } catch (const std::exception&) {
        m_Home.Post([say = m_Say, id = identity.Identifier, why = CurrentError().Description] {
            say("that a device is called " + id + " could not be written down: " + why);
        });
    }
}

}  // namespace orvix::station
