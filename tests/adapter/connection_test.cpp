#include "tests/adapter/adapter_fixture.h"

namespace orvix::tests {

/// What happens next, how long the loop then runs, and what driver and host have got by then, joined with "; ".
struct Step {
    std::string Event;  ///< message from the driver, "" none, "online", "offline"
    int Milliseconds;
    std::string ToDriver;
    std::string ToHost;  ///< an activity notification stands as its digit
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
        }
    }
};

TEST_F(ConnectionTest, ConnectsIdlesAndStops) {
    Init();
    Play({{"online", 10, "CONNECT", "2"},
          {"", 10, "DEBUGINFO | Comm 2 WAITING FOR CONNECTION | True | CONNECTING", ""},
          {"connected", 10, "DEBUGINFO | Comm 3 WAITING FOR CONNECTION | True | CONNECTING", ""},
          {JoinFields({"CONNECTED", "x"}), 10, "", ""},
          {"", 10, "DEBUGINFO | Comm 5 WAITING FOR IDLE... | True | WAITING_FOR_IDLE", "0"},
          {"", 60000, "", ""},
          {"offline", 60000, "DISCONNECT; DEBUGINFO | Comm 8 OFFLINE | False | DISCONNECTED", "1; 0"},
          {"online", 10, "CONNECT", "2"},
          {"CONNECTED", 10, "", ""}});
    EXPECT_TRUE(Adapter.Networking());
    EXPECT_FALSE(Object.Busy());
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
           "1; 1"},
          {"CONNECTED", 400, "", ""}});
    Queue(Reading("5"));  // makes the loop tick, and no more
    Play({{"", 10, "DEBUGINFO | Comm 302 WAIT AFTER CONNECTION FAILED... | True | WAIT_AFTER_CONNECTION_FAIL", ""}});
    Host.Run(80);
    Forget();
    Play({{"", 10, "DEBUGINFO | Comm 311 WAIT CONNECTION FAILED TIMEOUT  - RESTART | True | DISCONNECTED", "0"},
          {"", 10, "CONNECT", "2"},
          {"", 10, "DEBUGINFO | Comm 313 WAITING FOR CONNECTION | True | CONNECTING", ""}});
    EXPECT_TRUE(Object.Busy());
}

TEST_F(ConnectionTest, SocketErrorPausesAndStartsAfresh) {
    Init();
    Adapter.IdleAfterErrorMsecs(1);  // floor: 100
    Play({{"online", 10, "CONNECT", "2"},
          {JoinFields({"SOCKETERROR", "10061", "refused"}), 10,
           "DEBUGINFO | Comm 2 SOCKET ERROR ON DEVICE CONNECTION - DISCONNECT! | True | WAIT_AFTER_SOCKET_ERROR; "
           "DISCONNECT",
           "Driver error 10061 - refused; 1; 1"},
          {"CONNECTED", 90, "", ""},
          {"", 10, "DEBUGINFO | Comm 3 WAIT AFTER SOCKET ERROR TIMEOUT  - RESTART | True | DISCONNECTED; DISCONNECT",
           "0"},
          // An error that comes before the next attempt does not spoil it.
          {JoinFields({"SOCKETERROR", "1", "old"}), 10, "CONNECT", "Driver error 1 - old; 2"},
          {"CONNECTED", 10, "", ""}});
}

TEST_F(ConnectionTest, IdleLinkIsDroppedAndComesBackForWork) {
    Adapter.IdleAllowed(true);
    Adapter.IdleMsecs(1000);
    Connect();
    Host.Run(990);
    // Writing OnLine has asked for one more round.
    Play({{"", 10, "DEBUGINFO | Comm 103 IDLE! | True | CONNECTED_IDLE; DISCONNECT", "0"},
          {"DISCONNECTED", 10, "DEBUGINFO | Comm 104 IDLE - RECONNECT | True | DISCONNECTED", ""},
          {"", 10, "CONNECT", "2"},
          {"CONNECTED", 20, "DEBUGINFO | Comm 107 WAITING FOR IDLE... | True | WAITING_FOR_IDLE", "0"}});
    Host.Run(1010);
    Forget();
    Play({{"DISCONNECTED", 60000, "", ""}});
    Queue(Reading("5"));
    Play({{"", 10, "DEBUGINFO | Comm 208 IDLE - RECONNECT | True | DISCONNECTED", ""}, {"", 10, "CONNECT", "2"}});
}

TEST_F(ConnectionTest, FailingStepIsReportedAndTheLoopGoesOn) {
    Init();
    Driver->Peer.Endpoint().Activate(false);
    Adapter.OnLine(true);
    Host.Run(20);
    const auto messages = Subscriber.Take();
    ASSERT_EQ(messages.size(), 2U);
    EXPECT_THAT(messages[0], testing::StartsWith("ERROR: "));
    Driver->Peer.Endpoint().Activate(true);
    Host.Run(10);
    EXPECT_THAT(Driver->Peer.Take(), ElementsAre("CONNECT"));
}

TEST_F(ConnectionTest, OfflineWorkNeedsAPortNumber) {
    for (const auto& [port, sent] : std::vector<std::pair<std::string, std::size_t>>{{"3", 1}, {"", 0}, {"com3", 0}}) {
        Init();
        Adapter.PortAddress(port);
        Adapter.DeviceAdd("5", 106);
        const auto task = Reading("5");
        task->DeviceOrigin(0);  // not ended with the connection
        Queue(task);
        Host.Run(10);
        EXPECT_EQ(Driver->TakeWork().size(), sent) << port;
        EXPECT_TRUE(Object.Busy());
    }
}

}  // namespace orvix::tests
