#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "host/text.h"
#include "platform/real_apartment.h"
#include "station/mqtt/broker_trial.h"
#include "tests/station/json_lines.h"
#include "tests/station/mqtt_station.h"

namespace orvix::tests {
namespace {

using testing::HasSubstr;
using testing::Not;

/// Certificates of two authorities, and some of the first: for the address 127.0.0.1, for another name, of days past.
struct Certificates {
    Certificates() {
        for (const std::string ca : {"/ca", "/other"})
            RunTool({"openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes",
                     "-days", "2", "-subj", "/CN=" + ca.substr(1), "-keyout", Path + ca + ".key", "-out", Path + ca});
        Sign("/good", "subjectAltName=IP:127.0.0.1");
        Sign("/foreign", "subjectAltName=DNS:elsewhere");
        Sign("/expired", "subjectAltName=IP:127.0.0.1", "-1");
    }
    std::string Listener(const std::string& certificate) const {
        return "allow_anonymous true\ncertfile " + Path + certificate + "\nkeyfile " + Path + certificate + ".key\n";
    }
    std::string Ca(const std::string& ca) const { return "ca = \"" + Path + ca + "\"\n"; }
    std::string Own(const std::string& name) const {
        return Ca("/ca") + "cert = \"" + Path + name + "\"\nkey = \"" + Path + name + ".key\"\n";
    }

