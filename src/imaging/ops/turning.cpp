#include "imaging/ops/turning.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <new>
#include <optional>
#include <utility>

#include "imaging/affine.h"
#include "imaging/ops/bilinear.h"
#include "imaging/ops/geometry.h"
#include "imaging/ops/levels.h"
#include "imaging/ops/luminance.h"
#include "imaging/ops/operation.h"
#include "imaging/ops/put_region.h"
#include "imaging/ops/row_loop.h"

namespace quillmark::imaging {
namespace {

constexpr int kTileWidth = 64;  // also keeps the rounding of steps below a thousandth of a pixel
constexpr int kTileHeight = 32;
constexpr double kEdge = 1.0 / 64;  // pixels: walks keep this far from the edge, far above any rounding

/// A pixel as it lies in memory; bit1 and index8: the index.
using PixelBytes = std::array<std::uint8_t, 4>;

Samples samples_of(const Bitmap& level_image) {
    switch (level_image.layout()) {
        case Layout::gray16: return Samples::gray16;
        case Layout::rgb24: return Samples::rgb24;
        case Layout::rgba32: return Samples::rgba32;
        default: return Samples::gray8;
    }
}

// The fill colour in the bitmap's form; nothing when its palette lacks it.
std::optional<PixelBytes> fill_pixel(const Bitmap& bitmap, std::uint32_t fill) {
    const Rgba colour{static_cast<std::uint8_t>(fill >> 16), static_cast<std::uint8_t>(fill >> 8),
                      static_cast<std::uint8_t>(fill), 255};
    if (bitmap.layout() == Layout::gray16) {
        const std::uint16_t level = wide_luminance(colour.r, colour.g, colour.b, bitmap.bits());
        PixelBytes bytes{};
        std::memcpy(bytes.data(), &level, sizeof level);
        return bytes;
    }
    if (bitmap.layout() == Layout::rgb24 || bitmap.layout() == Layout::rgba32)
        return PixelBytes{colour.r, colour.g, colour.b, 255};
    if (is_level_image(bitmap)) return PixelBytes{luminance(colour.r, colour.g, colour.b)};
    const auto found = std::ranges::find(bitmap.palette(), colour);
    if (found == bitmap.palette().end()) return {};
    return PixelBytes{static_cast<std::uint8_t>(found - bitmap.palette().begin())};
}

void fill_run(Bitmap& out, int y, const Run& run, const PixelBytes& pixel) {
    std::uint8_t* row = out.writable_row(y).data();
    if (out.layout() == Layout::bit1) {
        for (int x = run.first; x < run.last; ++x) {
            const unsigned bit = 0x80U >> x % 8;
            row[x / 8] = static_cast<std::uint8_t>(pixel[0] ? row[x / 8] | bit : row[x / 8] & ~bit);
        }
        return;
    }
    const auto size = static_cast<std::size_t>(pixel_bytes(out.layout()));
    for (int x = run.first; x < run.last; ++x)
        std::memcpy(row + static_cast<std::size_t>(x) * size, pixel.data(), size);
}

// --- blending ---

// The x for which low <= start + step x <= high, within [0, count).
Run where_between(double start, double step, double low, double high, int count) {
    if (low > high) return {};
    if (std::abs(step) < 1e-12) return start >= low && start <= high ? Run{0, count} : Run{};
    double first = (low - start) / step, last = (high - start) / step;
    if (first > last) std::swap(first, last);
    const auto limited = [count](double x) { return static_cast<int>(std::clamp<double>(x, 0, count)); };
    return {limited(std::ceil(first)), limited(std::floor(last) + 1)};
}

Run both(const Run& a, const Run& b) {
    const int first = std::max(a.first, b.first);
    return {first, std::max(first, std::min(a.last, b.last))};
}

// Fills a canvas with what an affine map takes from a level image, tile by tile: a row of tiles touches few
// source lines, which then serve the next rows from the cache.
class Renderer {
  public:
    Renderer(const Bitmap& in, const Placement& placement, const PixelBytes& fill, Bitmap& out)
        : in_{in},
          out_{out},
          back_{placement.back},
          origin_{placement.target.x, placement.target.y},
          fill_{fill},
          form_{samples_of(in)},
          size_{pixel_bytes(in.layout())} {
        for (int x = 0; x < kTileWidth; ++x)
            std::memcpy(filled_.data() + static_cast<std::ptrdiff_t>(x) * size_, fill_.data(),
                        static_cast<std::size_t>(size_));
    }

