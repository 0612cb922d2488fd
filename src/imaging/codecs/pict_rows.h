// The rows of a raster inside a Macintosh picture.
#pragma once

#include "imaging/codecs/pict_file.h"

namespace quillmark::imaging::codecs {

/// Decodes the raster's source part at its own depth. in is a reader of the picture. Faults: truncated,
/// too_large, out_of_memory, cancelled.
Result<Outcome> decode_pict_rows(const ByteReader& in, const PictRaster& raster, const Limits& limits,
                                 RowSink& sink);

}  // namespace quillmark::imaging::codecs
