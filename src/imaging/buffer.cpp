#include "imaging/buffer.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <vector>

namespace quillmark::imaging {
namespace {

constexpr std::size_t kHugePage = std::size_t{2} << 20;
constexpr std::size_t kLarge = std::size_t{1} << 20;        // from here on a buffer has pages of its own
constexpr std::size_t kPoolLimit = std::size_t{256} << 20;  // bytes kept for reuse

struct Block {
    std::uint8_t* data = nullptr;
    std::size_t capacity = 0;
};

Block map_block(std::size_t capacity) {
    // Over-map by one huge page and trim, so that the block starts on a huge-page boundary.
    const std::size_t span = capacity + kHugePage;
    void* mapped =
        mmap(nullptr, span, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (mapped == MAP_FAILED) return {};
    auto* begin = static_cast<std::uint8_t*>(mapped);
    const std::size_t lead = (kHugePage - reinterpret_cast<std::uintptr_t>(begin) % kHugePage) % kHugePage;
    if (lead > 0) munmap(begin, lead);
    if (kHugePage - lead > 0) munmap(begin + lead + capacity, kHugePage - lead);
    madvise(begin + lead, capacity, MADV_HUGEPAGE);
    return {begin + lead, capacity};
}

class Pool {
  public:
    Block take(std::size_t capacity) {
        const std::scoped_lock lock{mutex_};
        // The smallest block that fits without wasting more than a quarter.
        auto best = free_.end();
        for (auto it = free_.begin(); it != free_.end(); ++it) {
            const bool fits = it->capacity >= capacity && it->capacity - capacity <= capacity / 4;
            if (fits && (best == free_.end() || it->capacity < best->capacity)) best = it;
        }
        if (best == free_.end()) return {};
        const Block block = *best;
        free_.erase(best);
        held_ -= block.capacity;
        return block;
    }

    void give(Block block) {
        if (block.capacity > kPoolLimit) {  // keeping it would only push out all others
            munmap(block.data, block.capacity);
            return;
        }
        std::vector<Block> evicted;
        {
            const std::scoped_lock lock{mutex_};
            free_.push_back(block);
            held_ += block.capacity;
            while (held_ > kPoolLimit) {  // the oldest go first
                held_ -= free_.front().capacity;
                evicted.push_back(free_.front());
                free_.erase(free_.begin());
            }
        }
        for (const Block& old : evicted) munmap(old.data, old.capacity);
    }

    void clear() {
        std::vector<Block> all;
        {
            const std::scoped_lock lock{mutex_};
            all.swap(free_);
            held_ = 0;
        }
        for (const Block& block : all) munmap(block.data, block.capacity);
    }

  private:
    std::mutex mutex_;
    std::vector<Block> free_;
    std::size_t held_ = 0;
};

// Never destroyed: buffers with static lifetime may outlive every other static.
Pool& pool() {
    static Pool* const instance = new Pool;
    return *instance;
}

struct Allocation {
    std::shared_ptr<std::uint8_t[]> data;
    bool fresh_zero = false;
};

Allocation allocate_large(std::size_t size) {
    const std::size_t capacity = (size + kHugePage - 1) / kHugePage * kHugePage;
    Block block = pool().take(capacity);
    const bool fresh = block.data == nullptr;
    if (fresh) block = map_block(capacity);
    if (!block.data) {
        pool().clear();
        block = map_block(capacity);
    }
    if (!block.data) return {};
    return {{block.data,
             [capacity = block.capacity](std::uint8_t* data) {
                 pool().give({data, capacity});
             }},
            fresh};
}

Allocation allocate_small(std::size_t size) {
    constexpr std::size_t kAlignment = 64;
    const std::size_t rounded = std::max(kAlignment, (size + kAlignment - 1) / kAlignment * kAlignment);
    auto* data = static_cast<std::uint8_t*>(std::aligned_alloc(kAlignment, rounded));
    if (!data) return {};
    return {{data, [](std::uint8_t* p) { std::free(p); }}, false};
}

Allocation allocate_any(std::size_t size) {
    return size >= kLarge ? allocate_large(size) : allocate_small(size);
}

}  // namespace

Buffer Buffer::allocate(std::size_t size) {
    Buffer buffer;
    buffer.data_ = allocate_any(size).data;
    buffer.size_ = buffer.data_ ? size : 0;
    return buffer;
}

Buffer Buffer::allocate_zeroed(std::size_t size) {
    Allocation allocation = allocate_any(size);
    Buffer buffer;
    if (!allocation.data) return buffer;
    if (!allocation.fresh_zero) std::memset(allocation.data.get(), 0, size);
    buffer.data_ = std::move(allocation.data);
    buffer.size_ = size;
    return buffer;
}

void release_pooled_buffers() { pool().clear(); }

}  // namespace quillmark::imaging
