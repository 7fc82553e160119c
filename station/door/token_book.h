#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "station/door/question.h"

namespace orvix::station {

/// Who may do what: the tokens of a file, one per line, "read TOKEN" or "change TOKEN"; lines that are empty or begin
/// with "#" say nothing. A token has 16 to 128 printable characters of ASCII.
class TokenBook {
public:
    TokenBook() = default;
    /// Raises Error, which names file and line but no token, for a file that anybody but its owner may read, that
    /// belongs to another user, or in which something else stands.
    explicit TokenBook(const std::string& file);

    /// None for a token that is not there. Takes as long for a wrong one as for a right one.
    Right RightOf(std::string_view token) const;

private:
    struct Token {
        Right May;
        std::string Text;
    };
    std::vector<Token> m_Tokens;
};

/// The token of the header "Authorization"; empty when there is none.
std::string_view BearerToken(std::string_view authorization);

}  // namespace orvix::station
