// Two images into one.
#pragma once

#include "imaging/bitmap.h"
#include "imaging/ops/context.h"
#include "imaging/region.h"

namespace quillmark::imaging {

/// How Combine joins a source sample s with a target sample t (8-bit levels; wider ones likewise), in bits 8
/// to 11 of its flags. kCombineAddSigned takes the source as a signed difference around mid grey: t + s -
/// 128.
enum CombineFlags : int {
    kCombineCopy = 0x000,
    kCombineAnd = 0x100,
    kCombineOr = 0x200,
    kCombineAddSigned = 0x300,
    kCombineAdd = 0x400,
    kCombineSubtract = 0x500,
    kCombineXor = 0x600,
    kCombineAverage = 0x700,
    kCombineMultiply = 0x800,
    kCombineLighter = 0x900,
    kCombineDarker = 0xA00,
    kCombineMask = 0xF00,
    kCombineInvertSource = 0x1,  ///< may be added
    kCombineInvertTarget = 0x2,  ///< may be added
};

/// target with source's rectangle of width x height pixels from (source_x, source_y) on joined into it at
/// (x, y), clipped to both images and to region. The source takes the target's form: colours become luminance
/// (ITU-R BT.601) over 12- and 16-bit greys. Palette targets are promoted unless both have palettes (or
/// become greys) and the new colours are in the target's; other greys get colours when the source has some.
/// Alpha of the target stays, that of the source is ignored. Faults: malformed (no image), bad_parameter
/// (unknown flags), too_large, out_of_memory, cancelled.
Result<Bitmap> combine(const Bitmap& target, const Rect& place, const Bitmap& source, Point from, int flags,
                       const Region* region, const Context& context);

enum UnderlayMode : int { kUnderlayTile = 0, kUnderlayStretch = 1 };

/// image as if it were printed on underlay: where image is transparent the underlay shows; where it is opaque
/// both multiply, so that the texture shows through the light parts. Tiled from the image's corner or
/// stretched to its size (bilinear). The underlay counts as opaque, and so is what comes out. Other forms as
/// in combine. Faults as combine, bad_parameter for an unknown mode.
Result<Bitmap> underlay(const Bitmap& image, const Bitmap& underlay, UnderlayMode mode, const Region* region,
                        const Context& context);

}  // namespace quillmark::imaging
