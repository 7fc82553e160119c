#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "station/model/alarm.h"
#include "station/model/reading.h"

namespace orvix::station {

// What stands in JSON is written the same way everywhere: in lines of output, listings and recordings.

using Json = nlohmann::ordered_json;

/// On one line, numbers rounded to six digits behind the point, with control characters of all kinds escaped. Texts may
/// hold bytes off the line, or names, that are no UTF-8; these are replaced.
std::string Dump(Json json);

/// The id of a device; null when it is empty, because there is no device or it is not known which.
Json IdentifierJson(const std::string& identifier);
/// The serial number of a device, as it sends it; null when none is known.
Json SerialJson(const std::string& raw);
/// A number, or the text of a serial number; null for none.
Json ToJson(const ReadingValue& value);
/// "code" (null when it is nobody's error), "text", "detail".
Json ToJson(const Failure& failure);
/// The event "reading".
Json ToJson(const Reading& reading);
/// Its id, state, place, device, times and acknowledgement.
Json ToJson(const AlarmState& alarm);
/// A reading from what ToJson makes of one, as far as that holds it. Raises Error for another object.
Reading ReadingOf(const Json& object);
/// A failure, likewise.
Failure FailureOf(const Json& object);
/// The event "alarm".
Json ToJson(const AlarmEvent& event);

}  // namespace orvix::station
