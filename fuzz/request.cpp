// A request to a station over HTTP, once its bytes have been taken apart: whoever may do how much asks for anything.

#include <set>

#include "devices/protocol/device_models.h"
#include "fuzz/support/input.h"
#include "fuzz/support/require.h"
#include "host/characters.h"
#include "platform/virtual_apartment.h"
#include "station/door/known_hosts.h"
#include "station/door/problem.h"
#include "station/door/routes.h"
#include "station/door/token_book.h"

namespace orvix::fuzz {
namespace {

using namespace station;

/// A bus on which nothing happens.
class StillBus : public SourceBus {
public:
    explicit StillBus(BusSetup setup) : m_Setup(std::move(setup)) {}
    const BusSetup& Setup() const override { return m_Setup; }
    void Poll() override {}
    void Devices(const DeviceChanges& /*changes*/) override {}
    void Close() override {}

private:
    const BusSetup m_Setup;
};

/// Tells of each device which it is, and a value.
class StillSource : public Source {
public:
    platform::VirtualApartment& Home() override { return m_Home; }
    std::unique_ptr<SourceBus> Open(const BusSetup& setup, Listener& listener, std::function<void()>) override {
        for (const auto& device : setup.Devices) {
            const auto serial = "S" + std::to_string(device.Address);
            m_Home.Post([&listener, device, port = setup.PortLabel, serial] {
                listener.OnIdentity({port, device.Address, device.Model, device.Name, serial, {}, {}});
            });
        }
        return std::make_unique<StillBus>(setup);
    }
    void Go() { m_Scheduler.RunFor(std::chrono::milliseconds(1)); }

private:
    platform::VirtualScheduler m_Scheduler{FromUnixMilliseconds(1'766'000'000'000)};
    platform::VirtualApartment m_Home{m_Scheduler};
};

bool IsName(const std::string& name) {
    return name.size() <= 200 && Printable(name) == name;
}

/// Does nothing, and holds that it is asked for what can be done.
class CheckedActions : public StationActions {
public:
    void Read(const DeviceId& place, ORVIXCNB1_VARS variable, std::function<void(const Reading&)> done) override {
        Require(place.Port == "hall" && variable != ORVIXCNB1_VAR_NONE, "a device and a variable are known");
        done(Reading());
    }
    void Export(const DeviceId& /*place*/, std::int32_t format, std::function<void(const DeviceFile&)> done) override {
        Require(format != 0, "a format is known");
        done({});
    }
    void Add(const std::string& /*bus*/, const DeviceSetup& device, Done done) override {
        Require(device.Address >= 1 && device.Address <= 255, "an address is from 1 to 255");
        Require(FindDeviceModel(device.Model) != nullptr && IsName(device.Name),
                "a model is known, a name can be shown");
        done(std::nullopt);
    }
    void Rename(const DeviceId& /*place*/, const std::string& name, Done done) override {
        Require(!name.empty() && IsName(name), "a name can be shown");
        done("the disk is full");
    }
    void Remove(const DeviceId& /*place*/, Done done) override { done(std::nullopt); }
};

class Station {
public:
    Station() {
        BusSetup bus;
        bus.PortLabel = bus.PortPath = "hall";
        bus.Devices = {{5, kTemperatureSensorModel, "Oven", {}}, {7, kDigitalModuleModel, "<b>", {}}};
        m_Run.Add(m_Events);
        m_Run.Start(bus);
        m_Source.Go();
    }

