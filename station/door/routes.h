#pragma once

#include <span>
#include <string_view>

#include "station/door/question.h"
#include "station/door/station_view.h"

namespace orvix::station {

/// Answers a question about a station, at once or later. Raises ProblemError.
using RouteAnswer = void (*)(const StationView& station, const Question& question, const HttpReply& reply);

/// What can be asked.
struct Route {
    const char* Method;      ///< GET holds for HEAD too
    const char* Pattern;     ///< "/api/v1/devices/{}": "{}" stands for any text without a "/", "{*}" for the rest
    Right Needs;             ///< what the client must be allowed
    const char* Parameters;  ///< names that may stand in the query, blanks between them
    RouteAnswer Answer;
};

/// All of them, and those of an address for metrics alone.
std::span<const Route> Routes();
std::span<const Route> MetricsRoutes();

/// Finds the route of a request and has it answered. Raises ProblemError for one that there is none for, that may not
/// have what it asks for, or that has parameters which the route has not.
void AnswerByRoute(std::span<const Route> routes, const StationView& station, const HttpRequest& request, Right has,
                   const HttpReply& reply);

}  // namespace orvix::station
