#include "station/http/http_server.h"

#include <arpa/inet.h>
#include <microhttpd.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <unordered_map>
#include <utility>

#include "host/error.h"

namespace orvix::station {
namespace {

constexpr std::size_t kMostHeaderBytes = std::size_t{32} * 1024;
// More than that of a connection the package refuses itself, and not in the form of the others.
constexpr std::size_t kConnectionBytes = std::size_t{64} * 1024;
constexpr std::size_t kMostBodyBytes = std::size_t{16} * 1024;
constexpr std::size_t kStreamBlock = std::size_t{16} * 1024;
constexpr unsigned kStillSeconds = 10;
// The crowd has the say; these are there when it has hung up on somebody who has not gone yet.
constexpr unsigned kSpareConnections = 64;

constexpr std::int32_t kLongestPauseMs = 60'000;

std::string AddressText(const sockaddr* address) {
    if (address == nullptr) return {};
    char text[INET6_ADDRSTRLEN] = "";
    if (address->sa_family == AF_INET) {
        sockaddr_in four{};
        std::memcpy(&four, address, sizeof(four));
        ::inet_ntop(AF_INET, &four.sin_addr, text, sizeof(text));
    } else if (address->sa_family == AF_INET6) {
        sockaddr_in6 six{};
        std::memcpy(&six, address, sizeof(six));
        ::inet_ntop(AF_INET6, &six.sin6_addr, text, sizeof(text));
    }
    return text;
}

int SocketOf(MHD_Connection* connection) {
    const auto* info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD);
    return info == nullptr ? -1 : info->connect_fd;
}

std::string PeerOf(MHD_Connection* connection) {
    const auto* info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CLIENT_ADDRESS);
    return info == nullptr ? std::string() : AddressText(info->client_addr);
}

std::optional<uid_t> LocalUser(int socket) {
    ucred credentials{};
    socklen_t size = sizeof(credentials);
    int family = 0;
    socklen_t familySize = sizeof(family);
    ::getsockopt(socket, SOL_SOCKET, SO_DOMAIN, &family, &familySize);
    if (family != AF_UNIX || ::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0) return {};
    return credentials.uid;
}

/// What stands before the body of a request, and how many bytes it has.
struct Head {
    HttpRequest& Request;
    std::size_t Bytes = 0;
};

MHD_Result TakeHeader(void* taken, MHD_ValueKind, const char* name, const char* value) {
    auto& head = *static_cast<Head*>(taken);
    std::string lower(name);
    std::transform(lower.begin(), lower.end(), lower.begin(), [](unsigned char c) { return std::tolower(c); });
    const std::string text = value == nullptr ? "" : value;
    head.Bytes += lower.size() + text.size();
    head.Request.Headers.emplace(lower, text);
    return MHD_YES;
}

MHD_Result TakeParameter(void* taken, MHD_ValueKind, const char* name, const char* value) {
    auto& head = *static_cast<Head*>(taken);
    const std::string text = value == nullptr ? "" : value;
    head.Bytes += std::strlen(name) + text.size();
    head.Request.Query.emplace(name, text);
    return MHD_YES;
}

ssize_t ReadStream(void* stream, std::uint64_t, char* into, std::size_t size) {
    try {
        const auto read = (*static_cast<std::shared_ptr<HttpStream>*>(stream))->Read({into, size});
        return read ? static_cast<ssize_t>(*read) : MHD_CONTENT_READER_END_OF_STREAM;
    } catch (const std::exception&) {
        return MHD_CONTENT_READER_END_WITH_ERROR;
    }
}

void DropStream(void* stream) {
    delete static_cast<std::shared_ptr<HttpStream>*>(stream);
}

MHD_Response* BodyOf(const HttpResponse& response) {
    if (!response.Lasting.empty()) {
        // It only reads them.
        return MHD_create_response_from_buffer(response.Lasting.size(), const_cast<char*>(response.Lasting.data()),
                                               MHD_RESPMEM_PERSISTENT);
    }
    return MHD_create_response_from_buffer(response.Body.size(), const_cast<char*>(response.Body.data()),
                                           MHD_RESPMEM_MUST_COPY);
}

}  // namespace

