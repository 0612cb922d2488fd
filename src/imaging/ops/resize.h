// Another size for an image.
#pragma once

#include <cstdint>

#include "imaging/bitmap.h"
#include "imaging/ops/context.h"

namespace quillmark::imaging {

/// How a pixel of the result comes from the source. The numbers are the engine's flags.
enum class ResizeFilter : std::uint8_t {
    plain = 0,    ///< the source pixel under its centre; keeps 1 bit, palettes and 16-bit colour
    lanczos = 1,  ///< Lanczos' windowed sinc of three lobes, widened when reducing (K. Turkowski, Filters for
                  ///< common resampling tasks, Graphics Gems I, 1990)
    area = 2,     ///< the mean of the covered area when reducing, bilinear when enlarging
};

/// The image at width x height pixels (each side on its own). Beyond the edge the edge's pixels go on;
/// results are rounded and clamped; a constant image stays constant. Except by the plain filter, 1-bit,
/// palette and 16-bit colour images are promoted to levels; alpha weights the colours. The same size returns
/// a shared copy. Faults: malformed (no image, a side below 1), too_large, out_of_memory, cancelled.
Result<Bitmap> resize(const Bitmap& bitmap, int width, int height, ResizeFilter filter,
                      const Context& context);

}  // namespace quillmark::imaging
