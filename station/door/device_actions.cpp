#include <algorithm>
#include <limits>
#include <optional>

#include "devices/protocol/device_models.h"
#include "host/characters.h"
#include "host/error.h"
#include "station/door/answers.h"
#include "station/door/problem.h"

namespace orvix::station {
namespace {

constexpr std::size_t kLongestName = 200;
constexpr std::int32_t kHighestAddress = 255;

/// A device that is read, and its bus.
struct Found {
    BusSetup Bus;
    DeviceSetup Device;

    DeviceId Place() const { return IdOf(Bus.PortLabel, Device.Address); }
};

std::optional<Found> FindRead(const StationView& station, const std::string& id) {
    for (const auto& bus : station.Run.Setups()) {
        for (const auto& device : bus.Devices) {
            if (station.Run.IdentifierOf(IdOf(bus.PortLabel, device.Address)) == id) return Found{bus, device};
        }
    }
    return std::nullopt;
}

Found FoundDevice(const StationView& station, const std::string& id) {
    if (auto found = FindRead(station, id)) return *found;
    throw ProblemError(404, "there is no device " + id);
}

StationActions& ActionsOf(const StationView& station) {
    if (station.Actions == nullptr) throw ProblemError(409, "this station is played from a recording");
    return *station.Actions;
}

ORVIXCNB1_VARS VariableOf(const DeviceModelTable& model, const std::string& name) {
    const auto measured = model.Measurement.VarID;
    if (name.empty() || name == NameOf(measured)) return measured;
    const auto serial = NameOf(ORVIXCNB1_VAR_SERIAL_NUMBER);
    if (name == serial) return ORVIXCNB1_VAR_SERIAL_NUMBER;
    throw ProblemError(400, "variable: this device has " + NameOf(measured) + " and " + serial);
}

std::string NameIn(const Json& body) {
    auto name = TextIn(body, "name");
    if (name.size() <= kLongestName && Printable(name) == name) return name;
    throw ProblemError(400, "name: write a text of at most 200 bytes without control characters");
}

std::int32_t WholeIn(const Json& body, const char* name, std::int32_t least, std::int32_t most) {
    const auto member = body.find(name);
    const auto isWhole = member != body.end() && member->is_number_unsigned();
    if (isWhole && *member >= least && *member <= most) return member->get<std::int32_t>();
    throw ProblemError(400, std::string(name) + ": write a whole number from " + std::to_string(least) + " to " +
                                std::to_string(most));
}

DeviceSetup DeviceIn(const Json& body) {
    DeviceSetup device{WholeIn(body, "address", 1, kHighestAddress), 0, NameIn(body), {}};
    device.Model = WholeIn(body, "model", 0, std::numeric_limits<std::int32_t>::max());
    if (FindDeviceModel(device.Model) != nullptr) return device;
    std::string known;
    for (const auto* model : kDeviceModels)
        known.append(known.empty() ? "" : ", ").append(std::to_string(model->DeviceModel));
    throw ProblemError(400, "model: the models are " + known);
}

/// Answers when a change holds, or says why it does not.
StationActions::Done WhenDone(const HttpReply& reply, HttpResponse response) {
    return [reply, response = std::move(response)](const std::optional<std::string>& failure) {
        reply(failure ? ProblemResponse(500, "the list of devices cannot be changed: " + *failure) : response);
    };
}

}  // namespace

std::string VariableReadOf(const StationView& station, const std::string& id) {
    const auto found = id.empty() ? std::nullopt : FindRead(station, id);
    return found ? NameOf(MeasuredVariable(found->Device.Model)) : "";
}

Json BodyOf(const Question& question) {
    if (question.Request.Body.empty()) return Json::object();
    auto body = Json::parse(question.Request.Body, nullptr, false);
    if (!body.is_object()) throw ProblemError(400, "the body is not a JSON object");
    return body;
}

std::string TextIn(const Json& body, const char* name) {
    if (!body.contains(name)) return {};
    if (!body[name].is_string()) throw ProblemError(400, std::string(name) + ": write a text");
    return body[name].get<std::string>();
}

void AnswerRead(const StationView& station, const Question& question, const HttpReply& reply) {
    const auto found = FoundDevice(station, question.Names[0]);
    const auto variable = VariableOf(DeviceModelOf(found.Device.Model), TextIn(BodyOf(question), "variable"));
    ActionsOf(station).Read(found.Place(), variable,
                            [reply](const Reading& reading) { reply(JsonResponse(ToJson(reading))); });
}

void AnswerExport(const StationView& station, const Question& question, const HttpReply& reply) {
    const auto found = FoundDevice(station, question.Names[0]);
    const auto* format = FormatNamed(TextIn(BodyOf(question), "format"));
    if (format == nullptr) throw ProblemError(400, "format: write text, report or device");
    ActionsOf(station).Export(found.Place(), format->Format, [reply, format](const DeviceFile& file) {
        if (file.Error) return reply(ProblemResponse(502, file.Error->Text));
        HttpResponse response{.Body = std::string(file.Bytes.begin(), file.Bytes.end())};
        response.Headers.emplace_back("Content-Type", format->MediaType);
        reply(std::move(response));
    });
}

void AnswerAdd(const StationView& station, const Question& question, const HttpReply& reply) {
    const auto body = BodyOf(question);
    ActionsOf(station).Add(TextIn(body, "bus"), DeviceIn(body), WhenDone(reply, {.Status = 201}));
}

void AnswerRename(const StationView& station, const Question& question, const HttpReply& reply) {
    const auto id = question.Names[0];
    auto found = FoundDevice(station, id);
    found.Device.Name = NameIn(BodyOf(question));
    if (found.Device.Name.empty()) throw ProblemError(400, "name: write what the device is called");
    const auto response = JsonResponse(DeviceJson(found.Bus, found.Device, id));
    ActionsOf(station).Rename(found.Place(), found.Device.Name, WhenDone(reply, response));
}

void AnswerRemove(const StationView& station, const Question& question, const HttpReply& reply) {
    const auto found = FoundDevice(station, question.Names[0]);
    ActionsOf(station).Remove(found.Place(), WhenDone(reply, {.Status = 204}));
}

}  // namespace orvix::station
