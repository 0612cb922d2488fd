// The one allocator for pixels: large buffers are huge-page aligned and recycled, because on today's machines
// the page faults of a fresh 72 MB buffer cost several times the copy that fills it.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace quillmark::imaging {

/// A block of bytes that returns to the pool when its last owner lets go. Contents are undefined.
class Buffer {
  public:
    Buffer() = default;
    /// size bytes, aligned to 64 bytes at least (2 MB for large ones); empty when memory is short.
    static Buffer allocate(std::size_t size);
    /// The same, reading as zero. Untouched pages of a large zeroed buffer cost no memory.
    static Buffer allocate_zeroed(std::size_t size);

    std::uint8_t* data() { return data_.get(); }
    const std::uint8_t* data() const { return data_.get(); }
    std::size_t size() const { return size_; }
    explicit operator bool() const { return data_ != nullptr; }
    bool shared() const {
        const bool others = data_.use_count() > 1;
        // use_count() is a relaxed load: what the former owners read must have happened before we write.
        std::atomic_thread_fence(std::memory_order_acquire);
        return others;
    }

  private:
    std::shared_ptr<std::uint8_t[]> data_;
    std::size_t size_ = 0;
};

/// Gives the recycled buffers back to the system (the program calls it when its last window closes).
void release_pooled_buffers();

}  // namespace quillmark::imaging
