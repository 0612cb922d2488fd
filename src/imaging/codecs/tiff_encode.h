// One bitmap as a TIFF page.
#pragma once

#include "imaging/codec.h"

namespace quillmark::imaging::tiff {

/// Writes a file of one page with libtiff's compression number: none, LZW (differenced for 8 bits and more)
/// or fax (rows on bytes, group 3 one-dimensional or group 4; 1 bit only). Greys are written as greys,
/// other palettes as such; 16-bit grey keeps its 16 bits, while 16-bit colour is written with 8 bits a
/// channel, since TIFF has no 5-6-5 pixels. Files beyond 4 GB become BigTIFF. Faults: unsupported, io,
/// out_of_memory, cancelled.
Result<void> encode_page(const Bitmap& bitmap, ByteWriter& out, int compression, const WriteOptions& options);

}  // namespace quillmark::imaging::tiff
