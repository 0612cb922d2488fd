#include "imaging/ops/separation.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <new>

#include "imaging/ops/colour_kernels.h"
#include "imaging/ops/grayscale.h"
#include "imaging/ops/planar.h"
#include "imaging/ops/row_loop.h"
#include "imaging/swizzle.h"

namespace quillmark::imaging {
namespace {

constexpr int kRowGrain = 16;

using PlaneRows = std::array<std::uint8_t*, 4>;

PlaneRows rows_at(std::vector<Bitmap>& planes, int y, std::size_t x) {
    PlaneRows rows{};
    for (std::size_t i = 0; i < planes.size(); ++i) rows[i] = planes[i].writable_row(y).data() + x;
    return rows;
}

void split_colours(Separation kind, const PlanarPixels& in, const PlaneRows& to, std::size_t count) {
    const ConstChannelRows from{in.r.data(), in.g.data(), in.b.data()};
    switch (kind) {
        case Separation::rgb:
            std::copy_n(from.b, count, to[0]);
            std::copy_n(from.g, count, to[1]);
            std::copy_n(from.r, count, to[2]);
            break;
        case Separation::cmy: to_cmy(from, {to[0], to[1], to[2]}, count); break;
        case Separation::cmyk: to_cmyk(from, {to[0], to[1], to[2]}, to[3], count); break;
        case Separation::hsv: to_hsv(from, to[0], to[1], to[2], count); break;
        case Separation::hls: to_hls(from, to[0], to[1], to[2], count); break;
    }
}

// The planes' values of every palette entry.
std::array<LevelTable, 4> plane_tables(const Palette& palette, Separation kind) {
    PlanarPixels colours{};
    for (std::size_t i = 0; i < palette.size(); ++i)
        colours.r[i] = palette[i].r, colours.g[i] = palette[i].g, colours.b[i] = palette[i].b;
    std::array<LevelTable, 4> tables{};
    split_colours(kind, colours, {tables[0].data(), tables[1].data(), tables[2].data(), tables[3].data()},
                  256);
    return tables;
}

void separate_row(const Bitmap& bitmap, int y, Separation kind, const std::array<LevelTable, 4>& tables,
                  std::vector<Bitmap>& planes) {
    if (bitmap.bits() <= 8) {
        for (std::size_t i = 0; i < planes.size(); ++i)
            look_up_pixels(bitmap, y, 0, planes[i].writable_row(y), tables[i]);
        return;
    }
    if (bitmap.layout() == Layout::rgb24 && kind == Separation::rgb) {
        const PlaneRows to = rows_at(planes, y, 0);
        return split_rgb(bitmap.row(y).data(), to[2], to[1], to[0], static_cast<std::size_t>(bitmap.width()));
    }
    PlanarPixels pixels;
    for_pieces(bitmap.width(), [&](int first, int count) {
        split_pixels(bitmap, y, first, count, pixels);
        split_colours(kind, pixels, rows_at(planes, y, static_cast<std::size_t>(first)),
                      static_cast<std::size_t>(count));
    });
}

// The pixel with that place on the hexagon (0 to 6), smallest and largest channel.
Rgba on_hexagon(double place, double low, double high) {
    const auto channel = [&](double n) {
        const double k = std::fmod(n + place, 6.0);
        const double part = std::clamp(std::min(k, 4.0 - k), 0.0, 1.0);
        return static_cast<std::uint8_t>(std::lround(high - (high - low) * part));
    };
    return {channel(5), channel(3), channel(1), 255};
}

Rgba from_hsv(int h, int s, int v) { return on_hexagon(h * 6 / 256.0, v - v * s / 255.0, v); }

Rgba from_hls(int h, int l, int s) {
    const double half = std::min(l, 255 - l) * s / 255.0;
    return on_hexagon(h * 6 / 256.0, l - half, l + half);
}

// One pixel out of its planes.
Rgba joined(Separation kind, const std::array<std::uint8_t, 4>& p) {
    const auto without = [](int ink, int black) {
        return static_cast<std::uint8_t>(std::max(255 - ink - black, 0));
    };
    switch (kind) {
        case Separation::rgb: return {p[2], p[1], p[0], 255};
        case Separation::cmy: return {without(p[0], 0), without(p[1], 0), without(p[2], 0), 255};
        case Separation::cmyk: return {without(p[0], p[3]), without(p[1], p[3]), without(p[2], p[3]), 255};
        case Separation::hsv: return from_hsv(p[0], p[1], p[2]);
        case Separation::hls: return from_hls(p[0], p[1], p[2]);
    }
    return {};
}

}  // namespace

int plane_count(Separation kind) { return kind == Separation::cmyk ? 4 : 3; }

Result<std::vector<Bitmap>> separate(const Bitmap& bitmap, Separation kind, const Context& context) try {
    if (bitmap.empty()) return Error{Fault::malformed, "no image"};
    std::vector<Bitmap> planes;
    for (int i = 0; i < plane_count(kind); ++i) {
        auto plane = Bitmap::create_unfilled(bitmap.width(), bitmap.height(), 8, context.limits);
        if (!plane) return plane.error();
        plane->metadata() = bitmap.metadata();
        planes.push_back(std::move(*plane));
    }
    const auto tables = plane_tables(bitmap.palette(), kind);
    const auto done = parallel_rows(bitmap.height(), kRowGrain, context, [&](int first, int last) {
        for (int y = first; y < last; ++y) separate_row(bitmap, y, kind, tables, planes);
    });
    if (!done) return done.error();
    return planes;
} catch (const std::bad_alloc&) {
    return kOutOfMemory;
}

Result<Bitmap> recombine(const std::vector<Bitmap>& planes, Separation kind, const Context& context) {
    if (static_cast<int>(planes.size()) != plane_count(kind))
        return Error{Fault::bad_parameter, "number of planes"};
    std::vector<Bitmap> levels;
    for (const Bitmap& plane : planes) {
        if (plane.width() != planes[0].width() || plane.height() != planes[0].height())
            return Error{Fault::bad_parameter, "planes of different sizes"};
        auto level = grayscale(plane, 8, context);
        if (!level) return level;
        levels.push_back(std::move(*level));
    }
    auto result = Bitmap::create_unfilled(planes[0].width(), planes[0].height(), 24, context.limits);
    if (!result) return result;
    result->metadata() = planes[0].metadata();
    const auto done = parallel_rows(result->height(), kRowGrain, context, [&](int first, int last) {
        for (int y = first; y < last; ++y) {
            std::uint8_t* out = result->writable_row(y).data();
            for (std::size_t x = 0; x < static_cast<std::size_t>(result->width()); ++x, out += 3) {
                std::array<std::uint8_t, 4> values{};
                for (std::size_t i = 0; i < levels.size(); ++i) values[i] = levels[i].row(y)[x];
                const Rgba pixel = joined(kind, values);
                out[0] = pixel.r, out[1] = pixel.g, out[2] = pixel.b;
            }
        }
    });
    if (!done) return done.error();
    return result;
}

}  // namespace quillmark::imaging
