#include "station/sink/screen/trend.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <vector>

namespace orvix::station {
namespace {

constexpr int kLevels = 7;
constexpr const char* kBlocks[kLevels] = {"▁", "▂", "▃", "▄", "▅", "▆", "▇"};
constexpr const char* kCharacters[kLevels] = {"_", ".", ":", "-", "=", "+", "#"};

// Less than this between the lowest and the highest is no movement to be seen, in degrees Celsius.
constexpr double kLeastSpan = 0.5;

/// What a trend line shows of a reading, or nothing of one that failed.
using Height = std::optional<double>;

/// 0 where the inputs are as they were, 1 where not; temperatures as they are.
std::vector<Height> HeightsOf(const std::deque<ReadingValue>& values) {
    std::vector<Height> heights;
    std::optional<std::int32_t> before;
    for (const auto& value : values) {
        if (const auto* degrees = std::get_if<double>(&value)) {
            heights.emplace_back(*degrees);
        } else if (const auto* inputs = std::get_if<std::int32_t>(&value)) {
            heights.emplace_back(before && *before != *inputs ? 1 : 0);
            before = *inputs;
        } else {
            heights.emplace_back();
        }
    }
    return heights;
}

struct Scale {
    double Low = std::numeric_limits<double>::infinity();
    double High = -std::numeric_limits<double>::infinity();

    void Take(const Height& height) {
        if (!height || !std::isfinite(*height)) return;
        Low = std::min(Low, *height);
        High = std::max(High, *height);
    }
    /// A small span is shown in the middle.
    int LevelOf(double value) const {
        const double span = std::max(High - Low, kLeastSpan);
        const double share = (value - (Low + High - span) / 2) / span;
        return std::clamp(static_cast<int>(std::lround(share * (kLevels - 1))), 0, kLevels - 1);
    }
};

}  // namespace

void Trend::Take(const ReadingValue& value) {
    m_Values.push_back(value);
    if (m_Values.size() > kMostReadings) m_Values.pop_front();
}

std::string Trend::Text(std::size_t columns, bool blocks) const {
    auto heights = HeightsOf(m_Values);
    if (heights.size() > columns) heights.erase(heights.begin(), heights.end() - static_cast<std::ptrdiff_t>(columns));
    Scale scale;
    const bool areInputs = std::any_of(m_Values.begin(), m_Values.end(), [](const ReadingValue& value) {
        return std::holds_alternative<std::int32_t>(value);
    });
    if (areInputs) scale = {0, 1};
    for (const auto& height : heights)
        scale.Take(height);
    std::string text;
    for (const auto& height : heights) {
        if (!height || !std::isfinite(*height)) {
            text += blocks ? "×" : "x";
        } else {
            text += (blocks ? kBlocks : kCharacters)[scale.LevelOf(*height)];
        }
    }
    return text;
}

}  // namespace orvix::station
