// How bright a colour is: ITU-R BT.601 weights in 16-bit fixed point.
#pragma once

#include <cstddef>
#include <cstdint>

namespace quillmark::imaging {

/// 0 black to 255 white; greys keep their level.
constexpr std::uint8_t luminance(std::uint8_t r, std::uint8_t g, std::uint8_t b) {
    return static_cast<std::uint8_t>((r * 19595U + g * 38470U + b * 7471U + 32768U) >> 16);
}

/// The same before it is rounded to 8 bits: 0 black to 2^bits - 1 white (bits 12 or 16).
constexpr std::uint16_t wide_luminance(std::uint8_t r, std::uint8_t g, std::uint8_t b, int bits) {
    return static_cast<std::uint16_t>(((r * 19595U + g * 38470U + b * 7471U) * 257U + 32768U) >> 16 >>
                                      (16 - bits));
}

/// Of count pixels of R,G,B (step 3) or R,G,B,A (step 4); alpha does not count.
void luminance_row(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t step);

/// The plain twin, for the tests.
namespace plain {
void luminance_row(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t step);
}

}  // namespace quillmark::imaging
