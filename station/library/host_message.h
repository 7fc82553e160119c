#pragma once

#include <string>
#include <variant>

#include "host/error.h"

namespace orvix::station {

// What the library's objects say to their host.

/// A driver without an adapter: its port is open.
struct PortOpened {};

/// The same: a task is over. The number is 0 when it has succeeded.
struct TaskEnded {
    ErrorNumber Number = errors::None;
    std::string Report;
};

/// An adapter: its driver has failed at a task.
struct TaskFailed {
    ErrorNumber Number = errors::None;
    std::string Report;
};

/// An adapter: something is wrong that belongs to no task.
struct LinkTrouble {
    std::string Report;
};

/// Any other message is for people.
using HostMessage = std::variant<std::monostate, PortOpened, TaskEnded, TaskFailed, LinkTrouble>;

HostMessage ParseHostMessage(const std::string& message);

/// A message on one line, fields parted by " | ".
std::string HostMessageText(const std::string& message);

}  // namespace orvix::station
