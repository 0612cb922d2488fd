// Hue, Saturation and Grayscale.
#include <algorithm>
#include <array>
#include <cstring>

#include "imaging/convert_depth.h"
#include "imaging/ops/colour_kernels.h"
#include "imaging/ops/grayscale.h"
#include "imaging/ops/levels.h"
#include "imaging/ops/operation.h"
#include "imaging/ops/planar.h"
#include "imaging/ops/row_loop.h"

namespace quillmark::imaging {
namespace {

constexpr int kRowGrain = 16;

// The palette as 256 pixels and back; entries keep their alpha.
template <typename Kernel>
Palette changed_palette(const Palette& palette, Kernel kernel) {
    PlanarPixels pixels;
    for (std::size_t i = 0; i < palette.size(); ++i)
        pixels.r[i] = palette[i].r, pixels.g[i] = palette[i].g, pixels.b[i] = palette[i].b;
    kernel({pixels.r.data(), pixels.g.data(), pixels.b.data()}, palette.size());
    Palette changed = palette;
    for (std::size_t i = 0; i < palette.size(); ++i)
        changed[i] = {pixels.r[i], pixels.g[i], pixels.b[i], palette[i].a};
    return changed;
}

// Applies kernel(rows, count) to the colours of a bitmap; greys have none.
template <typename Kernel>
Result<Bitmap> change_colours(const Bitmap& bitmap, const Context& context, Kernel kernel) {
    if (bitmap.is_gray()) return bitmap;
    if (bitmap.bits() <= 8) {
        Bitmap result = bitmap;
        result.set_palette(changed_palette(bitmap.palette(), kernel));
        return result;
    }
    const auto levels = level_image(bitmap, context.limits, context.progress);
    if (!levels) return levels.error();
    auto result = blank_like(*levels, context.limits);
    if (!result) return result;
    const int channels = level_form(*levels).channels;
    const auto done = parallel_rows(bitmap.height(), kRowGrain, context, [&](int first_row, int last_row) {
        PlanarPixels pixels;
        for (int y = first_row; y < last_row; ++y) {
            std::uint8_t* const out = result->writable_row(y).data();
            for_pieces(bitmap.width(), [&](int first, int count) {
                split_pixels(*levels, y, first, count, pixels);
                kernel({pixels.r.data(), pixels.g.data(), pixels.b.data()}, static_cast<std::size_t>(count));
                join_pixels(pixels,
                            out + static_cast<std::size_t>(first) * static_cast<std::size_t>(channels), count,
                            channels);
            });
        }
    });
    if (!done) return done.error();
    return result;
}

Result<Bitmap> run_hue(const Bitmap& bitmap, std::span<const int> arguments, const Context& context) {
    const int tenths = arguments[0];
    if (tenths % 3600 == 0) return bitmap;
    return change_colours(bitmap, context,
                          [tenths](ChannelRows rows, std::size_t count) { turn_hue(rows, count, tenths); });
}

Result<Bitmap> run_saturation(const Bitmap& bitmap, std::span<const int> arguments, const Context& context) {
    if (arguments[0] == 0) return bitmap;
    const float factor = static_cast<float>(1000 + arguments[0]) / 1000.0F;
    return change_colours(bitmap, context, [factor](ChannelRows rows, std::size_t count) {
        scale_saturation(rows, count, factor);
    });
}

Result<Bitmap> run_grayscale(const Bitmap& bitmap, std::span<const int> arguments, const Context& context) {
    return grayscale(bitmap, arguments[0], context);
}

constexpr std::array kHueParameters{Parameter{
    .name = "change", .unit = "tenths of a degree", .low = -3600, .high = 3600, .initial = 0, .identity = 0}};
constexpr std::array kSaturationParameters{Parameter{.name = "change",
                                                     .unit = "tenths of a percent",
                                                     .low = -1000,
                                                     .high = 1000,
                                                     .initial = 0,
                                                     .identity = 0}};
constexpr std::array kGrayDepths{Choice{8, "8 bits"}, Choice{12, "12 bits"}, Choice{16, "16 bits"}};
constexpr std::array kGrayscaleParameters{Parameter{
    .name = "bits", .unit = "bits per pixel", .low = 8, .high = 16, .initial = 8, .choices = kGrayDepths}};

const std::array kOperations{
    Operation{.name = "Hue",
              .what = "Turns all colours around the colour circle; value and saturation stay",
              .parameters = kHueParameters,
              .run = run_hue},
    Operation{.name = "Saturation",
              .what = "Makes colours stronger or paler; hue and value stay",
              .parameters = kSaturationParameters,
              .run = run_saturation},
    Operation{.name = "Grayscale",
              .what = "Greys of the luminance at 8, 12 or 16 bits",
              .parameters = kGrayscaleParameters,
              .scope = Scope::whole,
              .run = run_grayscale},
};

}  // namespace

std::span<const Operation> colour_operations() { return kOperations; }

}  // namespace quillmark::imaging
