// JPEG writing.
#pragma once

#include "imaging/codec.h"

namespace quillmark::imaging::codecs {

/// Writes a baseline JFIF file. Greys (a palette of greys, 16-bit grey) become one component, everything else
/// YCbCr: full colour resolution (4:4:4) from quality 90 on, half (4:2:0) below. Density, profile, EXIF
/// (without its stamp) and comment are kept. Alpha is dropped. Faults: too_large (a side above 65500),
/// cancelled, io.
Result<void> encode_jpeg(const Bitmap& bitmap, ByteWriter& out, const WriteOptions& options);

}  // namespace quillmark::imaging::codecs
