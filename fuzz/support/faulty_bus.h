#pragma once

#include <deque>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "tests/support/scripted_line.h"

namespace orvix::fuzz {

/// The devices at the other end of a line: each answers every request, with a payload that nobody has sent before, and
/// as well as the faults allow. So it can be told of every value whether its device has ever sent it.
class FaultyBus {
public:
    /// What becomes of a reply.
    enum class Fault { None, Late, Cut, Flipped, Doubled, Missing, Refused };

    explicit FaultyBus(tests::ScriptedLine& line) : m_Line(line) {
        m_Line.OnRequest = [this](const std::string& request) { return Answer(request); };
    }

    /// The next reply that has no fault yet gets this one; the number says how late it comes, or where it breaks.
    void NextReply(Fault fault, int number) { m_Faults.push_back({fault, number}); }
    /// A line that has hung up cannot be written to or opened.
    void HungUp(bool rhs) { m_Line.PortMissing = rhs; }
    /// From now on the line is fine.
    void Mend();

    bool HasSent(const std::string& address, const std::string& payload) const;

private:
    struct Planned {
        Fault Kind = Fault::None;
        int Number = 0;
    };

    std::vector<tests::Chunk> Answer(const std::string& request);
    std::string NewPayload(int address, const std::string& code);

    tests::ScriptedLine& m_Line;
    std::deque<Planned> m_Faults;
    int m_Answers = 0;
    std::map<std::string, std::set<std::string>> m_Sent;  ///< payloads by address
};

}  // namespace orvix::fuzz
