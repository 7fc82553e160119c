#include "tests/adapter/adapter_fixture.h"
#include "tests/support/meddled_messaging.h"

namespace orvix::tests {

/// What happens next, how long the loop then runs, and what driver and host have got by then, joined with "; ".
struct Step {
    std::string Event;  ///< message from the driver, "" none, "online", "offline"
    int Milliseconds;
    std::string ToDriver;
    std::string ToHost;  ///< an activity notification stands as its digit
    std::string Timers;  ///< intervals of those that are on
    bool Networking;
};

class ConnectionTest : public AdapterTest {
protected:
    static std::string Joined(const std::vector<std::string>& messages) {
        std::string all;
        for (const std::string& message : messages)
            all += (all.empty() ? "" : "; ") + ReplaceAll(message, "ORVIX_CNN_ACTIVITY | ", "");
        return all;
    }

    void Play(const std::vector<Step>& steps) {
        for (std::size_t i = 0; i < steps.size(); ++i) {
            SCOPED_TRACE("step " + std::to_string(i));
            const Step& step = steps[i];
            if (step.Event == "online" || step.Event == "offline") {
                Adapter.OnLine(step.Event == "online");
            } else if (!step.Event.empty()) {
                FromDriver(step.Event);
            }
            Host.Run(step.Milliseconds);
            EXPECT_EQ(Joined(Driver->Peer.Take()), step.ToDriver);
            EXPECT_EQ(Joined(Subscriber.Take()), step.ToHost);
            EXPECT_EQ(Apartment.Running(), step.Timers);
            EXPECT_EQ(Adapter.Networking(), step.Networking);
        }
    }
};

TEST_F(ConnectionTest, ConnectsIdlesAndStops) {
    Init();
    Play({{"online", 10, "CONNECT", "2", "10 3000", false},
          {"", 10, "DEBUGINFO | Comm 2 WAITING FOR CONNECTION | True | CONNECTING", "", "10 3000", false},
          {JoinFields({"CONNECTED", "x"}), 10, "", "", "10", true},
          {"", 60000, "DEBUGINFO | Comm 4 WAITING FOR IDLE... | True | WAITING_FOR_IDLE", "0", "6000", true},
          {"offline", 60000, "DISCONNECT; DEBUGINFO | Comm 7 OFFLINE | False | DISCONNECTED", "1; 0", "", false},
          {"online", 10, "CONNECT", "2", "10 3000", false}});
}

TEST_F(ConnectionTest, LostAnswerPausesAndStartsAfresh) {
    Init();
    Adapter.IdleAfterErrorMsecs(500);
    Adapter.OnLine(true);
    Host.Run(3000);
    Forget();
    Play({{"", 10,
           "DEBUGINFO | Comm 301 TIMEOUT ON DEVICE CONNECTION - DISCONNECT! | True | WAIT_AFTER_CONNECTION_FAIL; "
           "DISCONNECT",
           "1; 1", "500 500", true},
          {"CONNECTED", 400, "", "", "500 500", true}});
    Host.Run(90);
    Forget();
    Play({{"", 10, "DEBUGINFO | Comm 302 WAIT CONNECTION FAILED TIMEOUT  - RESTART | True | DISCONNECTED", "0", "10",
           true},
          {"", 10, "CONNECT", "2", "10 3000", true}});
}

TEST_F(ConnectionTest, SocketErrorPausesAndStartsAfresh) {
    Init();
    Adapter.IdleAfterErrorMsecs(1);  // floor: 100
    Play({{"online", 10, "CONNECT", "2", "10 3000", false},
          {JoinFields({"SOCKETERROR", "10061", "refused"}), 10,
           "DEBUGINFO | Comm 2 SOCKET ERROR ON DEVICE CONNECTION - DISCONNECT! | True | WAIT_AFTER_SOCKET_ERROR; "
           "DISCONNECT",
           "Driver error 10061 - refused; 1; 1", "100 100", true},
          {"CONNECTED", 90, "", "", "100 100", true},
          {"", 10, "DEBUGINFO | Comm 3 WAIT AFTER SOCKET ERROR TIMEOUT  - RESTART | True | DISCONNECTED; DISCONNECT",
           "0", "10", true},
          // An error that comes before the next attempt does not spoil it.
          {JoinFields({"SOCKETERROR", "1", "old"}), 10, "CONNECT", "Driver error 1 - old; 2", "10 3000", true}});
}

TEST_F(ConnectionTest, IdleLinkIsDroppedAndComesBackForWork) {
    Adapter.IdleAllowed(true);
    Adapter.IdleMsecs(1000);
    Connect();
    Host.Run(990);
    // Writing OnLine has asked for one more round.
    Play({{"", 10, "DEBUGINFO | Comm 103 IDLE! | True | CONNECTED_IDLE; DISCONNECT", "0", "10", true},
          {"DISCONNECTED", 10, "DEBUGINFO | Comm 104 IDLE - RECONNECT | True | DISCONNECTED", "", "10", true},
          {"", 10, "CONNECT", "2", "10 3000", true}});
    FromDriver("CONNECTED");
    Host.Run(1030);
    FromDriver("DISCONNECTED");
    Host.Run(60000);
    Forget();
    Queue(Reading("5"));
    Play({{"", 10, "DEBUGINFO | Comm 208 IDLE - RECONNECT | True | DISCONNECTED", "", "10", true},
          {"", 10, "CONNECT", "2", "10 3000", true}});
}

TEST_F(ConnectionTest, FailingStepIsReportedAndTheLoopGoesOn) {
    Init();
    Driver->Peer.Endpoint().Activate(false);
    Adapter.OnLine(true);
    Host.Run(20);
    EXPECT_THAT(Subscriber.Take(), Contains(testing::StartsWith("ERROR: ")));
    Driver->Peer.Endpoint().Activate(true);
    Host.Run(10);
    EXPECT_THAT(Driver->Peer.Take(), ElementsAre("CONNECT"));
}

TEST_F(ConnectionTest, AFailedStepCountsAsAnErrorOfTheLink) {
    MeddledMessaging messaging(Host.Messaging, Host.Apartment);
    const Services services{Host.Apartment, messaging,    Host.Line,   Host.Stores,
                            Host.Database,  Host.Reports, Host.Viewer, Host.State};
    cOrvixAdapterNB1 object(services);
    iOrvixAdapter& adapter = object;
    adapter.SubscriberIPCName("HOST");
    adapter.Driver(Driver);
    adapter.Init();
    Forget();
    messaging.Decide = [](const std::string& message) -> MeddledMessaging::Fate {
        if (message == JoinFields({"ORVIX_CNN_ACTIVITY", "2"})) throw Error(errors::General, "host unwell");
        return {};
    };
    adapter.OnLine(true);
    Host.Run(20);
    EXPECT_EQ(Joined(Driver->Peer.Take()), "CONNECT; DISCONNECT");
    EXPECT_EQ(Joined(Subscriber.Take()), "ERROR: host unwell; 1; 1");
}

TEST_F(ConnectionTest, ClosingDropsALinkThatHasGoneOfflineSinceTheLastTick) {
    Connect();
    Adapter.OnLine(false);
    Subscriber.Endpoint().ClosePeer();
    Host.Run(0);
    EXPECT_FALSE(Adapter.Networking());
    EXPECT_THAT(Driver->Peer.Take(), Contains("DISCONNECT"));
}

TEST_F(ConnectionTest, OfflineWorkNeedsAPortNumber) {
    const std::pair<const char*, bool> cases[] = {
        {"3", true},   {"07x", true}, {"99999999999", true}, {"", false},  {"com3", false},
        {"-3", false}, {"+3", false}, {" 3", false},         {"0", false}, {"00,3", false},
    };
    for (const auto& [port, works] : cases) {
        SCOPED_TRACE(port);
        Init();
        Adapter.PortAddress(port);
        Adapter.DeviceAdd("5", 106);
        Queue(Reading("5"))->DeviceOrigin(0);  // not ended with the connection
        Host.Run(10);
        EXPECT_EQ(Driver->TakeWork().size(), works ? 1U : 0U);
    }
}

}  // namespace orvix::tests
