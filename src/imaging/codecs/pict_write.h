// Writing Macintosh pictures.
#pragma once

#include "imaging/codec.h"

namespace quillmark::imaging::codecs {

constexpr int kPictFormat = 56;

/// Writes a picture of version 2 with one raster: 1 bit (a bitmap; in other colours than black and white a
/// pixel map of 1 bit), 4 and 8 bits with colours, 24 bits direct. Resolution is kept (72 dpi when unknown).
/// Faults: too_large (rows beyond 32767 bytes: 8191 pixels at 24 bits; a height above 32767), cancelled, io.
Result<void> encode_pict(const Bitmap& bitmap, ByteWriter& out, const WriteOptions& options);

}  // namespace quillmark::imaging::codecs
