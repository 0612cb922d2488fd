#include "imaging/ops/dither.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "imaging/convert_depth.h"
#include "imaging/ops/diffusion.h"
#include "imaging/ops/grayscale.h"
#include "imaging/ops/index_rows.h"
#include "imaging/ops/nearest_colour.h"
#include "imaging/ops/nearest_rows.h"
#include "imaging/ops/row_loop.h"

namespace quillmark::imaging {
namespace {

constexpr int kRowGrain = 16;
constexpr int kPiece = PlanarPixels::kCapacity;

// Bayer's matrix: the bits of x ^ y and y, interleaved, the lowest first.
constexpr auto kBayer = [] {
    std::array<std::array<int, 8>, 8> matrix{};
    for (unsigned y = 0; y < 8; ++y) {
        for (unsigned x = 0; x < 8; ++x) {
            unsigned rank = 0;
            for (unsigned bit = 0; bit < 3; ++bit)
                rank = rank << 2 | ((x ^ y) >> bit & 1U) << 1 | (y >> bit & 1U);
            matrix[y][x] = static_cast<int>(rank);
        }
    }
    return matrix;
}();

// What ordered dithering adds, from -strength / 2 to strength / 2.
using Offsets = std::array<std::array<int, 8>, 8>;

Offsets offsets_for(double strength) {
    Offsets offsets{};
    for (std::size_t y = 0; y < 8; ++y)
        for (std::size_t x = 0; x < 8; ++x)
            offsets[y][x] = static_cast<int>(std::lround((2 * kBayer[y][x] - 63) * strength / 128));
    return offsets;
}

// How far apart the entries lie: the mean distance to the nearest other one. Equal ones do not count.
double spacing(const Palette& palette, bool grey) {
    double sum = 0;
    int counted = 0;
    for (const Rgba& a : palette) {
        int nearest = std::numeric_limits<int>::max();
        for (const Rgba& b : palette) {
            const int r = a.r - b.r, g = a.g - b.g, blue = a.b - b.b;
            const int distance = grey ? r * r : r * r + g * g + blue * blue;
            if (distance > 0) nearest = std::min(nearest, distance);
        }
        if (nearest != std::numeric_limits<int>::max()) sum += std::sqrt(nearest), ++counted;
    }
    return counted ? sum / counted : 0;
}

// Calls row(y, first, indices) for every piece of every row, to fill indices.
template <typename Row>
Result<void> fill(Bitmap& result, const Context& context, Row row) {
    return parallel_rows(result.height(), kRowGrain, context, [&](int from, int to) {
        std::array<std::uint8_t, kPiece> indices;
        for (int y = from; y < to; ++y) {
            for_pieces(result.width(), [&](int first, int count) {
                const auto piece = std::span{indices}.first(static_cast<std::size_t>(count));
                row(y, first, piece);
                put_indices(result, y, first, piece);
            });
        }
    });
}

struct Thresholds {
    const Offsets& offsets;
    const Context& context;
    std::array<int, 8> row(int y, int first) const {
        std::array<int, 8> turned;
        const auto& line = offsets[static_cast<std::size_t>(y + context.origin_y) % 8];
        for (std::size_t i = 0; i < 8; ++i)
            turned[i] = line[(static_cast<std::size_t>(first + context.origin_x) + i) % 8];
        return turned;
    }
};

Result<void> map_greys(const Bitmap& bitmap, Bitmap& result, const Thresholds& thresholds,
                       const Context& context) {
    const auto nearest = nearest_greys(result.palette());
    const LevelTable levels = luminance_of(bitmap.palette());
    return fill(result, context, [&](int y, int first, std::span<std::uint8_t> out) {
        luminance_row(bitmap, y, first, out, levels);
        const auto add = thresholds.row(y, first);
        for (std::size_t i = 0; i < out.size(); ++i)
            out[i] = nearest[static_cast<std::size_t>(std::clamp(out[i] + add[i % 8], 0, 255))];
    });
}

Result<void> map_colours(const Bitmap& bitmap, Bitmap& result, const Thresholds& thresholds,
                         const Context& context) {
    const NearestRows nearest{result.palette()};
    return fill(result, context, [&](int y, int first, std::span<std::uint8_t> out) {
        std::array<std::uint8_t, kPiece * 3> rgb;
        row_to_rgb(bitmap, y, first, std::span{rgb}.first(out.size() * 3));
        const auto add = thresholds.row(y, first);
        for (std::size_t i = 0; i < out.size() * 3; ++i)
            rgb[i] = static_cast<std::uint8_t>(std::clamp(rgb[i] + add[i % 24 / 3], 0, 255));
        nearest.find(rgb.data(), out.size(), out.data());
    });
}

Result<void> map_pixels(const Bitmap& bitmap, Bitmap& result, Dither dither, const Context& context) {
    if (dither != Dither::none && dither != Dither::ordered) return diffuse(bitmap, result, dither, context);
    const bool grey = all_grey(result.palette());
    const Offsets offsets = offsets_for(dither == Dither::ordered ? spacing(result.palette(), grey) : 0);
    const Thresholds thresholds{offsets, context};
    return grey ? map_greys(bitmap, result, thresholds, context)
                : map_colours(bitmap, result, thresholds, context);
}

}  // namespace

Result<Bitmap> dithered(const Bitmap& bitmap, const Palette& palette, int bits, Dither dither,
                        const Context& context) {
    if (bitmap.empty()) return Error{Fault::malformed, "no image"};
    auto result = Bitmap::create_unfilled(bitmap.width(), bitmap.height(), bits, context.limits);
    if (!result) return result;
    result->metadata() = bitmap.metadata();
    result->set_palette(palette);
    if (palette.empty()) {
        result->clear_rows(0, result->height());
        return result;
    }
    const auto done = map_pixels(bitmap, *result, dither, context);
    if (!done) return done.error();
    return result;
}

}  // namespace quillmark::imaging
