// Medians of large windows, the parts of Median beyond its networks.
#pragma once

#include "imaging/bitmap.h"

namespace quillmark::imaging {

/// Rows that a band should hold for its tiles to be whole.
constexpr int kMedianBand = 64;
/// The same of 16-bit grey, where large windows take their time.
constexpr int kMedianWordBand = 8;

/// Rows [first, last) of out: medians of 8-bit samples in windows of 2 radius + 1 (7 to 127) pixels. False
/// when memory is short.
bool median_by_thresholds(const Bitmap& in, Bitmap& out, int first, int last, int radius);

/// The same of 16-bit grey, any radius up to 63.
bool median_of_words(const Bitmap& in, Bitmap& out, int first, int last, int radius);

}  // namespace quillmark::imaging
