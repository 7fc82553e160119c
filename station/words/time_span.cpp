#include "station/words/time_span.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iterator>

namespace orvix::station {
namespace {

struct SpanUnit {
    std::string_view Name;
    double Milliseconds;
};

constexpr double kMillisecondsADay = 24 * 3'600'000.0;

// The largest first, as in a sum.
constexpr SpanUnit kSpanUnits[] = {{"y", 365 * kMillisecondsADay},
                                   {"w", 7 * kMillisecondsADay},
                                   {"d", kMillisecondsADay},
                                   {"h", 3'600'000},
                                   {"m", 60'000},
                                   {"s", 1000},
                                   {"ms", 1}};

/// How long the number at the beginning is; digits, with a point between two of them or none.
std::size_t NumberLength(std::string_view text) {
    constexpr char kDigits[] = "0123456789";
    const auto whole = std::min(text.find_first_not_of(kDigits), text.size());
    if (whole == 0 || whole == text.size() || text[whole] != '.') return whole;
    const auto end = std::min(text.find_first_not_of(kDigits, whole + 1), text.size());
    return end == whole + 1 ? 0 : end;
}

}  // namespace

std::optional<std::chrono::milliseconds> ParseTimeSpan(std::string_view text) {
    const auto longest = static_cast<double>(std::chrono::milliseconds(kLongestTimeSpan).count());
    double sum = 0;
    const auto* unit = std::begin(kSpanUnits);
    if (text.empty()) return std::nullopt;
    while (!text.empty()) {
        const auto length = NumberLength(text);
        double count = 0;
        if (length == 0 || std::from_chars(text.data(), text.data() + length, count).ec != std::errc()) return {};
        text.remove_prefix(length);
        const auto name = text.substr(0, text.find_first_of("0123456789."));
        while (unit != std::end(kSpanUnits) && unit->Name != name)
            ++unit;
        if (unit == std::end(kSpanUnits)) return std::nullopt;
        sum += count * unit->Milliseconds;
        if (!(sum <= longest)) return std::nullopt;
        ++unit;
        text.remove_prefix(name.size());
    }
    return std::chrono::milliseconds(std::llround(sum));
}

}  // namespace orvix::station
