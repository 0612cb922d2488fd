#include "imaging/ops/geometry.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "imaging/ops/levels.h"
#include "imaging/ops/operation.h"
#include "imaging/ops/row_loop.h"
#include "imaging/ops/transpose.h"
#include "imaging/swizzle.h"

namespace quillmark::imaging {
namespace {

constexpr int kRowGrain = 64;

void reverse_row(const Bitmap& in, int y, Bitmap& out, int to_y) {
    const auto count = static_cast<std::size_t>(in.width());
    const std::uint8_t* from = in.row(y).data();
    std::uint8_t* to = out.writable_row(to_y).data();
    if (in.layout() == Layout::bit1)
        reverse_bits(from, to, count);
    else
        reverse_pixels(from, to, count, pixel_bytes(in.layout()));
}

// A result of the bitmap's size, filled row by row.
template <typename Body>
Result<Bitmap> by_rows(const Bitmap& bitmap, const Context& context, Body body) {
    auto result = blank_like(bitmap, context.limits);
    if (!result) return result;
    const auto done = parallel_rows(bitmap.height(), kRowGrain, context, [&](int first, int last) {
        for (int y = first; y < last; ++y) body(*result, y);
    });
    if (!done) return done.error();
    return result;
}

Result<Bitmap> half_turn(const Bitmap& bitmap, const Context& context) {
    return by_rows(bitmap, context,
                   [&](Bitmap& out, int y) { reverse_row(bitmap, bitmap.height() - 1 - y, out, y); });
}

// Rows and columns exchanged, with the source flipped before, the result flipped after, or both.
Result<Bitmap> exchanged(const Bitmap& bitmap, bool flip_before, bool flip_after, const Context& context) {
    auto result = blank_like(bitmap, bitmap.height(), bitmap.width(), context.limits);
    if (!result) return result;
    std::swap(result->metadata().resolution.x, result->metadata().resolution.y);
    const auto in_step = static_cast<std::ptrdiff_t>(bitmap.stride());
    const auto out_step = static_cast<std::ptrdiff_t>(result->stride());
    const Transposition job{bitmap.row(flip_before ? bitmap.height() - 1 : 0).data(),
                            flip_before ? -in_step : in_step,
                            result->writable_row(flip_after ? result->height() - 1 : 0).data(),
                            flip_after ? -out_step : out_step, bitmap.height()};
    // Groups of target rows, each of which reads whole cache lines of the source.
    const bool bits = bitmap.layout() == Layout::bit1;
    const int group = bits ? 512 : 64;
    const int groups = (result->height() + group - 1) / group;
    const auto done = parallel_rows(groups, 1, context, [&](int first, int last) {
        const int to = std::min(last * group, result->height());
        if (bits)
            transpose_bits(job, first * group, to);
        else
            transpose_pixels(job, pixel_bytes(bitmap.layout()), first * group, to);
    });
    if (!done) return done.error();
    return result;
}

}  // namespace

Result<Bitmap> flip(const Bitmap& bitmap, const Context& context) {
    return by_rows(bitmap, context, [&](Bitmap& out, int y) {
        const auto from = bitmap.row(bitmap.height() - 1 - y);
        std::memcpy(out.writable_row(y).data(), from.data(), from.size());
    });
}

Result<Bitmap> reverse(const Bitmap& bitmap, const Context& context) {
    return by_rows(bitmap, context, [&](Bitmap& out, int y) { reverse_row(bitmap, y, out, y); });
}

Result<Bitmap> rotate_quarters(const Bitmap& bitmap, int turns, const Context& context) {
    switch ((turns % 4 + 4) % 4) {
        case 1: return exchanged(bitmap, true, false, context);
        case 2: return half_turn(bitmap, context);
        case 3: return exchanged(bitmap, false, true, context);
        default: return bitmap;
    }
}

Result<Bitmap> apply_orientation(const Bitmap& bitmap, const Limits& limits) {
    Context context;
    context.limits = limits;
    Result<Bitmap> result = bitmap;
    switch (bitmap.metadata().orientation) {
        case Orientation::normal: break;
        case Orientation::mirrored: result = reverse(bitmap, context); break;
        case Orientation::rotated_180: result = half_turn(bitmap, context); break;
        case Orientation::flipped: result = flip(bitmap, context); break;
        case Orientation::transposed: result = exchanged(bitmap, false, false, context); break;
        case Orientation::rotated_right: result = exchanged(bitmap, true, false, context); break;
        case Orientation::transversed: result = exchanged(bitmap, true, true, context); break;
        case Orientation::rotated_left: result = exchanged(bitmap, false, true, context); break;
    }
    if (result) result->metadata().orientation = Orientation::normal;
    return result;
}

namespace {

Result<Bitmap> run_trim(const Bitmap& bitmap, std::span<const int> arguments, const Context& context) {
    const Rect wanted{arguments[0], arguments[1], arguments[2], arguments[3]};
    const Rect inside = wanted.intersected({0, 0, bitmap.width(), bitmap.height()});
    if (inside.empty()) return Error{Fault::bad_parameter, "rectangle outside the image"};
    return cropped(bitmap, inside, context.limits, context.progress);
}

constexpr int kFar = 1'000'000;  // beyond every image
constexpr std::array<Parameter, 4> kTrim{
    Parameter{.name = "left", .unit = "pixels", .low = -kFar, .high = kFar, .initial = 0, .strict = true},
    Parameter{.name = "top", .unit = "pixels", .low = -kFar, .high = kFar, .initial = 0, .strict = true},
    Parameter{.name = "width", .unit = "pixels", .low = 1, .high = kFar, .initial = kFar, .strict = true},
    Parameter{.name = "height", .unit = "pixels", .low = 1, .high = kFar, .initial = kFar, .strict = true}};

}  // namespace

std::span<const Operation> geometry_operations() {
    static constexpr std::array<Operation, 3> kOperations{
        Operation{.name = "Flip",
                  .what = "exchanges top and bottom",
                  .parameters = {},
                  .scope = Scope::box,
                  .run = [](const Bitmap& bitmap, std::span<const int>,
                            const Context& context) { return flip(bitmap, context); }},
        Operation{.name = "Reverse",
                  .what = "exchanges left and right",
                  .parameters = {},
                  .scope = Scope::box,
                  .run = [](const Bitmap& bitmap, std::span<const int>,
                            const Context& context) { return reverse(bitmap, context); }},
        Operation{.name = "Trim",
                  .what = "cuts a rectangle out; what of it lies outside the image is left away",
                  .parameters = kTrim,
                  .scope = Scope::whole,
                  .run = run_trim}};
    return kOperations;
}

}  // namespace quillmark::imaging
