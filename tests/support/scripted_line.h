#pragma once

#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "host/apartment.h"
#include "host/line.h"

namespace orvix::tests {

/// "1D 04 05" -> the three bytes; blanks are ignored.
std::string Bytes(const std::string& hex);
/// The bytes as "1D 04 05".
std::string Hex(const std::string& bytes);

/// What comes back on a line, and when after the request has left (or the chunk before has come).
struct Chunk {
    std::string Bytes;
    Duration After = std::chrono::milliseconds(1);
    bool HangsUp = false;  ///< the line is lost behind the bytes
};

/// What becomes of a request that is written to a line.
struct Response {
    std::vector<Chunk> Reply;
    bool WriteFails = false;  ///< the line is lost before the request has left
};

/// A serial line that states exact bytes out and in. A request without a scripted exchange gets no answer and is logged
/// all the same; one that differs from what was expected is a failure of the test. A lost line is opened again by the
/// next request, as a serial control does.
class ScriptedLine : public Line {
public:
    explicit ScriptedLine(Apartment& apartment) : m_Apartment(apartment) {}

    /// The next request must be these bytes (hexadecimal) and is answered with the chunks.
    void Expect(const std::string& requestHex, std::vector<Chunk> reply);
    bool AllMet() const { return m_Script.empty(); }

    std::unique_ptr<SerialControl> CreateSerialControl() override;

    /// Every write to the control in order: "DTREnable=True", "CommPort=3", "PortOpen=True", "Output=1D 04 05 ..".
    std::vector<std::string> Log;
    /// The control holds the port open.
    bool Open = false;
    /// The control waits for input, and its thread with it.
    bool Waiting = false;
    /// Answers the requests that no exchange is scripted for.
    std::function<Response(const std::string& request)> Respond;
    /// Until then opening the port raises a SystemError.
    Duration MissingUntil{0};
    /// Loses the line, with what was on its way.
    void HangUp() { m_Lost = true; }

private:
    friend class ScriptedControl;
    struct Exchange {
        std::string Request;
        Response Answer;
    };
    Response Answer(const std::string& request);

    Apartment& m_Apartment;
    std::deque<Exchange> m_Script;
    bool m_Lost = false;
};

}  // namespace orvix::tests
