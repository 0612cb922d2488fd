#include "imaging/ops/nearest_colour.h"

#include <algorithm>
#include <limits>
#include <numeric>

namespace quillmark::imaging {
namespace {

std::array<int, 3> channels(const Rgba& c) { return {c.r, c.g, c.b}; }

int square(int value) { return value * value; }

struct Reach {
    int nearest, farthest;  // squared distances to a cube's closest and remotest colour
};

Reach reach_of(const Rgba& entry, const std::array<int, 3>& corner, int side) {
    Reach reach{0, 0};
    const auto at = channels(entry);
    for (std::size_t c = 0; c < 3; ++c) {
        const int below = corner[c] - at[c], above = at[c] - (corner[c] + side - 1);
        reach.nearest += square(std::max({below, above, 0}));
        reach.farthest += square(std::max(-below, -above));
    }
    return reach;
}

}  // namespace

NearestColour::NearestColour(const Palette& palette) : palette_{palette}, lists_(kCells) {
    std::vector<std::uint8_t> all(palette.size());
    std::iota(all.begin(), all.end(), std::uint8_t{0});
    divide({0, 0, 0}, 256, all);
    starts_.reserve(kCells + 1);
    for (std::size_t cell = 0; cell < lists_.size(); ++cell) {
        starts_.push_back(static_cast<std::uint32_t>(candidates_.size()));
        candidates_.insert(candidates_.end(), lists_[cell].begin(), lists_[cell].end());
        const int at = static_cast<int>(cell);
        by_cell_[cell] = search(lists_[cell], at >> 10 << 3 | 4, (at >> 5 & 31) << 3 | 4, (at & 31) << 3 | 4);
    }
    starts_.push_back(static_cast<std::uint32_t>(candidates_.size()));
    lists_ = {};
}

std::uint8_t NearestColour::search(std::span<const std::uint8_t> among, int r, int g, int b) const {
    std::uint8_t best = 0;
    int best_distance = std::numeric_limits<int>::max();
    for (const std::uint8_t i : among) {
        const Rgba& c = palette_[i];
        const int distance = square(c.r - r) + square(c.g - g) + square(c.b - b);
        if (distance < best_distance) best = i, best_distance = distance;
    }
    return best;
}

// Entries farther from all of the cube than another one from any of it drop out; then the eight parts.
void NearestColour::divide(std::array<int, 3> corner, int side, std::span<const std::uint8_t> among) {
    int bound = std::numeric_limits<int>::max();
    for (const std::uint8_t i : among) bound = std::min(bound, reach_of(palette_[i], corner, side).farthest);
    std::vector<std::uint8_t> kept;
    for (const std::uint8_t i : among)
        if (reach_of(palette_[i], corner, side).nearest <= bound) kept.push_back(i);
    if (side == 8) {
        lists_[static_cast<std::size_t>(cell_of(corner[0], corner[1], corner[2]))] = std::move(kept);
        return;
    }
    const int half = side / 2;
    for (int part = 0; part < 8; ++part)
        divide({corner[0] + (part & 1) * half, corner[1] + (part >> 1 & 1) * half,
                corner[2] + (part >> 2) * half},
               half, kept);
}

}  // namespace quillmark::imaging
