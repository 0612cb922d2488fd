// PNG writing.
#pragma once

#include "imaging/codec.h"

namespace quillmark::imaging::codecs {

/// Writes the bitmap as it is: palettes of up to 8 bits (an even grey ramp becomes a grey image, transparent
/// entries a tRNS chunk), 16-bit grey, RGB, RGBA. Resolution, profile, EXIF (without its stamp) and comment
/// are kept. Faults: cancelled, io, out_of_memory.
Result<void> encode_png(const Bitmap& bitmap, ByteWriter& out, const WriteOptions& options);

}  // namespace quillmark::imaging::codecs
