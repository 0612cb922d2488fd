// The nearest palette entries of many pixels: the exact search over each cell's candidates, eight at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "imaging/ops/nearest_colour.h"

namespace quillmark::imaging {

class NearestRows {
  public:
    explicit NearestRows(const Palette& palette);

    /// The nearest entries of count pixels (bytes R, G, B), equal to those of NearestColour::exact.
    void find(const std::uint8_t* rgb, std::size_t count, std::uint8_t* out) const;

  private:
    // Eight candidates. |p - c|^2 is least where |c|^2 - 2 p c is.
    struct alignas(64) Group {
        std::int32_t red_green[8];  // red | green << 16
        std::int32_t rest[8];       // |c|^2 << 8 | blue
    };
    struct Cell {
        std::uint32_t first;  // of its groups
        std::uint32_t count;  // of its groups; 0: a single candidate, whose index first is
    };

    void add_groups(std::span<const std::uint8_t> among, const Palette& palette);
    void find_wide(const std::uint8_t* rgb, std::size_t count, std::uint8_t* out) const;

    NearestColour nearest_;
    std::vector<Cell> cells_;
    std::vector<Group> groups_;
    std::vector<std::uint8_t> indices_;  // of the groups' candidates
};

}  // namespace quillmark::imaging
