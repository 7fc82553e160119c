#include "station/door/control_server.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <list>
#include <mutex>
#include <utility>
#include <vector>

#include "host/error.h"

namespace orvix::station {
namespace {

using Clock = std::chrono::steady_clock;
using platform::FileDescriptor;

constexpr std::size_t kMostClients = 8;
constexpr std::size_t kLongestRequest = 256;
constexpr std::chrono::seconds kClientLimit{3};
// A process that has no descriptor left tries again after so long.
constexpr std::chrono::seconds kAcceptPause{1};

constexpr char kFirstName[] = "station.sock";
constexpr char kForeign[] = "error: this station belongs to another user\n";

/// Somebody who has connected.
struct Client {
    int Number = 0;
    FileDescriptor Socket;
    Clock::time_point End;
    std::string Request;
    bool Asked = false;
    std::string Answer;
    bool Done = false;

    short Awaited() const {
        if (!Asked) return POLLIN;
        return Answer.empty() ? short{0} : short{POLLOUT};
    }
};

bool IsTransient(int error) {
    return error == EAGAIN || error == EINTR;
}

/// Takes what there is of the request line.
void Receive(Client& client) {
    char bytes[kLongestRequest];
    const ssize_t size = ::recv(client.Socket.Get(), bytes, sizeof(bytes), 0);
    if (size < 0 && IsTransient(errno)) return;
    if (size > 0) client.Request.append(bytes, static_cast<std::size_t>(size));
    const auto end = client.Request.find('\n');
    client.Asked = end != std::string::npos;
    client.Done = !client.Asked && (size <= 0 || client.Request.size() > kLongestRequest);
    if (client.Asked) client.Request.resize(end);
}

void Send(Client& client) {
    const ssize_t size = ::send(client.Socket.Get(), client.Answer.data(), client.Answer.size(), MSG_NOSIGNAL);
    if (size < 0 && IsTransient(errno)) return;
    if (size > 0) client.Answer.erase(0, static_cast<std::size_t>(size));
    client.Done = size <= 0 || client.Answer.empty();
}

}  // namespace

/// The work of the thread. Answers may come after the server has gone, to nobody.
class ControlServer::Service : public std::enable_shared_from_this<Service> {
public:
    Service(FileDescriptor listener, Apartment& home, Requests requests)
        : m_Listener(std::move(listener)), m_Home(home), m_Requests(std::move(requests)) {
        if (!m_Wake.IsOpen()) throw SystemError("no event for the control socket", errno);
    }

    void Serve() {
        while (!Stopped()) {
            Wait();
            TakeAnswers();
            Accept();
            for (auto& client : m_Clients)
                Advance(client);
            m_Clients.remove_if([](const Client& client) { return client.Done || Clock::now() >= client.End; });
        }
    }

    void Stop() {
        const std::lock_guard lock(m_Mutex);
        m_Stop = true;
        ::eventfd_write(m_Wake.Get(), 1);
    }

private:
    bool Stopped() {
        const std::lock_guard lock(m_Mutex);
        return m_Stop;
    }

    /// Until there is something to do for somebody.
    void Wait() {
        std::vector<pollfd> ends{{m_Wake.Get(), POLLIN, 0}};
        auto end = Clock::time_point::max();
        if (Clock::now() < m_AcceptAgain) {
            end = m_AcceptAgain;
        } else if (m_Clients.size() < kMostClients) {
            ends.push_back({m_Listener.Get(), POLLIN, 0});
        }
        for (const auto& client : m_Clients) {
            ends.push_back({client.Socket.Get(), client.Awaited(), 0});
            end = std::min(end, client.End);
        }
        int limit = -1;
        if (end != Clock::time_point::max()) {
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
            limit = static_cast<int>(std::max<std::int64_t>(left.count(), 0));
        }
        ::poll(ends.data(), ends.size(), limit);
        // A client that hangs up while it waits for its answer would wake this thread again and again.
        auto polled = ends.end() - static_cast<std::ptrdiff_t>(m_Clients.size());
        for (auto& client : m_Clients)
            client.Done = (polled++->revents & (POLLHUP | POLLERR)) != 0;
        eventfd_t events = 0;
        if (ends[0].revents != 0) ::eventfd_read(m_Wake.Get(), &events);
    }

    /// Takes one client in; those beyond the most wait until another has been served or has had its time.
    void Accept() {
        if (m_Clients.size() >= kMostClients) return;
        FileDescriptor socket(::accept4(m_Listener.Get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
        if (!socket.IsOpen()) {
            if (!IsTransient(errno) && errno != ECONNABORTED) m_AcceptAgain = Clock::now() + kAcceptPause;
            return;
        }
        const auto user = PeerOf(socket).User;
        if (user != ::geteuid() && user != 0) {
            ::send(socket.Get(), kForeign, sizeof(kForeign) - 1, MSG_NOSIGNAL);
            return;
        }
        m_Clients.push_back({m_NextNumber++, std::move(socket), Clock::now() + kClientLimit, {}, false, {}, false});
    }

    void Advance(Client& client) {
        if (client.Done) return;
        if (!client.Answer.empty()) return Send(client);
        if (client.Asked) return;
        Receive(client);
        if (client.Asked) Ask(client);
    }

    void Ask(Client& client) {
        const auto request = m_Requests.find(client.Request);
        if (request == m_Requests.end()) {
            client.Answer = "error: there is no such request\n";
            return;
        }
        m_Home.Post([self = weak_from_this(), number = client.Number, &answer = request->second] {
            if (const auto service = self.lock()) service->Give(number, AnswerOf(answer));
        });
    }

    static std::string AnswerOf(const std::function<std::string()>& answer) {
        try {
            return "ok\n" + answer();
        } catch (const std::exception& error) {
            return std::string("error: ") + error.what() + "\n";
        }
    }

    void Give(int number, std::string answer) {
        const std::lock_guard lock(m_Mutex);
        m_Answers.emplace_back(number, std::move(answer));
        ::eventfd_write(m_Wake.Get(), 1);
    }

    void TakeAnswers() {
        const std::lock_guard lock(m_Mutex);
        for (const auto& [number, answer] : std::exchange(m_Answers, {})) {
            for (auto& client : m_Clients) {
                if (client.Number == number) client.Answer = answer;
            }
        }
    }

    FileDescriptor m_Listener;
    Apartment& m_Home;
    const Requests m_Requests;
    FileDescriptor m_Wake{::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)};
    std::list<Client> m_Clients;
    int m_NextNumber = 0;
    Clock::time_point m_AcceptAgain{};
    std::mutex m_Mutex;  ///< guards what follows
    bool m_Stop = false;
    std::vector<std::pair<int, std::string>> m_Answers;
};

ControlServer::ControlServer(const std::string& folder, Apartment& home, Requests requests) : m_Folder(folder) {
    // Of two stations that start at once the second must find the first's socket in use.
    const auto lock = platform::LockFolder(folder);
    m_Name = kFirstName;
    for (const auto& name : m_Folder.Names()) {
        const auto connection = m_Folder.Connect(name);
        if (!connection) {
            m_Folder.Remove(name);
        } else if (name == kFirstName) {
            m_Other = PeerOf(*connection).Process;
            m_Name = "station-" + std::to_string(::getpid()) + ".sock";
        }
    }
    m_Service = std::make_shared<Service>(m_Folder.Listen(m_Name), home, std::move(requests));
    m_Thread = std::thread([service = m_Service] { service->Serve(); });
}

ControlServer::~ControlServer() {
    m_Folder.Remove(m_Name);
    m_Service->Stop();
    m_Thread.join();
}

}  // namespace orvix::station
