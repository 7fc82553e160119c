#include "platform/random_text.h"

#include <sys/random.h>

#include <cerrno>
#include <string_view>

#include "host/error.h"

namespace orvix::platform {

std::string RandomText(std::size_t length) {
    constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
    constexpr unsigned kSixBits = 0x3F;
    std::string text;
    while (text.size() < length) {
        unsigned char byte = 0;
        if (::getrandom(&byte, 1, 0) != 1) {
            if (errno == EINTR) continue;
            throw SystemError("random numbers", errno);
        }
        // Values beyond the alphabet are drawn again, so that every character is equally likely.
        const std::size_t index = byte & kSixBits;
        if (index < kAlphabet.size()) text += kAlphabet[index];
    }
    return text;
}

}  // namespace orvix::platform
