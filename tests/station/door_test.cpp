#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <thread>

#include "platform/sqlite_connection.h"
#include "platform/unix_socket.h"
#include "simulator/bus_server.h"
#include "station/door/routes.h"
#include "station/http/crowd.h"
#include "station/http/http_client.h"
#include "station/store/history_schema.h"
#include "station/store/history_slices.h"
#include "tests/station/history_fixture.h"
#include "tests/station/json_lines.h"
#include "tests/station/program.h"
#include "tests/station/readings.h"
#include "tests/support/test_folder.h"

namespace orvix::tests {
namespace {

using namespace station;
using namespace std::chrono_literals;

constexpr uid_t kNobody = 65534;

TEST(Crowd, WhoDawdlesGivesWayAndWhoListensStays) {
    using Keys = std::vector<Crowd::Key>;
    Crowd crowd({.All = 3, .Address = 2, .Request = 15s, .Answer = 60s});
    EXPECT_EQ(crowd.Enter(1, "a", 0s), Keys());
    EXPECT_EQ(crowd.Enter(2, "a", 1s), Keys());
    crowd.Does(1, Crowd::Doing::Reading, 2s);
    EXPECT_EQ(crowd.Enter(3, "a", 2s), Keys({2})) << "it asks for longest";
    EXPECT_EQ(crowd.Enter(4, "b", 3s), Keys());
    EXPECT_EQ(crowd.Enter(5, "c", 3s), Keys({3}));
    crowd.Does(4, Crowd::Doing::Listening, 4s);
    EXPECT_EQ(crowd.Listeners(), 1U);
    EXPECT_EQ(crowd.NextEnd(), 18s);
    EXPECT_EQ(crowd.Overdue(17s), Keys());
    EXPECT_EQ(crowd.Overdue(18s), Keys({5}));
    EXPECT_EQ(crowd.Overdue(62s), Keys({1}));
    EXPECT_EQ(crowd.NextEnd(), std::nullopt);
    for (const Crowd::Key client : {6, 7})
        crowd.Enter(client, "b", 63s), crowd.Does(client, Crowd::Doing::Listening, 63s);
    EXPECT_EQ(crowd.Enter(8, "b", 64s), Keys({8})) << "all listen";
    Crowd other({.All = 2, .Address = 2, .Request = 15s, .Answer = 60s});
    other.Enter(1, "a", 0s), other.Does(1, Crowd::Doing::Reading, 0s);
    other.Enter(2, "b", 5s);
    EXPECT_EQ(other.Enter(3, "c", 6s), Keys({1})) << "it reads for longer than the other asks";
}

/// A station that runs, and what it answers at its socket.
class Door : public testing::Test {
protected:
    HttpAnswer Ask(HttpQuestion question) const {
        question.Socket = m_Data + "/station.sock";
        return AskHttp(question);
    }
    Json Get(const std::string& path) const { return Json::parse(Ask({.Path = path}).Body); }

    /// What comes in a stream, up to a text.
    std::string Follow(const std::string& path, const std::string& upTo) const {
        std::string read;
        Ask({.Path = path, .OnBody = [&](std::string_view part) {
                 read += part;
                 return read.find(upTo) == std::string::npos;
             }});
        return read;
    }

    void SetUp() override { ASSERT_TRUE(m_Program.AwaitOutput("\"inputs\",\"value\":5")); }

