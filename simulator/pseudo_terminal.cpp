#include "simulator/pseudo_terminal.h"

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <filesystem>

#include "host/error.h"

namespace orvix::simulator {
namespace {

std::string NameOf(int descriptor) {
    std::array<char, 128> name{};
    if (grantpt(descriptor) != 0 || unlockpt(descriptor) != 0 || ptsname_r(descriptor, name.data(), name.size()) != 0) {
        throw SystemError("cannot open a pseudo-terminal", errno);
    }
    return name.data();
}

}  // namespace

PseudoTerminal::PseudoTerminal() : m_Descriptor(posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC)) {
    if (m_Descriptor < 0) throw SystemError("cannot open a pseudo-terminal", errno);
    m_Path = NameOf(m_Descriptor);
}

PseudoTerminal::~PseudoTerminal() {
    std::error_code ignored;
    if (!m_Link.empty()) std::filesystem::remove(m_Link, ignored);
    close(m_Descriptor);
}

void PseudoTerminal::Link(const std::string& path) {
    std::error_code error;
    if (std::filesystem::is_symlink(path, error)) std::filesystem::remove(path, error);
    std::filesystem::create_symlink(m_Path, path, error);
    if (error) throw SystemError("cannot create the link " + path, error.value());
    m_Link = path;
}

std::string PseudoTerminal::Read() {
    std::array<char, 512> bytes;
    const auto count = read(m_Descriptor, bytes.data(), bytes.size());
    return count > 0 ? std::string(bytes.data(), static_cast<std::size_t>(count)) : std::string();
}

void PseudoTerminal::Write(const std::string& bytes) {
    [[maybe_unused]] const auto count = write(m_Descriptor, bytes.data(), bytes.size());
}

}  // namespace orvix::simulator
