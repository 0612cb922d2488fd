// Compressed bytes in large pieces: decoders of runs work on plain pointers and ask for more only between
// packets.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

#include "imaging/source.h"

namespace quillmark::imaging::codecs {

/// A look-ahead window over the rest of a reader. Memory sources are used where they lie, files in pieces.
class ChunkReader {
  public:
    /// Starts at the reader's position.
    explicit ChunkReader(ByteReader in) : in_{std::move(in)} {
        if (in_.source() && !in_.source()->memory().empty()) take(in_.window());
    }
    ChunkReader(const ChunkReader&) = delete;
    ChunkReader& operator=(const ChunkReader&) = delete;

    /// Whether count bytes (at most kMaxAhead) lie at data(); false only when the input has fewer left.
    bool ensure(std::size_t count) {
        if (size() >= count) [[likely]]
            return true;
        refill();
        return size() >= count;
    }
    const std::uint8_t* data() const { return at_; }
    std::size_t size() const { return static_cast<std::size_t>(end_ - at_); }
    void advance(std::size_t count) { at_ += count; }  ///< count <= size()
    /// Bytes passed since the start.
    std::int64_t consumed() const { return taken_ - static_cast<std::int64_t>(size()); }

    static constexpr std::size_t kMaxAhead = 1024;

  private:
    static constexpr std::size_t kChunk = 262'144;

    void take(std::span<const std::uint8_t> bytes) {
        at_ = bytes.data();
        end_ = at_ + bytes.size();
        taken_ += static_cast<std::int64_t>(bytes.size());
        in_.advance(bytes.size());
    }

    void refill() {
        const std::int64_t rest = in_.remaining();
        if (rest <= 0) return;
        if (own_.empty()) own_.resize(kChunk + kMaxAhead);
        const std::size_t kept = size();
        if (kept > 0) std::memmove(own_.data(), at_, kept);
        const auto want = static_cast<std::size_t>(std::min<std::int64_t>(rest, kChunk));
        const std::size_t got = in_.read(std::span{own_}.subspan(kept, want));
        at_ = own_.data();
        end_ = at_ + kept + got;
        taken_ += static_cast<std::int64_t>(got);
    }

    ByteReader in_;
    std::vector<std::uint8_t> own_;
    const std::uint8_t* at_ = nullptr;
    const std::uint8_t* end_ = nullptr;
    std::int64_t taken_ = 0;
};

}  // namespace quillmark::imaging::codecs
