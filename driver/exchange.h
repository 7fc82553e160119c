#pragma once

#include <cstdint>
#include <string>

#include "diagnostics/basPlexaErr.h"
#include "host/apartment.h"
#include "host/error.h"
#include "host/line.h"

namespace orvix {

/// One request to a device.
struct ExchangeRequest {
    std::int16_t DeviceAddress = 0;  ///< 0 to 255
    std::string Command;             ///< command code, one character a byte
    /// Milliseconds; the whole reply must come within five times this. Below 0 counts as 0.
    std::int32_t TimeFactor = 0;
    std::string Payload;  ///< at most 251 bytes, one character a byte
};

/// What became of a request.
struct ExchangeResult {
    ErrorNumber Number = errors::None;  ///< 0: the device has answered
    std::string Text;                   ///< of the error
    std::string Reply;                  ///< payload of the answer, one character a byte
};

/// Sends one request frame and receives the reply to it, once. Blocks the thread until the reply is there or its time
/// is over. Never raises: a time-out, a bad frame, a refusal, a wrong checksum (Validation, with the host's text), an
/// address or payload that cannot be framed, and an error of the line come back as number and text.
ExchangeResult Exchange(const Apartment& apartment, SerialControl& line, cPlexaERR& plexaErr,
                        const ExchangeRequest& request);

}  // namespace orvix
