// PackBits, the run lengths of the Macintosh: a byte n below 128 is followed by n + 1 plain bytes, one above
// 128 by a byte that stands 257 - n times, and 128 means nothing. Source: Apple Technical Note TN1023.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>

namespace quillmark::imaging::codecs {

struct Unpacked {
    std::size_t produced = 0;  ///< bytes of out that were filled
    std::size_t consumed = 0;  ///< packed bytes that were used
};

/// Fills out until it is full or the packed bytes end. A run that reaches beyond out is cut.
Unpacked unpack_bits(std::span<const std::uint8_t> packed, std::span<std::uint8_t> out);
/// The same where the units that repeat are words of two bytes. out has an even size.
Unpacked unpack_words(std::span<const std::uint8_t> packed, std::span<std::uint8_t> out);

/// Room that pack_bits needs for size bytes.
constexpr std::size_t packed_room(std::size_t size) { return size + size / 128 + 1; }
/// Packs a row into out, which has packed_room(row.size()) bytes; returns the bytes used.
std::size_t pack_bits(std::span<const std::uint8_t> row, std::uint8_t* out);

/// Packs rows of row_bytes each on all threads: make(y, row) supplies row y on any thread, put(packed) takes
/// the packed rows in order on the caller's and returns false to stop. False when it was stopped.
bool pack_rows(int rows, std::size_t row_bytes,
               const std::function<void(int y, std::span<std::uint8_t>)>& make,
               const std::function<bool(std::span<const std::uint8_t>)>& put);

}  // namespace quillmark::imaging::codecs