/// The package's daemon, what its connections are doing, and its place in the loop.
class HttpServer::Daemon : public std::enable_shared_from_this<Daemon> {
public:
    Daemon(platform::RealApartment& home, Setup setup)
        : m_Home(home), m_Setup(std::move(setup)), m_Crowd(m_Setup.Clients) {}
    ~Daemon() = default;
    Daemon(const Daemon&) = delete;
    Daemon& operator=(const Daemon&) = delete;

    void Start(platform::FileDescriptor listening);
    void Stop();

private:
    /// A request and its answer.
    struct Call {
        MHD_Connection* Connection = nullptr;
        Crowd::Key Client = 0;
        HttpRequest Request;
        bool IsHeadTooLarge = false;
        bool IsBodyTooLarge = false;
        bool IsAsked = false;
        bool IsSuspended = false;
        std::optional<HttpResponse> Answer;
        std::shared_ptr<HttpStream> Stream;
    };
    /// An answer that is due. Whoever drops it, on any thread, has the client told that there is none.
    class Due;
    struct Client {
        Crowd::Key Key = 0;
        int Socket = -1;
        std::string Address;
    };

    static MHD_Result OnRequest(void* self, MHD_Connection* connection, const char* path, const char* method,
                                const char* version, const char* body, std::size_t* size, void** state);
    static void OnCompleted(void* self, MHD_Connection* connection, void** state, MHD_RequestTerminationCode code);
    static void OnConnection(void* self, MHD_Connection* connection, void** state, MHD_ConnectionNotificationCode code);

    Call& Begin(MHD_Connection* connection, const char* path, const char* method);
    void TakeBody(Call& call, const char* body, std::size_t size);
    MHD_Result Proceed(Call& call);
    void Ask(Call& call);
    void Answer(const std::weak_ptr<Call>& call, HttpResponse response);
    MHD_Result Send(Call& call);
    MHD_Response* ResponseTo(Call& call, const HttpResponse& response);
    std::optional<std::size_t> ReadFor(Call& call, HttpStream& stream, std::span<char> into);
    void Resume(Call& call);
    bool HasTooManyStreams(const Call& call) const;
    void HangUp(const std::vector<Crowd::Key>& clients);
    /// A turn of the package's work, then the time of the next one.
    void Work();
    Crowd::Key KeyOf(MHD_Connection* connection) const;

    class Pulled;

    platform::RealApartment& m_Home;
    const Setup m_Setup;
    Crowd m_Crowd;
    Crowd::Key m_LatestClient = 0;
    std::unordered_map<Crowd::Key, Client> m_Clients;
    std::unordered_map<Call*, std::shared_ptr<Call>> m_Calls;
    MHD_Daemon* m_Daemon = nullptr;
    bool m_WorkWaits = false;  ///< a turn is posted
    std::unique_ptr<platform::DescriptorWatch> m_Watch;
    std::unique_ptr<Timer> m_Next;
};

/// A stream as the package reads it: one that has nothing for now sleeps until it is woken.
class HttpServer::Daemon::Pulled : public HttpStream {
public:
    Pulled(Daemon& daemon, Call& call) : m_Daemon(daemon), m_Call(call) {}
    std::optional<std::size_t> Read(std::span<char> into) override {
        return m_Daemon.ReadFor(m_Call, *m_Call.Stream, into);
    }

private:
    Daemon& m_Daemon;
    Call& m_Call;
};

class HttpServer::Daemon::Due {
public:
    Due(Daemon& daemon, std::weak_ptr<Call> call)
        : m_Home(daemon.m_Home), m_Server(daemon.weak_from_this()), m_Call(std::move(call)) {}
    ~Due() {
        if (m_IsGiven) return;
        m_Home.Post([server = m_Server, call = m_Call] {
            const auto daemon = server.lock();
            if (daemon) daemon->Answer(call, daemon->m_Setup.Refuse(503, "the station could not do that now"));
        });
    }
    Due(const Due&) = delete;
    Due& operator=(const Due&) = delete;

