#include "imaging/ops/grayscale.h"

#include "imaging/convert_depth.h"
#include "imaging/ops/colour_kernels.h"
#include "imaging/ops/levels.h"
#include "imaging/ops/planar.h"
#include "imaging/ops/row_loop.h"

namespace quillmark::imaging {
namespace {

constexpr int kRowGrain = 16;

ConstChannelRows rows_of(const PlanarPixels& pixels) {
    return {pixels.r.data(), pixels.g.data(), pixels.b.data()};
}

// A row of 12- or 16-bit grey from any layout but gray16.
void wide_row(const Bitmap& bitmap, int y, std::span<std::uint16_t> out, int bits) {
    PlanarPixels pixels;
    for_pieces(bitmap.width(), [&](int first, int count) {
        split_pixels(bitmap, y, first, count, pixels);
        luminance16(rows_of(pixels), out.data() + first, static_cast<std::size_t>(count), bits);
    });
}

}  // namespace

LevelTable luminance_of(const Palette& palette) {
    PlanarPixels pixels{};
    for (std::size_t i = 0; i < palette.size(); ++i)
        pixels.r[i] = palette[i].r, pixels.g[i] = palette[i].g, pixels.b[i] = palette[i].b;
    LevelTable levels;
    luminance8(rows_of(pixels), levels.data(), levels.size());
    return levels;
}

void luminance_row(const Bitmap& bitmap, int y, int first, std::span<std::uint8_t> out,
                   const LevelTable& palette_levels) {
    const auto start = static_cast<std::size_t>(first);
    if (bitmap.bits() <= 8) return look_up_pixels(bitmap, y, first, out, palette_levels);
    if (bitmap.layout() == Layout::gray16) {
        const auto in = bitmap.row16(y).subspan(start);
        const int shift = bitmap.bits() - 8;
        for (std::size_t i = 0; i < out.size(); ++i)
            out[i] = static_cast<std::uint8_t>(std::min(in[i] >> shift, 255));
        return;
    }
    PlanarPixels pixels;
    for_pieces(static_cast<int>(out.size()), [&](int piece, int count) {
        split_pixels(bitmap, y, first + piece, count, pixels);
        luminance8(rows_of(pixels), out.data() + piece, static_cast<std::size_t>(count));
    });
}

Result<Bitmap> grayscale(const Bitmap& bitmap, int bits, const Context& context) {
    if (bitmap.empty()) return Error{Fault::malformed, "no image"};
    if (bits == 8 && bitmap.layout() == Layout::index8 && is_level_image(bitmap)) return bitmap;
    if (bits > 8 && bitmap.layout() == Layout::gray16)
        return convert_depth(bitmap, bits, context.limits, context.progress);
    auto result = Bitmap::create_unfilled(bitmap.width(), bitmap.height(), bits, context.limits, bits > 8);
    if (!result) return result;
    result->metadata() = bitmap.metadata();
    const LevelTable levels = luminance_of(bitmap.palette());
    const auto done = parallel_rows(bitmap.height(), kRowGrain, context, [&](int first, int last) {
        for (int y = first; y < last; ++y) {
            if (bits == 8)
                luminance_row(bitmap, y, 0, result->writable_row(y), levels);
            else
                wide_row(bitmap, y, result->writable_row16(y), bits);
        }
    });
    if (!done) return done.error();
    return result;
}

}  // namespace quillmark::imaging
