#include "station/http/http_server.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <utility>

#include "host/error.h"
#include "station/http/http_daemon.h"
#include "station/http/request_head.h"

namespace orvix::station {
namespace {

// More than that of a connection the package refuses itself, and not in the form of the others.
constexpr std::size_t kConnectionBytes = std::size_t{64} * 1024;
constexpr unsigned kStillSeconds = 10;
// The crowd has the say; these are there when it has hung up on somebody who has not gone yet.
constexpr unsigned kSpareConnections = 64;
constexpr std::int32_t kLongestPauseMs = 60'000;
// Readings, alarms and all else that the loop does wait for no more than that, the longest answer and as much sending.
constexpr std::chrono::milliseconds kLongestTurn{10};

}  // namespace

void HttpServer::Daemon::Start(platform::FileDescriptor listening) {
    const auto most = static_cast<unsigned>(m_Setup.Clients.All) + kSpareConnections;
    m_Daemon = MHD_start_daemon(MHD_USE_EPOLL | MHD_ALLOW_SUSPEND_RESUME, 0, nullptr, nullptr, &OnRequest, this,  //
                                MHD_OPTION_LISTEN_SOCKET, listening.Get(), MHD_OPTION_CONNECTION_LIMIT, most,     //
                                MHD_OPTION_CONNECTION_MEMORY_LIMIT, kConnectionBytes, MHD_OPTION_CONNECTION_TIMEOUT,
                                kStillSeconds, MHD_OPTION_STRICT_FOR_CLIENT, 1, MHD_OPTION_NOTIFY_COMPLETED,
                                &OnCompleted, this, MHD_OPTION_NOTIFY_CONNECTION, &OnConnection, this, MHD_OPTION_END);
    if (m_Daemon == nullptr) throw Error(errors::General, "the HTTP server cannot be started");
    // It closes the socket itself.
    listening.Release();
    m_Next = m_Home.CreateTimer([this] { Work(); });
    Watch();
}

void HttpServer::Daemon::Watch() {
    const auto* epoll = MHD_get_daemon_info(m_Daemon, MHD_DAEMON_INFO_EPOLL_FD);
    m_Watch = m_Home.Watch(epoll->epoll_fd, POLLIN, [this](short) { Work(); });
}

void HttpServer::Daemon::Stop() {
    m_Watch.reset();
    m_Next.reset();
    if (m_Daemon == nullptr) return;
    for (const auto& [key, call] : m_Calls)
        Resume(*call);
    MHD_stop_daemon(m_Daemon);
    m_Daemon = nullptr;
}

void HttpServer::Daemon::Work() {
    if (std::exchange(m_Rests, false)) Watch();
    const auto begin = m_Home.Now();
    HangUp(m_Crowd.Overdue(begin));
    const auto end = begin + kLongestTurn;
    do {
        MHD_run(m_Daemon);
        // Before it takes on more clients, which it does a few at a time.
        AnswerWaiting(end);
    } while (HasWork() && m_Home.Now() < end);
    // Messages of the others go before the timer, and timers that are due.
    m_Rests = m_Home.Now() - begin >= kLongestTurn;
    if (m_Rests) m_Watch.reset();
    m_Next->Rearm(m_Rests ? 1 : std::max(1, static_cast<std::int32_t>(Pause().count())), true);
}

bool HttpServer::Daemon::HasWork() const {
    pollfd work{MHD_get_daemon_info(m_Daemon, MHD_DAEMON_INFO_EPOLL_FD)->epoll_fd, POLLIN, 0};
    return ::poll(&work, 1, 0) == 1;
}

std::chrono::milliseconds HttpServer::Daemon::Pause() const {
    auto pause = std::chrono::milliseconds(kLongestPauseMs);
    MHD_UNSIGNED_LONG_LONG limit = 0;
    if (MHD_get_timeout(m_Daemon, &limit) == MHD_YES && limit < kLongestPauseMs) {
        pause = std::chrono::milliseconds(limit);
    }
    if (const auto end = m_Crowd.NextEnd()) {
        pause = std::min(pause, std::chrono::ceil<std::chrono::milliseconds>(*end - m_Home.Now()));
    }
    return pause;
}

void HttpServer::Daemon::HangUp(const std::vector<Crowd::Key>& clients) {
    for (const auto key : clients) {
        const auto client = m_Clients.find(key);
        if (client == m_Clients.end()) continue;
        // The package finds the end of what the client sends, and closes.
        ::shutdown(client->second.Socket, SHUT_RDWR);
        const auto call = client->second.Asks.lock();
        if (!call || call->Stream) continue;
        call->IsHungUp = true;
        Resume(*call);
    }
}

Crowd::Key HttpServer::Daemon::KeyOf(MHD_Connection* connection) const {
    const auto* info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_SOCKET_CONTEXT);
    return info == nullptr ? 0 : static_cast<const Client*>(info->socket_context)->Key;
}

void HttpServer::Daemon::OnConnection(void* self, MHD_Connection* connection, void** state,
                                      MHD_ConnectionNotificationCode code) {
    auto& daemon = *static_cast<Daemon*>(self);
    if (code == MHD_CONNECTION_NOTIFY_STARTED) {
        const auto key = ++daemon.m_LatestClient;
        auto& client = daemon.m_Clients[key] = {key, SocketOf(connection), PeerOf(connection)};
        *state = &client;
        daemon.HangUp(daemon.m_Crowd.Enter(key, client.Address, daemon.m_Home.Now()));
    } else {
        const auto key = static_cast<const Client*>(*state)->Key;
        daemon.m_Crowd.Leave(key);
        daemon.m_Clients.erase(key);
    }
}

HttpServer::HttpServer(platform::RealApartment& home, platform::FileDescriptor listening, Setup setup)
    : m_Daemon(std::make_shared<Daemon>(home, std::move(setup))) {
    m_Daemon->Start(std::move(listening));
}

HttpServer::~HttpServer() {
    m_Daemon->Stop();
}

}  // namespace orvix::station
