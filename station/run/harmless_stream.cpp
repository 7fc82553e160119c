#include "station/run/harmless_stream.h"

#include "host/characters.h"

namespace orvix::station {

HarmlessStream::HarmlessStream(std::ostream& stream) : m_Stream(stream), m_Buffer(*stream.rdbuf()) {
    stream.rdbuf(&m_Buffer);
}

HarmlessStream::~HarmlessStream() {
    m_Buffer.pubsync();
    m_Stream.rdbuf(&m_Buffer.Inner());
}

bool HarmlessStream::Buffer::Write(std::string_view text) {
    const auto size = static_cast<std::streamsize>(text.size());
    return m_Inner.sputn(text.data(), size) == size;
}

std::streambuf::int_type HarmlessStream::Buffer::overflow(int_type character) {
    if (traits_type::eq_int_type(character, traits_type::eof())) return traits_type::not_eof(character);
    const char c = traits_type::to_char_type(character);
    return xsputn(&c, 1) == 1 ? character : traits_type::eof();
}

std::streamsize HarmlessStream::Buffer::xsputn(const char* text, std::streamsize size) {
    const std::string_view whole(text, static_cast<std::size_t>(size));
    if (m_Begun.empty() && HarmlessLength(whole) == whole.size()) return Write(whole) ? size : 0;
    m_Begun += whole;
    const auto begun = m_Begun.ends_with('\r') ? 1 : BegunCharacter(m_Begun);
    const auto ready = m_Begun.size() - begun;
    const bool isWritten = Write(Harmless(std::string_view(m_Begun).substr(0, ready)));
    m_Begun.erase(0, ready);
    return isWritten ? size : 0;
}

int HarmlessStream::Buffer::sync() {
    const bool isWritten = Write(Harmless(m_Begun));
    m_Begun.clear();
    return isWritten ? m_Inner.pubsync() : -1;
}

void Steer(std::ostream& stream, std::string_view sequence) {
    stream.flush();
    auto* buffer = dynamic_cast<HarmlessStream::Buffer*>(stream.rdbuf());
    std::ostream(buffer == nullptr ? stream.rdbuf() : &buffer->Inner()) << sequence << std::flush;
}

}  // namespace orvix::station
