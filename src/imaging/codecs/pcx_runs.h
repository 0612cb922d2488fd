// The run lengths of PCX: a byte from C0 up repeats the next byte, anything else stands for itself.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "imaging/codecs/chunk_reader.h"

namespace quillmark::imaging::codecs {

/// Decodes one stream of runs. Runs may cross planes and rows, so what a run has left is carried over.
class PcxRuns {
  public:
    /// Starts at the reader's position.
    explicit PcxRuns(const ByteReader& in) : in_{in} {}

    /// Fills the first size bytes of out, which must have room for kSlack bytes more; returns the bytes
    /// delivered, fewer only at the end of the data.
    std::size_t fill(std::uint8_t* out, std::size_t size);
    /// Compressed bytes used so far.
    std::int64_t consumed() const { return in_.consumed(); }

    static constexpr std::size_t kSlack = 64;

  private:
    std::size_t fill_fast(std::uint8_t* out, std::size_t size);
    bool next_packet();

    ChunkReader in_;
    std::size_t left_ = 0;
    std::uint8_t value_ = 0;
};

}  // namespace quillmark::imaging::codecs
