// The variable-width LZW coding of GIF.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "imaging/buffer.h"
#include "imaging/source.h"

namespace quillmark::imaging {

/// Decodes one picture's indices into one block of memory. A code's string always stands somewhere in what
/// was decoded already, so the table holds only places and lengths, and strings are copied forward in wide
/// steps.
class GifLzwDecoder {
  public:
    /// in stands at the minimum code size byte; total is the number of indices of the picture (up to 2^31).
    GifLzwDecoder(ByteReader in, std::int64_t total);

    /// False when the code size makes no sense or memory is short.
    bool ready() const { return ready_; }
    /// Goes on until at least wanted indices are there, or the data end or are damaged. Returns how many
    /// there are.
    std::int64_t decode_to(std::int64_t wanted);
    /// Index number at and what follows.
    const std::uint8_t* indices(std::int64_t at) const { return pixels_.data() + kRoots + at; }

  private:
    struct Entry {
        std::uint32_t at;  // place of its string in pixels_
        std::uint32_t length;
    };
    static constexpr std::size_t kRoots = 256;             // pixels_ begins with every single index
    static constexpr std::size_t kTableSize = 4096;        // codes have up to 12 bits
    static constexpr std::size_t kSlop = kTableSize + 64;  // the longest string, and wide copies
    static constexpr std::size_t kStaging = 64 << 10;

    bool stage();  // gathers sub-blocks
    void clear_table();

    ByteReader in_;
    Buffer pixels_;
    std::int64_t total_;
    std::vector<std::uint8_t> staging_;
    const std::uint8_t* cursor_ = nullptr;
    const std::uint8_t* staged_end_ = nullptr;
    bool input_ended_ = false;
    bool ready_ = false;
    bool finished_ = false;
    std::uint64_t bits_ = 0;
    int have_ = 0;
    int min_size_ = 0, width_ = 0;
    std::uint32_t next_ = 0;
    std::uint32_t previous_at_ = 0,
                  previous_length_ = 0;  // length 0: the next code is the first after a clear
    std::uint32_t out_ = kRoots;
    Entry table_[kTableSize];
};

}  // namespace quillmark::imaging
