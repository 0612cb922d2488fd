// Reads fax data: ITU-T T.4 one- and two-dimensional (MH, MR) and T.6 (MMR), row by row.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "imaging/codecs/fax_codes.h"

namespace quillmark::imaging::fax {

/// How rows are coded and framed.
enum class Coding : std::uint8_t {
    rows,          ///< one-dimensional rows without end-of-line codes
    aligned_rows,  ///< the same, each row beginning on a byte
    group3,        ///< end-of-line codes, one-dimensional rows
    group3_2d,     ///< end-of-line codes with a tag bit, rows of either kind
    group4,        ///< two-dimensional rows only
    ibm_mmr,       ///< one one-dimensional row, then two-dimensional ones; end-of-line codes may frame it
};

struct Layout {
    Coding coding = Coding::group4;
    int width = 1728;               ///< pixels, 1 to 1,000,000
    bool lowest_bit_first = false;  ///< the first code bit is the lowest of its byte
    bool whole_bytes = false;       ///< writing: end-of-line codes end on a byte
};

/// Takes bits from the front of a block of bytes. Past the end come zeros.
class BitReader {
  public:
    BitReader(std::span<const std::uint8_t> data, bool lowest_bit_first)
        : data_{data}, reversed_{lowest_bit_first} {}

    /// The next bits (1 to 32), not taken.
    std::uint32_t peek(int bits) {
        if (count_ < 32) fill();
        return static_cast<std::uint32_t>(held_ >> (64 - bits));
    }
    /// Takes bits that were peeked at.
    void skip(int bits) {
        held_ <<= bits;
        count_ -= bits;
    }
    /// Takes what is left of a byte that was begun.
    void align() { skip(count_ % 8); }
    /// All bits of the data are taken.
    bool at_end() {
        if (count_ < 32) fill();
        return count_ <= padding_;
    }
    /// Bits of the data that are not taken yet.
    std::int64_t left() const {
        return static_cast<std::int64_t>(data_.size() - at_) * 8 + count_ - padding_;
    }

  private:
    void fill();

    std::span<const std::uint8_t> data_;
    std::size_t at_ = 0;
    std::uint64_t held_ = 0;  // the next bits, from the top
    int count_ = 0;           // how many they are
    int padding_ = 0;         // of these, zeros that stand for data past the end
    bool reversed_;
};

class Decoder {
  public:
    Decoder(std::span<const std::uint8_t> data, const Layout& layout);

    enum class Row : std::uint8_t {
        good,
        damaged,  ///< decoded in part (the rest white), or lost (then the row above again)
        end,      ///< the data or the page end: no row
    };
    /// Decodes the next row: packed pixels, most significant bit first, 1 for black. row holds at least
    /// (width + 7) / 8 bytes; bits past the width are 0. Group 3 goes on at the next
    /// end-of-line code and aligned rows at the next byte; the others end with a damaged row.
    Row next(std::span<std::uint8_t> row);
    /// The same without pixels, for counting rows.
    Row skip() { return decode_row(); }
    /// Begins anew with other data of the same layout, without another allocation.
    void restart(std::span<const std::uint8_t> data);
    /// Goes on behind the end of a page. False when no data are left, or none that could be told apart.
    bool begin_page();
    int damaged_rows() const { return damaged_; }
    /// Whether the last row was white from end to end.
    bool blank() const { return count_ == 0; }
    /// Bits of the data behind the last row.
    std::int64_t bits_left() const { return bits_.left(); }

  private:
    Row decode_row();
    void reset();
    bool framing(bool& one_dimensional);
    int skip_end_of_lines(bool& one_dimensional);
    bool at_end_of_line();
    bool take_end_of_line();
    bool find_end_of_line();
    int next_run(bool black);
    bool decode_runs();
    bool decode_2d();
    bool uncompressed(int& at, bool& black);
    void add_change(int x);
    void close_row();
    void paint(std::span<std::uint8_t> row) const;
    Row damaged();
    void repeat_above();

    BitReader bits_;
    Layout layout_;
    std::vector<int> above_, changes_;  // where the colour changes, closed by the width four times
    std::size_t count_ = 0;             // changes of the current row so far
    int damaged_ = 0;
    bool started_ = false, ended_ = false;
    bool becomes_above_ = false;  // the current row was good: the next one refers to it
    bool wait_for_one_dimensional_ = false;
};

/// The pixels of a one-dimensional row of unknown width: takes its runs up to the next end-of-line code, or
/// the end of the data. -1 when they are no such row (a code that does not exist, more than a million
/// pixels).
int sum_of_runs(BitReader& bits);

/// Whether data that should have end-of-line codes hold one near their beginning; some writers leave them
/// out.
bool has_end_of_line(std::span<const std::uint8_t> data, bool lowest_bit_first);

}  // namespace quillmark::imaging::fax
