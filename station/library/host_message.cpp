#include "station/library/host_message.h"

#include "host/text.h"

namespace orvix::station {
namespace {

constexpr std::string_view kTaskFailed = "Driver error ";  // then number, " - ", report
constexpr std::string_view kTrouble = "ERROR: ";

}  // namespace

HostMessage ParseHostMessage(const std::string& message) {
    if (message.starts_with(kTaskFailed)) {
        const auto report = message.find(" - ");
        return TaskFailed{LeadingNumber(message.substr(kTaskFailed.size())),
                          report == std::string::npos ? message : message.substr(report + 3)};
    }
    if (message.starts_with(kTrouble)) return LinkTrouble{message.substr(kTrouble.size())};
    auto fields = SplitFields(message);
    if (fields[0] == "CONNECTED") return PortOpened{};
    if (fields[0] == "ERROR" && fields.size() > 1) return LinkTrouble{std::move(fields[1])};
    if (fields[0] == "TASKCOMPLETE" && fields.size() > 2) {
        return TaskEnded{LeadingNumber(fields[1]), std::move(fields[2])};
    }
    return {};
}

std::string HostMessageText(const std::string& message) {
    return ReplaceAll(message, std::string(1, kFieldSeparator), " | ");
}

}  // namespace orvix::station
