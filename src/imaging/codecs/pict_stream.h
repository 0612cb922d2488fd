// QuickTime's still images inside pictures: streams of other formats, plain pixels, and two of its own
// codings.
#pragma once

#include "imaging/codecs/pict_file.h"

namespace quillmark::imaging::codecs {

/// Looks into the stream: sets the raster's true sides and bits. False when its coding is not known or its
/// head is damaged.
bool settle_pict_stream(const ByteReader& data, PictRaster& raster);

/// Decodes the stream. Its pixels have the sides and bits that were settled.
Result<Outcome> decode_pict_stream(const ByteReader& data, const PictRaster& raster,
                                   const ReadOptions& options, RowSink& sink);

}  // namespace quillmark::imaging::codecs