    void rows(int first, int last) {
        for (int y = first; y < last; y += kTileHeight) {
            const int to = std::min(y + kTileHeight, last);
            Row tile_rows[kTileHeight];
            for (int i = y; i < to; ++i) tile_rows[i - y] = row(i);
            for (int x = 0; x < out_.width(); x += kTileWidth) {
                for (int i = y; i < to; ++i)
                    piece(tile_rows[i - y], {x, std::min(x + kTileWidth, out_.width())});
            }
        }
    }

  private:
    struct Row {
        std::uint8_t* out;
        double u, v;  // where its first pixel's centre lies, the source's first pixel's centre being (0, 0)
        Run touched;  // pixels that some source pixel takes part in
        Run inside;   // pixels of which all four source pixels are there
    };

    Row row(int y) const {
        const double x = origin_.x + 0.5, at = origin_.y + y + 0.5;
        Row r{out_.writable_row(y).data(),
              back_.xx * x + back_.xy * at + back_.x0 - 0.5,
              back_.yx * x + back_.yy * at + back_.y0 - 0.5,
              {},
              {}};
        const int count = out_.width();
        const double right = in_.width(), bottom = in_.height();
        r.touched = both(where_between(r.u, back_.xx, -1 - kEdge, right + kEdge, count),
                         where_between(r.v, back_.yx, -1 - kEdge, bottom + kEdge, count));
        // Loads of three-byte pixels reach into a third pixel.
        const double spare = form_ == Samples::rgb24 ? 3 : 2;
        r.inside = both(where_between(r.u, back_.xx, kEdge, right - spare - kEdge, count),
                        where_between(r.v, back_.yx, kEdge, bottom - 2 - kEdge, count));
        if (r.inside.first >= r.inside.last) r.inside = {r.touched.first, r.touched.first};
        return r;
    }

    void piece(const Row& r, const Run& columns) const {
        const Run touched = both(r.touched, columns), inside = both(r.inside, columns);
        if (touched.first >= touched.last) return paint(r, columns);
        paint(r, {columns.first, touched.first});
        if (inside.first < inside.last) {
            edge(r, {touched.first, inside.first});
            walk(r, inside);
            edge(r, {inside.last, touched.last});
        } else {
            edge(r, touched);
        }
        paint(r, {touched.last, columns.last});
    }

    std::uint8_t* at(const Row& r, int x) const { return r.out + static_cast<std::ptrdiff_t>(x) * size_; }
    double u_at(const Row& r, int x) const { return r.u + back_.xx * x; }
    double v_at(const Row& r, int x) const { return r.v + back_.yx * x; }

    void paint(const Row& r, const Run& run) const {
        if (run.first < run.last)
            std::memcpy(at(r, run.first), filled_.data(),
                        static_cast<std::size_t>(run.last - run.first) * static_cast<std::size_t>(size_));
    }

    void walk(const Row& r, const Run& run) const {
        const double u = u_at(r, run.first), v = v_at(r, run.first);
        const double column = std::floor(u), line = std::floor(v);
        const auto fixed = [](double value) { return static_cast<std::int32_t>(std::lround(value * 65536)); };
        const Walk walk{in_.row(static_cast<int>(line)).data() + static_cast<std::ptrdiff_t>(column) * size_,
                        static_cast<std::ptrdiff_t>(in_.stride()),
                        fixed(u - column),
                        fixed(v - line),
                        fixed(back_.xx),
                        fixed(back_.yx)};
        sample_walk(form_, walk, at(r, run.first), run.last - run.first);
    }

    void edge(const Row& r, const Run& run) const {
        for (int x = run.first; x < run.last; ++x) {
            const auto u = static_cast<std::int64_t>(std::llround(u_at(r, x) * 65536));
            const auto v = static_cast<std::int64_t>(std::llround(v_at(r, x) * 65536));
            const std::int64_t column = u >> 16, line = v >> 16;
            sample_pixels(form_,
                          {source(column, line), source(column + 1, line), source(column, line + 1),
                           source(column + 1, line + 1)},
                          static_cast<int>(u & 0xFFFF), static_cast<int>(v & 0xFFFF), at(r, x));
        }
    }

    const std::uint8_t* source(std::int64_t x, std::int64_t y) const {
        if (x < 0 || y < 0 || x >= in_.width() || y >= in_.height()) return fill_.data();
        return in_.row(static_cast<int>(y)).data() + x * size_;
    }

