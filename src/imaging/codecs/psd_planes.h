// The stored rows of a Photoshop document's channels, whatever their packing.
#pragma once

#include <atomic>
#include <memory>
#include <vector>

#include "imaging/buffer.h"
#include "imaging/codecs/psd_file.h"

namespace quillmark::imaging::codecs {

class PsdPlanes {
  public:
    /// in is a reader of the whole document. Deflated channels are inflated here, all at once. Faults:
    /// truncated, malformed, too_large, out_of_memory.
    static Result<PsdPlanes> open(const ByteReader& in, const PsdFile& file, const Limits& limits);

    /// Rows that have data in every channel of the picture.
    int rows_there() const { return rows_there_; }
    /// Rows come as pointers into memory; no room is needed to unpack them.
    bool direct() const { return !packed_ && !memory_.empty(); }
    /// Rows [first, last) of a channel, last <= rows_there(), one behind the other: in place, or unpacked to
    /// room. nullptr when reading failed. Thread-safe.
    const std::uint8_t* rows(int channel, int first, int last, std::uint8_t* room) const;
    /// Packed rows were shorter than their picture.
    bool damaged() const { return *damaged_; }

  private:
    Result<void> read_counts(const PsdFile& file);
    Result<void> inflate(const PsdFile& file, const Limits& limits);
    bool unpack(int channel, int first, int last, std::uint8_t* room) const;

    ByteReader data_;
    std::shared_ptr<const Source> source_;
    std::span<const std::uint8_t> memory_;  // all bytes of the source, when they lie in memory
    Buffer inflated_;
    bool packed_ = false;
    std::size_t row_bytes_ = 0;
    int height_ = 0, rows_there_ = 0;
    std::int64_t at_ = 0;                // offset of the first plane in the source
    std::vector<std::int64_t> offsets_;  // packed: of each row of each channel in the source, and of the end
    std::shared_ptr<std::atomic<bool>> damaged_ = std::make_shared<std::atomic<bool>>(false);
};

}  // namespace quillmark::imaging::codecs
