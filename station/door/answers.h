#pragma once

#include "station/door/question.h"
#include "station/door/station_view.h"

namespace orvix::station {

// What is answered at each route; docs/api.md tells what stands in it.

HttpResponse AnswerStation(const StationView& station, const Question& question);
HttpResponse AnswerDevices(const StationView& station, const Question& question);
HttpResponse AnswerValues(const StationView& station, const Question& question);
HttpResponse AnswerEvents(const StationView& station, const Question& question);
HttpResponse AnswerLines(const StationView& station, const Question& question);
HttpResponse AnswerMqtt(const StationView& station, const Question& question);
HttpResponse AnswerHealth(const StationView& station, const Question& question);
HttpResponse AnswerMetrics(const StationView& station, const Question& question);
void AnswerHistory(const StationView& station, const Question& question, const HttpReply& reply);
void AnswerHistoryCsv(const StationView& station, const Question& question, const HttpReply& reply);
void AnswerAlarms(const StationView& station, const Question& question, const HttpReply& reply);
void AnswerAcknowledge(const StationView& station, const Question& question, const HttpReply& reply);
void AnswerRead(const StationView& station, const Question& question, const HttpReply& reply);
void AnswerExport(const StationView& station, const Question& question, const HttpReply& reply);
void AnswerAdd(const StationView& station, const Question& question, const HttpReply& reply);
void AnswerRename(const StationView& station, const Question& question, const HttpReply& reply);
void AnswerRemove(const StationView& station, const Question& question, const HttpReply& reply);
/// The description of the interface.
HttpResponse AnswerOpenApi(const StationView& station, const Question& question);
/// A file of the page; "/" is its index.
HttpResponse AnswerPage(const StationView& station, const Question& question);

/// The time that a parameter names, `missing` without it. Raises ProblemError.
std::int64_t TimeIn(const Question& question, const char* name, const char* missing, std::int64_t now);
/// What a device measures that the station reads, "temperature"; empty when it reads none of this id.
std::string VariableReadOf(const StationView& station, const std::string& id);
/// The object in a request's body; an empty one without a body. Raises ProblemError.
Json BodyOf(const Question& question);
/// A member that is a text; empty when it is not there. Raises ProblemError.
std::string TextIn(const Json& body, const char* name);
/// An alarm as it is answered.
Json AlarmJson(const AlarmState& alarm);
/// A device as it is answered. `id`: its public one.
Json DeviceJson(const BusSetup& bus, const DeviceSetup& device, const std::string& id);

}  // namespace orvix::station
