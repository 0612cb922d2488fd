#include "imaging/ops/nearest_colour.h"

#include <algorithm>
#include <limits>
#include <numeric>

namespace quillmark::imaging {
namespace {

constexpr int kCellSide = 8;

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

NearestColour::NearestColour(const Palette& palette) : palette_{palette}, cells_(kCells) {
    std::vector<std::uint8_t> all(palette.size());
    std::iota(all.begin(), all.end(), std::uint8_t{0});
    divide({0, 0, 0}, 256, all);
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
    std::array<int, 256> nearest;
    int bound = std::numeric_limits<int>::max();
    for (std::size_t i = 0; i < among.size(); ++i) {
        const Reach reach = reach_of(palette_[among[i]], corner, side);
        nearest[i] = reach.nearest;
        bound = std::min(bound, reach.farthest);
    }
    std::array<std::uint8_t, 256> kept;
    std::size_t count = 0;
    for (std::size_t i = 0; i < among.size(); ++i)
        if (nearest[i] <= bound) kept[count++] = among[i];
    const auto rest = std::span<const std::uint8_t>{kept}.first(count);
    if (side == kCellSide || count == 1) return settle(corner, side, rest);
    const int half = side / 2;
    for (int part = 0; part < 8; ++part) {
        divide({corner[0] + (part & 1) * half, corner[1] + (part >> 1 & 1) * half,
                corner[2] + (part >> 2) * half},
               half, rest);
    }
}

// All cells of the cube have these candidates.
void NearestColour::settle(std::array<int, 3> corner, int side, std::span<const std::uint8_t> among) {
    const Cell entry{static_cast<std::uint32_t>(candidates_.size()),
                     static_cast<std::uint32_t>(among.size())};
    candidates_.insert(candidates_.end(), among.begin(), among.end());
    constexpr int kMiddle = kCellSide / 2;
    for (int r = corner[0]; r < corner[0] + side; r += kCellSide) {
        for (int g = corner[1]; g < corner[1] + side; g += kCellSide) {
            for (int b = corner[2]; b < corner[2] + side; b += kCellSide) {
                const auto cell = static_cast<std::size_t>(cell_of(r, g, b));
                cells_[cell] = entry;
                by_cell_[cell] = search(among, r + kMiddle, g + kMiddle, b + kMiddle);
            }
        }
    }
}

}  // namespace quillmark::imaging
