#pragma once

#include "station/report/pdf_canvas.h"

namespace orvix::station {

// What the pages of all documents have in common: A4 upright, and the colours of text and lines.

inline constexpr double kPageWidth = 595.28;
inline constexpr double kPageHeight = 841.89;
inline constexpr double kFooterHeight = 22;

inline constexpr Color kInk{0.10, 0.11, 0.13};
inline constexpr Color kMuted{0.42, 0.44, 0.48};
inline constexpr Color kRule{0.60, 0.62, 0.66};

}  // namespace orvix::station