    void Give(HttpResponse response) {
        m_IsGiven = true;
        if (const auto daemon = m_Server.lock()) daemon->Answer(m_Call, std::move(response));
    }

private:
    Apartment& m_Home;
    const std::weak_ptr<Daemon> m_Server;
    const std::weak_ptr<Call> m_Call;
    bool m_IsGiven = false;
};

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
    m_WorkWaits = false;
    HangUp(m_Crowd.Overdue(m_Home.Now()));
    MHD_run(m_Daemon);
    auto pause = std::chrono::milliseconds(kLongestPauseMs);
    MHD_UNSIGNED_LONG_LONG limit = 0;
    if (MHD_get_timeout(m_Daemon, &limit) == MHD_YES && limit < kLongestPauseMs) {
        pause = std::chrono::milliseconds(limit);
    }
    if (const auto end = m_Crowd.NextEnd()) {
        pause = std::min(pause, std::chrono::ceil<std::chrono::milliseconds>(*end - m_Home.Now()));
    }
    m_Next->Rearm(std::max(1, static_cast<std::int32_t>(pause.count())), true);
}

void HttpServer::Daemon::HangUp(const std::vector<Crowd::Key>& clients) {
    for (const auto key : clients) {
        const auto client = m_Clients.find(key);
        // The package finds the end of what the client sends, and closes.
        if (client != m_Clients.end()) ::shutdown(client->second.Socket, SHUT_RDWR);
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
        auto& client = daemon.m_Clients[key] = {key, SocketOf(connection), station::PeerOf(connection)};
        *state = &client;
        daemon.HangUp(daemon.m_Crowd.Enter(key, client.Address, daemon.m_Home.Now()));
    } else {
        const auto key = static_cast<const Client*>(*state)->Key;
        daemon.m_Crowd.Leave(key);
        daemon.m_Clients.erase(key);
    }
}

MHD_Result HttpServer::Daemon::OnRequest(void* self, MHD_Connection* connection, const char* path, const char* method,
                                         const char* /*version*/, const char* body, std::size_t* size, void** state) {
    auto& daemon = *static_cast<Daemon*>(self);
    if (*state == nullptr) {
        *state = &daemon.Begin(connection, path, method);
        return MHD_YES;
    }
    auto& call = *static_cast<Call*>(*state);
    if (*size == 0) return daemon.Proceed(call);
    daemon.TakeBody(call, body, *size);
    *size = 0;
    return MHD_YES;
}

HttpServer::Daemon::Call& HttpServer::Daemon::Begin(MHD_Connection* connection, const char* path, const char* method) {
    const auto call = std::make_shared<Call>();
    call->Connection = connection;
    call->Client = KeyOf(connection);
    auto& request = call->Request;
    request.Method = method;
    request.Path = path;
    Head head{request, request.Path.size()};
    MHD_get_connection_values(connection, MHD_HEADER_KIND, &TakeHeader, &head);
    MHD_get_connection_values(connection, MHD_GET_ARGUMENT_KIND, &TakeParameter, &head);
    call->IsHeadTooLarge = head.Bytes > kMostHeaderBytes;
    const auto& client = m_Clients[call->Client];
    request.Peer = client.Address;
    request.User = LocalUser(client.Socket);
    m_Calls.emplace(call.get(), call);
    return *call;
}

void HttpServer::Daemon::TakeBody(Call& call, const char* body, std::size_t size) {
    auto& text = call.Request.Body;
    call.IsBodyTooLarge = call.IsBodyTooLarge || text.size() + size > kMostBodyBytes;
    if (call.IsBodyTooLarge) {
        text.clear();
    } else {
        text.append(body, size);
    }
}

MHD_Result HttpServer::Daemon::Proceed(Call& call) {
    if (!call.IsAsked) Ask(call);
    if (call.Answer) return Send(call);
    call.IsSuspended = true;
    MHD_suspend_connection(call.Connection);
    return MHD_YES;
}

