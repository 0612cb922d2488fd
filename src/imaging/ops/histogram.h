// Counting: pixels per level and different colours.
#pragma once

#include "imaging/bitmap.h"
#include "imaging/ops/context.h"
#include "imaging/region.h"

namespace quillmark::imaging {

/// Pixels per level of the channels asked for, of the whole image (region nullptr) or of the region's part of
/// it. Palette images count their colours' levels; 12- and 16-bit greys the same levels in every channel,
/// samples beyond white as white. Faults: malformed (no image), cancelled.
Result<Statistics> gather_statistics(const Bitmap& bitmap, const Region* region, Channels channels,
                                     const Context& context);

/// Number of different colours (alpha does not count) of the image or its region. 12- and 16-bit greys count
/// their levels. Faults: malformed (no image), out_of_memory, cancelled.
Result<std::int64_t> count_colours(const Bitmap& bitmap, const Region* region, const Context& context);

}  // namespace quillmark::imaging
