#include "station/door/line_hub.h"

#include "devices/protocol/device_models.h"
#include "devices/protocol/frame.h"
#include "station/json/json.h"
#include "station/model/clock.h"
#include "station/model/text.h"

namespace orvix::station {
namespace {

using LineKind = LineEvent::Kind;

const char* KindName(LineKind kind) {
    switch (kind) {
        case LineKind::Opened:
            return "opened";
        case LineKind::Closed:
            return "closed";
        case LineKind::Failed:
            return "failed";
        case LineKind::Sent:
            return "sent";
        case LineKind::Received:
            return "received";
        case LineKind::Echoed:
            return "echoed";
        default:
            return "discarded";
    }
}

const DeviceModelTable* ModelMeasuring(std::string_view code) {
    for (const auto* model : kDeviceModels) {
        if (model->Measurement.Code == code) return model;
    }
    return nullptr;
}

std::string AskedText(std::string_view code) {
    if (code == kSerialNumberCode) return "serial";
    const auto* model = ModelMeasuring(code);
    return model == nullptr ? "unknown" : NameOf(model->Measurement.VarID);
}

std::string RequestText(const std::string& bytes) {
    const auto request = ParseRequest(bytes);
    return request ? "request to " + std::to_string(request->address) + ": " + AskedText(request->code) : "";
}

std::string ValueIn(const Reply& reply) {
    const auto* model = ModelMeasuring(reply.code);
    if (reply.code == kSerialNumberCode) return SerialText(reply.payload);
    if (model == nullptr || reply.payload.size() != model->PayloadLength) return "an unusual answer";
    const auto value = model->Decode(reply.payload);
    const auto* degrees = std::get_if<double>(&value);
    return degrees != nullptr ? ValueWithUnit(*degrees) : "inputs " + BitsText(std::get<std::int32_t>(value));
}

std::string AnswerText(const std::string& bytes) {
    const auto length = FrameLength(bytes);
    if (bytes.empty() || bytes[0] != kStartByte || !length || *length > bytes.size()) return "part of an answer";
    const auto reply = ParseReply(bytes);
    const auto answer = "answer of " + std::to_string(reply.address) + ": ";
    if (reply.error == errors::Refused) return answer + "refused";
    if (reply.error == errors::Checksum) return answer + "wrong checksum";
    if (reply.error != errors::None) return "a damaged answer";
    return answer + ValueIn(reply);
}

std::string HexBytes(const std::string& bytes) {
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        if (!text.empty()) text += ' ';
        text += {digits[byte >> 4U], digits[byte & 15U]};
    }
    return text;
}

}  // namespace

std::string MeaningOf(const LineEvent& event) {
    switch (event.What) {
        case LineKind::Sent:
            return RequestText(event.Bytes);
        case LineKind::Received:
            return AnswerText(event.Bytes);
        case LineKind::Echoed:
            return "the request, echoed";
        case LineKind::Discarded:
            return "nobody's answer";
        default:
            return event.Reason;
    }
}

void LineHub::OnLine(const LineEvent& event) {
    if (event.What == LineKind::Waited || !m_Ring.HasReaders()) return;
    const auto age = std::chrono::duration_cast<std::chrono::milliseconds>(m_Home.Now() - event.Time);
    const auto time = UnixMillisecondsOf(m_Home.DateNow()) - age.count();
    m_Ring.Add("line", event.Port, {},
               Dump({{"time", IsoText(time)},
                     {"what", KindName(event.What)},
                     {"bytes", HexBytes(event.Bytes)},
                     {"meaning", MeaningOf(event)}}));
}

}  // namespace orvix::station
