// Where encoded bytes go: memory, or a temporary file beside the target that replaces it only when complete.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "imaging/result.h"

namespace quillmark::imaging {

/// Random-access destination of one encoded file. Sticky like the reader: after a failed write every further
/// call does nothing and failed() stays true.
class ByteWriter {
  public:
    virtual ~ByteWriter() = default;

    void u8(int value);
    void u16le(std::uint32_t value);
    void u16be(std::uint32_t value);
    void u32le(std::uint32_t value);
    void u32be(std::uint32_t value);
    void write(std::span<const std::uint8_t> bytes);
    void zeros(std::size_t count);

    std::int64_t position() const { return flushed_to_ + static_cast<std::int64_t>(pending_.size()); }
    /// Moves to a position at or before the end, to patch a header or to go on at the end.
    void seek(std::int64_t position);
    std::int64_t size() const;
    /// Reads back what was written (libtiff needs it); returns the bytes delivered.
    std::size_t read_at(std::int64_t offset, std::span<std::uint8_t> out);
    bool failed() const { return failed_; }
    void flush();

  protected:
    virtual bool store(std::int64_t offset, std::span<const std::uint8_t> bytes) = 0;
    virtual std::size_t fetch(std::int64_t offset, std::span<std::uint8_t> out) = 0;

  private:
    std::vector<std::uint8_t> pending_;
    std::int64_t flushed_to_ = 0;
    std::int64_t size_ = 0;
    bool failed_ = false;
};

/// Keeps the bytes in memory.
class MemoryWriter final : public ByteWriter {
  public:
    /// The bytes so far.
    const std::vector<std::uint8_t>& bytes();

  protected:
    bool store(std::int64_t offset, std::span<const std::uint8_t> bytes) override;
    std::size_t fetch(std::int64_t offset, std::span<std::uint8_t> out) override;

  private:
    std::vector<std::uint8_t> bytes_;
};

/// Writes to a temporary file in the target's folder; commit() syncs it and renames it over the target.
/// Without commit() the target stays exactly as it was and the temporary file goes away. Links are followed
/// and the target's permissions kept.
class AtomicFileWriter final : public ByteWriter {
  public:
    /// Faults: not_found (no such folder), cannot_open (no permission, the target is no regular file).
    static Result<std::unique_ptr<AtomicFileWriter>> create(const std::string& path);
    ~AtomicFileWriter() override;

    Result<void> commit();

  protected:
    bool store(std::int64_t offset, std::span<const std::uint8_t> bytes) override;
    std::size_t fetch(std::int64_t offset, std::span<std::uint8_t> out) override;

  private:
    AtomicFileWriter(int fd, std::string temporary, std::string target);
    int fd_;
    std::string temporary_;
    std::string target_;
};

}  // namespace quillmark::imaging
