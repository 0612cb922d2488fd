// The few byte shuffles that compilers do not vectorise well, each with a plain twin that the tests compare.
#pragma once

#include <cstddef>
#include <cstdint>

namespace quillmark::imaging {

/// count pixels B,G,R to R,G,B (or back). in and out may be the same.
void swap_rgb24(const std::uint8_t* in, std::uint8_t* out, std::size_t count);
/// swap_rgb24 with stores that pass the cache, for pictures larger than it: saves reading every line before
/// it is overwritten. out is aligned to 16 bytes and does not overlap in.
void stream_swap_rgb24(const std::uint8_t* in, std::uint8_t* out, std::size_t count);
/// count pixels B,G,R,A to R,G,B,A (or back).
void swap_rgba32(const std::uint8_t* in, std::uint8_t* out, std::size_t count);
/// count pixels of 4 bytes to R,G,B, taking the bytes at offsets r, g, b (each 0 to 3) of each pixel.
void drop_fourth(const std::uint8_t* in, std::uint8_t* out, std::size_t count, int r, int g, int b);
/// Separate R, G, B rows to R,G,B pixels.
void interleave_rgb(const std::uint8_t* r, const std::uint8_t* g, const std::uint8_t* b, std::uint8_t* out,
                    std::size_t count);
/// count pixels of 1, 2, 3 or 4 bytes in the reverse order. in and out do not overlap.
void reverse_pixels(const std::uint8_t* in, std::uint8_t* out, std::size_t count, int bytes_per_pixel);
/// count pixels of one bit, the leftmost in the most significant bit, in the reverse order; what follows them
/// in the last byte is cleared. in and out do not overlap.
void reverse_bits(const std::uint8_t* in, std::uint8_t* out, std::size_t count);

/// The plain twins, for the tests.
namespace plain {
void swap_rgb24(const std::uint8_t* in, std::uint8_t* out, std::size_t count);
void swap_rgba32(const std::uint8_t* in, std::uint8_t* out, std::size_t count);
void drop_fourth(const std::uint8_t* in, std::uint8_t* out, std::size_t count, int r, int g, int b);
void interleave_rgb(const std::uint8_t* r, const std::uint8_t* g, const std::uint8_t* b, std::uint8_t* out,
                    std::size_t count);
void reverse_pixels(const std::uint8_t* in, std::uint8_t* out, std::size_t count, int bytes_per_pixel);
void reverse_bits(const std::uint8_t* in, std::uint8_t* out, std::size_t count);
}  // namespace plain

}  // namespace quillmark::imaging
