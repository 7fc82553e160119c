#include "station/model/known_failures.h"

namespace orvix::station {
namespace {

constexpr char kDamageCure[] =
    "on every device: termination, ground or speed; on one: its cable and plugs, or a second device with its address";

constexpr KnownFailure kFailures[] = {
    {errors::TimeOut, "No complete reply came from the device in time.",
     "if others on the line answer: this device's power, wiring and address, otherwise those of the line; for a slow "
     "device "
     "or converter: a larger --timeout-factor"},
    {errors::TimeOut, kAnswersLate, "a larger --timeout-factor"},
    {errors::NotExecuted, "The task was not executed: ...", "read another variable, or name the right model"},
    {errors::Refused, "The device refused the request.", "use the model that nimbo1 scan shows"},
    {errors::Checksum, "The checksum of the reply is wrong.", kDamageCure},
    {errors::BadFrame, "The reply is not a valid frame or comes from another address.", kDamageCure},
    {errors::BadFrame, kRequestCameBack, "switch the converter's local echo off"},
    {errors::Busy, "The link is busy, try again when its present work is done.", "try again"},
    {errors::NotConnected, "The device is not connected.",
     "what is reported about the port; the station reopens the line by itself"},
};

}  // namespace

std::span<const KnownFailure> KnownFailures() {
    return kFailures;
}

std::string CureOf(const Failure& failure) {
    const KnownFailure* usual = nullptr;
    for (const auto& known : kFailures) {
        if (known.Code != failure.Code) continue;
        if (failure.Text == known.Sentence) return known.Cure;
        if (usual == nullptr) usual = &known;
    }
    return usual == nullptr ? "" : usual->Cure;
}

}  // namespace orvix::station
