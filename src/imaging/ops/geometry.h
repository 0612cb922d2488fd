// Mirrors and quarter turns: pixels move, values do not change.
#pragma once

#include "imaging/bitmap.h"

namespace quillmark::imaging {

/// Top and bottom exchanged. Identity: applying it twice.
Result<Bitmap> flip(const Bitmap& bitmap, const Limits& limits);
/// Left and right exchanged. Identity: applying it twice.
Result<Bitmap> reverse(const Bitmap& bitmap, const Limits& limits);
/// turns quarter turns clockwise (any integer; 4 is the identity). Odd turns exchange width and height.
Result<Bitmap> rotate_quarters(const Bitmap& bitmap, int turns, const Limits& limits);
/// The bitmap turned as its metadata asks, with the orientation reset to normal.
Result<Bitmap> apply_orientation(const Bitmap& bitmap, const Limits& limits);

}  // namespace quillmark::imaging
