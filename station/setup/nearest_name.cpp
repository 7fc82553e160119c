#include "station/setup/nearest_name.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace orvix::station {
namespace {

/// How many letters to change, put in or leave out to make one text of the other.
std::size_t Distance(const std::string& a, const std::string& b) {
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < a.size(); ++i) {
        auto diagonal = row[0]++;
        for (std::size_t j = 0; j < b.size(); ++j) {
            const auto changed = diagonal + (a[i] == b[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({changed, diagonal + 1, row[j] + 1});
        }
    }
    return row.back();
}

}  // namespace

std::string NearestName(const std::string& key, const std::vector<std::string>& names) {
    // With more than half of its letters to be changed, a key means something else.
    const auto most = (key.size() + 1) / 2;
    std::string nearest;
    // Among equally near names, the one that begins like the key is meant.
    auto best = std::pair(most + 1, std::size_t{0});
    for (const auto& name : names) {
        const auto likeness = std::mismatch(key.begin(), key.end(), name.begin(), name.end());
        const auto unlike = static_cast<std::size_t>(key.end() - likeness.first);
        const auto rank = std::pair(Distance(key, name), unlike);
        if (rank >= best) continue;
        best = rank;
        nearest = name;
    }
    return nearest;
}

}  // namespace orvix::station
