#include "imaging/ops/levels.h"

#include "imaging/convert_depth.h"
#include "imaging/ops/row_loop.h"

namespace quillmark::imaging {
namespace {

constexpr int kRowGrain = 64;

bool plain_gray_palette(const Palette& palette) {
    static const Palette plain = gray_palette(256);
    return palette == plain;
}

Result<Bitmap> to_gray8(const Bitmap& bitmap, const Limits& limits, const Progress& progress) {
    auto result = Bitmap::create_unfilled(bitmap.width(), bitmap.height(), 8, limits);
    if (!result) return result;
    result->metadata() = bitmap.metadata();
    std::array<std::uint8_t, 256> level{};
    for (std::size_t i = 0; i < bitmap.palette().size(); ++i) level[i] = bitmap.palette()[i].r;
    const auto done = parallel_rows(bitmap.height(), kRowGrain, progress, [&](int first, int last) {
        for (int y = first; y < last; ++y) {
            const auto in = bitmap.row(y);
            const auto out = result->writable_row(y);
            if (bitmap.layout() == Layout::bit1) {
                for (std::size_t x = 0; x < out.size(); ++x) out[x] = level[in[x / 8] >> (7 - x % 8) & 1U];
            } else {
                for (std::size_t x = 0; x < out.size(); ++x) out[x] = level[in[x]];
            }
        }
    });
    if (!done) return done.error();
    return result;
}

}  // namespace

bool is_level_image(const Bitmap& bitmap) {
    if (bitmap.empty()) return false;
    switch (bitmap.layout()) {
        case Layout::bit1: return false;
        case Layout::index8: return bitmap.bits() == 8 && plain_gray_palette(bitmap.palette());
        case Layout::rgb24: return bitmap.bits() == 24;
        case Layout::gray16:
        case Layout::rgba32: return true;
    }
    return false;
}

LevelForm level_form(const Bitmap& image) {
    switch (image.layout()) {
        case Layout::rgb24: return {3, false};
        case Layout::rgba32: return {4, false};
        case Layout::gray16: return {1, true};
        default: return {1, false};
    }
}

int pixel_bytes(Layout layout) {
    switch (layout) {
        case Layout::gray16: return 2;
        case Layout::rgb24: return 3;
        case Layout::rgba32: return 4;
        default: return 1;
    }
}

Result<Bitmap> level_image(const Bitmap& bitmap, const Limits& limits, const Progress& progress) {
    if (bitmap.empty()) return Error{Fault::malformed, "no image"};
    if (is_level_image(bitmap)) return bitmap;
    if (bitmap.layout() == Layout::rgb24) {
        Bitmap same = bitmap;  // 16-bit colour is stored in full: only its logical depth changes
        same.set_bits(24);
        return same;
    }
    if (bitmap.has_alpha()) return convert_depth(bitmap, 32, limits, progress);
    return bitmap.is_gray() ? to_gray8(bitmap, limits, progress)
                            : convert_depth(bitmap, 24, limits, progress);
}

Result<Bitmap> blank_like(const Bitmap& bitmap, int width, int height, const Limits& limits) {
    if (bitmap.empty()) return Error{Fault::malformed, "no image"};
    auto result =
        Bitmap::create_unfilled(width, height, bitmap.bits(), limits, bitmap.layout() == Layout::gray16);
    if (!result) return result;
    if (bitmap.bits() <= 8) result->set_palette(bitmap.palette());
    result->metadata() = bitmap.metadata();
    return result;
}

Result<Bitmap> blank_like(const Bitmap& bitmap, const Limits& limits) {
    return blank_like(bitmap, bitmap.width(), bitmap.height(), limits);
}

}  // namespace quillmark::imaging
