#include "tests/support/meddled_messaging.h"

#include <algorithm>
#include <utility>

#include "host/error.h"

namespace orvix::tests {

class MeddledMessaging::MeddledChannel : public Channel {
public:
    MeddledChannel(MeddledMessaging& home, std::unique_ptr<Channel> channel)
        : m_Home(home), m_Channel(std::move(channel)) {
        m_Home.m_Channel = this;
    }
    MeddledChannel(const MeddledChannel&) = delete;
    MeddledChannel& operator=(const MeddledChannel&) = delete;
    ~MeddledChannel() override {
        if (m_Home.m_Channel == this) m_Home.m_Channel = nullptr;
    }

    void Events(ChannelEvents events) override {
        events.NewWork = [this, deliver = std::move(events.NewWork)](const std::string& key, bool& handled) {
            for (int copies = m_Home.Work(key); copies > 0; --copies)
                deliver(key, handled);
        };
        m_Channel->Events(std::move(events));
    }
    void SendCustomMessage(const std::string& message) override {
        const Fate fate = m_Home.Decide(message);
        const bool delays = fate.After > Duration::zero();
        for (int copy = delays ? 1 : 0; copy < fate.Copies; ++copy)
            m_Channel->SendCustomMessage(message);
        if (delays) SendLater(message, fate.After);
    }
    void SendForeign(const std::string& message) {
        Attempt([&] { m_Channel->SendCustomMessage(message); });
    }

    void DeliverEvents(bool rhs) override { m_Channel->DeliverEvents(rhs); }
    std::string Name() const override { return m_Channel->Name(); }
    void Name(const std::string& rhs) override { m_Channel->Name(rhs); }
    std::string PeerName() const override { return m_Channel->PeerName(); }
    void PeerName(const std::string& rhs) override { m_Channel->PeerName(rhs); }
    void Activate(bool rhs) override { m_Channel->Activate(rhs); }
    void ActivateReporting(bool rhs) override { m_Channel->ActivateReporting(rhs); }
    void SendNewWork(const std::string& memoryMapKey) override { m_Channel->SendNewWork(memoryMapKey); }
    void SendProgress(const std::string& text, std::int32_t value, std::int32_t minimum,
                      std::int32_t maximum) override {
        m_Channel->SendProgress(text, value, minimum, maximum);
    }
    bool PeerIsClosing() const override { return m_Channel->PeerIsClosing(); }
    void ClosePeer() override { m_Channel->ClosePeer(); }

private:
    struct Delayed {
        std::unique_ptr<Timer> DueTimer;
        bool Sent = false;
    };

    void SendLater(const std::string& message, Duration after) {
        std::erase_if(m_Delayed, [](const auto& delayed) { return delayed->Sent; });
        const auto delayed = std::make_shared<Delayed>();
        delayed->DueTimer = m_Home.m_Apartment.CreateTimer([this, &it = *delayed, message] {
            it.DueTimer->Enabled(false);
            it.Sent = true;
            SendForeign(message);
        });
        delayed->DueTimer->Rearm(
            static_cast<std::int32_t>(std::chrono::duration_cast<std::chrono::milliseconds>(after).count()), true);
        m_Delayed.push_back(delayed);
    }

    MeddledMessaging& m_Home;
    std::unique_ptr<Channel> m_Channel;
    std::vector<std::shared_ptr<Delayed>> m_Delayed;
};

std::unique_ptr<Channel> MeddledMessaging::CreateChannel() {
    return std::make_unique<MeddledChannel>(*this, m_Messaging.CreateChannel());
}

void MeddledMessaging::SendForeign(const std::string& message) {
    if (m_Channel) m_Channel->SendForeign(message);
}

}  // namespace orvix::tests
