#pragma once

#include "station/door/question.h"
#include "station/door/station_view.h"

namespace orvix::station {

// What is answered at each route; docs/api.md tells what stands in it.

HttpResponse AnswerStation(const StationView& station, const Question& question);
HttpResponse AnswerDevices(const StationView& station, const Question& question);
HttpResponse AnswerValues(const StationView& station, const Question& question);
HttpResponse AnswerEvents(const StationView& station, const Question& question);
HttpResponse AnswerHealth(const StationView& station, const Question& question);
HttpResponse AnswerMetrics(const StationView& station, const Question& question);
void AnswerHistory(const StationView& station, const Question& question, const HttpReply& reply);
void AnswerHistoryCsv(const StationView& station, const Question& question, const HttpReply& reply);
void AnswerRead(const StationView& station, const Question& question, const HttpReply& reply);
void AnswerRename(const StationView& station, const Question& question, const HttpReply& reply);
void AnswerRemove(const StationView& station, const Question& question, const HttpReply& reply);
/// A file of the page; "/" is its index.
HttpResponse AnswerPage(const StationView& station, const Question& question);

/// A device as it is answered. `id`: its public one.
Json DeviceJson(const BusSetup& bus, const DeviceSetup& device, const std::string& id);

}  // namespace orvix::station
