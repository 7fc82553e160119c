#pragma once

#include <string>

namespace orvix::simulator {

/// The device's end of a pseudo-terminal; a program opens the other end as its serial port. Errors are raised as
/// SystemError.
class PseudoTerminal {
public:
    PseudoTerminal();
    ~PseudoTerminal();
    PseudoTerminal(const PseudoTerminal&) = delete;
    PseudoTerminal& operator=(const PseudoTerminal&) = delete;

    /// The device file of the port's end.
    const std::string& Path() const { return m_Path; }
    /// Also gives the port's end this name, a symbolic link that goes with the terminal. A link that is there already
    /// is replaced, any other file is an error.
    void Link(const std::string& path);

    int Descriptor() const { return m_Descriptor; }
    /// What has been received; empty when there is nothing, or nobody at the other end.
    std::string Read();
    /// Writes what the other end takes; the rest is lost, as on a line that nobody listens to.
    void Write(const std::string& bytes);

private:
    int m_Descriptor = -1;
    std::string m_Path;
    std::string m_Link;
};

}  // namespace orvix::simulator
