// Luminance: greys out of colours.
#pragma once

#include <cstdint>
#include <span>

#include "imaging/bitmap.h"
#include "imaging/ops/context.h"
#include "imaging/ops/planar.h"

namespace quillmark::imaging {

/// The luminance (ITU-R BT.601) of a bitmap as 8-bit grey with the plain grey palette, or as 12- or 16-bit
/// grey with white at 2^bits - 1. Greys of 12 and 16 bits lose no more than the bits that go; alpha is
/// dropped. A bitmap that already is what is asked for is returned sharing its pixels.
/// Faults: malformed (no image), too_large, out_of_memory, cancelled.
Result<Bitmap> grayscale(const Bitmap& bitmap, int bits, const Context& context);

/// 8-bit luminance of the pixels [first, first + out.size()) of row y, in any layout. palette_levels:
/// luminance_of(bitmap.palette()).
void luminance_row(const Bitmap& bitmap, int y, int first, std::span<std::uint8_t> out,
                   const LevelTable& palette_levels);
LevelTable luminance_of(const Palette& palette);

}  // namespace quillmark::imaging
