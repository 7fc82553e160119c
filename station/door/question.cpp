#include "station/door/question.h"

#include <algorithm>
#include <charconv>

#include "station/door/problem.h"

namespace orvix::station {
namespace {

constexpr std::size_t kMostRows = 1000;
constexpr std::size_t kLargestOffset = 1'000'000'000;

std::string UrlText(const std::string& text) {
    constexpr std::string_view kPlain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    std::string url;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (kPlain.find(c) != std::string_view::npos) {
            url += c;
        } else {
            url += {'%', kDigits[byte >> 4U], kDigits[byte & 15U]};
        }
    }
    return url;
}

std::string NextPage(const Question& question, std::size_t offset) {
    const auto& path = question.Request.Path;
    auto url = path.substr(path.rfind('/') + 1);
    char mark = '?';
    auto query = question.Request.Query;
    query["offset"] = std::to_string(offset);
    for (const auto& [name, value] : query) {
        url += mark + UrlText(name) + "=" + UrlText(value);
        mark = '&';
    }
    return url;
}

}  // namespace

const char* NameOf(Right right) {
    constexpr const char* kNames[] = {"none", "read", "change"};
    return kNames[static_cast<int>(right)];
}

std::string Question::Parameter(const std::string& name) const {
    const auto parameter = Request.Query.find(name);
    return parameter == Request.Query.end() ? std::string() : parameter->second;
}

bool Question::AsksFor(const std::string& station, const std::string& bus, const std::string& device) const {
    const auto fits = [this](const char* name, const std::string& value) {
        const auto wanted = Parameter(name);
        return wanted.empty() || wanted == value;
    };
    return fits("station", station) && fits("bus", bus) && fits("device", device);
}

std::size_t Question::Number(const std::string& name, std::size_t least, std::size_t most, std::size_t missing) const {
    const auto text = Parameter(name);
    if (text.empty()) return missing;
    std::size_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || number < least || number > most) {
        throw ProblemError(
            400, name + ": write a whole number from " + std::to_string(least) + " to " + std::to_string(most));
    }
    return number;
}

HttpResponse JsonResponse(const Json& json) {
    HttpResponse response{.Body = Dump(json) + "\n"};
    response.Headers.emplace_back("Content-Type", "application/json");
    return response;
}

Paging::Paging(const Question& question)
    : Offset(question.Number("offset", 0, kLargestOffset, 0)),
      Limit(question.Number("limit", 1, kMostRows, kMostRows)) {}

HttpResponse PageOf(const Question& question, const char* key, std::vector<Json> rows, std::size_t total) {
    const auto end = Paging(question).Offset + rows.size();
    return JsonResponse(
        {{key, std::move(rows)}, {"total", total}, {"next", end < total ? Json(NextPage(question, end)) : Json()}});
}

HttpResponse PageOf(const Question& question, const char* key, const std::vector<Json>& all) {
    const Paging paging(question);
    const auto begin = std::min(paging.Offset, all.size());
    const auto end = std::min(begin + paging.Limit, all.size());
    const auto at = [&](std::size_t row) { return all.begin() + static_cast<std::ptrdiff_t>(row); };
    return PageOf(question, key, {at(begin), at(end)}, all.size());
}

}  // namespace orvix::station
