#include "station/library/failure_text.h"

#include <algorithm>
#include <iterator>

#include "station/model/known_failures.h"

namespace orvix::station {
namespace {

struct Cause {
    orvix::station::Outcome Outcome;
    ErrorNumber Code;
    const char* Text;  ///< in place of the library's sentence; null: that says it
};

constexpr Cause kCauses[] = {
    {Outcome::Silent, errors::TimeOut, nullptr},    {Outcome::CutShort, errors::TimeOut, nullptr},
    {Outcome::Late, errors::TimeOut, kAnswersLate}, {Outcome::Damaged, errors::BadFrame, nullptr},
    {Outcome::Foreign, errors::BadFrame, nullptr},  {Outcome::Checksum, errors::Checksum, nullptr},
    {Outcome::Refused, errors::Refused, nullptr},
};

// Reports name where they were raised in brackets behind the description, innermost first.
std::string WithoutPlace(const std::string& report) {
    auto line = report.substr(0, report.find_first_of("\r\n"));
    for (const auto* place : {" (PlexaERR.", " (OrvixNimbo1Lib."}) {
        line = line.substr(0, line.find(place));
    }
    return line.substr(0, line.find_last_not_of(' ') + 1);
}

}  // namespace

Failure FailureOf(MessageProvider& messages, ErrorNumber number, const std::string& report) {
    Failure failure{number == errors::Validation ? errors::General : number, WithoutPlace(report), report};
    // What the library reports before an adapter gave it the messages is a key.
    if (report.starts_with('#')) failure.Text = messages.GetMessage(failure.Text).value_or(failure.Text);
    return failure;
}

Failure FailureOf(const Exchange& exchange, Failure said) {
    const auto* cause = std::find_if(std::begin(kCauses), std::end(kCauses),
                                     [&](const Cause& it) { return it.Outcome == exchange.Outcome; });
    if (cause == std::end(kCauses)) return said;
    said.Code = cause->Code;
    if (cause->Text != nullptr) said.Text = cause->Text;
    if (exchange.IsEcho && exchange.Outcome == Outcome::Foreign) said.Text = kRequestCameBack;
    return said;
}

}  // namespace orvix::station
