// Images whose samples are intensities: what arithmetic on pixels works on.
#pragma once

#include "imaging/bitmap.h"
#include "imaging/ops/context.h"

namespace quillmark::imaging {

/// Bytes (or 16-bit words) per pixel that are intensities of an image whose samples are levels.
struct LevelForm {
    int channels;  ///< 1, 3 or 4; the fourth is alpha
    bool wide;     ///< 16-bit words, 0 to 2^bits - 1
};

/// Whether the samples of the bitmap are intensities: grey with index8 and the plain 256-entry grey palette,
/// gray16, rgb24 with 24 bits, rgba32.
bool is_level_image(const Bitmap& bitmap);
LevelForm level_form(const Bitmap& level_image);

/// Bytes per pixel of a layout whose pixels are whole bytes (1 to 4).
int pixel_bytes(Layout layout);

/// The same picture as a level image: greys become 8-bit grey, other palettes 24 bits, palettes with
/// transparent entries 32 bits, 16-bit colour 24 bits. A level image is returned as it is, sharing its
/// pixels. Faults: malformed (no image), too_large, out_of_memory, cancelled.
Result<Bitmap> level_image(const Bitmap& bitmap, const Limits& limits, const Progress& progress = {});

/// A new bitmap of the same form, palette and metadata (its own size when given), with undefined pixels.
Result<Bitmap> blank_like(const Bitmap& bitmap, const Limits& limits);
Result<Bitmap> blank_like(const Bitmap& bitmap, int width, int height, const Limits& limits);

}  // namespace quillmark::imaging
