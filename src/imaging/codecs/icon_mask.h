// Transparency of icons and cursors: a second, 1-bit picture beside the colours.
#pragma once

#include "imaging/bitmap.h"
#include "imaging/codec.h"

namespace quillmark::imaging {

/// The picture with the pixels made transparent whose bit in mask (bit1, the same size) is 1. It keeps its
/// depth when no pixel is masked, and its palette when the masked pixels have palette entries of their own;
/// else it becomes rgba32. Masked pixels that are not black invert the screen; they show at half strength
/// when nothing else of the picture is visible, and not at all otherwise. Faults: too_large, out_of_memory.
Result<Bitmap> with_mask(const Bitmap& picture, const Bitmap& mask, const Limits& limits);

/// Rows [first, first + count) as a bitmap of their own.
Result<Bitmap> copy_rows(const Bitmap& bitmap, int first, int count, const Limits& limits);

/// Shows a small picture that was put together elsewhere. Fault: cancelled.
Result<Outcome> deliver(Bitmap bitmap, int format_code, int rows_shown, RowSink& sink);

}  // namespace quillmark::imaging
