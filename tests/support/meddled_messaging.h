#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/apartment.h"
#include "host/messaging.h"

namespace orvix::tests {

/// The messaging of a driver's apartment whose channel does not behave: what the driver sends can be lost, doubled or
/// late, work can be doubled, and messages go out that the driver has not sent.
class MeddledMessaging : public Messaging {
public:
    /// What becomes of one message of the driver.
    struct Fate {
        int Copies = 1;
        Duration After{0};  ///< when the last copy goes out; those before it go out at once
    };

    MeddledMessaging(Messaging& messaging, Apartment& apartment) : m_Messaging(messaging), m_Apartment(apartment) {}

    /// Decides over each message that the driver sends.
    std::function<Fate(const std::string& message)> Decide = [](const std::string&) { return Fate{}; };
    /// Told the key of each work item; returns how often the driver gets it.
    std::function<int(const std::string& key)> Work = [](const std::string&) { return 1; };

    /// Sends what the driver has not sent; does nothing while there is no driver.
    void SendForeign(const std::string& message);

    std::unique_ptr<Channel> CreateChannel() override;
    std::unique_ptr<SharedEntry> CreateSharedEntry() override { return m_Messaging.CreateSharedEntry(); }
    std::unique_ptr<CallTracker> CreateCallTracker() override { return m_Messaging.CreateCallTracker(); }
    std::unique_ptr<LinkTimer> CreateLinkTimer() override { return m_Messaging.CreateLinkTimer(); }
    std::string NewIdentifier() override { return m_Messaging.NewIdentifier(); }

private:
    class MeddledChannel;

    Messaging& m_Messaging;
    Apartment& m_Apartment;
    MeddledChannel* m_Channel = nullptr;  ///< the driver's, while it is there
};

}  // namespace orvix::tests
