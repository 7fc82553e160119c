#pragma once

#include <string>
#include <vector>

namespace orvix::station {

/// What a piece of text is to stand out as; the terminal decides how.
enum class Style { Plain, Dim, Heading, Good, Warning, Bad, Trend };

struct Span {
    std::string Text;
    Style Look = Style::Plain;

    bool operator==(const Span&) const = default;
};

/// A line of the screen, left to right.
using StyledLine = std::vector<Span>;

}  // namespace orvix::station
