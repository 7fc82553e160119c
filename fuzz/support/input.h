#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace orvix::fuzz {

/// The bytes of a run, taken from the front. What is missing reads as zero or as empty.
class Input {
public:
    Input(const std::uint8_t* data, std::size_t size)
        : m_Left(size == 0 ? std::string_view() : std::string_view(reinterpret_cast<const char*>(data), size)) {}

    bool Empty() const { return m_Left.empty(); }

    std::uint8_t Byte() { return Empty() ? 0 : static_cast<std::uint8_t>(Text(1).front()); }
    std::string Text(std::size_t length) {
        const std::string text(m_Left.substr(0, length));
        m_Left.remove_prefix(text.size());
        return text;
    }
    /// A byte that tells a length, and so many bytes.
    std::string Piece() { return Text(Byte()); }
    /// Up to the next line feed, without it.
    std::string Line() {
        const std::string line = Text(std::min(m_Left.find('\n'), m_Left.size()));
        Text(1);
        return line;
    }
    std::string Rest() { return Text(m_Left.size()); }

private:
    std::string_view m_Left;
};

}  // namespace orvix::fuzz
