#include "platform/message_table.h"

namespace orvix::platform {

namespace {

constexpr HostMessage kMessages[] = {
    {errors::TimeOut, "No complete reply came from the device in time."},
    {errors::NotExecuted, "The task was not executed: %1."},
    {errors::Refused, "The device refused the request."},
    {errors::Checksum, "The checksum of the reply is wrong."},
    {errors::BadFrame, "The reply is not a valid frame or comes from another address."},
    {errors::Busy, "The link is busy, try again when its present work is done."},
    {errors::OutOfRange, "The setting \"%1\" must be in the range %2."},
    {errors::NotConnected, "The device is not connected."},
    {errors::NoMissionData, "Status or log of the device is missing, read both first."},
};

}  // namespace

std::span<const HostMessage> HostMessages() {
    return kMessages;
}

}  // namespace orvix::platform
