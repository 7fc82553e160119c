#include "station/door/problem.h"

#include <algorithm>
#include <utility>

#include "station/json/json.h"

namespace orvix::station {
namespace {

constexpr std::pair<int, const char*> kTitles[] = {{400, "Bad Request"},
                                                   {401, "Unauthorized"},
                                                   {403, "Forbidden"},
                                                   {404, "Not Found"},
                                                   {405, "Method Not Allowed"},
                                                   {409, "Conflict"},
                                                   {413, "Content Too Large"},
                                                   {421, "Misdirected Request"},
                                                   {431, "Request Header Fields Too Large"},
                                                   {500, "Internal Server Error"},
                                                   {502, "Bad Gateway"},
                                                   {503, "Service Unavailable"}};

constexpr char kRetrySeconds[] = "2";

}  // namespace

HttpResponse ProblemResponse(int status, const std::string& detail) {
    const auto* row = std::find_if(std::begin(kTitles), std::end(kTitles),
                                   [status](const auto& title) { return title.first == status; });
    const Json problem{{"type", "about:blank"},
                       {"title", row == std::end(kTitles) ? "Error" : row->second},
                       {"status", status},
                       {"detail", detail}};
    HttpResponse response{.Status = status, .Body = Dump(problem) + "\n"};
    response.Headers.emplace_back("Content-Type", "application/problem+json");
    if (status == 503) response.Headers.emplace_back("Retry-After", kRetrySeconds);
    return response;
}

}  // namespace orvix::station
