#pragma once

#include <cstddef>
#include <map>
#include <string_view>
#include <vector>

namespace orvix::station {

/// The addresses that may answer on a line, each with the length of its answers; 0 while that is not known.
using ReplyLengths = std::map<int, std::size_t>;

/// Bytes off a line that belong together.
struct Piece {
    enum class Kind {
        Answer,  ///< the whole answer of an address that may answer
        Begun,   ///< the first bytes of such an answer, up to the end of what has come
        Stray,   ///< bytes that are neither
    };
    Kind What = Kind::Stray;
    int Address = 0;  ///< of Answer, and of Begun when so much of it has come
    std::string_view Bytes;
};

/// The piece that bytes, of which there is one at least, begin with; stray bytes one by one.
Piece FirstPiece(std::string_view bytes, const ReplyLengths& lengths);

/// All pieces of what has come, in order.
std::vector<Piece> CutIntoPieces(std::string_view bytes, const ReplyLengths& lengths);

}  // namespace orvix::station
