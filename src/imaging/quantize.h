// Reducing colours: an optimised palette and error diffusion onto a palette.
#pragma once

#include "imaging/bitmap.h"
#include "imaging/ops/context.h"

namespace quillmark::imaging {

/// The palette of an image with at most limit different opaque colours (2 to 256), in order of first
/// appearance; empty when there are more. Faults: cancelled.
Result<Palette> exact_palette(const Bitmap& bitmap, int limit, const Progress& progress = {});

/// Up to count colours (2 to 256) that represent the image: boxes of a histogram of 5 bits a channel, cut
/// where the squared error lessens most (X. Wu, Efficient statistical computations for optimal color
/// quantization, 1991), each box giving its mean. Faults: cancelled.
Result<Palette> optimised_palette(const Bitmap& bitmap, int count, const Progress& progress = {});

/// The image on palette at bits per pixel (1 to 8, palette.size() <= 2^bits). diffuse: errors are spread to
/// the neighbours (Floyd and Steinberg, 1976), else each pixel takes the nearest colour; ops/dither.h says
/// how. Faults: malformed (no image), too_large, out_of_memory, cancelled.
Result<Bitmap> map_to_palette(const Bitmap& bitmap, const Palette& palette, int bits, bool diffuse,
                              const Limits& limits, const Progress& progress = {});

}  // namespace quillmark::imaging
