// Writing Photoshop documents.
#pragma once

#include "imaging/codec.h"

namespace quillmark::imaging::codecs {

constexpr int kPsdFormat = 76;

/// Writes a document of one merged picture, packed as runs: 1 bit as a bitmap (black and white; of other
/// colours the brighter becomes white), 8 bits as grey or indexed, 24 bits as RGB. Resolution, caption,
/// profile and EXIF are kept. Faults: too_large (a side above 30000), cancelled, io.
Result<void> encode_psd(const Bitmap& bitmap, ByteWriter& out, const WriteOptions& options);

}  // namespace quillmark::imaging::codecs
