// The inner loops of resizing 8-bit samples. Between the two directions samples are 16 bits, 64 to a level.
#pragma once

#include <cstddef>
#include <cstdint>

namespace quillmark::imaging {

/// Taps are read in groups of this many; weights of 0 fill up.
constexpr int kTapGroup = 4;
/// Samples that may be read beyond a row between the directions: those of filling taps, and of a whole load.
constexpr std::size_t kRowSlack = 32;

/// The weighted sum of count rows of 8-bit samples. Weights add up to 2^14; count is even.
void blend_rows(const std::uint8_t* const* rows, const std::int16_t* weights, int count, std::int16_t* out,
                std::size_t samples);

/// The weighted sums of neighbouring pixels: pixel i of out takes taps pixels of in from first[i] on, with
/// weights[i * taps] and so on, which add up to 2^14. taps is a multiple of kTapGroup. channels is 1 or 3.
void blend_columns(const std::int16_t* in, const int* first, const std::int16_t* weights, int taps,
                   int channels, std::uint8_t* out, int count);

/// The means of 2 x 2 pixels of three bytes, halves rounded up: count pixels of out from twice as many of two
/// rows.
void halve_rgb24(const std::uint8_t* top, const std::uint8_t* bottom, std::uint8_t* out, int count);

/// The plain twins, for the tests.
namespace plain {
void blend_rows(const std::uint8_t* const* rows, const std::int16_t* weights, int count, std::int16_t* out,
                std::size_t samples);
void blend_columns(const std::int16_t* in, const int* first, const std::int16_t* weights, int taps,
                   int channels, std::uint8_t* out, int count);
void halve_rgb24(const std::uint8_t* top, const std::uint8_t* bottom, std::uint8_t* out, int count);
}  // namespace plain

}  // namespace quillmark::imaging
