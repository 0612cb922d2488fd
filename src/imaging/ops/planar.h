// Pixels taken apart into channels and put together again: loops over separate channels vectorise.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "imaging/bitmap.h"

namespace quillmark::imaging {

/// count pixels R,G,B to three rows of count bytes.
void split_rgb(const std::uint8_t* in, std::uint8_t* r, std::uint8_t* g, std::uint8_t* b, std::size_t count);

namespace plain {
/// The plain twin, for the tests.
void split_rgb(const std::uint8_t* in, std::uint8_t* r, std::uint8_t* g, std::uint8_t* b, std::size_t count);
}  // namespace plain

/// Some pixels of a row by channel; small enough for the first-level cache.
struct PlanarPixels {
    static constexpr int kCapacity = 1024;
    using Channel = std::array<std::uint8_t, kCapacity>;
    alignas(64) Channel r, g, b, a;
};

/// Pixels [first, first + count) of row y, count <= kCapacity. Every layout: palettes are looked up, 12- and
/// 16-bit greys brought to 8 bits. Alpha is filled for rgba32 only.
void split_pixels(const Bitmap& bitmap, int y, int first, int count, PlanarPixels& out);
/// A value for each palette index; indices beyond the palette have those of black.
using LevelTable = std::array<std::uint8_t, 256>;
/// The table's values for the pixels [first, first + out.size()) of row y of a palette image.
void look_up_pixels(const Bitmap& bitmap, int y, int first, std::span<std::uint8_t> out,
                    const LevelTable& table);
/// count pixels to R,G,B (channels 3) or R,G,B,A (4).
void join_pixels(const PlanarPixels& in, std::uint8_t* out, int count, int channels);

/// Calls body(first, count) for pieces of a row of width pixels, each of kCapacity pixels at most.
template <typename Body>
void for_pieces(int width, Body body) {
    for (int first = 0; first < width; first += PlanarPixels::kCapacity)
        body(first, width - first < PlanarPixels::kCapacity ? width - first : PlanarPixels::kCapacity);
}

}  // namespace quillmark::imaging
