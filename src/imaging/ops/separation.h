// An image as the planes of a colour model, each an 8-bit grey image.
#pragma once

#include <vector>

#include "imaging/bitmap.h"
#include "imaging/ops/context.h"

namespace quillmark::imaging {

enum class Separation : int { rgb = 0, cmyk = 1, hsv = 2, hls = 3, cmy = 4 };

/// How many planes a separation has, and in which order: rgb blue, green, red; cmyk cyan, magenta, yellow,
/// black; hsv hue, saturation, value; hls hue, lightness, saturation; cmy cyan, magenta, yellow.
int plane_count(Separation kind);

/// The planes of the whole image: 8-bit grey, of its size. 255 is full ink, full saturation, full value; hue
/// 0 to 255 stands for 0 up to 360 degrees. Faults: malformed (no image), too_large, out_of_memory,
/// cancelled.
Result<std::vector<Bitmap>> separate(const Bitmap& bitmap, Separation kind, const Context& context);

/// The image that planes came from (24 bits): the inverse of separate, exact for rgb and cmy, to rounding for
/// the others.
Result<Bitmap> recombine(const std::vector<Bitmap>& planes, Separation kind, const Context& context);

}  // namespace quillmark::imaging
