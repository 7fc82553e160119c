#pragma once

#include <span>

#include "host/error.h"

namespace orvix::platform {

struct HostMessage {
    ErrorNumber Number;
    /// One sentence; %1 and %2 stand for what the error is about. No two sentences begin alike.
    const char* Text;
};

/// The host's messages for the codes of this library.
std::span<const HostMessage> HostMessages();

}  // namespace orvix::platform
