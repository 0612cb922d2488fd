// Writes fax data: ITU-T T.4 and T.6, row by row.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "imaging/codecs/fax_decoder.h"

namespace quillmark::imaging::fax {

/// Collects the codes of rows. The bytes are complete after finish().
class Encoder {
  public:
    /// In group3_2d every k-th row is one-dimensional (2 at normal, 4 at fine resolution).
    explicit Encoder(const Layout& layout, int k = 4);

    /// Adds a row: packed pixels, most significant bit first, 1 for black; bits past the width do not count.
    void add_row(std::span<const std::uint8_t> row);
    /// Closes the page (end-of-facsimile-block of group 4; six end-of-line codes of group 3 when asked to)
    /// and pads to a whole byte.
    void finish(bool return_to_control);

    std::vector<std::uint8_t>& bytes() { return bytes_; }

  private:
    void put(std::uint32_t code, int length);
    void put_run(bool black, int run);
    void put_end_of_line(bool one_dimensional);
    void find_changes(std::span<const std::uint8_t> row);
    void encode_runs();
    void encode_2d();

    Layout layout_;
    int k_, until_one_dimensional_ = 0;
    std::vector<int> above_, changes_;  // as the decoder has them
    std::vector<std::uint8_t> bytes_;
    std::uint64_t held_ = 0;  // the low count_ bits are still to be written
    int count_ = 0;
};

}  // namespace quillmark::imaging::fax
