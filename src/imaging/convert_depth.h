// From one depth to another: the one place where pixels change their layout.
#pragma once

#include "imaging/bitmap.h"
#include "imaging/ops/context.h"

namespace quillmark::imaging {

/// A copy of bitmap at bits per pixel: 1 to 8 (an existing palette that fits is kept, greys stay grey, other
/// colours are reduced to an optimised palette with error diffusion), 12 (grey), 16 (5-6-5 colour, or grey
/// when the bitmap is grey), 24, 32. The same depth returns a shared copy. Alpha is dropped (not blended)
/// below 32. Faults: unsupported (another depth), too_large, out_of_memory,
/// cancelled.
Result<Bitmap> convert_depth(const Bitmap& bitmap, int bits, const Limits& limits,
                             const Progress& progress = {});

/// Whether the bitmap has a palette and uses none of its entries from 2^bits on.
bool own_palette_fits(const Bitmap& bitmap, int bits);

/// One row as R, G, B bytes: out holds 3 bytes a pixel for pixels [first, first + out.size() / 3). gray16 is
/// scaled to 8 bits; alpha is ignored.
void row_to_rgb(const Bitmap& bitmap, int y, int first, std::span<std::uint8_t> out);
/// The same as R, G, B, A.
void row_to_rgba(const Bitmap& bitmap, int y, int first, std::span<std::uint8_t> out);

}  // namespace quillmark::imaging
