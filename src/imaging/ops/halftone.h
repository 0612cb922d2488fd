// Clustered-dot screens.
#pragma once

#include "imaging/bitmap.h"
#include "imaging/ops/context.h"

namespace quillmark::imaging {

enum class Screen : int {
    print = 0,  ///< round dots 8 pixels apart
    view = 1,   ///< dots 4 pixels apart, which grow in turns of four
};

/// The luminance as black dots on white, 1 bit a pixel. Both screens show 65 shades; degrees turns the screen
/// counter-clockwise about the image's top left corner. Faults: malformed (no image), too_large,
/// out_of_memory, cancelled.
Result<Bitmap> halftone(const Bitmap& bitmap, Screen screen, int degrees, const Context& context);

}  // namespace quillmark::imaging
