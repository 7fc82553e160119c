#include "station/door/token_book.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <sstream>

#include "host/error.h"
#include "host/text.h"
#include "platform/regular_file.h"

namespace orvix::station {
namespace {

constexpr std::size_t kLargestTokenFile = std::size_t{64} * 1024;
constexpr std::size_t kShortestToken = 16;
constexpr std::size_t kLongestToken = 128;
constexpr std::string_view kBearer = "Bearer ";

using Compared = std::array<unsigned char, kLongestToken>;

Compared InFull(std::string_view token) {
    Compared bytes{};
    std::copy_n(token.begin(), std::min(token.size(), bytes.size()), bytes.begin());
    return bytes;
}

/// Looks at all bytes, wherever the first difference is.
bool IsEqual(const Compared& a, const Compared& b) {
    unsigned difference = 0;
    for (std::size_t i = 0; i < a.size(); ++i)
        difference |= static_cast<unsigned>(a[i]) ^ static_cast<unsigned>(b[i]);
    return difference == 0;
}

bool IsToken(const std::string& text) {
    return text.size() >= kShortestToken && text.size() <= kLongestToken &&
           std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' && c <= '~'; });
}

void CheckOwner(const std::string& file) {
    const auto opened = platform::OpenRegularFile(file, O_RDONLY);
    struct stat status {};
    if (::fstat(opened.Get(), &status) != 0) throw SystemError(file, errno);
    if (status.st_uid != ::geteuid() && status.st_uid != 0) {
        throw Error(errors::General, file + ": the file of tokens belongs to another user");
    }
    if ((status.st_mode & 077U) != 0) {
        throw Error(errors::General,
                    file + ": the file of tokens must be accessible to its owner only: chmod 600 " + file);
    }
}

}  // namespace

TokenBook::TokenBook(const std::string& file) {
    CheckOwner(file);
    std::istringstream lines(BytesToText(platform::ReadRegularFile(file, kLargestTokenFile)));
    int number = 0;
    for (std::string line; std::getline(lines, line);) {
        ++number;
        std::istringstream words(line);
        std::string right;
        Token token{};
        std::string more;
        if (!(words >> right) || right.front() == '#') continue;
        token.May = right == "change" ? Right::Change : Right::Read;
        if ((right != "read" && right != "change") || !(words >> token.Text) || words >> more || !IsToken(token.Text)) {
            throw Error(errors::General, file + ":" + std::to_string(number) +
                                             ": write \"read TOKEN\" or \"change TOKEN\", with a token of 16 to 128 "
                                             "characters without blanks");
        }
        m_Tokens.push_back(token);
    }
    if (m_Tokens.empty()) throw Error(errors::General, file + ": there is no token in it");
}

Right TokenBook::RightOf(std::string_view token) const {
    auto right = Right::None;
    const auto asked = InFull(token);
    for (const auto& known : m_Tokens) {
        if (IsEqual(InFull(known.Text), asked) && token.size() <= kLongestToken) right = std::max(right, known.May);
    }
    return right;
}

std::string_view BearerToken(std::string_view authorization) {
    return authorization.starts_with(kBearer) ? authorization.substr(kBearer.size()) : std::string_view();
}

}  // namespace orvix::station