    HttpResponse Answer(const HttpRequest& request, Right right) {
        std::optional<HttpResponse> answer;
        const HttpReply reply = [&](HttpResponse response) {
            Require(!answer, "a request is answered once");
            answer = std::move(response);
        };
        try {
            AnswerByRoute(Routes(), m_View, request, right, reply);
        } catch (const ProblemError& problem) {
            reply(ProblemResponse(problem.Status(), problem.what()));
        }
        Require(answer.has_value(), "a request is answered");
        return std::move(*answer);
    }

private:
    const std::string m_Session = "00000000-0000-4000-8000-000000000000";
    StillSource m_Source;
    EventHub m_Events{m_Source.Home(), m_Session};
    LineHub m_Lines{m_Source.Home(), m_Session};
    StationRun m_Run{m_Source, m_Session};
    SlowAnswers m_Slow{m_Source.Home()};
    CheckedActions m_Actions;
    // Questions to a history are answered on a thread of their own, at a time that is another in each run.
    StationView m_View{.Name = "fuzz",
                       .Session = m_Session,
                       .Run = m_Run,
                       .Events = m_Events,
                       .Lines = m_Lines,
                       .Health = [] { return StationHealth(); },
                       .IsSimulated = [](const std::string&) { return false; },
                       .Slow = m_Slow,
                       .Actions = &m_Actions};
};

/// Takes the text up to a mark, and the mark.
std::string UpTo(std::string& rest, std::string_view mark) {
    const auto end = rest.find(mark);
    auto part = rest.substr(0, end);
    rest = end == std::string::npos ? std::string() : rest.substr(end + mark.size());
    return part;
}

/// "GET path?name=value&name=value", headers "name: value", an empty line, and the body.
HttpRequest RequestIn(Input& input) {
    HttpRequest request;
    auto rest = input.Line();
    request.Method = UpTo(rest, " ");
    request.Path = UpTo(rest, "?");
    while (!rest.empty()) {
        auto value = UpTo(rest, "&");
        const auto name = UpTo(value, "=");
        request.Query.emplace(name, value);
    }
    for (auto header = input.Line(); !header.empty(); header = input.Line()) {
        const auto name = UpTo(header, ": ");
        request.Headers.emplace(name, header);
    }
    request.Body = input.Text(std::string::npos);
    return request;
}

void CheckAnswer(const HttpResponse& answer) {
    const std::set<int> statuses{200, 201, 204, 304, 400, 401, 403, 404, 405, 409, 500, 503};
    Require(statuses.contains(answer.Status), "the status is one of those that are told");
    std::string type;
    for (const auto& [name, value] : answer.Headers) {
        Require((name + value).find_first_of(std::string("\r\n\0", 3)) == std::string::npos, "a header is one line");
        if (name == "Content-Type") type = value;
    }
    const bool isProblem = answer.Status >= 400;
    Require(isProblem == (type == "application/problem+json"), "a problem says that it is one");
    if (answer.Stream || !type.ends_with("json") || answer.Status == 304 || !answer.Lasting.empty()) return;
    const auto json = Json::parse(answer.Body, nullptr, false);
    Require(json.is_object(), "JSON can be read");
    Require(!isProblem || (json["status"] == answer.Status && !json["detail"].get<std::string>().empty()),
            "a problem says what is wrong");
}

void Ask(Input input) {
    static Station station;
    const auto right = static_cast<Right>(input.Byte() % 3);
    const auto request = RequestIn(input);
    const bool isChange = request.Method != "GET" && request.Method != "HEAD";
    const auto answer = station.Answer(request, right);
    CheckAnswer(answer);
    Require(!isChange || right == Right::Change || answer.Status == 401 || answer.Status == 403,
            "who may not change things changes nothing");
    if (answer.Stream) {
        std::array<char, 64> bytes{};
        for (int piece = 0; piece < 64; ++piece) {
            const auto read = answer.Stream->Read(bytes);
            if (!read || *read == 0) return;
            Require(*read <= bytes.size(), "a stream writes no more than fits");
        }
        Require(false, "a stream that nothing is added to has an end");
    }
    const auto host = request.Header("host");
    Require(!IsKnownHost(host, {"cellar"}) || host.find_first_of("/@ ") == std::string::npos || host[0] == '[' ||
                host.find_first_of("/@ ") > host.find(':'),
            "a host is known by its name alone");
    Require(request.Header("authorization").ends_with(BearerToken(request.Header("authorization"))),
            "a token is what stands there");
}

}  // namespace
}  // namespace orvix::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    orvix::fuzz::Ask(orvix::fuzz::Input(data, size));
    return 0;
}
