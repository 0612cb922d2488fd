#include "imaging/ops/compose_mask.h"

#include <algorithm>
#include <new>
#include <optional>

#include "imaging/convert_depth.h"
#include "imaging/ops/levels.h"
#include "imaging/ops/luminance.h"
#include "imaging/ops/put_region.h"
#include "imaging/ops/row_loop.h"

namespace quillmark::imaging {
namespace {

constexpr int kRowGrain = 32;
constexpr int kHalf = 128;

// One run of pixels of the image and the coverage of each.
struct Piece {
    Bitmap& bitmap;
    int y, first;
    std::span<const std::uint8_t> coverage;
};

struct Drawing {
    const Bitmap& mask;
    Point place;
    Region inside;  // the pixels that may change, in image coordinates
};

Drawing drawing_on(const Bitmap& bitmap, const Bitmap& mask, Point place, const Region* region) {
    const Rect covered = Rect{place.x, place.y, mask.width(), mask.height()}.intersected(
        {0, 0, bitmap.width(), bitmap.height()});
    return {mask, place, region ? region->clipped(covered) : Region::rectangle(covered)};
}

std::span<const std::uint8_t> coverage(const Drawing& drawing, int y, const Run& run) {
    return drawing.mask.row(y - drawing.place.y)
        .subspan(static_cast<std::size_t>(run.first - drawing.place.x),
                 static_cast<std::size_t>(run.last - run.first));
}

bool covers_nothing(const Drawing& drawing, int threshold) {
    const Rect bounds = drawing.inside.bounds();
    for (int y = bounds.y; y < bounds.bottom(); ++y) {
        for (const Run& run : drawing.inside.row(y)) {
            if (std::ranges::any_of(coverage(drawing, y, run),
                                    [threshold](std::uint8_t c) { return c >= threshold; }))
                return false;
        }
    }
    return true;
}

// The image's own pixels must not be shared.
template <typename Blend>
Result<Bitmap> drawn(Bitmap image, const Drawing& drawing, const Context& context, Blend blend) {
    auto own = detached(std::move(image), context.limits, context.progress);
    if (!own) return own;
    const Rect bounds = drawing.inside.bounds();
    const auto done = parallel_rows(bounds.height, kRowGrain, context, [&](int first, int last) {
        for (int y = bounds.y + first; y < bounds.y + last; ++y) {
            for (const Run& run : drawing.inside.row(y))
                blend(Piece{*own, y, run.first, coverage(drawing, y, run)});
        }
    });
    if (!done) return done.error();
    return own;
}

std::optional<std::size_t> index_of(const Bitmap& bitmap, Rgba colour) {
    const auto found = std::ranges::find(bitmap.palette(), colour);
    if (found == bitmap.palette().end()) return {};
    return static_cast<std::size_t>(found - bitmap.palette().begin());
}

void set_index(const Piece& piece, std::size_t index) {
    const auto row = piece.bitmap.writable_row(piece.y);
    for (std::size_t i = 0; i < piece.coverage.size(); ++i) {
        if (piece.coverage[i] < kHalf) continue;
        const std::size_t x = static_cast<std::size_t>(piece.first) + i;
        if (piece.bitmap.layout() == Layout::index8) {
            row[x] = static_cast<std::uint8_t>(index);
            continue;
        }
        const unsigned bit = 0x80U >> x % 8;
        row[x / 8] = static_cast<std::uint8_t>(index ? row[x / 8] | bit : row[x / 8] & ~bit);
    }
}

unsigned mixed(unsigned below, unsigned above, unsigned cover) {
    return (below * (255 - cover) + above * cover + 127) / 255;
}

void blend_gray(const Piece& piece, unsigned level) {
    const auto row = piece.bitmap.writable_row(piece.y).subspan(static_cast<std::size_t>(piece.first));
    for (std::size_t i = 0; i < piece.coverage.size(); ++i)
        row[i] = static_cast<std::uint8_t>(mixed(row[i], level, piece.coverage[i]));
}

void blend_gray16(const Piece& piece, unsigned level) {
    const auto row = piece.bitmap.writable_row16(piece.y).subspan(static_cast<std::size_t>(piece.first));
    for (std::size_t i = 0; i < piece.coverage.size(); ++i)
        row[i] = static_cast<std::uint16_t>(mixed(row[i], level, piece.coverage[i]));
}

void blend_rgb(const Piece& piece, Rgba colour) {
    std::uint8_t* out = &piece.bitmap.writable_row(piece.y)[static_cast<std::size_t>(piece.first) * 3];
    for (const std::uint8_t cover : piece.coverage) {
        out[0] = static_cast<std::uint8_t>(mixed(out[0], colour.r, cover));
        out[1] = static_cast<std::uint8_t>(mixed(out[1], colour.g, cover));
        out[2] = static_cast<std::uint8_t>(mixed(out[2], colour.b, cover));
        out += 3;
    }
}

void blend_rgba(const Piece& piece, Rgba colour) {
    std::uint8_t* out = &piece.bitmap.writable_row(piece.y)[static_cast<std::size_t>(piece.first) * 4];
    for (const std::uint8_t cover : piece.coverage) {
        // Both shares of the result in units of 1 / 255^2.
        const unsigned above = cover * 255U, below = out[3] * (255U - cover), alpha = above + below;
        if (cover) {
            const auto channel = [&](unsigned under, unsigned over) {
                return static_cast<std::uint8_t>((under * below + over * above + alpha / 2) / alpha);
            };
            out[0] = channel(out[0], colour.r);
            out[1] = channel(out[1], colour.g);
            out[2] = channel(out[2], colour.b);
            out[3] = static_cast<std::uint8_t>((alpha + 127) / 255);
        }
        out += 4;
    }
}

bool is_gray(Rgba colour) { return colour.r == colour.g && colour.g == colour.b; }

// The level image that can hold the colour beside the image's own.
Result<Bitmap> wide_enough(const Bitmap& bitmap, Rgba colour, const Context& context) {
    auto image = level_image(bitmap, context.limits, context.progress);
    if (!image || image->layout() != Layout::index8 || is_gray(colour)) return image;
    return convert_depth(*image, 24, context.limits, context.progress);
}

}  // namespace

Result<Bitmap> compose_mask(const Bitmap& bitmap, const Bitmap& mask, Point place, Rgba colour,
                            const Region* region, const Context& context) try {
    if (bitmap.empty()) return Error{Fault::malformed, "no image"};
    if (mask.layout() != Layout::index8) return Error{Fault::malformed, "mask"};
    colour.a = 255;
    const Drawing drawing = drawing_on(bitmap, mask, place, region);
    if (const auto index = index_of(bitmap, colour); index && !is_level_image(bitmap)) {
        if (covers_nothing(drawing, kHalf)) return bitmap;
        return drawn(bitmap, drawing, context, [&](const Piece& piece) { set_index(piece, *index); });
    }
    if (covers_nothing(drawing, 1)) return bitmap;
    auto image = wide_enough(bitmap, colour, context);
    if (!image) return image;
    const auto with = [&](auto blend, auto value) {
        return drawn(std::move(*image), drawing, context, [&](const Piece& piece) { blend(piece, value); });
    };
    switch (image->layout()) {
        case Layout::gray16:
            return with(blend_gray16, unsigned{wide_luminance(colour.r, colour.g, colour.b, image->bits())});
        case Layout::rgb24: return with(blend_rgb, colour);
        case Layout::rgba32: return with(blend_rgba, colour);
        default: return with(blend_gray, unsigned{colour.r});
    }
} catch (const std::bad_alloc&) {
    return kOutOfMemory;
}

}  // namespace quillmark::imaging