    TestFolder m_Folder;
    const std::string m_Data = m_Folder.Path + "/data";
    Program m_Program{{"run", "--data", m_Data, "--json", "--every", "100ms"}};
};

TEST_F(Door, EachQuestionIsAnsweredOrRefusedWithAReason) {
    const struct {
        HttpQuestion Question;
        int Status;
        std::string Says;
    } cases[] = {
        {{.Path = "/api/v1/station"}, 200, "\"rights\":\"change\""},
        {{.Path = "/api/v1/devices?device=simulated-0006"}, 200, "\"total\":1,\"next\":null}"},
        {{.Path = "/api/v1/values?limit=1&offset=1&bus=simulated"},
         200,
         "\"total\":3,\"next\":\"values?bus=simulated&limit=1&offset=2\""},
        {{.Path = "/api/v1/values?bus=other"}, 200, "{\"values\":[],\"total\":0,\"next\":null}"},
        {{.Path = "/api/v1/values?limit=0"}, 400, "limit: write a whole number from 1 to 1000"},
        {{.Path = "/api/v1/values?limits=1"}, 400, "there is no parameter limits here"},
        {{.Path = "/api/v1/health?device=simulated-0007"}, 200, "\"diagnosis\":[]}]}],\"history\":"},
        {{.Path = "/api/v1/health", .Headers = {"Accept: text/plain"}}, 200, "all is well\n"},
        {{.Path = "/metrics"}, 200, "nimbo1_up{port=\"simulated\",address=\"5\""},
        {{.Path = "/api/v1/nothing"}, 404, "\"detail\":\"there is nothing at /api/v1/nothing\"}"},
        {{.Path = "/../../etc/passwd"}, 404, "there is nothing at"},
        {{.Path = "/%2e%2e/%2e%2e/etc/passwd%00"}, 404, "there is nothing at"},
        {{.Method = "DELETE", .Path = "/api/v1/values"}, 405, "does not take DELETE, but GET"},
        {{.Method = "POST", .Path = "/api/v1/values", .Body = std::string(20'000, 'x')}, 413, "larger than 16 KB"},
        {{.Path = "/api/v1/values", .Headers = {"X: " + std::string(40'000, 'x')}}, 431, "more than 32 KB"},
        {{.Path = "/api/v1/values", .Headers = {"X: " + std::string(100'000, 'x')}}, 431, ""},
        {{.Method = "POST", .Path = "/api/v1/devices", .Body = R"({"bus":"no","address":0})"}, 400, "address: write"},
        {{.Method = "POST", .Path = "/api/v1/devices", .Body = R"({"bus":"simulated","address":9,"model":5})"},
         400,
         "the models are"},
        {{.Path = "/"}, 200, "<!DOCTYPE html>"},
    };
    for (const auto& [question, status, says] : cases) {
        const auto answer = Ask(question);
        EXPECT_EQ(answer.Status, status) << question.Path;
        EXPECT_NE(answer.Body.find(says), std::string::npos) << question.Path << ": " << answer.Body.substr(0, 2000);
    }
    const auto values = Get("/api/v1/values");
    for (const auto& value : values["values"])
        EXPECT_EQ(value["quality"], "good") << value;
}

/// What an answer has that its schema does not allow, or has not; empty when it fits.
std::string Misfit(const Json& value, const Json& schema, const Json& schemas) {
    if (schema.contains("$ref")) {
        const std::string name = schema["$ref"];
        return Misfit(value, schemas.at(name.substr(name.rfind('/') + 1)), schemas);
    }
    const std::string type = value.is_number_integer() ? "integer" : value.is_boolean() ? "boolean" : value.type_name();
    const auto isType = [&](const Json& name) { return name == type || (name == "number" && type == "integer"); };
    const auto types = schema["type"].is_array() ? schema["type"] : Json::array({schema["type"]});
    if (std::none_of(types.begin(), types.end(), isType)) return type + ": " + value.dump();
    const auto names = schema.value("enum", Json::array({value}));
    if (std::find(names.begin(), names.end(), value) == names.end()) return "no such name: " + value.dump();
    std::string misfit;
    for (std::size_t row = 0; value.is_array() && row < value.size() && misfit.empty(); ++row)
        misfit = Misfit(value[row], schema.at("items"), schemas);
    if (!value.is_object() || !schema.contains("properties")) return misfit;
    for (const auto& key : schema.value("required", Json::array())) {
        if (!value.contains(key)) misfit += " missing: " + key.get<std::string>();
    }
    for (const auto& [key, member] : value.items()) {
        const auto& known = schema["properties"];
        misfit += known.contains(key) ? Misfit(member, known[key], schemas) : " not described: " + key;
    }
    return misfit;
}

TEST_F(Door, EveryAnswerIsAsItsDescriptionSays) {
    const auto document = Get("/api/v1/openapi.json");
    const auto& schemas = document["components"]["schemas"];
    int checked = 0;
    for (const auto& [path, methods] : document["paths"].items()) {
        for (const auto& [method, operation] : methods.items()) {
            const auto& answers = operation["responses"];
            if (!answers.contains("200") || !answers["200"]["content"].contains("application/json")) continue;
            auto asked = "/api/v1" + path + (path == "/history" ? "?device=simulated-0005" : "");
            if (const auto id = asked.find("{id}"); id != std::string::npos) asked.replace(id, 4, "simulated-0005");
            const auto answer = Ask({.Method = method == "get" ? "GET" : "POST", .Path = asked});
            const bool isGood = answer.Status == 200;
            const auto schema = isGood ? answers["200"]["content"]["application/json"]["schema"]
                                       : Json::object({{"$ref", "#/components/schemas/Problem"}});
            EXPECT_EQ(Misfit(Json::parse(answer.Body), schema, schemas), "") << asked << ": " << answer.Body;
            checked += isGood ? 1 : 0;
        }
    }
    EXPECT_GE(checked, 6);
    const std::regex name("\\{[^}]*\\}");
    std::set<std::string> described;
    for (const auto& [path, methods] : document["paths"].items()) {
        for (const auto& [method, operation] : methods.items())
            described.insert(method + " /api/v1" + std::regex_replace(path, name, "{}"));
    }
    for (const auto& route : Routes()) {
        std::string method = route.Method;
        std::transform(method.begin(), method.end(), method.begin(), [](unsigned char c) { return std::tolower(c); });
        const auto path = std::regex_replace(std::string(route.Pattern), name, "{}");
        EXPECT_TRUE(!path.starts_with("/api/") || described.contains(method + " " + path)) << method << " " << path;
    }
}

TEST_F(Door, TheBytesOnALineAreShownWithWhatTheyAre) {
    const auto read = Follow("/api/v1/lines/simulated", "inputs 00000101");
    for (const char* says : {"event: line\n", "\"what\":\"sent\"", "\"bytes\":\"1d ",
                             "\"meaning\":\"request to 5: temperature\"", "\"meaning\":\"answer of 5: 21.5 °C\""}) {
        EXPECT_NE(read.find(says), std::string::npos) << says << " in " << read;
    }
    EXPECT_EQ(Ask({.Path = "/api/v1/lines/other"}).Status, 404);
}

TEST_F(Door, CommandsAskTheStation) {
    const auto values = RunProgram({"values", "--data", m_Data, "--device", "7"});
    EXPECT_EQ(values.Status, 0) << values.Err;
    EXPECT_NE(values.Out.find("inputs       5   00000101  good"), std::string::npos) << values.Out;
    const auto port = Get("/api/v1/station")["buses"][0]["port_path"].get<std::string>();
    const std::vector<std::string> sensor{"--data", m_Data, "--device", "5:sensor"};
    const auto with = [&](std::vector<std::string> first, std::initializer_list<std::string> last) {
        first.insert(first.end(), sensor.begin(), sensor.end());
        first.insert(first.end(), last);
        return RunProgram(first);
    };
    for (const auto& read : {with({"read", "--port", port}, {"temperature"}), with({"read"}, {"temperature"})}) {
        EXPECT_EQ(read.Out, "21.5\n") << read.Err;
        EXPECT_EQ(read.Err, "") << "no bus of its own";
    }
    const auto listing = with({"export"}, {"--format", "text", "--out", "-"});
    EXPECT_NE(listing.Out.find("Serial Number: SIMULATED-0005\r\nAddress: 5\r\n"), std::string::npos) << listing.Err;
    EXPECT_TRUE(with({"export"}, {"--format", "report", "--out", "-"}).Out.starts_with("%PDF"));
    ExpectOneLine({"read", "--data", m_Data, "--port", port, "--device", "9:sensor", "temperature"}, 1,
                  "does not read address 9");
    ExpectOneLine({"devices", "rename", "5", "Oven", "--data", m_Data, "--port", port}, 1, "are simulated");
    EXPECT_NE(RunProgram({"devices", "--data", m_Data}).Out.find("  7\tdigital\t"), std::string::npos);
    ExpectOneLine({"values", "--data", m_Folder.Path}, 1, "no station is running");
}

TEST(ReadingJson, TellsTheOtherSideAllThatItTells) {
    auto good = ReadingAt(1'000, "a", 5, 20.0);
    good.Quality = station::Quality::Good;
    good.Age = std::chrono::milliseconds(7);
    auto doubtful = ReadingAt(2'000, "a", 5, 85.0);
    doubtful.Quality = station::Quality::Doubtful;
    doubtful.Why = station::Doubt::PowerOnValue;
    doubtful.LastGood = 21.5;
    doubtful.LastGoodUnixMilliseconds = 1'500;
    doubtful.Age = std::chrono::milliseconds(500);
    auto failed = ReadingAt(3'000, "a", 7);
    failed.Error = {errors::TimeOut, "No reply", "all of it"};
    auto neverHeardOf = ReadingAt(0, "a", 9);
    neverHeardOf.Identifier.clear();
    for (const auto& reading : {good, doubtful, failed, neverHeardOf, ReadingAt(4'000, "a", 8, 5)}) {
        const auto told = station::ToJson(reading);
        EXPECT_EQ(station::ToJson(station::ReadingOf(told)), told);
    }
}

TEST(AlarmsAtTheDoor, OneThatIsOnIsListedAndAcknowledged) {
    const TestFolder folder;
    const auto file = folder.Path + "/n.toml";
    std::ofstream(file) << "[[bus]]\nport = \"simulated\"\nevery = \"100ms\"\n[[bus.device]]\naddress = 5\nmodel = "
                           "\"sensor\"\nhigh = 20\n";
    Program program({"run", "--data", folder.Path, "--config", file, "--json"});
    ASSERT_TRUE(program.AwaitOutput("\"alarm\":\"high\""));
    const auto alarms = [&](const std::string& query) {
        return Json::parse(AskHttp({.Socket = folder.Path + "/station.sock", .Path = "/api/v1/alarms" + query}).Body);
    };
    const auto on = alarms("?state=on");
    ASSERT_EQ(on["total"], 1) << on;
    const std::string id = on["alarms"][0]["id"];
    EXPECT_EQ(on["alarms"][0]["acknowledged"], nullptr);
    EXPECT_EQ(RunProgram({"alarms", "acknowledge", id, "door was open", "--data", folder.Path}).Status, 0);
    const auto all = alarms("");
    EXPECT_EQ(all["total"], 1) << all;
    EXPECT_EQ(all["alarms"][0]["acknowledged"]["comment"], "door was open") << all;
    EXPECT_EQ(alarms("?state=over")["total"], 0);
    EXPECT_EQ(alarms("?state=off")["status"], 400);
    ExpectOneLine({"alarms", "acknowledge", "nothing-1", "--data", folder.Path}, 1, "no alarm nothing-1 is on");
}

TEST(KnownPort, ARenamedDeviceHasItsNameAtOnceAndARemovedOneIsGone) {
    const TestFolder folder;
    simulator::BusServer bus(simulator::SimulatedBus({simulator::ParseSimulatedDevice("5:sensor"),
                                                      simulator::ParseSimulatedDevice("6:sensor")}),
                             0);
    const auto port = bus.Terminal().Path();
    const auto change = [&](std::vector<std::string> what) {
        what.insert(what.begin(), "devices");
        what.insert(what.end(), {"--data", folder.Path, "--port", port});
        const auto result = RunProgram(what);
        EXPECT_EQ(result.Status, 0) << result.Err;
    };
    change({"add", "5:sensor"});
    const auto values = RunProgram({"values", "--data", folder.Path, "--port", port});
    EXPECT_NE(values.Out.find("°C         good"), std::string::npos) << "no station, so the line: " << values.Out;
    Program program({"run", "--data", folder.Path, "--port", port, "--every", "100ms", "--json"});
    ASSERT_TRUE(program.AwaitOutput("\"address\":5"));
    change({"add", "6:sensor:Lid"});
    ASSERT_TRUE(program.AwaitOutput("\"address\":6,\"model\":106,\"name\":\"Lid\""));
    change({"rename", "5", "<b>Oven</b>"});
    EXPECT_TRUE(program.AwaitOutput("\"address\":5,\"model\":106,\"name\":\"<b>Oven</b>\""));
    change({"remove", "6"});
    const auto devices = AskHttp({.Socket = folder.Path + "/station.sock", .Path = "/api/v1/devices"}).Body;
    EXPECT_EQ(Json::parse(devices)["total"], 1) << devices;
    EXPECT_EQ(RunProgram({"devices", "--data", folder.Path}).Out.find("6\t"), std::string::npos);
    platform::SqliteConnection(folder.Path + "/Orvix.mdb")
        .Execute("CREATE TRIGGER full BEFORE UPDATE ON known_devices BEGIN SELECT raise(FAIL, 'disk is full'); END");
    ExpectOneLine({"devices", "rename", "5", "Lost", "--data", folder.Path, "--port", port}, 1, "disk is full");
    const auto socket = folder.Path + "/station.sock";
    std::string bytes;
    AskHttp({.Socket = socket, .Path = "/api/v1/lines/" + port, .OnBody = [&](std::string_view part) {
                 bytes += part;
                 return bytes.find("event: line") == std::string::npos;
             }});
    EXPECT_NE(bytes.find("answer of 5"), std::string::npos) << bytes;
}

TEST_F(Door, AStreamGoesOnWhereItWasOrTellsThatItCannot) {
    const auto read = Follow("/api/v1/events?device=simulated-0006", "event: reading");
    EXPECT_EQ(read.find("simulated-0005"), std::string::npos);
    const auto id = read.substr(read.find("id: ") + 4, read.find('\n', read.find("id: ")) - read.find("id: ") - 4);
    const auto dash = id.find('-') + 1;
    const auto next = "id: " + id.substr(0, dash) + std::to_string(std::stoi(id.substr(dash)) + 1) + "\n";
    EXPECT_NE(Follow("/api/v1/events?last=" + id, "event: reading").find(next), std::string::npos);
    for (const auto& unknown : {std::string("00000000-1"), id + "99999", id + "x"})
        EXPECT_NE(Follow("/api/v1/events?last=" + unknown, "\n\n").find("event: reset\ndata: {}\n\n"),
                  std::string::npos);
}

TEST_F(Door, SlowClientsHoldUpNobody) {
    std::vector<platform::FileDescriptor> slow;
    for (int client = 0; client < 400; ++client) {
        slow.push_back(platform::NewUnixSocket(SOCK_STREAM));
        if (!platform::ConnectSocket(slow.back(), m_Data + "/station.sock")) continue;
        ::send(slow.back().Get(), "GET /api/v1/events HTTP/1.1\r\nHost:", 35, MSG_NOSIGNAL);
    }
    // Those ask again and again, and take nothing.
    std::string many;
    for (int request = 0; request < 100; ++request)
        many += "GET /metrics HTTP/1.1\r\nHost: a\r\n\r\n";
    for (int client = 0; client < 100; ++client) {
        slow.push_back(platform::NewUnixSocket(SOCK_STREAM));
        if (!platform::ConnectSocket(slow.back(), m_Data + "/station.sock")) continue;
        ::send(slow.back().Get(), many.data(), many.size(), MSG_NOSIGNAL);
    }
    EXPECT_TRUE(m_Program.AwaitOutput("\"event\":\"reading\""));
    EXPECT_EQ(Ask({.Path = "/metrics"}).Status, 200);
    EXPECT_EQ(Get("/api/v1/station")["buses"][0]["port_works"], true);
}

TEST_F(Door, OnlyTheOwnerIsServed) {
    if (geteuid() != 0) GTEST_SKIP() << "takes another user's rights, which only the superuser can";
    const auto path = m_Data + "/station.sock";
    struct stat status {};
    ASSERT_EQ(::stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
    ASSERT_EQ(::chmod(path.c_str(), 0666), 0);
    ASSERT_EQ(::chmod(m_Folder.Path.c_str(), 0755), 0);
    HttpAnswer answer;
    std::thread([&] {
        // The system call is for this thread alone, the library's function for all.
        EXPECT_EQ(::syscall(SYS_setresuid, -1, kNobody, -1), 0);
        answer = Ask({.Path = "/api/v1/station"});
    }).join();
    EXPECT_EQ(answer.Status, 403);
    EXPECT_NE(answer.Body.find("belongs to another user"), std::string::npos) << answer.Body;
}

TEST_F(Door, AFolderHasOneStationAndAKilledOneLeavesNothing) {
    ExpectOneLine({"run", "--data", m_Data}, 1, "another station (process ");
    m_Program.Signal(SIGKILL);
    m_Program.Finish();
    ExpectOneLine({"health", "--data", m_Data}, 1, "no station is running");
    Program next({"run", "--data", m_Data, "--json"});
    ASSERT_TRUE(next.AwaitOutput("\"valid\":true"));
    EXPECT_EQ(Ask({.Path = "/api/v1/station"}).Status, 200);
}

TEST(DoorInTheRuntimeFolder, IsFoundWhenTheDataFolderCannotHaveTheSocket) {
    const TestFolder folder;
    const TestFolder runtime;
    const auto data = folder.Path + "/data";
    std::filesystem::create_directories(data + "/station.sock");
    ::setenv("XDG_RUNTIME_DIR", runtime.Path.c_str(), 1);
    ::setenv("RUNTIME_DIRECTORY", (runtime.Path + "/nimbo1").c_str(), 1);
    Program program({"run", "--data", data, "--json", "--every", "100ms"});
    ::unsetenv("RUNTIME_DIRECTORY");
    EXPECT_TRUE(program.AwaitOutput("\"inputs\",\"value\":5"));
    EXPECT_NE(RunProgram({"values", "--data", data}).Out.find("00000101  good"), std::string::npos);
    EXPECT_EQ(RunProgram({"read", "--data", data + "/.", "--device", "5:sensor", "temperature"}).Out, "21.5\n");
    ExpectOneLine({"values", "--data", folder.Path}, 1, "no station is running");
    program.Signal(SIGINT);
    EXPECT_EQ(program.Finish().Err.find("cannot be asked"), std::string::npos);
    EXPECT_TRUE(std::filesystem::is_empty(runtime.Path + "/nimbo1"));
    ::unsetenv("XDG_RUNTIME_DIR");
}

TEST_F(Door, HistoryIsToldInSlicesAndAsCsv) {
    const auto firstSlice = [&](const std::string& device) {
        for (;;) {
            const auto history = Get("/api/v1/history?from=1m&points=20&device=" + device);
            // What is read is written once a second.
            if (!history.contains("rows")) return history;
            if (!history["rows"].empty() && !history["rows"][0][1].is_null()) return history["rows"][0];
            if (!m_Program.AwaitOutput("\"valid\":true")) return Json(history);
        }
    };
    const auto degrees = firstSlice("simulated-0005");
    EXPECT_EQ(Json({degrees[1], degrees[2], degrees[3]}), Json({21.5, 21.5, 21.5})) << degrees;
    const auto inputs = firstSlice("simulated-0007");
    EXPECT_EQ(Json({inputs[1], inputs[2], inputs[5], inputs[6]}), Json({5, 5, 1.0, 0.0})) << inputs;
    const auto csv = Ask({.Path = "/api/v1/history.csv?device=simulated-0005"}).Body;
    EXPECT_TRUE(csv.starts_with("time,port,address,name,variable,value,quality,until,count,reason\n")) << csv;
    EXPECT_NE(csv.find(",simulated,5,Nimbo1 Temperature Sensor,temperature,21.5,good,,,\n"), std::string::npos) << csv;
    for (const auto& [query, says] : {std::pair("", "device: name a device"),
                                      {"?device=no", "has nothing about device no"},
                                      {"?device=d1&from=soon", "from: 'soon' is not a time"},
                                      {"?device=d1&from=1m&to=2m", "from is not before to"}}) {
        EXPECT_NE(Ask({.Path = std::string("/api/v1/history") + query}).Body.find(says), std::string::npos) << says;
    }
}

TEST(HistoryFile, IsNoHistoryBeforeItHasTables) {
    const TestFolder folder;
    const auto file = folder.Path + "/history.db";
    EXPECT_FALSE(HasHistory(file));
    std::ofstream(file).flush();
    platform::SqliteConnection(file).Execute("PRAGMA journal_mode = WAL");
    EXPECT_FALSE(HasHistory(file));
    OpenHistory(file);
    EXPECT_TRUE(HasHistory(file));
}

TEST_F(HistoryTest, SlicesOfAnyWidthLoseNoPeak) {
    Begin({}, 100'000);
    for (int second = 0; second < 4 * 3600; ++second)
        Add(5, second * kSecond, second == 5000 ? 80.0 : second == 9000 ? -7.0 : 20.0);
    Turn(4 * 3600 * kSecond);
    auto reader = Reader(4 * 3600 * kSecond);
    const auto device = reader.Find({}).at(0);
    for (const std::int64_t most : {1, 10, 100, 500, 5000}) {
        const auto [width, slices] = SlicesOf(reader, device, {kStart, kStart + 4 * 3600 * kSecond}, most);
        Figures sum;
        for (const auto& slice : slices)
            sum.Add(slice.Figures);
        EXPECT_EQ(sum.Count, 4 * 3600) << most;
        EXPECT_EQ(sum.Highest, 80) << most;
        EXPECT_EQ(sum.Lowest, -7) << most;
        EXPECT_LE(std::ssize(slices), most + 1);
    }
}

TEST_F(Door, ADeviceIsReadAtOnce) {
    const auto ask = [&](const std::string& path, const std::string& body) {
        return Ask({.Method = "POST", .Path = "/api/v1/devices/" + path + "/read", .Body = body});
    };
    EXPECT_EQ(Json::parse(ask("simulated-0005", "").Body)["value"], 21.5);
    EXPECT_EQ(Json::parse(ask("simulated-0007", R"({"variable":"serial"})").Body)["id"], "simulated-0007");
    EXPECT_NE(ask("simulated-0007", R"({"variable":"temperature"})").Body.find("this device has inputs"),
              std::string::npos);
    EXPECT_EQ(ask("simulated-0007", "[1").Status, 400);
    EXPECT_EQ(ask("nobody", "").Status, 404);
    EXPECT_EQ(Ask({.Method = "DELETE", .Path = "/api/v1/devices/simulated-0005"}).Status, 409);
}

TEST(DoorAtAnAddress, ATokenSaysWhoMayDoWhat) {
    const TestFolder folder;
    const auto tokens = folder.Path + "/tokens";
    const std::string reader = "read-0123456789abcdef";
    const std::string changer = "change-0123456789abcdef";
    std::ofstream(tokens) << "# who\nread " << reader << "\nchange " << changer << "\n";
    const auto port = std::to_string(FreePort());
    const std::vector<std::string> run{"run", "--data", folder.Path, "--json", "--web", "0.0.0.0:" + port};
    ExpectOneLine(run, 1, "name a file of tokens");
    auto withTokens = run;
    withTokens.insert(withTokens.end(), {"--web-tokens", tokens});
    ExpectOneLine(withTokens, 1, "must be accessible to its owner only: chmod 600");
    ASSERT_EQ(::chmod(tokens.c_str(), 0600), 0);
    Program program(withTokens);
    ASSERT_TRUE(program.AwaitOutput("\"valid\":true"));
    const struct {
        const char* Method;
        const char* Path;
        std::string Header;
        int Status;
    } cases[] = {
        {"GET", "/", "X: y", 200},
        {"GET", "/api/v1/station", "X: y", 200},
        {"GET", "/api/v1/values", "X: y", 401},
        {"GET", "/metrics", "X: y", 401},
        {"GET", "/api/v1/values", "Authorization: Bearer " + reader, 200},
        {"GET", "/api/v1/values", "Authorization: Bearer " + reader + "0", 401},
        {"GET", "/api/v1/values", "Authorization: Basic " + reader, 401},
        {"GET", "/api/v1/values", "Host: evil.example", 421},
        {"POST", "/api/v1/devices/simulated-0005/read", "Authorization: Bearer " + reader, 403},
        {"POST", "/api/v1/devices/simulated-0005/read", "X: y", 401},
        {"POST", "/api/v1/devices/simulated-0005/read", "Authorization: Bearer " + changer, 200},
    };
    for (const auto& [method, path, header, status] : cases) {
        const auto answer = AskHttp({.Host = "127.0.0.1:" + port, .Method = method, .Path = path, .Headers = {header}});
        EXPECT_EQ(answer.Status, status) << method << " " << path << " " << header << ": " << answer.Body;
        EXPECT_EQ(answer.Body.find("0123456789abcdef"), std::string::npos) << "no secret is shown";
    }
}

TEST(Health, OfARunningStationIsToldWithWhatIsWrong) {
    const TestFolder folder;
    simulator::BusServer bus(simulator::SimulatedBus({simulator::ParseSimulatedDevice("5:sensor")}), 0);
    Program program({"run", "--data", folder.Path, "--port", bus.Terminal().Path(), "--device", "5:sensor", "--device",
                     "9:sensor:Lost", "--every", "700ms", "--retries", "0", "--timeout-factor", "100", "--json"});
    for (int reading = 0; reading < 3; ++reading)
        ASSERT_TRUE(program.AwaitOutput("\"valid\":false"));
    const auto plain = RunProgram({"health", "--data", folder.Path});
    EXPECT_EQ(plain.Status, 0) << plain.Err;
    EXPECT_NE(plain.Out.find("address 9 never answers: power, wiring or address; asked less often until it answers; "
                             "the others are fine\n"),
              std::string::npos)
        << plain.Out;
    const auto json = RunProgram({"health", "--data", folder.Path, "--json"});
    EXPECT_NE(json.Out.find("\"address\":9,\"model\":106,\"name\":\"Lost\",\"quality\":\"offline\",\"last_good\":null"),
              std::string::npos)
        << json.Out;
    program.Signal(SIGINT);
    EXPECT_EQ(program.Finish().Status, 0);
    ExpectOneLine({"health", "--data", folder.Path}, 1, "no station is running");
}

}  // namespace
}  // namespace orvix::tests
