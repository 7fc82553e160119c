#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "host/variant.h"

static_assert(std::endian::native == std::endian::little, "stored numbers are copied as they lie in memory");

namespace orvix {

/// Walks stored bytes; every read is checked against what is left.
class ByteReader {
public:
    /// `contents` names the kind of bytes in errors.
    ByteReader(const char* contents, ByteView bytes, std::size_t at) : m_Contents(contents), m_Bytes(bytes), m_At(at) {}

    std::size_t At() const { return m_At; }
    std::size_t Left() const { return m_Bytes.size() - m_At; }

    /// Raises InvalidContents when fewer bytes are left.
    ByteView Bytes(std::uint64_t length) {
        if (length > Left()) RaiseShort(m_Contents, length, Left(), m_At);
        const ByteView bytes(m_Bytes.data() + m_At, static_cast<std::size_t>(length));
        m_At += bytes.size();
        return bytes;
    }

    template <class Number>
    Number Read() {
        Number value;
        std::memcpy(&value, Bytes(sizeof(value)).data(), sizeof(value));
        return value;
    }

    /// Raises InvalidContents with the kind of bytes, what is wrong, and at which byte.
    [[noreturn]] void RaiseInvalid(std::string_view what, std::size_t at) const { RaiseInvalid(m_Contents, what, at); }

private:
    // Of values and not of the reader, so that it can be kept in registers.
    [[noreturn]] static void RaiseInvalid(const char* contents, std::string_view what, std::size_t at);
    [[noreturn]] static void RaiseShort(const char* contents, std::uint64_t length, std::size_t left, std::size_t at);

    const char* m_Contents;
    ByteView m_Bytes;
    std::size_t m_At;
};

}  // namespace orvix