    const Bitmap& in_;
    Bitmap& out_;
    Affine back_;
    Point origin_;
    PixelBytes fill_;
    Samples form_;
    int size_;
    std::array<std::uint8_t, std::size_t{kTileWidth} * 4> filled_{};
};

// The placement's target, filled from a level image.
Result<Bitmap> rendered(const Bitmap& image, const Placement& placement, std::uint32_t fill,
                        const Context& context) {
    auto result = blank_like(image, placement.target.width, placement.target.height, context.limits);
    if (!result) return result;
    Renderer renderer{image, placement, *fill_pixel(image, fill), *result};
    const auto done = parallel_rows(result->height(), kTileHeight, context,
                                    [&](int first, int last) { renderer.rows(first, last); });
    if (!done) return done.error();
    return result;
}

Result<Bitmap> rendered_whole(const Bitmap& bitmap, const Placement& placement, std::uint32_t fill,
                              const Context& context) {
    // Asked before the promotion, so that a result that cannot be costs nothing.
    const int bits = bitmap.bits() <= 8 ? 8 : bitmap.bits();
    const auto fits =
        Bitmap::check_size(placement.target.width, placement.target.height, bits, context.limits);
    if (!fits && bitmap.layout() != Layout::gray16) return fits.error();
    const auto image = level_image(bitmap, context.limits, context.progress);
    if (!image) return image.error();
    return rendered(*image, placement, fill, context);
}

// --- quarter turns on a canvas that keeps its size ---

// The bitmap in a form that has the fill colour.
Result<Bitmap> with_fill(const Bitmap& bitmap, std::uint32_t fill, const Context& context) {
    if (fill_pixel(bitmap, fill)) return bitmap;
    return level_image(bitmap, context.limits, context.progress);
}

// bitmap at offset on a canvas of width x height, of which the rest is fill.
Result<Bitmap> on_canvas(const Bitmap& bitmap, Point offset, int width, int height, std::uint32_t fill,
                         const Context& context) {
    const auto image = with_fill(bitmap, fill, context);
    if (!image) return image.error();
    auto canvas = blank_like(*image, width, height, context.limits);
    if (!canvas) return canvas;
    const PixelBytes pixel = *fill_pixel(*image, fill);
    const auto done = parallel_rows(height, kTileHeight, context, [&](int first, int last) {
        for (int y = first; y < last; ++y) {
            if (canvas->layout() == Layout::bit1) canvas->clear_rows(y, y + 1);  // for the padding
            fill_run(*canvas, y, {0, width}, pixel);
        }
    });
    if (!done) return done.error();
    return pasted(*canvas, *image, offset, nullptr, context.limits, context.progress);
}

// --- regions ---

// image with the fill colour where the region was and change, whose top left pixel lies at, where it is now.
Result<TurnedRegion> moved_region(Bitmap image, const Region& from, const Region& to, const Bitmap& change,
                                  Point at, std::uint32_t fill, const Context& context) {
    auto own = detached(std::move(image), context.limits, context.progress);
    if (!own) return own.error();
    const PixelBytes pixel = *fill_pixel(*own, fill);
    const int top = from.bounds().y;
    const auto filled = parallel_rows(from.bounds().height, kTileHeight, context, [&](int first, int last) {
        for (int y = top + first; y < top + last; ++y)
            for (const Run& run : from.row(y)) fill_run(*own, y, run, pixel);
    });
    if (!filled) return filled.error();
    if (to.empty()) return TurnedRegion{std::move(*own), to};
    auto result = pasted(*own, change, at, &to, context.limits, context.progress);
    if (!result) return result.error();
    return TurnedRegion{std::move(*result), to};
}

// Blended pixels for the part of the placement that lies in the image, put where the moved region is.
Result<TurnedRegion> blended_region(const Bitmap& bitmap, const Region& from, const Region& to,
                                    Placement placement, std::uint32_t fill, const Context& context) {
    const auto image = level_image(bitmap, context.limits, context.progress);
    if (!image) return image.error();
    if (to.empty()) return moved_region(*image, from, to, {}, {}, fill, context);
    placement.target = to.bounds();
    const auto change = rendered(*image, placement, fill, context);
    if (!change) return change.error();
    return moved_region(*image, from, to, *change, {to.bounds().x, to.bounds().y}, fill, context);
}

}  // namespace

Result<Bitmap> rotate(const Bitmap& bitmap, int angle, bool grow, std::uint32_t fill,
                      const Context& context) {
    if (bitmap.empty()) return Error{Fault::malformed, "no image"};
    if (!is_quarter_turn(angle))
        return rendered_whole(bitmap, turned_on_canvas(bitmap.width(), bitmap.height(), angle, grow), fill,
                              context);
    auto turned = rotate_quarters(bitmap, angle / 9000, context);
    if (!turned || grow || angle % 18000 == 0) return turned;
    const Rect target = turned_about_centre(whole(bitmap), angle).target;
    return on_canvas(*turned, {target.x, target.y}, bitmap.width(), bitmap.height(), fill, context);
}

Result<Bitmap> shear(const Bitmap& bitmap, int angle, bool horizontal, std::uint32_t fill,
                     const Context& context) {
    if (bitmap.empty()) return Error{Fault::malformed, "no image"};
    if (angle == 0) return bitmap;
    return rendered_whole(bitmap, sheared_on_canvas(bitmap.width(), bitmap.height(), angle, horizontal), fill,
                          context);
}

Result<TurnedRegion> turn_region(const Bitmap& bitmap, const Region& region, int angle, std::uint32_t fill,
                                 const Context& context) try {
    if (bitmap.empty()) return Error{Fault::malformed, "no image"};
    const Region from = region.clipped(whole(bitmap));
    if (from.empty() || angle % 36000 == 0) return TurnedRegion{bitmap, from};
    const Region to = from.turned(angle).clipped(whole(bitmap));
    const Placement placement = turned_about_centre(from.bounds(), angle);
    if (!is_quarter_turn(angle)) return blended_region(bitmap, from, to, placement, fill, context);
    const auto image = with_fill(bitmap, fill, context);
    if (!image) return image.error();
    const auto part = cropped(*image, from.bounds(), context.limits, context.progress);
    if (!part) return part.error();
    const auto turned = rotate_quarters(*part, angle / 9000, context);
    if (!turned) return turned.error();
    return moved_region(*image, from, to, *turned, {placement.target.x, placement.target.y}, fill, context);
} catch (const std::bad_alloc&) {
    return kOutOfMemory;
}

Result<TurnedRegion> shear_region(const Bitmap& bitmap, const Region& region, int angle, bool horizontal,
                                  std::uint32_t fill, const Context& context) try {
    if (bitmap.empty()) return Error{Fault::malformed, "no image"};
    const Region from = region.clipped(whole(bitmap));
    if (from.empty() || angle == 0) return TurnedRegion{bitmap, from};
    return blended_region(bitmap, from, from.sheared(angle, horizontal).clipped(whole(bitmap)),
                          sheared_about_centre(from.bounds(), angle, horizontal), fill, context);
} catch (const std::bad_alloc&) {
    return kOutOfMemory;
}

namespace {

constexpr std::array<Choice, 2> kCanvas{Choice{0, "keeps its size"}, Choice{1, "grows to hold all"}};
constexpr std::array<Choice, 2> kDirections{Choice{0, "vertical"}, Choice{1, "horizontal"}};
constexpr int kWhite = 0xFFFFFF;
constexpr Parameter kFill{.name = "fill", .unit = "0xRRGGBB", .low = 0, .high = kWhite, .initial = kWhite};
constexpr std::array<Parameter, 3> kRotate{
    Parameter{.name = "angle",
              .unit = "hundredths of a degree clockwise",
              .low = -36000,
              .high = 36000,
              .initial = 0,
              .identity = 0},
    Parameter{.name = "resize", .unit = "", .low = 0, .high = 1, .initial = 1, .choices = kCanvas}, kFill};
// Beyond 60 degrees the canvas becomes mostly fill.
constexpr std::array<Parameter, 3> kShear{
    Parameter{.name = "angle",
              .unit = "hundredths of a degree",
              .low = -6000,
              .high = 6000,
              .initial = 0,
              .identity = 0},
    Parameter{.name = "horizontal", .unit = "", .low = 0, .high = 1, .initial = 1, .choices = kDirections},
    kFill};

}  // namespace

std::span<const Operation> turning_operations() {
    static constexpr std::array<Operation, 2> kOperations{
        Operation{.name = "Rotate",
                  .what = "turns the image clockwise about its centre",
                  .parameters = kRotate,
                  .scope = Scope::whole,
                  .run =
                      [](const Bitmap& bitmap, std::span<const int> a, const Context& context) {
                          return rotate(bitmap, a[0], a[1] != 0, static_cast<std::uint32_t>(a[2]), context);
                      }},
        Operation{.name = "Shear",
                  .what = "slants the image: rows to the right, or columns downwards",
                  .parameters = kShear,
                  .scope = Scope::whole,
                  .run = [](const Bitmap& bitmap, std::span<const int> a, const Context& context) {
                      return shear(bitmap, a[0], a[1] != 0, static_cast<std::uint32_t>(a[2]), context);
                  }}};
    return kOperations;
}

}  // namespace quillmark::imaging
