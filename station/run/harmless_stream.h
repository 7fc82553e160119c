#pragma once

#include <ostream>
#include <streambuf>
#include <string>
#include <string_view>

namespace orvix::station {

/// While it lives, all that is written to a stream is made harmless on its way (see Harmless), whoever writes it and
/// wherever it comes from: a device, a file, an argument. What is meant to steer the terminal is written by Steer.
class HarmlessStream {
public:
    /// The stream must outlive this.
    explicit HarmlessStream(std::ostream& stream);
    ~HarmlessStream();
    HarmlessStream(const HarmlessStream&) = delete;
    HarmlessStream& operator=(const HarmlessStream&) = delete;

private:
    friend void Steer(std::ostream& stream, std::string_view sequence);

    class Buffer : public std::streambuf {
    public:
        explicit Buffer(std::streambuf& inner) : m_Inner(inner) {}
        std::streambuf& Inner() { return m_Inner; }

    private:
        int_type overflow(int_type character) override;
        std::streamsize xsputn(const char* text, std::streamsize size) override;
        int sync() override;
        bool Write(std::string_view text);

        std::streambuf& m_Inner;
        std::string m_Begun;  ///< a character, or an end of line, of which the rest is still to come
    };

    std::ostream& m_Stream;
    Buffer m_Buffer;
};

/// Writes a sequence that steers the terminal, as it is, and flushes.
void Steer(std::ostream& stream, std::string_view sequence);

}  // namespace orvix::station
