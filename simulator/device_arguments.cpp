#include "simulator/device_arguments.h"

#include <charconv>
#include <cmath>

#include "devices/protocol/device_models.h"
#include "station/words/time_span.h"

namespace orvix::simulator {
namespace {

template <class T>
bool ReadWhole(std::string_view text, T& value) {
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
    return result.ec == std::errc() && result.ptr == text.data() + text.size();
}

// Timers count milliseconds in 32 bits.
constexpr std::chrono::hours kLongestDuration{24 * 24};

}  // namespace

std::chrono::milliseconds ParseDuration(std::string_view text) {
    const auto span = station::ParseTimeSpan(text);
    if (!span) throw ArgumentError("'" + std::string(text) + "' is not a time: " + station::kTimeSpanForm);
    if (*span < std::chrono::milliseconds(1) || *span > kLongestDuration) {
        throw ArgumentError("'" + std::string(text) + "' is not from 1ms to 576h");
    }
    return *span;
}

double ParseReal(std::string_view text, std::string_view what) {
    double value = 0;
    if (!ReadWhole(text, value) || !std::isfinite(value)) {
        throw ArgumentError("'" + std::string(text) + "' is not a " + std::string(what));
    }
    return value;
}

std::int32_t ParseModel(std::string_view text) {
    std::string models;
    for (const auto* model : kDeviceModels) {
        const auto number = std::to_string(model->DeviceModel);
        if (text == model->Name || text == number) return model->DeviceModel;
        models += (models.empty() ? "" : " or ") + std::string(model->Name) + " (" + number + ")";
    }
    throw ArgumentError("'" + std::string(text) + "' is not a model: write " + models);
}

const char* ModelName(std::int32_t deviceModel) {
    const auto* model = FindDeviceModel(deviceModel);
    return model == nullptr ? "unknown" : model->Name;
}

DeviceArgument ParseDeviceArgument(const std::string& text, std::string_view ends) {
    const auto fail = [&](const std::string& why) -> ArgumentError {
        return ArgumentError("device '" + text + "': " + why);
    };
    DeviceArgument argument;
    const auto colon = text.find(':');
    if (colon == std::string::npos) throw fail("write ADDRESS:MODEL, such as 5:sensor");
    if (!ReadWhole(std::string_view(text).substr(0, colon), argument.Address) || argument.Address < 1 ||
        argument.Address > 255) {
        throw fail("the address must be a number from 1 to 255");
    }
    const auto end = text.find_first_of(ends, colon + 1);
    const auto model = text.substr(colon + 1, end == std::string::npos ? end : end - colon - 1);
    try {
        argument.Model = ParseModel(model);
    } catch (const ArgumentError& error) {
        throw fail(error.what());
    }
    if (end != std::string::npos) argument.Rest = text.substr(end);
    return argument;
}

}  // namespace orvix::simulator
