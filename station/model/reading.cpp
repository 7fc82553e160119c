#include "station/model/reading.h"

#include <algorithm>

namespace orvix::station {

std::string NameOf(std::int32_t varID) {
    for (const auto& known : kVariableNames) {
        if (known.VarID == varID) return known.Name;
    }
    return {};
}

const char* NameOf(Quality quality) {
    switch (quality) {
        case Quality::Good:
            return "good";
        case Quality::Doubtful:
            return "doubtful";
        case Quality::Stale:
            return "stale";
        default:
            return "offline";
    }
}

const char* NameOf(Doubt doubt) {
    switch (doubt) {
        case Doubt::OutOfRange:
            return "not plausible";
        case Doubt::PowerOnValue:
            return "85 degrees, as before a first measurement";
        case Doubt::Jump:
            return "a jump that was not confirmed";
        case Doubt::ReplyCode:
            return "an unusual reply code";
        case Doubt::OuterChecksum:
            return "wrong outer checksum";
        default:
            return "";
    }
}

std::string SerialText(const std::string& raw) {
    const auto printable = [](char c) { return c >= ' ' && c <= '~'; };
    if (std::all_of(raw.begin(), raw.end(), printable)) return raw;
    constexpr char digits[] = "0123456789abcdef";
    std::string text;
    for (const char c : raw) {
        const auto byte = static_cast<unsigned char>(c);
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text;
}

}  // namespace orvix::station
