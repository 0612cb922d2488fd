// Mirrors and quarter turns: pixels move, values do not change.
#pragma once

#include "imaging/bitmap.h"
#include "imaging/ops/context.h"

namespace quillmark::imaging {

// All of these: a new bitmap of the same depth and palette; faults: malformed (no image), too_large,
// out_of_memory, cancelled.

/// Top and bottom exchanged. Identity: applying it twice.
Result<Bitmap> flip(const Bitmap& bitmap, const Context& context);
/// Left and right exchanged. Identity: applying it twice.
Result<Bitmap> reverse(const Bitmap& bitmap, const Context& context);
/// turns quarter turns clockwise (any integer; 4 is the identity). Odd turns exchange width and height, and
/// the resolution's directions.
Result<Bitmap> rotate_quarters(const Bitmap& bitmap, int turns, const Context& context);
/// The bitmap turned as its metadata asks, with the orientation reset to normal.
Result<Bitmap> apply_orientation(const Bitmap& bitmap, const Limits& limits);

}  // namespace quillmark::imaging
