#include "driver/exchange.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "devices/protocol/bus_line.h"
#include "devices/protocol/frame.h"

namespace orvix {

namespace {

/// Raises the validation error with the host's text for `error`, unless that is 0.
void CheckNone(cPlexaERR& plexaErr, ErrorNumber error) {
    plexaErr.Check(error == errors::None, errors::Validation, error);
}

/// The line is half-duplex: request-to-send keeps the transmitter on, so it must not stay up when the write fails.
void Send(SerialControl& line, const std::string& frame) {
    line.InBufferCount(0);
    line.RTSEnable(true);
    try {
        line.Output(frame);
    } catch (...) {
        Attempt([&] { line.RTSEnable(false); });
        throw;
    }
    line.RTSEnable(false);
}

std::int32_t ReplyLimit(std::int32_t timeFactor) {
    constexpr std::int64_t kLongest = std::numeric_limits<std::int32_t>::max();
    return static_cast<std::int32_t>(
        std::clamp<std::int64_t>(std::int64_t{kReplyTimeFactors} * timeFactor, 0, kLongest));
}

/// Takes what the line has until the reply is whole. One limit covers the whole reply, whatever its length.
std::string Receive(SerialControl& line, cPlexaERR& plexaErr, const Countdown& countdown) {
    std::string buffer;
    for (;;) {
        line.WaitForInput(countdown.Remaining());
        buffer += line.Input();
        if (countdown.Expired()) CheckNone(plexaErr, errors::TimeOut);
        const auto length = FrameLength(buffer);
        if (length && buffer.size() >= *length) return buffer;
    }
}

std::string RunExchange(const Apartment& apartment, SerialControl& line, cPlexaERR& plexaErr,
                        const ExchangeRequest& request) {
    Countdown countdown(apartment);
    Send(line, BuildFrame(request.DeviceAddress, request.Command, request.Payload));
    countdown.Interval(ReplyLimit(request.TimeFactor));
    countdown.Start();
    Reply reply = CheckReply(Receive(line, plexaErr, countdown), request.DeviceAddress);
    CheckNone(plexaErr, reply.error);
    return std::move(reply.payload);
}

}  // namespace

ExchangeResult Exchange(const Apartment& apartment, SerialControl& line, cPlexaERR& plexaErr,
                        const ExchangeRequest& request) {
    ExchangeResult result;
    try {
        result.Reply = RunExchange(apartment, line, plexaErr, request);
    } catch (...) {
        const Error error = CurrentError();
        result.Number = error.Number;
        result.Text = error.Description;
    }
    return result;
}

}  // namespace orvix
