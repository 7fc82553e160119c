#pragma once

#include <stdexcept>
#include <string>

#include "station/http/message.h"

namespace orvix::station {

/// Why a request cannot be answered as asked: an HTTP status, and a sentence that says what is wrong and where.
class ProblemError : public std::runtime_error {
public:
    ProblemError(int status, const std::string& detail) : std::runtime_error(detail), m_Status(status) {}
    int Status() const { return m_Status; }

private:
    int m_Status;
};

/// The same as an answer: "application/problem+json" with "type", "title", "status" and "detail" (RFC 9457).
HttpResponse ProblemResponse(int status, const std::string& detail);

}  // namespace orvix::station
