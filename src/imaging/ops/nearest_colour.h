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
        const Cell cell = cells_[static_cast<std::size_t>(cell_of(r, g, b))];
        const std::uint8_t* const among = candidates_.data() + cell.first;
        return cell.count == 1 ? *among : search({among, cell.count}, r, g, b);
    }
    /// The entries that can be nearest to a colour of the cell, one or more, in the palette's order. Cells
    /// that share them give the same span.
    std::span<const std::uint8_t> candidates(int cell) const {
        const Cell entry = cells_[static_cast<std::size_t>(cell)];
        return {candidates_.data() + entry.first, entry.count};
    }
    /// The nearest entry to the middle of each cell.
    const std::array<std::uint8_t, kCells>& by_cell() const { return by_cell_; }

  private:
    std::uint8_t search(std::span<const std::uint8_t> among, int r, int g, int b) const;
    void divide(std::array<int, 3> corner, int side, std::span<const std::uint8_t> among);
    void settle(std::array<int, 3> corner, int side, std::span<const std::uint8_t> among);

    struct Cell {
        std::uint32_t first;  // of its entries among the candidates
        std::uint32_t count;
    };

    Palette palette_;
    std::vector<Cell> cells_;
    std::vector<std::uint8_t> candidates_;
    std::array<std::uint8_t, kCells> by_cell_{};
};

}  // namespace quillmark::imaging
