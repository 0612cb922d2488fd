// Single key frames of two video codings that QuickTime used for still images too: Apple Video ("Road Pizza")
// and Cinepak. Source: the public descriptions of both by T. Ferguson and others (multimedia.cx).
#pragma once

#include <cstdint>
#include <span>

#include "imaging/bitmap.h"

namespace quillmark::imaging::codecs {

constexpr std::int64_t kMaxVideoFrame = std::int64_t{64} << 20;  ///< bytes; far above any real frame

/// Five bits a channel, widened by repeating the upper bits.
Rgba colour_of_555(unsigned value);

/// Fill a zeroed rgb24 bitmap; return the rows that were reached (0: none). Blocks that a frame leaves out
/// stay black.
int decode_road_pizza(std::span<const std::uint8_t> frame, Bitmap& bitmap);
int decode_cinepak(std::span<const std::uint8_t> frame, Bitmap& bitmap);

}  // namespace quillmark::imaging::codecs
