#include "platform/channels.h"

#include <utility>

namespace orvix::platform {

void Directory::Endpoints::Enter(const std::string& name, const std::shared_ptr<Endpoint>& endpoint,
                                 Apartment& apartment) {
    if (name.empty()) throw Error(errors::General, "An endpoint without a name cannot be activated");
    const std::lock_guard lock(m_Mutex);
    const auto [place, entered] = m_ByName.try_emplace(name, Entry{endpoint, &apartment});
    if (!entered && place->second.Target.lock() != endpoint)
        throw Error(errors::General, "Another endpoint is named \"" + name + "\"");
}

void Directory::Endpoints::Leave(const std::string& name) {
    const std::lock_guard lock(m_Mutex);
    m_ByName.erase(name);
}

DestroyQuestion::~DestroyQuestion() {
    Attempt([this] {
        m_Directory->Post(m_Asker, [refused = m_Refused](Endpoint& asker) { asker.ReceiveDestroyAnswer(refused); });
    });
}

void Endpoint::Name(const std::string& rhs) {
    if (m_Active && rhs != m_Name) {
        m_Directory->Enter(rhs, shared_from_this(), m_Apartment);
        m_Directory->Leave(m_Name);
    }
    m_Name = rhs;
}

void Endpoint::Activate(bool rhs) {
    if (rhs) {
        m_Directory->Enter(m_Name, shared_from_this(), m_Apartment);
    } else if (m_Active) {
        m_Directory->Leave(m_Name);
    }
    m_Active = rhs;
}

void Endpoint::ReceiveCustomMessage(const std::string& message) {
    const auto handlers = Handlers();
    bool handled = false;
    if (handlers && handlers->CustomMessage) handlers->CustomMessage(message, handled);
}

void Endpoint::ReceiveNewWork(const std::string& memoryMapKey) {
    const auto handlers = Handlers();
    bool handled = false;
    if (handlers && handlers->NewWork) handlers->NewWork(memoryMapKey, handled);
}

void Endpoint::ReceiveProgress(const std::string& text, std::int32_t value, std::int32_t minimum,
                               std::int32_t maximum) {
    const auto handlers = Handlers();
    bool handled = false;
    if (handlers && handlers->OnProgress) handlers->OnProgress(text, value, minimum, maximum, handled);
}

void Endpoint::ReceiveDestroyQuestion(DestroyQuestion& question) {
    if (!m_Active) return;
    question.Refused(true);
    const auto handlers = Handlers();
    if (!handlers) return;
    bool refused = false;
    if (handlers->QueryDestroy) handlers->QueryDestroy(refused);
    if (refused) return;
    Activate(false);
    question.Refused(false);
}

void Endpoint::ReceiveDestroyAnswer(bool refused) {
    if (refused) {
        m_AskedPeer = false;
        return;
    }
    const auto handlers = Handlers();
    bool handled = false;
    if (handlers && handlers->ServerDestroyed) handlers->ServerDestroyed(handled);
}

namespace {

class ProcessChannel : public Channel {
public:
    ProcessChannel(std::shared_ptr<Directory::Endpoints> directory, Apartment& apartment)
        : m_Directory(std::move(directory)), m_Endpoint(std::make_shared<Endpoint>(m_Directory, apartment)) {}
    ProcessChannel(const ProcessChannel&) = delete;
    ProcessChannel& operator=(const ProcessChannel&) = delete;
    /// A handler may be the one that releases the channel: what it keeps alive of the endpoint receives no more.
    ~ProcessChannel() override { m_Endpoint->Activate(false); }

    void Events(ChannelEvents events) override { m_Endpoint->Events(std::move(events)); }
    void DeliverEvents(bool rhs) override { m_Endpoint->DeliverEvents(rhs); }

    std::string Name() const override { return m_Endpoint->Name(); }
    void Name(const std::string& rhs) override { m_Endpoint->Name(rhs); }
    std::string PeerName() const override { return m_PeerName; }
    void PeerName(const std::string& rhs) override {
        m_PeerName = rhs;
        m_Endpoint->AskedPeer(false);
    }

    void Activate(bool rhs) override {
        m_Endpoint->Activate(rhs);
        m_Reporting = false;
    }
    void ActivateReporting(bool rhs) override {
        m_Endpoint->Activate(rhs);
        m_Reporting = true;
    }

    void SendCustomMessage(const std::string& message) override {
        Send([text = message](Endpoint& peer) { peer.ReceiveCustomMessage(text); });
    }
    void SendNewWork(const std::string& memoryMapKey) override {
        Send([key = memoryMapKey](Endpoint& peer) { peer.ReceiveNewWork(key); });
    }
    void SendProgress(const std::string& text, std::int32_t value, std::int32_t minimum,
                      std::int32_t maximum) override {
        Send([=](Endpoint& peer) { peer.ReceiveProgress(text, value, minimum, maximum); });
    }

    bool PeerIsClosing() const override { return m_Endpoint->AskedPeer(); }
    void ClosePeer() override;

private:
    /// A delivery keeps its texts by names of their own: copies of what is constant could not be moved on.
    template <class Delivery>
    void Send(Delivery delivery) {
        if (!m_Directory->Post(m_PeerName, std::move(delivery)) && m_Reporting)
            throw Error(errors::General, "No endpoint is named \"" + m_PeerName + "\"");
    }

    std::shared_ptr<Directory::Endpoints> m_Directory;
    std::shared_ptr<Endpoint> m_Endpoint;
    std::string m_PeerName;
    bool m_Reporting = false;
};

void ProcessChannel::ClosePeer() {
    if (m_Endpoint->AskedPeer()) return;
    m_Endpoint->AskedPeer(true);
    const auto question = std::make_shared<DestroyQuestion>(m_Directory, m_Endpoint);
    m_Directory->Post(m_PeerName, [question](Endpoint& peer) { peer.ReceiveDestroyQuestion(*question); });
}

}  // namespace

std::unique_ptr<Channel> CreateProcessChannel(std::shared_ptr<Directory::Endpoints> directory, Apartment& apartment) {
    return std::make_unique<ProcessChannel>(std::move(directory), apartment);
}

}  // namespace orvix::platform
