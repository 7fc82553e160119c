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
};

/// A serial line that states exact bytes out and in. A request without a scripted exchange is left to OnRequest, or
/// gets no answer, and is logged all the same; one that differs from what was expected is a failure of the test.
class ScriptedLine : public Line {
public:
    explicit ScriptedLine(Apartment& apartment) : m_Apartment(apartment) {}

    /// The next request must be these bytes (hexadecimal) and is answered with the chunks.
    void Expect(const std::string& requestHex, std::vector<Chunk> reply);
    /// The next request raises a SystemError.
    void ExpectVanished() { m_Script.push_back({"", {}, true}); }
    bool AllMet() const { return m_Script.empty(); }

    std::unique_ptr<SerialControl> CreateSerialControl() override;

    /// Every write to the control in order: "DTREnable=True", "CommPort=3", "PortOpen=True", "Output=1D 04 05 ..".
    std::vector<std::string> Log;
    /// Opening the port raises a SystemError.
    bool PortMissing = false;
    /// The control holds the port open.
    bool Open = false;
    /// The control waits for input, and its thread with it.
    bool Waiting = false;
    /// Answers a request that was not scripted; it may raise what a line does.
    std::function<std::vector<Chunk>(const std::string& request)> OnRequest;

private:
    friend class ScriptedControl;
    struct Exchange {
        std::string Request;
        std::vector<Chunk> Reply;
        bool Vanished = false;
    };
    Apartment& m_Apartment;
    std::deque<Exchange> m_Script;
};

}  // namespace orvix::tests
