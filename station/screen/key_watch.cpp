#include "station/screen/key_watch.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <array>
#include <utility>

namespace orvix::station {

KeyWatch::KeyWatch(Apartment& apartment, std::function<void()> pressed, std::function<void()> gone)
    : m_Apartment(apartment),
      m_Pressed(std::move(pressed)),
      m_Gone(std::move(gone)),
      m_Wake(::eventfd(0, EFD_CLOEXEC)),
      m_Thread([this] { Watch(); }) {}

KeyWatch::~KeyWatch() {
    m_End = true;
    Next();
    m_Thread.join();
}

void KeyWatch::Next() {
    ::eventfd_write(m_Wake.Get(), 1);
}

short KeyWatch::Wait(bool forInput) {
    std::array<pollfd, 2> files{{{m_Wake.Get(), POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}}};
    ::poll(files.data(), forInput ? 2 : 1, -1);
    eventfd_t count = 0;
    if (files[0].revents != 0) ::eventfd_read(m_Wake.Get(), &count);
    return files[1].revents;
}

void KeyWatch::Watch() {
    while (!m_End) {
        const auto input = Wait(true);
        if (input == 0) continue;
        if ((input & POLLIN) == 0 || (input & POLLHUP) != 0) return m_Apartment.Post(m_Gone);
        m_Apartment.Post(m_Pressed);
        Wait(false);
    }
}

}  // namespace orvix::station
