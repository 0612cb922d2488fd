// Palette indices, whatever their layout, and their colours; greys of palettes.
#pragma once

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <span>

#include "imaging/bitmap.h"

namespace quillmark::imaging {

/// Whether pixels are indices into a palette.
inline bool has_palette(const Bitmap& bitmap) {
    return bitmap.layout() == Layout::bit1 || bitmap.layout() == Layout::index8;
}

/// The colour of an index: black beyond the palette's end.
inline Rgba colour_of(const Palette& palette, std::size_t index) {
    return index < palette.size() ? palette[index] : Rgba{};
}

/// Writes one index a byte (0 or 1 for bit1) to the pixels [first, first + indices.size()) of row y; first is
/// a multiple of 8. Bits beyond the last pixel of a byte become 0.
inline void put_indices(Bitmap& bitmap, int y, int first, std::span<const std::uint8_t> indices) {
    std::uint8_t* const row = bitmap.writable_row(y).data();
    if (bitmap.layout() != Layout::bit1) {
        std::memcpy(row + first, indices.data(), indices.size());
        return;
    }
    std::uint8_t* to = row + first / 8;
    for (std::size_t i = 0; i < indices.size(); i += 8) {
        unsigned bits = 0;
        const std::size_t count = std::min<std::size_t>(8, indices.size() - i);
        for (std::size_t k = 0; k < count; ++k) bits |= static_cast<unsigned>(indices[i + k]) << (7 - k);
        *to++ = static_cast<std::uint8_t>(bits);
    }
}

/// The entry of a palette of greys (1 to 256) that is nearest to each level, the first of equally near ones.
inline std::array<std::uint8_t, 256> nearest_greys(const Palette& palette) {
    std::array<std::uint8_t, 256> nearest{};
    for (int v = 0; v < 256; ++v) {
        const auto distance = [v](const Rgba& c) { return std::abs(c.r - v); };
        const auto best = std::ranges::min_element(palette, {}, distance);
        nearest[static_cast<std::size_t>(v)] = static_cast<std::uint8_t>(best - palette.begin());
    }
    return nearest;
}

inline bool all_grey(const Palette& palette) {
    return std::ranges::all_of(palette, [](const Rgba& c) { return c.r == c.g && c.g == c.b; });
}

}  // namespace quillmark::imaging
