// A colour laid over an image through a mask: text and other drawings.
#pragma once

#include "imaging/bitmap.h"
#include "imaging/ops/context.h"
#include "imaging/region.h"

namespace quillmark::imaging {

/// bitmap with the opaque colour laid over it where mask covers it. mask holds 8 bits a pixel, 0 (not
/// covered) to 255 (covered); its top left pixel lies at place. Clipped to the image and to region (may be
/// nullptr). Level images (levels.h) blend by the coverage: rgba32 by "over" (T. Porter and T. Duff,
/// Compositing Digital Images, 1984), so that its alpha grows to hold the drawing; gray16 takes the colour's
/// grey. An image whose palette holds the colour keeps its palette and depth and takes it where at least half
/// is covered; else it becomes the level image that can hold the colour. Where nothing is covered the bitmap
/// is returned as it is. Faults: malformed (no image, a mask of another depth), too_large, out_of_memory,
/// cancelled.
Result<Bitmap> compose_mask(const Bitmap& bitmap, const Bitmap& mask, Point place, Rgba colour,
                            const Region* region, const Context& context);

}  // namespace quillmark::imaging