void HttpServer::Daemon::Ask(Call& call) {
    call.IsAsked = true;
    m_Crowd.Does(call.Client, Crowd::Doing::Reading, m_Home.Now());
    if (call.IsHeadTooLarge || call.IsBodyTooLarge) {
        call.Answer = call.IsHeadTooLarge ? m_Setup.Refuse(431, "the headers of the request have more than 32 KB")
                                          : m_Setup.Refuse(413, "the body of the request is larger than 16 KB");
        return;
    }
    const auto due = std::make_shared<Due>(*this, m_Calls.at(&call));
    try {
        m_Setup.Handle(call.Request, [due](HttpResponse response) { due->Give(std::move(response)); });
    } catch (const std::exception& error) {
        call.Answer = m_Setup.Refuse(500, error.what());
    }
}

void HttpServer::Daemon::Answer(const std::weak_ptr<Call>& asked, HttpResponse response) {
    const auto call = asked.lock();
    if (!call || call->Answer) return;
    call->Answer = std::move(response);
    Resume(*call);
}

void HttpServer::Daemon::Resume(Call& call) {
    if (!std::exchange(call.IsSuspended, false)) return;
    MHD_resume_connection(call.Connection);
    // It does not wake the loop itself.
    if (std::exchange(m_WorkWaits, true)) return;
    m_Home.Post([self = weak_from_this()] {
        const auto daemon = self.lock();
        if (daemon && daemon->m_Daemon != nullptr) daemon->Work();
    });
}

bool HttpServer::Daemon::HasTooManyStreams(const Call& call) const {
    return m_Crowd.Listeners() >= m_Setup.Streams || m_Crowd.Listeners(&call.Request.Peer) >= m_Setup.AddressStreams;
}

MHD_Result HttpServer::Daemon::Send(Call& call) {
    auto& answer = *call.Answer;
    if (answer.Stream && HasTooManyStreams(call)) {
        answer = m_Setup.Refuse(503, "too many streams are being read");
    }
    auto* response = ResponseTo(call, answer);
    if (response == nullptr) return MHD_NO;
    for (const auto& [name, value] : answer.Headers)
        MHD_add_response_header(response, name.c_str(), value.c_str());
    const auto result = MHD_queue_response(call.Connection, static_cast<unsigned>(answer.Status), response);
    MHD_destroy_response(response);
    return result;
}

MHD_Response* HttpServer::Daemon::ResponseTo(Call& call, const HttpResponse& response) {
    if (!response.Stream) return BodyOf(response);
    m_Crowd.Does(call.Client, Crowd::Doing::Listening, m_Home.Now());
    call.Stream = response.Stream;
    call.Stream->OnWake([this, &call] { Resume(call); });
    auto* pulled = new std::shared_ptr<HttpStream>(std::make_shared<Pulled>(*this, call));
    return MHD_create_response_from_callback(MHD_SIZE_UNKNOWN, kStreamBlock, &ReadStream, pulled, &DropStream);
}

std::optional<std::size_t> HttpServer::Daemon::ReadFor(Call& call, HttpStream& stream, std::span<char> into) {
    const auto read = stream.Read(into);
    if (read != std::optional<std::size_t>(0)) return read;
    // Without it the package would ask again and again.
    call.IsSuspended = true;
    MHD_suspend_connection(call.Connection);
    return read;
}

void HttpServer::Daemon::OnCompleted(void* self, MHD_Connection*, void** state, MHD_RequestTerminationCode) {
    auto& daemon = *static_cast<Daemon*>(self);
    auto* call = static_cast<Call*>(*state);
    *state = nullptr;
    if (call == nullptr) return;
    if (call->Stream) call->Stream->OnWake(nullptr);
    daemon.m_Crowd.Does(call->Client, Crowd::Doing::Asking, daemon.m_Home.Now());
    daemon.m_Calls.erase(call);
}

HttpServer::HttpServer(platform::RealApartment& home, platform::FileDescriptor listening, Setup setup)
    : m_Daemon(std::make_shared<Daemon>(home, std::move(setup))) {
    m_Daemon->Start(std::move(listening));
}

HttpServer::~HttpServer() {
    m_Daemon->Stop();
}

}  // namespace orvix::station
