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

/// The planes of the whole image: 8-bit grey, of its size. rgb: the channels' levels. cmy: 255 - level. cmyk:
/// the grey part of the inks goes to black in full and unscaled, k = 255 - max(r, g, b), each ink max -
/// level. hsv: hue in 256 steps around the circle (0 red, 85 green, 171 blue; greys 0), saturation 255 (max -
/// min) / max, value max. hls: lightness (max + min) / 2 rounded up, saturation 255 (max - min) / min(max +
/// min, 510 - max - min). Faults: malformed (no image), too_large, out_of_memory, cancelled.
Result<std::vector<Bitmap>> separate(const Bitmap& bitmap, Separation kind, const Context& context);

/// The image that planes came from (24 bits): the inverse of separate, exact for rgb, cmy and cmyk, to the
/// planes' rounding for the others. Planes that are no 8-bit greys are brought to their luminance. Faults:
/// bad_parameter (number of planes, different sizes), malformed (an empty plane), out_of_memory, cancelled.
Result<Bitmap> recombine(const std::vector<Bitmap>& planes, Separation kind, const Context& context);

}  // namespace quillmark::imaging
