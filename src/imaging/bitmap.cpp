#include "imaging/bitmap.h"

#include <algorithm>
#include <cstring>

#include "imaging/threads.h"

namespace quillmark::imaging {
namespace {

const Palette kNoPalette;

struct Storage {
    Layout layout;
    int bits_per_pixel;
};

bool storage_for(int bits, bool gray, Storage& storage) {
    if (bits == 1)
        storage = {Layout::bit1, 1};
    else if (bits >= 2 && bits <= 8)
        storage = {Layout::index8, 8};
    else if (gray && (bits == 12 || bits == 16))
        storage = {Layout::gray16, 16};
    else if (!gray && (bits == 16 || bits == 24))
        storage = {Layout::rgb24, 24};
    else if (!gray && bits == 32)
        storage = {Layout::rgba32, 32};
    else
        return false;
    return true;
}

struct Shape {
    Storage storage;
    std::int64_t row_bytes, stride;
};

Result<Shape> shape_for(std::int64_t width, std::int64_t height, int bits, const Limits& limits, bool gray) {
    Shape shape{};
    if (!storage_for(bits, gray, shape.storage)) return Error{Fault::malformed, "bits per pixel"};
    if (width < 1 || height < 1) return Error{Fault::malformed, "width or height"};
    const bool bilevel = bits == 1;
    const std::int64_t side = bilevel ? limits.max_bilevel_side : limits.max_side;
    if (width > side || height > side) return Error{Fault::too_large, "width or height"};
    if (!bilevel && width * height > limits.max_pixels) return Error{Fault::too_large, "number of pixels"};
    shape.row_bytes = (width * shape.storage.bits_per_pixel + 7) / 8;
    shape.stride = (shape.row_bytes + 31) / 32 * 32;
    if (shape.stride * height > limits.max_bytes) return Error{Fault::too_large, "bytes in memory"};
    return shape;
}

// One core alone does not use up what the memory gives.
void copy_bytes(const std::uint8_t* from, std::uint8_t* to, std::size_t size) {
    constexpr std::size_t kBlock = std::size_t{1} << 20;
    const auto blocks = static_cast<int>((size + kBlock - 1) / kBlock);
    parallel_bands(blocks, 4, [&](int first, int last) {
        const std::size_t begin = static_cast<std::size_t>(first) * kBlock;
        std::memcpy(to + begin, from + begin,
                    std::min(static_cast<std::size_t>(last) * kBlock, size) - begin);
    });
}

}  // namespace

Palette gray_palette(int count) {
    Palette palette(static_cast<std::size_t>(std::clamp(count, 2, 256)));
    const int last = static_cast<int>(palette.size()) - 1;
    for (int i = 0; i <= last; ++i) {
        const auto level = static_cast<std::uint8_t>((i * 255 + last / 2) / last);
        palette[static_cast<std::size_t>(i)] = {level, level, level, 255};
    }
    return palette;
}

Result<void> Bitmap::check_size(std::int64_t width, std::int64_t height, int bits, const Limits& limits) {
    const auto shape = shape_for(width, height, bits, limits, bits == 12);
    if (!shape) return shape.error();
    return {};
}

Result<Bitmap> Bitmap::make(int width, int height, int bits, const Limits& limits, bool gray, bool zeroed) {
    const auto shape = shape_for(width, height, bits, limits, gray);
    if (!shape) return shape.error();
    Bitmap bitmap;
    const auto size = static_cast<std::size_t>(shape->stride * height);
    bitmap.pixels_ = zeroed ? Buffer::allocate_zeroed(size) : Buffer::allocate(size);
    if (!bitmap.pixels_) return Error{Fault::out_of_memory, "pixels"};
    bitmap.width_ = width;
    bitmap.height_ = height;
    bitmap.bits_ = bits;
    bitmap.layout_ = shape->storage.layout;
    bitmap.stride_ = static_cast<std::size_t>(shape->stride);
    bitmap.row_bytes_ = static_cast<std::size_t>(shape->row_bytes);
    if (bits <= 8) bitmap.set_palette(gray_palette(1 << bits));
    return bitmap;
}

Result<Bitmap> Bitmap::create(int width, int height, int bits, const Limits& limits, bool gray) {
    return make(width, height, bits, limits, gray, true);
}

Result<Bitmap> Bitmap::create_unfilled(int width, int height, int bits, const Limits& limits, bool gray) {
    return make(width, height, bits, limits, gray, false);
}

void Bitmap::clear_rows(int first, int last) {
    for (int y = std::max(first, 0); y < std::min(last, height_); ++y)
        std::memset(writable_row(y).data(), 0, row_bytes_);
}

bool Bitmap::detach() {
    if (!pixels_ || !pixels_.shared()) return true;
    Buffer copy = Buffer::allocate(pixels_.size());
    if (!copy) return false;
    copy_bytes(pixels_.data(), copy.data(), pixels_.size());
    pixels_ = std::move(copy);
    return true;
}

const Palette& Bitmap::palette() const { return palette_ ? *palette_ : kNoPalette; }

void Bitmap::set_palette(Palette palette) {
    if (palette.size() > 256) palette.resize(256);
    palette_ = std::make_shared<const Palette>(std::move(palette));
}

bool Bitmap::is_gray() const {
    if (layout_ == Layout::gray16) return true;
    if (layout_ != Layout::bit1 && layout_ != Layout::index8) return false;
    return std::ranges::all_of(palette(),
                               [](const Rgba& c) { return c.r == c.g && c.g == c.b && c.a == 255; });
}

bool Bitmap::has_alpha() const {
    if (layout_ == Layout::rgba32) return true;
    return std::ranges::any_of(palette(), [](const Rgba& c) { return c.a != 255; });
}

Rgba Bitmap::pixel(int x, int y) const {
    const auto bytes = row(y);
    const auto at = static_cast<std::size_t>(x);
    const auto entry = [this](std::size_t index) {
        return index < palette().size() ? palette()[index] : Rgba{};
    };
    switch (layout_) {
        case Layout::bit1: return entry(bytes[at / 8] >> (7 - at % 8) & 1);
        case Layout::index8: return entry(bytes[at]);
        case Layout::gray16: {
            const auto level = static_cast<std::uint8_t>(std::min(row16(y)[at] >> (bits_ - 8), 255));
            return {level, level, level, 255};
        }
        case Layout::rgb24: return {bytes[at * 3], bytes[at * 3 + 1], bytes[at * 3 + 2], 255};
        case Layout::rgba32: return {bytes[at * 4], bytes[at * 4 + 1], bytes[at * 4 + 2], bytes[at * 4 + 3]};
    }
    return {};
}

}  // namespace quillmark::imaging
