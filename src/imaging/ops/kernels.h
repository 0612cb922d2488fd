// Filters of 3x3 pixels: sums of weighted neighbours, and what becomes of a sum.
#pragma once

#include <array>
#include <cstdint>

#include "imaging/bitmap.h"
#include "imaging/ops/context.h"

namespace quillmark::imaging {

/// Weights of the neighbours, row by row from the upper left. Their absolute values add up to 128 at most.
using Weights = std::array<std::int16_t, 9>;

/// What a scaled sum is added to.
enum class Base : std::uint8_t { pixel, middle };

/// Per channel, the border pixels repeated: the weighted sum, limited to the levels there are.
Result<Bitmap> clamped_kernel(const Bitmap& bitmap, const Weights& weights, const Context& context);
/// The sum without its sign, limited likewise.
Result<Bitmap> absolute_kernel(const Bitmap& bitmap, const Weights& weights, const Context& context);
/// The sum times factor / 65536 (rounded), added to the pixel itself or to the middle level (half of all
/// levels), limited likewise. |factor| is 2^20 at most.
Result<Bitmap> scaled_kernel(const Bitmap& bitmap, const Weights& weights, int factor, Base base,
                             const Context& context);
/// The length of the gradient whose parts are the differences across a pixel, smoothed by 1, centre, 1 along
/// the edge; rounded and limited likewise. centre: 1 or 2.
Result<Bitmap> gradient_length(const Bitmap& bitmap, int centre, const Context& context);

}  // namespace quillmark::imaging
