#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "station/http/message.h"
#include "station/json/json.h"

namespace orvix::station {

/// What a client may do.
enum class Right { None, Read, Change };

/// "none", "read" or "change".
const char* NameOf(Right right);

/// A request to a route.
struct Question {
    const HttpRequest& Request;
    std::vector<std::string> Names;  ///< what stands in the path for each "{}" of the route's pattern
    Right Has = Right::None;

    /// A parameter of the query; empty when it is not there.
    std::string Parameter(const std::string& name) const;
    /// Whether what the filters `station`, `bus` and `device` ask for is this; empty asks for all.
    bool AsksFor(const std::string& station, const std::string& bus, const std::string& device) const;
    /// A whole number; `missing` without it. Raises ProblemError for any other text.
    std::size_t Number(const std::string& name, std::size_t least, std::size_t most, std::size_t missing) const;
};

/// The page of a list that the parameters `limit` and `offset` ask for, as `key`, with "total" and "next", the address
/// of the next page from the folder of the interface.
HttpResponse PageOf(const Question& question, const char* key, const std::vector<Json>& all);

/// The same of a page that has been cut out already; `total` rows there are.
HttpResponse PageOf(const Question& question, const char* key, std::vector<Json> rows, std::size_t total);

/// What the parameters `limit` and `offset` ask for.
struct Paging {
    explicit Paging(const Question& question);
    std::size_t Offset;
    std::size_t Limit;
};

/// An answer in JSON.
HttpResponse JsonResponse(const Json& json);

}  // namespace orvix::station
