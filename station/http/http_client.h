#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace orvix::station {

/// A request to a server.
struct HttpQuestion {
    std::string Socket{};            ///< path of a local one; empty: at the address that Host is
    std::string Host = "localhost";  ///< as the server knows itself, "127.0.0.1:8080"
    std::string Method = "GET";
    std::string Path{};                  ///< with the query, percent signs encoded
    std::vector<std::string> Headers{};  ///< "Accept: text/plain"
    std::string Body{};
    std::chrono::milliseconds Limit{10'000};  ///< for the whole answer; 0: none
    /// When set takes the body, piece by piece; false ends it.
    std::function<bool(std::string_view)> OnBody{};
};

struct HttpAnswer {
    int Status = 0;  ///< 0: there was no answer
    std::string Body;
    pid_t Process = 0;       ///< who has answered; 0: nobody
    bool IsRefused = false;  ///< nobody listens at the socket
    std::string Failure;     ///< why there was no answer
};

/// Asks, and waits for the answer.
HttpAnswer AskHttp(const HttpQuestion& question);

}  // namespace orvix::station
