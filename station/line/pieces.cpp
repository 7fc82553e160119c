#include "station/line/pieces.h"

#include "devices/protocol/frame.h"

namespace orvix::station {
namespace {

bool MayBegin(std::string_view bytes, const ReplyLengths& lengths) {
    if (bytes.front() != kStartByte) return false;
    const auto length = FrameLength(bytes);
    if (length && bytes.size() >= *length) return false;
    const auto address = FrameAddress(bytes);
    if (!address) return true;
    const auto known = lengths.find(*address);
    return known != lengths.end() && (known->second == 0 || known->second == *length);
}

bool IsAnswer(std::string_view bytes, const ReplyLengths& lengths) {
    if (bytes.front() != kStartByte) return false;
    const auto reply = ParseReply(bytes);
    return (reply.error == errors::None || reply.error == errors::Refused) && lengths.contains(reply.address);
}

}  // namespace

bool IsRequest(std::string_view bytes) {
    if (FrameLength(bytes) != bytes.size()) return false;
    const auto request = ParseRequest(bytes);
    return request && request->payload.empty();
}

bool HasHeadOf(int address, std::string_view bytes, const ReplyLengths& lengths) {
    const auto known = lengths.find(address);
    return !bytes.empty() && bytes.front() == kStartByte && FrameAddress(bytes) == address && known != lengths.end() &&
           FrameLength(bytes) == known->second;
}

Piece FirstPiece(std::string_view bytes, const ReplyLengths& lengths) {
    if (MayBegin(bytes, lengths)) return {Piece::Kind::Begun, FrameAddress(bytes).value_or(0), bytes};
    if (const auto length = FrameLength(bytes);
        length && *length <= bytes.size() && IsRequest(bytes.substr(0, *length)))
        return {Piece::Kind::Request, 0, bytes.substr(0, *length)};
    if (!IsAnswer(bytes, lengths)) return {Piece::Kind::Stray, 0, bytes.substr(0, 1)};
    return {Piece::Kind::Answer, *FrameAddress(bytes), bytes.substr(0, *FrameLength(bytes))};
}

std::vector<Piece> CutIntoPieces(std::string_view bytes, const ReplyLengths& lengths) {
    std::vector<Piece> pieces;
    while (!bytes.empty()) {
        const auto piece = FirstPiece(bytes, lengths);
        bytes.remove_prefix(piece.Bytes.size());
        const bool goesOn =
            piece.What == Piece::Kind::Stray && !pieces.empty() && pieces.back().What == Piece::Kind::Stray;
        if (!goesOn) {
            pieces.push_back(piece);
            continue;
        }
        auto& stray = pieces.back().Bytes;
        stray = {stray.data(), stray.size() + 1};
    }
    return pieces;
}

}  // namespace orvix::station
