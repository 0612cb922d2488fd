// CCITT T.4 and T.6 run coding, shared by the formats that carry fax data.
#pragma once

#include <cstdint>
#include <span>

#include "imaging/source.h"

namespace quillmark::imaging {

/// Decodes one row of modified Huffman (T.4 one-dimensional) coding.
class HuffmanRowDecoder {
  public:
    explicit HuffmanRowDecoder(ByteReader in) : in_{std::move(in)} {}
    /// Fills row with packed pixels, most significant bit first, 0 for white runs and 1 for black ones; width
    /// pixels. Skips end-of-line codes before the row. False when the data end or no code matches: the pixels so
    /// far are kept, the rest is white.
    bool decode_row(std::span<std::uint8_t> row, int width);

  private:
    int next_run(bool black);
    bool fill(int bits);

    ByteReader in_;
    std::uint32_t bits_ = 0;
    int count_ = 0;
};

}  // namespace quillmark::imaging
