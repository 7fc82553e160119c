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
        Answer,   ///< the whole answer of an address that may answer
        Begun,    ///< the first bytes of such an answer, up to the end of what has come
        Request,  ///< a whole request, which nobody but another master sends
        Stray,    ///< bytes that are nothing of these
    };
    Kind What = Kind::Stray;
    int Address = 0;  ///< of Answer, and of Begun when so much of it has come; else 0
    std::string_view Bytes;
};

/// Whether bytes are one whole request. No device answers so: a request has no payload, and an answer has one.
bool IsRequest(std::string_view bytes);

/// Whether bytes begin as an answer of an address does whose answers have a known length.
bool HasHeadOf(int address, std::string_view bytes, const ReplyLengths& lengths);

/// The piece that bytes, of which there is one at least, begin with; stray bytes one by one.
Piece FirstPiece(std::string_view bytes, const ReplyLengths& lengths);

/// All pieces of what has come, in order.
std::vector<Piece> CutIntoPieces(std::string_view bytes, const ReplyLengths& lengths);

}  // namespace orvix::station
