// Strips and tiles of one TIFF page into a bitmap.
#pragma once

#include "imaging/codec.h"
#include "imaging/codecs/tiff_page.h"

namespace quillmark::imaging::tiff {

/// Decodes the current directory, which page describes. Damaged strips and tiles stay empty and give a
/// warning. Faults: truncated or malformed when nothing could be decoded, too_large, out_of_memory,
/// cancelled.
Result<Outcome> decode_page(Handle& handle, const Page& page, const ReadOptions& options, RowSink& sink);

}  // namespace quillmark::imaging::tiff
