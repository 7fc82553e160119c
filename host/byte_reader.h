#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

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
        if (length > Left()) RaiseShort(length);
        const ByteView bytes = m_Bytes.subspan(m_At, static_cast<std::size_t>(length));
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
    [[noreturn]] void RaiseInvalid(const std::string& what, std::size_t at) const;

private:
    [[noreturn]] void RaiseShort(std::uint64_t length) const;

    const char* m_Contents;
    ByteView m_Bytes;
    std::size_t m_At;
};

}  // namespace orvix
