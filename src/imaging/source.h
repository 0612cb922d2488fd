// Where bytes come from (a file or memory), and the reader that cannot leave its bounds.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "imaging/result.h"

namespace quillmark::imaging {

/// Random access to the bytes of one file. Thread-safe: several readers may use one source.
class Source {
  public:
    virtual ~Source() = default;
    virtual std::int64_t size() const = 0;
    /// Reads up to out.size() bytes at offset; returns how many there were (fewer at the end or on an I/O
    /// error).
    virtual std::size_t read_at(std::int64_t offset, std::span<std::uint8_t> out) const = 0;
    /// All bytes when they already lie in memory, else an empty span.
    virtual std::span<const std::uint8_t> memory() const { return {}; }
};

/// Opens a regular file for reading. Faults: not_found, cannot_open (directories, devices, pipes, no
/// permission). The file is read with pread, never mapped: a file that shrinks meanwhile cannot crash the
/// program.
Result<std::shared_ptr<const Source>> open_file(const std::string& path);
/// A source over bytes that the caller keeps alive.
std::shared_ptr<const Source> memory_source(std::span<const std::uint8_t> bytes);
/// A source that owns its bytes.
std::shared_ptr<const Source> memory_source(std::vector<std::uint8_t> bytes);

/// A cursor over a part of a source. Sticky: past the end it yields zeros and remembers, so a header is read
/// like the format's own table and one failed() closes the section. Copying a reader is cheap for memory
/// sources and costs one refill for files.
class ByteReader {
  public:
    ByteReader() = default;
    explicit ByteReader(std::shared_ptr<const Source> source);
    ByteReader(const ByteReader& other);
    ByteReader& operator=(const ByteReader& other);
    /// Moving keeps the window at hand.
    ByteReader(ByteReader&& other) noexcept = default;
    ByteReader& operator=(ByteReader&& other) noexcept = default;

    /// A reader over [offset, offset + size) of this reader's range, clipped to it; positions count from
    /// there.
    ByteReader sub(std::int64_t offset, std::int64_t size) const;
    ByteReader sub(std::int64_t offset) const;

    std::int64_t size() const { return end_ - begin_; }
    std::int64_t position() const { return window_at_ + (cursor_ - window_begin_) - begin_; }
    std::int64_t remaining() const { return size() - position(); }
    bool at_end() const { return remaining() <= 0; }
    /// A read went past the end since the last seek.
    bool failed() const { return failed_; }

    /// Moves to a position (0 to size()); beyond it the reader fails. Clears an earlier failure.
    void seek(std::int64_t position);
    void skip(std::int64_t count);

    std::uint8_t u8() {
        if (cursor_ < window_end_) [[likely]]
            return *cursor_++;
        return refill() ? *cursor_++ : std::uint8_t{0};
    }
    std::int8_t i8() { return static_cast<std::int8_t>(u8()); }
    std::uint16_t u16le();
    std::uint16_t u16be();
    std::int16_t i16le() { return static_cast<std::int16_t>(u16le()); }
    std::int16_t i16be() { return static_cast<std::int16_t>(u16be()); }
    std::uint32_t u32le();
    std::uint32_t u32be();
    std::int32_t i32le() { return static_cast<std::int32_t>(u32le()); }
    std::int32_t i32be() { return static_cast<std::int32_t>(u32be()); }
    std::uint64_t u64le();
    std::uint64_t u64be();

    /// Fills out; what is missing at the end becomes zero and the reader fails. Returns the bytes delivered.
    /// Large reads go straight to out, past the window.
    std::size_t read(std::span<std::uint8_t> out);
    /// The next count bytes as a vector (shorter at the end, and the reader then fails). Check count against
    /// the format's own maximum first.
    std::vector<std::uint8_t> bytes(std::size_t count);

    /// The bytes at hand without another read, at least one unless the end is reached; use with advance() for
    /// loops that want plain pointers.
    std::span<const std::uint8_t> window() {
        if (cursor_ == window_end_) refill_quietly();
        return {cursor_, window_end_};
    }
    void advance(std::size_t count) { cursor_ += count; }  ///< count <= window().size()

    const std::shared_ptr<const Source>& source() const { return source_; }
    /// Offset of position 0 in the source.
    std::int64_t base() const { return begin_; }

  private:
    bool refill();          // past the window: loads the next one, or notes the failure
    bool refill_quietly();  // the same without noting a failure at the end
    void use_memory(std::int64_t at);

    static constexpr std::size_t kWindow = 65'536;

    std::shared_ptr<const Source> source_;
    std::vector<std::uint8_t> own_window_;  // files only
    std::int64_t begin_ = 0, end_ = 0;      // our range in the source
    std::int64_t window_at_ = 0;            // source offset of window_begin_
    const std::uint8_t* window_begin_ = nullptr;
    const std::uint8_t* window_end_ = nullptr;
    const std::uint8_t* cursor_ = nullptr;
    bool failed_ = false;
};

}  // namespace quillmark::imaging
