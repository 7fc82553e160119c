#include "station/door/door.h"

#include <unistd.h>

#include <utility>

#include "host/error.h"
#include "station/door/known_hosts.h"
#include "station/door/problem.h"
#include "station/model/listen_address.h"

namespace orvix::station {
namespace {

constexpr std::pair<const char*, const char*> kSafety[] = {
    {"Content-Security-Policy",
     "default-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'; object-src 'none'"},
    {"X-Content-Type-Options", "nosniff"},
    {"Referrer-Policy", "no-referrer"},
    {"Cross-Origin-Resource-Policy", "same-origin"},
};

bool HasHeader(const HttpResponse& response, const std::string& name) {
    for (const auto& [known, value] : response.Headers) {
        if (known == name) return true;
    }
    return false;
}

/// What browsers are to heed with whatever is answered.
HttpResponse Secured(HttpResponse response) {
    for (const auto& [name, value] : kSafety)
        response.Headers.emplace_back(name, value);
    if (!HasHeader(response, "Cache-Control")) response.Headers.emplace_back("Cache-Control", "no-store");
    if (response.Status == 401) response.Headers.emplace_back("WWW-Authenticate", "Bearer");
    return response;
}

HttpResponse Refuse(int status, const std::string& detail) {
    return Secured(ProblemResponse(status, detail));
}

}  // namespace

Door::Door(platform::RealApartment& home, StationView station) : m_Home(home), m_Station(std::move(station)) {}

Door::~Door() {
    if (m_Folder) m_Folder->Remove(m_SocketName);
}

void Door::OpenSocket(const StationPlace& place, const std::string& name) {
    auto folder = std::make_unique<SocketFolder>(place);
    Serve(folder->Listen(name), Entrance::Socket);
    m_Folder = std::move(folder);
    m_SocketName = name;
}

void Door::OpenWeb(const WebSetup& setup) {
    const auto addresses = ParseListenAddress(setup.Listen);
    m_IsLocal = addresses && IsLoopback(*addresses);
    TakeTokens(setup);
    if (!m_IsLocal && setup.Tokens.empty()) {
        throw Error(errors::General, "web: other machines can reach " + setup.Listen +
                                         ": name a file of tokens (web.tokens), or listen at 127.0.0.1");
    }
    m_Hosts = setup.Hosts;
    m_Hosts.push_back(m_Station.Name);
    Serve(ListenAt(setup.Listen), Entrance::Web);
}

void Door::TakeTokens(const WebSetup& setup) {
    m_Tokens = setup.Tokens.empty() ? TokenBook() : TokenBook(setup.Tokens);
}

void Door::OpenMetrics(const std::string& where) {
    Serve(ListenAt(where), Entrance::Metrics);
}

void Door::Serve(platform::FileDescriptor listening, Entrance entrance) {
    HttpServer::Setup setup;
    setup.Handle = [this, entrance](const HttpRequest& request, const HttpReply& reply) {
        Answer(entrance, request, [reply](HttpResponse response) { reply(Secured(std::move(response))); });
    };
    setup.Refuse = &Refuse;
    m_Servers.push_back(std::make_unique<HttpServer>(m_Home, std::move(listening), std::move(setup)));
}

void Door::Answer(Entrance entrance, const HttpRequest& request, const HttpReply& reply) const {
    const auto routes = entrance == Entrance::Metrics ? MetricsRoutes() : Routes();
    try {
        AnswerByRoute(routes, m_Station, request, RightOf(entrance, request), reply);
    } catch (const ProblemError& problem) {
        reply(ProblemResponse(problem.Status(), problem.what()));
    }
}

Right Door::RightOf(Entrance entrance, const HttpRequest& request) const {
    switch (entrance) {
        case Entrance::Socket:
            return RightOfUser(request);
        case Entrance::Web:
            return RightOnWeb(request);
        default:
            return Right::Read;
    }
}

Right Door::RightOfUser(const HttpRequest& request) {
    if (request.User == 0U || request.User == ::geteuid()) return Right::Change;
    throw ProblemError(403, "this station belongs to another user");
}

Right Door::RightOnWeb(const HttpRequest& request) const {
    const auto host = request.Header("host");
    if (!IsKnownHost(host, m_Hosts)) {
        throw ProblemError(
            421, "this station is not known as " + host + "; the key web.hosts of its configuration adds a name");
    }
    const auto authorization = request.Header("authorization");
    if (authorization.empty()) return m_IsLocal ? Right::Read : Right::None;
    const auto right = m_Tokens.RightOf(BearerToken(authorization));
    if (right == Right::None) throw ProblemError(401, "this token is not known here");
    return right;
}

}  // namespace orvix::station
