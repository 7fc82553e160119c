#include "station/http/http_client.h"

#include <curl/curl.h>
#include <sys/socket.h>

#include <memory>

#include "host/error.h"

namespace orvix::station {
namespace {

struct EndCurl {
    void operator()(CURL* curl) const { ::curl_easy_cleanup(curl); }
    void operator()(curl_slist* list) const { ::curl_slist_free_all(list); }
};

struct Received {
    const HttpQuestion& Question;
    HttpAnswer& Answer;
};

std::size_t TakeBodyPart(char* bytes, std::size_t size, std::size_t count, void* received) {
    const auto& [question, answer] = *static_cast<Received*>(received);
    const std::string_view part(bytes, size * count);
    if (question.OnBody) return question.OnBody(part) ? part.size() : 0;
    answer.Body += part;
    return part.size();
}

pid_t ProcessAt(CURL* curl) {
    curl_socket_t socket = CURL_SOCKET_BAD;
    ucred credentials{};
    socklen_t size = sizeof(credentials);
    if (::curl_easy_getinfo(curl, CURLINFO_ACTIVESOCKET, &socket) != CURLE_OK || socket == CURL_SOCKET_BAD) return 0;
    return ::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &credentials, &size) == 0 ? credentials.pid : 0;
}

}  // namespace

HttpAnswer AskHttp(const HttpQuestion& question) {
    const std::unique_ptr<CURL, EndCurl> curl(::curl_easy_init());
    if (!curl) throw Error(errors::General, "the HTTP client cannot be started");
    curl_slist* list = nullptr;
    for (const auto& header : question.Headers)
        list = ::curl_slist_append(list, header.c_str());
    const std::unique_ptr<curl_slist, EndCurl> headers(list);
    const auto url = "http://" + question.Host + question.Path;
    HttpAnswer answer;
    Received received{question, answer};
    if (!question.Socket.empty()) {
        ::curl_easy_setopt(curl.get(), CURLOPT_UNIX_SOCKET_PATH, question.Socket.c_str());
    }
    ::curl_easy_setopt(curl.get(), CURLOPT_URL, url.c_str());
    ::curl_easy_setopt(curl.get(), CURLOPT_CUSTOMREQUEST, question.Method.c_str());
    ::curl_easy_setopt(curl.get(), CURLOPT_HTTPHEADER, headers.get());
    ::curl_easy_setopt(curl.get(), CURLOPT_NOSIGNAL, 1L);
    ::curl_easy_setopt(curl.get(), CURLOPT_PROXY, "");
    ::curl_easy_setopt(curl.get(), CURLOPT_TIMEOUT_MS, static_cast<long>(question.Limit.count()));
    ::curl_easy_setopt(curl.get(), CURLOPT_WRITEFUNCTION, &TakeBodyPart);
    ::curl_easy_setopt(curl.get(), CURLOPT_WRITEDATA, &received);
    if (!question.Body.empty()) {
        ::curl_easy_setopt(curl.get(), CURLOPT_POSTFIELDSIZE, static_cast<long>(question.Body.size()));
        ::curl_easy_setopt(curl.get(), CURLOPT_POSTFIELDS, question.Body.c_str());
    }
    const auto result = ::curl_easy_perform(curl.get());
    long status = 0;
    ::curl_easy_getinfo(curl.get(), CURLINFO_RESPONSE_CODE, &status);
    answer.Status = static_cast<int>(status);
    answer.Process = ProcessAt(curl.get());
    if (result == CURLE_OK || (question.OnBody && result == CURLE_WRITE_ERROR)) return answer;
    answer.Status = 0;
    answer.IsRefused = result == CURLE_COULDNT_CONNECT;
    answer.Failure = ::curl_easy_strerror(result);
    return answer;
}

}  // namespace orvix::station
