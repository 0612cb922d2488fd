// The families of smoothing, each in a file of its own; smoothing.cpp describes their parameters.
#pragma once

#include <span>

#include "imaging/bitmap.h"
#include "imaging/ops/context.h"

namespace quillmark::imaging {

/// Sizes of windows are odd: even ones take the next.
inline int window_radius(int size) { return size / 2; }

/// Each sample becomes the mean of the size x size pixels around it, rounded to nearest.
Result<Bitmap> average(const Bitmap& bitmap, std::span<const int> size, const Context& context);
/// Each sample becomes the median of the size x size pixels around it.
Result<Bitmap> median(const Bitmap& bitmap, std::span<const int> size, const Context& context);
/// Blocks of size x size pixels, counted from the image's corner, take their mean, rounded to nearest.
Result<Bitmap> mosaic(const Bitmap& bitmap, std::span<const int> size, const Context& context);
/// Adds evenly distributed noise that depends on the pixel's place, its channel and the seed alone.
Result<Bitmap> add_noise(const Bitmap& bitmap, std::span<const int> amount_and_seed, const Context& context);

}  // namespace quillmark::imaging
