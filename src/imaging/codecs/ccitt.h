// CCITT T.4 and T.6 run coding, shared by the formats that carry fax data.
#pragma once

#include <cstdint>
#include <span>

#include "imaging/source.h"

namespace quillmark::imaging {

/// Decodes rows of modified Huffman coding (ITU-T T.4, one-dimensional), most significant bit of a byte
/// first.
class HuffmanRowDecoder {
  public:
    explicit HuffmanRowDecoder(ByteReader in) : in_{std::move(in)} {}
    /// Fills row with packed pixels, most significant bit first, 0 for white runs and 1 for black ones; width
    /// pixels, row.size() >= (width + 7) / 8. Skips an end-of-line code before the row. False when the data
    /// end, no code matches or end-of-line codes close the page: the pixels so far are kept, the rest is
    /// white.
    bool decode_row(std::span<std::uint8_t> row, int width);

  private:
    bool fill(int bits);
    std::uint32_t peek(int bits) const;
    int next_run(bool black, int limit);
    bool skip_end_of_line();

    ByteReader in_;
    std::uint32_t bits_ = 0;  // the low count_ bits are still to be used
    int count_ = 0;
    int padding_ = 0;  // of these, zeros that stand for data past the end
    bool started_ = false;
};

}  // namespace quillmark::imaging
