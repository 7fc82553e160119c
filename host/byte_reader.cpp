#include "host/byte_reader.h"

#include "host/error.h"

namespace orvix {

void ByteReader::RaiseInvalid(const std::string& what, std::size_t at) const {
    throw Error(errors::InvalidContents, std::string(m_Contents) + ": " + what + " at byte " + std::to_string(at));
}

void ByteReader::RaiseShort(std::uint64_t length) const {
    RaiseInvalid(std::to_string(length) + " bytes needed, " + std::to_string(Left()) + " left", m_At);
}

}  // namespace orvix
