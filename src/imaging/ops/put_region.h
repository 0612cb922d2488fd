// Pixels of one image into a region of another.
#pragma once

#include "imaging/bitmap.h"
#include "imaging/ops/context.h"
#include "imaging/region.h"

namespace quillmark::imaging {

/// base with the region's pixels replaced by those of change, whose top left pixel lies at offset in base.
/// The region lies inside both. A palette stays when every new colour is in it; else both are brought to a
/// form that holds them exactly. Faults: too_large, out_of_memory, cancelled.
Result<Bitmap> put_region(const Bitmap& base, const Bitmap& change, Point offset, const Region& region,
                          const Limits& limits, const Progress& progress = {});

/// bitmap with pixels of its own: bitmap itself where nothing else shares them, else a copy. Faults:
/// out_of_memory, cancelled.
Result<Bitmap> detached(Bitmap bitmap, const Limits& limits, const Progress& progress);

}  // namespace quillmark::imaging
