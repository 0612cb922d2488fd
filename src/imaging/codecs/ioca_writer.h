// The writing side of IOCA.
#pragma once

#include "imaging/codec.h"

namespace quillmark::imaging::codecs {

/// Writes a 1-bit image as one segment; the darker of its two colours is ink. Faults: too_large (more than
/// 32,767 pixels a side), io, cancelled.
Result<void> encode_ioca(const Bitmap& bitmap, ByteWriter& out, const WriteOptions& options);

}  // namespace quillmark::imaging::codecs
