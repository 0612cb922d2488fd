// Free rotation and shear, of the whole image or of a selection.
#pragma once

#include <cstdint>

#include "imaging/bitmap.h"
#include "imaging/ops/context.h"
#include "imaging/region.h"

namespace quillmark::imaging {

// Angles are hundredths of a degree. fill is 0xRRGGBB. Quarter turns move pixels and are exact in every
// depth. Everything else blends the four pixels around each point (bilinear), with the fill colour beyond the
// edge, so that edges are smooth; 1-bit, palette and 16-bit colour images are promoted to levels for it.
// Greys take the fill's luminance (ITU-R BT.601), images with alpha take it opaque; a palette image without
// that colour is promoted. Faults: malformed (no image), too_large, out_of_memory, cancelled.

/// The image turned clockwise about its centre. grow: the canvas becomes the box around the result, else it
/// keeps its size (a quarter turn of sides that differ by an odd number is then half a pixel off centre).
Result<Bitmap> rotate(const Bitmap& bitmap, int angle, bool grow, std::uint32_t fill, const Context& context);

/// horizontal: rows move right by tan(angle) per pixel downwards, else columns move down by as much per pixel
/// to the right; the canvas becomes the box around the result. angle within +-8900.
Result<Bitmap> shear(const Bitmap& bitmap, int angle, bool horizontal, std::uint32_t fill,
                     const Context& context);

struct TurnedRegion {
    Bitmap bitmap;
    Region region;  ///< where the pixels are now, clipped to the image; empty when nothing stayed inside
};

/// The region's pixels and its outline turned about the centre of its bounds; what they leave takes the fill
/// colour. The image keeps its size.
Result<TurnedRegion> turn_region(const Bitmap& bitmap, const Region& region, int angle, std::uint32_t fill,
                                 const Context& context);
/// The same for a shear.
Result<TurnedRegion> shear_region(const Bitmap& bitmap, const Region& region, int angle, bool horizontal,
                                  std::uint32_t fill, const Context& context);

}  // namespace quillmark::imaging
