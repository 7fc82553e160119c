#pragma once

#include <microhttpd.h>

#include <deque>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

#include "station/http/http_server.h"

namespace orvix::station {

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
        bool IsSuspended = false;
        bool IsHungUp = false;
        std::optional<HttpResponse> Answer;
        std::shared_ptr<HttpStream> Stream;
    };
    /// An answer that is due. Whoever drops it, on any thread, has the client told that there is none.
    class Due;
    struct Client {
        Crowd::Key Key = 0;
        int Socket = -1;
        std::string Address;
        bool HasAsked = false;
        std::weak_ptr<Call> Asks{};
    };
    using Calls = std::deque<std::weak_ptr<Call>>;

    static MHD_Result OnRequest(void* self, MHD_Connection* connection, const char* path, const char* method,
                                const char* version, const char* body, std::size_t* size, void** state);
    static void OnCompleted(void* self, MHD_Connection* connection, void** state, MHD_RequestTerminationCode code);
    static void OnConnection(void* self, MHD_Connection* connection, void** state, MHD_ConnectionNotificationCode code);

    Call& Begin(MHD_Connection* connection, const char* path, const char* method);
    void TakeBody(Call& call, const char* body, std::size_t size);
    /// Answers, or has the request wait for its turn.
    MHD_Result Proceed(Call& call);
    /// The next one whose turn it is; null when none waits.
    std::shared_ptr<Call> TakeWaiting();
    void AnswerWaiting(Duration end);
    void Ask(const std::shared_ptr<Call>& call);
    void Answer(const std::weak_ptr<Call>& call, HttpResponse response);
    MHD_Result Send(Call& call);
    MHD_Response* ResponseTo(Call& call, HttpResponse& response);
    std::optional<std::size_t> ReadFor(Call& call, HttpStream& stream, std::span<char> into);
    void Resume(Call& call);
    bool HasTooManyStreams(const Call& call) const;
    void HangUp(const std::vector<Crowd::Key>& clients);
    /// A turn of the package's work and the answers that wait, for some milliseconds at most; then the time of the next
    /// one. After a long one it is the turn of the others of the loop.
    void Work();
    bool HasWork() const;
    void Watch();
    void AskForTurn();
    std::chrono::milliseconds Pause() const;
    Crowd::Key KeyOf(MHD_Connection* connection) const;

    class Pulled;

    platform::RealApartment& m_Home;
    const Setup m_Setup;
    Crowd m_Crowd;
    Crowd::Key m_LatestClient = 0;
    std::unordered_map<Crowd::Key, Client> m_Clients;
    std::unordered_map<Call*, std::shared_ptr<Call>> m_Calls;
    MHD_Daemon* m_Daemon = nullptr;
    Calls m_First;             ///< wait; of connections that have asked nothing before
    Calls m_Later;             ///< the same of those that have, and come behind them
    bool m_WorkWaits = false;  ///< a turn is posted
    bool m_Rests = false;      ///< the next turn comes when its time has come, not before
    std::unique_ptr<platform::DescriptorWatch> m_Watch;
    std::unique_ptr<Timer> m_Next;
};

}  // namespace orvix::station
