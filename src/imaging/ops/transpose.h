// Rows into columns: the moving part of quarter turns, in blocks that stay in the caches.
#pragma once

#include <cstddef>
#include <cstdint>

namespace quillmark::imaging {

/// Rows and columns exchanged: pixel c of source row r becomes pixel r of target row c. Rows are addressed by
/// the first one and the bytes from row to row, which may be negative: that mirrors before or after.
struct Transposition {
    const std::uint8_t* in;
    std::ptrdiff_t in_step;
    std::uint8_t* out;
    std::ptrdiff_t out_step;
    int rows;  ///< source rows, which is the target's width
};

/// Target rows [first, last) of pixels of 1, 2, 3 or 4 bytes.
void transpose_pixels(const Transposition& job, int bytes_per_pixel, int first, int last);
/// Target rows [first, last) of packed bits, the leftmost in the most significant bit; first is a multiple of
/// 128. Source and target rows are readable and writable up to the next multiple of 32 bytes; what follows
/// the target's last pixel is cleared.
void transpose_bits(const Transposition& job, int first, int last);

/// The plain twins, for the tests.
namespace plain {
void transpose_pixels(const Transposition& job, int bytes_per_pixel, int first, int last);
void transpose_bits(const Transposition& job, int first, int last);
}  // namespace plain

}  // namespace quillmark::imaging
