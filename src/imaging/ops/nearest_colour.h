// The nearest entry of a palette, for any colour.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "imaging/bitmap.h"

namespace quillmark::imaging {

/// Distances are Euclidean in R, G, B; of entries equally near, the first is taken. The colour cube is cut
/// into 32 x 32 x 32 cells, each with the entries that can be nearest to any of its colours.
class NearestColour {
  public:
    /// palette holds 1 to 256 entries.
    explicit NearestColour(const Palette& palette);

    static constexpr int kCells = 32 * 32 * 32;
    static int cell_of(int r, int g, int b) { return (r >> 3) << 10 | (g >> 3) << 5 | b >> 3; }

    /// The nearest entry to the colour itself.
    std::uint8_t exact(int r, int g, int b) const {
        const auto cell = static_cast<std::size_t>(cell_of(r, g, b));
        const std::uint32_t first = starts_[cell], last = starts_[cell + 1];
        return last - first == 1 ? candidates_[first] : search({&candidates_[first], last - first}, r, g, b);
    }
    /// The nearest entry to the middle of each cell.
    const std::array<std::uint8_t, kCells>& by_cell() const { return by_cell_; }

  private:
    std::uint8_t search(std::span<const std::uint8_t> among, int r, int g, int b) const;
    void divide(std::array<int, 3> corner, int side, std::span<const std::uint8_t> among);

    Palette palette_;
    std::vector<std::vector<std::uint8_t>> lists_;  // by cell, while they are worked out
    std::vector<std::uint32_t> starts_;             // by cell, into candidates_
    std::vector<std::uint8_t> candidates_;
    std::array<std::uint8_t, kCells> by_cell_{};
};

}  // namespace quillmark::imaging
