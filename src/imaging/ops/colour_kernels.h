// Arithmetic of the colour models on separate channels: plain loops, one pixel like the other.
#pragma once

#include <cstdint>

namespace quillmark::imaging {

/// count pixels by channel, to be changed in place. No two channels overlap.
struct ChannelRows {
    std::uint8_t *r, *g, *b;
};
struct ConstChannelRows {
    const std::uint8_t *r, *g, *b;
};

/// Turns the hue by tenths (of a degree, any number); value and saturation stay: the largest and the smallest
/// channel of a pixel keep their values, and the middle one is within 1 of the exact HSV hexcone (A. R.
/// Smith, Color gamut transform pairs, 1978).
void turn_hue(ChannelRows rows, std::size_t count, int tenths);

/// Multiplies the saturation of HSV by factor (0 to 2), at most up to full saturation, rounded.
void scale_saturation(ChannelRows rows, std::size_t count, float factor);

/// luminance of luminance.h.
void luminance8(ConstChannelRows rows, std::uint8_t* out, std::size_t count);
/// wide_luminance of luminance.h.
void luminance16(ConstChannelRows rows, std::uint16_t* out, std::size_t count, int bits);

/// The ink that each channel lacks: 255 - level.
void to_cmy(ConstChannelRows rows, ChannelRows cmy, std::size_t count);
/// The grey of the three inks goes to black in full: k = 255 - max, and what remains of each ink is max -
/// level.
void to_cmyk(ConstChannelRows rows, ChannelRows cmy, std::uint8_t* k, std::size_t count);
/// Hue (256 steps around, 0 red; greys 0), saturation, value, each rounded to the nearest.
void to_hsv(ConstChannelRows rows, std::uint8_t* h, std::uint8_t* s, std::uint8_t* v, std::size_t count);
/// Hue as above, lightness (max + min) / 2 rounded up, saturation of the double hexcone, rounded.
void to_hls(ConstChannelRows rows, std::uint8_t* h, std::uint8_t* l, std::uint8_t* s, std::size_t count);

}  // namespace quillmark::imaging
