#include <algorithm>

#include "devices/protocol/device_models.h"
#include "host/characters.h"
#include "host/error.h"
#include "station/door/answers.h"
#include "station/door/problem.h"

namespace orvix::station {
namespace {

constexpr std::size_t kLongestName = 200;

/// A device that is read, and its bus.
struct Found {
    BusSetup Bus;
    DeviceSetup Device;

    DeviceId Place() const { return IdOf(Bus.PortLabel, Device.Address); }
};

Found FoundDevice(const StationView& station, const std::string& id) {
    for (const auto& bus : station.Run.Setups()) {
        for (const auto& device : bus.Devices) {
            if (station.Run.IdentifierOf(IdOf(bus.PortLabel, device.Address)) == id) return {bus, device};
        }
    }
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
    if (name.empty() || name.size() > kLongestName || Printable(name) != name) {
        throw ProblemError(400, "name: write a text of 1 to 200 bytes without control characters");
    }
    return name;
}

}  // namespace

Json BodyOf(const Question& question) {
    if (question.Request.Body.empty()) return Json::object();
    auto body = Json::parse(question.Request.Body, nullptr, false);
    if (!body.is_object()) throw ProblemError(400, "the body is no JSON object");
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

void AnswerRename(const StationView& station, const Question& question, const HttpReply& reply) {
    const auto id = question.Names[0];
    auto found = FoundDevice(station, id);
    const auto name = NameIn(BodyOf(question));
    ActionsOf(station).Change(found.Place(), name, [reply, found, name, id]() mutable {
        found.Device.Name = name;
        reply(JsonResponse(DeviceJson(found.Bus, found.Device, id)));
    });
}

void AnswerRemove(const StationView& station, const Question& question, const HttpReply& reply) {
    const auto found = FoundDevice(station, question.Names[0]);
    ActionsOf(station).Change(found.Place(), std::nullopt, [reply] { reply({.Status = 204}); });
}

}  // namespace orvix::station
