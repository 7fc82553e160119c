#include <microhttpd.h>

#include <algorithm>
#include <utility>

#include "station/http/http_daemon.h"
#include "station/http/request_head.h"

namespace orvix::station {
namespace {

constexpr std::size_t kMostHeaderBytes = std::size_t{32} * 1024;
constexpr std::size_t kMostBodyBytes = std::size_t{16} * 1024;
constexpr std::size_t kStreamBlock = std::size_t{16} * 1024;

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

void DropText(void* text) {
    delete static_cast<std::string*>(text);
}

/// Takes the body with it.
MHD_Response* BodyOf(HttpResponse& response) {
    if (!response.Lasting.empty()) {
        // It only reads them.
        return MHD_create_response_from_buffer(response.Lasting.size(), const_cast<char*>(response.Lasting.data()),
                                               MHD_RESPMEM_PERSISTENT);
    }
    auto* text = new std::string(std::move(response.Body));
    return MHD_create_response_from_buffer_with_free_callback_cls(text->size(), text->data(), &DropText, text);
}

}  // namespace

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
            if (daemon) daemon->Answer(call, daemon->m_Setup.Refuse(503, "the station cannot do that now"));
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
    auto head = HeadOf(connection, path, method);
    call->Connection = connection;
    call->Client = KeyOf(connection);
    call->Request = std::move(head.Request);
    call->IsHeadTooLarge = head.Bytes > kMostHeaderBytes;
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
    if (call.IsHungUp) return MHD_NO;
    if (call.Answer) return Send(call);
    m_Crowd.Does(call.Client, Crowd::Doing::Reading, m_Home.Now());
    auto& client = m_Clients.at(call.Client);
    client.Asks = m_Calls.at(&call);
    (std::exchange(client.HasAsked, true) ? m_Later : m_First).push_back(client.Asks);
    call.IsSuspended = true;
    MHD_suspend_connection(call.Connection);
    return MHD_YES;
}

std::shared_ptr<HttpServer::Daemon::Call> HttpServer::Daemon::TakeWaiting() {
    for (auto* waiting : {&m_First, &m_Later}) {
        while (!waiting->empty()) {
            auto call = waiting->front().lock();
            waiting->pop_front();
            if (call && !call->IsHungUp) return call;
        }
    }
    return nullptr;
}

void HttpServer::Daemon::AnswerWaiting(Duration end) {
    do {
        const auto call = TakeWaiting();
        if (!call) return;
        Ask(call);
    } while (m_Home.Now() < end);
}

void HttpServer::Daemon::Ask(const std::shared_ptr<Call>& call) {
    if (call->IsHeadTooLarge) {
        return Answer(call, m_Setup.Refuse(431, "the headers of the request have more than 32 KB"));
    }
    if (call->IsBodyTooLarge) {
        return Answer(call, m_Setup.Refuse(413, "the body of the request is larger than 16 KB"));
    }
    const auto due = std::make_shared<Due>(*this, call);
    try {
        m_Setup.Handle(call->Request, [due](HttpResponse response) { due->Give(std::move(response)); });
    } catch (const std::exception& error) {
        Answer(call, m_Setup.Refuse(500, error.what()));
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
    AskForTurn();
}

void HttpServer::Daemon::AskForTurn() {
    if (std::exchange(m_WorkWaits, true)) return;
    m_Home.Post([self = weak_from_this()] {
        const auto daemon = self.lock();
        if (!daemon) return;
        daemon->m_WorkWaits = false;
        if (daemon->m_Daemon != nullptr && !daemon->m_Rests) daemon->Work();
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

MHD_Response* HttpServer::Daemon::ResponseTo(Call& call, HttpResponse& response) {
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

}  // namespace orvix::station
