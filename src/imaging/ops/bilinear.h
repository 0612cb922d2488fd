// Samples between pixels: the inner loops of free turns and shears.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace quillmark::imaging {

/// A walk through an image. Coordinates count pixels in units of 1/65536, relative to the pixel at origin;
/// (0, 0) is that pixel's centre.
struct Walk {
    const std::uint8_t* origin;
    std::ptrdiff_t stride;  ///< bytes from row to row
    std::int32_t u, v;      ///< of the first sample
    std::int32_t du, dv;    ///< from sample to sample
};

enum class Samples : std::uint8_t { gray8, gray16, rgb24, rgba32 };

/// count samples, each blended of the four pixels around it, to out. All four lie in the image; of rgb24 also
/// the two bytes after the right ones. Weights have 14 bits a direction, results are rounded. rgba32 is
/// weighted by alpha, so that transparent pixels lend no colour.
void sample_walk(Samples form, const Walk& walk, std::uint8_t* out, int count);

/// One sample of four given pixels (top left, top right, bottom left, bottom right), equal to what
/// sample_walk gives. u and v: the fractions, 0 to 65535.
void sample_pixels(Samples form, const std::array<const std::uint8_t*, 4>& pixels, int u, int v,
                   std::uint8_t* out);

namespace plain {
/// The plain twin, for the tests.
void sample_walk(Samples form, const Walk& walk, std::uint8_t* out, int count);
}  // namespace plain

}  // namespace quillmark::imaging
