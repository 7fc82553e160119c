#include "station/library/failure_text.h"

#include "host/text.h"

namespace orvix::station {
namespace {

// The messages that tell the cause of a failed reading.
constexpr ErrorNumber kCauses[] = {errors::TimeOut,  errors::NotExecuted,  errors::Refused,      errors::Checksum,
                                   errors::BadFrame, errors::NotConnected, errors::NoMissionData};

// Reports name where they were raised in brackets behind the description, innermost first.
std::string WithoutPlace(const std::string& report) {
    auto line = report.substr(0, report.find_first_of("\r\n"));
    for (const auto* place : {" (PlexaERR.", " (OrvixNimbo1Lib."}) {
        line = line.substr(0, line.find(place));
    }
    return line.substr(0, line.find_last_not_of(' ') + 1);
}

}  // namespace

Failure ExplainFailure(MessageProvider& messages, ErrorNumber number, const std::string& report) {
    // The error-check routine raises everything under its own number, which tells nothing of the cause.
    const auto known = number == errors::Validation ? errors::General : number;
    Failure failure{known, WithoutPlace(report), report};
    // What the library reports before an adapter gave it the messages is a key.
    if (report.starts_with('#')) failure.Text = messages.GetMessage(failure.Text).value_or(failure.Text);
    for (const auto cause : kCauses) {
        const auto sentence = messages.GetMessage("#" + NumberText(cause));
        if (!sentence) continue;
        const auto beginning = sentence->substr(0, sentence->find('%'));
        if (!beginning.empty() && report.starts_with(beginning)) failure.Code = cause;
    }
    return failure;
}

}  // namespace orvix::station
