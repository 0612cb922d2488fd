// Error diffusion on several rows and threads at once.
#pragma once

#include "imaging/bitmap.h"
#include "imaging/ops/context.h"
#include "imaging/ops/dither.h"

namespace quillmark::imaging {

/// Fills result (bit1 or index8, size of bitmap, its palette set and not empty) by error diffusion.
/// Faults: out_of_memory, cancelled.
Result<void> diffuse(const Bitmap& bitmap, Bitmap& result, Dither dither, const Context& context);

}  // namespace quillmark::imaging