    TestFolder Folder;
    const std::string& Path = Folder.Path;

private:
    void Sign(const std::string& name, const std::string& extension, const std::string& days = "2") const {
        std::ofstream(Path + name + ".ext") << extension << "\n";
        RunTool({"openssl", "req", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes", "-subj",
                 "/CN=broker", "-keyout", Path + name + ".key", "-out", Path + name + ".csr"});
        RunTool({"openssl", "x509", "-req", "-in", Path + name + ".csr", "-CA", Path + "/ca", "-CAkey",
                 Path + "/ca.key", "-CAcreateserial", "-days", days, "-extfile", Path + name + ".ext", "-out",
                 Path + name});
    }
};

/// What a station says of its broker, `nimbo1 mqtt test` says of the step at which it ends.
TEST(MqttTrial, AStationAndATrialSayWhatIsWrongWithAConnection) {
    const Certificates files;
    const auto& folder = files.Path;
    const auto login = [&](const std::string& file) {
        return "user = \"u\"\npassword_file = \"" + folder + "/" + file + "\"\n";
    };
    RunTool({"mosquitto_passwd", "-b", "-c", folder + "/users", "u", "secret"});
    std::ofstream(folder + "/rights") << "topic read #\n";
    std::ofstream(folder + "/password") << "secret\r\n";
    std::ofstream(folder + "/wrong") << "guessed\n";
    const Broker open;
    const Broker closed("password_file " + folder + "/users\n");
    const Broker readOnly("allow_anonymous true\nacl_file " + folder + "/rights\n");
    const Broker forgetful("allow_anonymous true\nretain_available false\n");
    const Broker tls(files.Listener("/good"));
    const Broker foreign(files.Listener("/foreign"));
    const Broker expired(files.Listener("/expired"));
    const Broker mutual(files.Listener("/good") + "require_certificate true\ncafile " + folder + "/ca\n");
    const std::string older = "version = \"3.1.1\"\n";
    const std::string isUp = ": connected; ";
    const struct {
        std::string Mqtt;
        std::string Says;
        std::string Step;
    } kCases[] = {
        {At(closed) + login("password"), isUp, "topic"},
        {At(tls, "mqtts") + files.Ca("/ca"), isUp, "topic"},
        {At(mutual, "mqtts") + files.Own("/good") + older, isUp, "topic"},
        {At(closed) + login("wrong"), "it refuses the login", "login"},
        {At(closed) + login("wrong") + older, "it refuses the login", "login"},
        {At(closed) + login("none"), "/none cannot be opened: No such file", "login"},
        {At(readOnly), "does not take nimbo1/s1/status: Not authorized: let clients without a user write there",
         "rights"},
        {At(forgetful), "it keeps no messages", "login"},
        {At(tls, "mqtts") + files.Ca("/other"), "/other, or not valid now", "certificate"},
        {At(expired, "mqtts") + files.Ca("/ca"), "/ca, or not valid now", "certificate"},
        {At(foreign, "mqtts") + files.Ca("/ca"), "its certificate is not for 127.0.0.1", "certificate"},
        {At(mutual, "mqtts") + files.Ca("/ca"), "set mqtt.cert and mqtt.key", "certificate"},
        {At(mutual, "mqtts") + files.Own("/other"), "look at mqtt.cert", "certificate"},
        {At(open, "mqtts") + files.Ca("/ca"), "is this port one for TLS?", "TLS"},
        {At(tls), "does the port want TLS, mqtts://?", "login"},
        {"broker = \"mqtt://127.0.0.1:" + std::to_string(FreePort()) + "\"\n", "Connection refused", "TCP"},
        {"broker = \"mqtt://no-such-host.invalid\"\n", "its name cannot be looked up", "name"},
    };
    for (const auto& [mqtt, says, step] : kCases) {
        SCOPED_TRACE(mqtt);
        Reporting station(mqtt);
        EXPECT_TRUE(station.Station->AwaitError(says));
        const auto trial = RunProgram({"mqtt", "test", "--config", station.File, "--json"});
        const auto last = Objects(trial.Out).back();
        EXPECT_EQ(last["step"], step);
        EXPECT_EQ(last["ok"], says == isUp);
        EXPECT_TRUE(step != "certificate" || Objects(trial.Out).size() == 4) << trial.Out;
        EXPECT_EQ(trial.Status, says == isUp ? 0 : 1);
        const auto& text = last["text"].get<std::string>();
        EXPECT_THAT(ReplaceAll(text, "/test", "/status"), HasSubstr(says == isUp ? "arrives" : says));
        EXPECT_THAT(trial.Out + trial.Err, Not(HasSubstr("secret")));
        station.Station->Signal(SIGTERM);
        EXPECT_THAT(station.Station->Finish().Err, Not(HasSubstr("another client")));
    }
}

TEST(MqttTrial, LeavesNothingBehindAndNeedsABroker) {
    const Broker broker;
    Subscriber live(broker);
    const auto url = "mqtt://localhost:" + std::to_string(broker.Port);
    const auto trial = RunProgram({"mqtt", "test", "--mqtt", url});
    EXPECT_EQ(trial.Status, 0);
    EXPECT_THAT(trial.Out, HasSubstr("topic       ok      what is written to nimbo1/"));
    live.AwaitAny("/test", IsSomething);
    live.AwaitAny("/test", [](const std::string& payload) { return payload.empty(); });
    ExpectOneLine({"mqtt", "test"}, 2, "name the broker");
}

/// It lets others connect.
class ListeningSocket {
public:
    ListeningSocket() : m_Socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        EXPECT_EQ(::listen(m_Socket.Get(), 1), 0);
    }
    int Port() const {
        sockaddr_in at{};
        socklen_t size = sizeof(at);
        ::getsockname(m_Socket.Get(), reinterpret_cast<sockaddr*>(&at), &size);
        return ntohs(at.sin_port);
    }
    /// Hears the first words of the next who connects, answers, and closes that connection.
    void AnswerOnce(const std::string& answer) const {
        const platform::FileDescriptor client(::accept(m_Socket.Get(), nullptr, nullptr));
        char heard[256];
        EXPECT_GT(::read(client.Get(), heard, sizeof(heard)), 0);
        EXPECT_EQ(::write(client.Get(), answer.data(), answer.size()), static_cast<ssize_t>(answer.size()));
    }

private:
    const platform::FileDescriptor m_Socket;
};

std::string LastOf(int port, bool tls, bool speaks5) {
    station::MqttSetup setup;
    setup.Broker = {"127.0.0.1", port, tls};
    setup.Speaks5 = speaks5;
    setup.Station = "s";
    platform::RealApartment home;
    std::string last;
    const station::BrokerTrial trial(
        setup, home, std::chrono::seconds(2),
        [&](const station::TrialStep& step) { last = std::string(NameOf(step.Step)) + ": " + step.Text; },
        [&] { home.Quit(); });
    home.Run();
    return last;
}

TEST(MqttTrial, AStepThatTakesTooLongHasFailed) {
    const TestFolder folder;
    std::ofstream(folder.Path + "/rights") << "topic read #\n";
    // A broker of 3.1.1 drops in silence what it does not take.
    const Broker readOnly("allow_anonymous true\nacl_file " + folder.Path + "/rights\n");
    EXPECT_THAT(LastOf(readOnly.Port, false, false),
                HasSubstr("topic: what is written to nimbo1/s/test does not arrive: let clients without a user write"));
    const ListeningSocket silent;
    EXPECT_THAT(LastOf(silent.Port(), true, true), HasSubstr("TLS: port"));
    EXPECT_THAT(LastOf(silent.Port(), false, true), HasSubstr("login: port"));
}

/// The broker that other tests use does not say all of this itself.
TEST(MqttTrial, WhatABrokerSaysIsUnderstood) {
    const struct {
        std::string Bytes;
        std::string Says;
    } kCases[] = {
        {"", "login: it closes the connection before the login; does the port want TLS"},
        {"HTTP/1.1 400 Bad Request\r\n\r\n", "login: what answers there does not speak MQTT as it should"},
        {std::string("\x20\x02\x00\x01", 4), "login: it does not speak MQTT 5: set mqtt.version to \"3.1.1\""},
        {std::string("\x20\x03\x00\x00\x00\xE0\x02\x8E\x00", 9), "rights: another client has connected under the same"},
    };
    for (const auto& [bytes, says] : kCases) {
        const ListeningSocket broker;
        std::thread answering([&broker, answer = bytes] { broker.AnswerOnce(answer); });
        EXPECT_THAT(LastOf(broker.Port(), false, true), HasSubstr(says));
        answering.join();
    }
}

}  // namespace
}  // namespace orvix::tests
