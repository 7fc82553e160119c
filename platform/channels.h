#pragma once

#include <algorithm>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "host/apartment.h"
#include "host/messaging.h"
#include "platform/process_messaging.h"

namespace orvix::platform {

class Endpoint;

/// The endpoints that can be reached, by name. An endpoint leaves before its apartment goes, and whoever posts to it
/// holds the lock meanwhile: so nothing is ever posted to an apartment that is gone.
class Directory::Endpoints {
public:
    /// Raises General when the name is empty or another endpoint bears it.
    void Enter(const std::string& name, const std::shared_ptr<Endpoint>& endpoint, Apartment& apartment);
    void Leave(const std::string& name);

    /// Posts the delivery, which is called with the endpoint, to the endpoint's apartment; it runs there unless the
    /// endpoint is gone by then. Returns false when nobody bears the name.
    template <class Delivery>
    bool Post(const std::string& name, Delivery delivery);
    /// The same for an endpoint that may have changed its name.
    template <class Delivery>
    void Post(const std::weak_ptr<Endpoint>& endpoint, Delivery delivery);

private:
    struct Entry {
        std::weak_ptr<Endpoint> Target;
        Apartment* Owner = nullptr;
        template <class Delivery>
        void Post(Delivery delivery) const {
            Owner->Post([target = Target, delivery = std::move(delivery)] {
                if (const auto endpoint = target.lock()) delivery(*endpoint);
            });
        }
    };
    std::mutex m_Mutex;
    std::map<std::string, Entry> m_ByName;
};

template <class Delivery>
bool Directory::Endpoints::Post(const std::string& name, Delivery delivery) {
    const std::lock_guard lock(m_Mutex);
    const auto found = m_ByName.find(name);
    if (found == m_ByName.end()) return false;
    found->second.Post(std::move(delivery));
    return true;
}

template <class Delivery>
void Directory::Endpoints::Post(const std::weak_ptr<Endpoint>& endpoint, Delivery delivery) {
    const std::lock_guard lock(m_Mutex);
    const auto found = std::find_if(m_ByName.begin(), m_ByName.end(), [&endpoint](const auto& item) {
        const auto& target = item.second.Target;
        return !target.owner_before(endpoint) && !endpoint.owner_before(target);
    });
    if (found != m_ByName.end()) found->second.Post(std::move(delivery));
}

/// The question whether an endpoint may be closed. Its end answers the asker: unless somebody has refused, the endpoint
/// has gone, be it by consent or before it could answer.
class DestroyQuestion {
public:
    DestroyQuestion(std::shared_ptr<Directory::Endpoints> directory, std::weak_ptr<Endpoint> asker)
        : m_Directory(std::move(directory)), m_Asker(std::move(asker)) {}
    DestroyQuestion(const DestroyQuestion&) = delete;
    DestroyQuestion& operator=(const DestroyQuestion&) = delete;
    ~DestroyQuestion();
    void Refused(bool rhs) { m_Refused = rhs; }

private:
    std::shared_ptr<Directory::Endpoints> m_Directory;
    std::weak_ptr<Endpoint> m_Asker;
    bool m_Refused = false;
};

/// What stands in the directory for a channel. All of it runs in the apartment of the channel's owner.
class Endpoint : public std::enable_shared_from_this<Endpoint> {
public:
    Endpoint(std::shared_ptr<Directory::Endpoints> directory, Apartment& apartment)
        : m_Directory(std::move(directory)), m_Apartment(apartment) {}

    void Events(ChannelEvents events) { m_Events = std::make_shared<const ChannelEvents>(std::move(events)); }
    void DeliverEvents(bool rhs) { m_Delivers = rhs; }
    const std::string& Name() const { return m_Name; }
    void Name(const std::string& rhs);
    void Activate(bool rhs);

    /// Posted by other endpoints; each is dropped unless this endpoint is active and delivers events.
    void ReceiveCustomMessage(const std::string& message);
    void ReceiveNewWork(const std::string& memoryMapKey);
    void ReceiveProgress(const std::string& text, std::int32_t value, std::int32_t minimum, std::int32_t maximum);
    /// An endpoint that is inactive is as good as gone; one that delivers no events refuses.
    void ReceiveDestroyQuestion(DestroyQuestion& question);
    void ReceiveDestroyAnswer(bool refused);

    void AskedPeer(bool rhs) { m_AskedPeer = rhs; }
    bool AskedPeer() const { return m_AskedPeer; }

private:
    /// The handlers, kept alive while one runs, or null when nothing is to be delivered.
    std::shared_ptr<const ChannelEvents> Handlers() const { return m_Active && m_Delivers ? m_Events : nullptr; }

    std::shared_ptr<Directory::Endpoints> m_Directory;
    Apartment& m_Apartment;
    std::shared_ptr<const ChannelEvents> m_Events = std::make_shared<const ChannelEvents>();
    std::string m_Name;
    bool m_Active = false;
    bool m_Delivers = false;
    bool m_AskedPeer = false;  ///< the peer has been asked to close and has not refused
};

std::unique_ptr<Channel> CreateProcessChannel(std::shared_ptr<Directory::Endpoints> directory, Apartment& apartment);

}  // namespace orvix::platform
