#pragma once

#include <sys/types.h>

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace orvix::station {

/// What a client asks.
struct HttpRequest {
    std::string Method{};
    std::string Path{};                            ///< from "/" on, percent signs decoded, without the query
    std::map<std::string, std::string> Query{};    ///< decoded; of a name that comes twice the first
    std::map<std::string, std::string> Headers{};  ///< names in lower case; of one that comes twice the first
    std::string Body{};
    std::string Peer{};           ///< the client's numeric address; empty on a local socket
    std::optional<uid_t> User{};  ///< who has the other end of a local socket

    /// Empty when there is none. `name` in lower case.
    std::string Header(const std::string& name) const {
        const auto header = Headers.find(name);
        return header == Headers.end() ? std::string() : header->second;
    }
};

/// The body of an answer that comes bit by bit.
class HttpStream {
public:
    virtual ~HttpStream() = default;
    /// Writes what comes next and returns its bytes. 0: there is nothing for now, and Wake is called when there is.
    /// Nothing: this is the end. What it raises breaks off the answer, so that nobody takes it for whole.
    virtual std::optional<std::size_t> Read(std::span<char> into) = 0;

    /// To be called when there is something to read again.
    void Wake() {
        if (m_Wake) m_Wake();
    }
    /// Set by the server: what Wake does, null when the client has gone.
    void OnWake(std::function<void()> wake) { m_Wake = std::move(wake); }

private:
    std::function<void()> m_Wake;
};

struct HttpResponse {
    int Status = 200;
    std::vector<std::pair<std::string, std::string>> Headers{};
    std::string Body{};
    std::string_view Lasting{};            ///< in place of Body: bytes that outlive the answer
    std::shared_ptr<HttpStream> Stream{};  ///< in place of both
};

/// Answers a request: at once or later, on the thread of the server, once. When all copies go without that, the client
/// is told that there is no answer.
using HttpReply = std::function<void(HttpResponse)>;
using HttpHandler = std::function<void(const HttpRequest&, HttpReply)>;

}  // namespace orvix::station
