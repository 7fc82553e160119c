#include "host/byte_reader.h"

#include <string>

#include "host/error.h"

namespace orvix {

void ByteReader::RaiseInvalid(const char* contents, std::string_view what, std::size_t at) {
    throw Error(errors::InvalidContents,
                std::string(contents) + ": " + std::string(what) + " at byte " + std::to_string(at));
}

void ByteReader::RaiseShort(const char* contents, std::uint64_t length, std::size_t left, std::size_t at) {
    RaiseInvalid(contents, std::to_string(length) + " bytes needed, " + std::to_string(left) + " left", at);
}

}  // namespace orvix
