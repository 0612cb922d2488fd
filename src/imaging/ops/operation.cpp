#include "imaging/ops/operation.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <new>
#include <vector>

#include "imaging/convert_depth.h"
#include "imaging/ops/histogram.h"
#include "imaging/ops/index_rows.h"
#include "imaging/ops/levels.h"
#include "imaging/ops/put_region.h"
#include "imaging/ops/row_loop.h"

namespace quillmark::imaging {
namespace {

constexpr int kRowGrain = 64;

// count bits from bit `from` of in to bit `at` of out; other bits of out stay.
void copy_bits(std::span<const std::uint8_t> in, int from, std::span<std::uint8_t> out, int at, int count) {
    for (int i = 0; i < count;) {
        const auto to_byte = static_cast<std::size_t>(at + i) / 8,
                   in_byte = static_cast<std::size_t>(from + i) / 8;
        const int to_bit = (at + i) % 8, in_bit = (from + i) % 8;
        if (to_bit == 0 && in_bit == 0 && count - i >= 8) {
            const int bytes = (count - i) / 8;
            std::memcpy(&out[to_byte], &in[in_byte], static_cast<std::size_t>(bytes));
            i += bytes * 8;
            continue;
        }
        // As many bits as stay inside one byte on both sides.
        const int bits = std::min({count - i, 8 - to_bit, 8 - in_bit});
        const unsigned mask = (0xFFU >> (8 - bits)) << (8 - to_bit - bits);
        const unsigned moved = static_cast<unsigned>(in[in_byte]) >> (8 - in_bit - bits)
                                                                         << (8 - to_bit - bits);
        out[to_byte] = static_cast<std::uint8_t>((out[to_byte] & ~mask) | (moved & mask));
        i += bits;
    }
}

// count pixels of row `y` of in, from pixel `from` on, to pixel `at` of row `to_y` of out: same layouts.
void copy_pixels(const Bitmap& in, int from, int y, Bitmap& out, int at, int to_y, int count) {
    const auto source = in.row(y);
    const auto target = out.writable_row(to_y);
    if (in.layout() == Layout::bit1) return copy_bits(source, from, target, at, count);
    const auto size = static_cast<std::size_t>(pixel_bytes(in.layout()));
    std::memcpy(target.data() + static_cast<std::size_t>(at) * size,
                source.data() + static_cast<std::size_t>(from) * size,
                static_cast<std::size_t>(count) * size);
}

// Calls each(y, run) for every run of the region, rows shared over the cores.
template <typename Each>
Result<void> for_runs(const Region& region, const Progress& progress, Each each) {
    const Rect bounds = region.bounds();
    return parallel_rows(bounds.height, kRowGrain, progress, [&](int first, int last) {
        for (int y = bounds.y + first; y < bounds.y + last; ++y)
            for (const Run& run : region.row(y)) each(y, run);
    });
}

bool same_form(const Bitmap& a, const Bitmap& b) {
    return a.layout() == b.layout() && a.bits() == b.bits() && a.palette() == b.palette();
}

// base with the region's pixels taken from change, whose top left pixel lies at offset in base.
Result<Bitmap> put_runs(Bitmap base, const Bitmap& change, Point offset, const Region& region,
                        const Limits& limits, const Progress& progress) {
    auto result = detached(std::move(base), limits, progress);
    if (!result) return result;
    const auto done = for_runs(region, progress, [&](int y, const Run& run) {
        copy_pixels(change, run.first - offset.x, y - offset.y, *result, run.first, y, run.last - run.first);
    });
    if (!done) return done.error();
    return result;
}

std::uint8_t index_at(const Bitmap& bitmap, int x, int y) {
    const auto row = bitmap.row(y);
    const auto at = static_cast<std::size_t>(x);
    return bitmap.layout() == Layout::bit1 ? row[at / 8] >> (7 - at % 8) & 1U : row[at];
}

// Which indices the region's pixels of change have.
Result<void> mark_used(const Bitmap& change, Point offset, const Region& region, const Progress& progress,
                       std::array<std::atomic<bool>, 256>& used) {
    return for_runs(region, progress, [&](int y, const Run& run) {
        std::array<bool, 256> seen{};
        for (int x = run.first; x < run.last; ++x) seen[index_at(change, x - offset.x, y - offset.y)] = true;
        for (std::size_t i = 0; i < seen.size(); ++i)
            if (seen[i]) used[i].store(true, std::memory_order_relaxed);
    });
}

// Row y of change, its indices replaced, to mapped (whose layout may be another).
void map_row(const Bitmap& change, int y, const std::array<std::uint8_t, 256>& index, Bitmap& mapped) {
    const auto out = mapped.writable_row(y);
    if (mapped.layout() == Layout::bit1) std::ranges::fill(out, std::uint8_t{0});
    for (int x = 0; x < change.width(); ++x) {
        const auto at = static_cast<std::size_t>(x);
        const std::uint8_t value = index[index_at(change, x, y)];
        if (mapped.layout() == Layout::index8)
            out[at] = value;
        else if (value)
            out[at / 8] = static_cast<std::uint8_t>(out[at / 8] | 0x80U >> at % 8);
    }
}

// The changed pixels as indices into base's palette, when all their colours are in it; else the empty bitmap.
Result<Bitmap> in_palette_of(const Bitmap& base, const Bitmap& change, Point offset, const Region& region,
                             const Limits& limits, const Progress& progress) {
    if (!has_palette(base) || !has_palette(change)) return Bitmap{};
    std::array<std::atomic<bool>, 256> used{};
    const auto marked = mark_used(change, offset, region, progress, used);
    if (!marked) return marked.error();
    std::array<std::uint8_t, 256> index{};
    for (std::size_t i = 0; i < used.size(); ++i) {
        if (!used[i]) continue;
        const auto found = std::ranges::find(base.palette(), colour_of(change.palette(), i));
        if (found == base.palette().end()) return Bitmap{};
        index[i] = static_cast<std::uint8_t>(found - base.palette().begin());
    }
    auto mapped = blank_like(base, change.width(), change.height(), limits);
    if (!mapped) return mapped;
    const auto done = parallel_rows(change.height(), kRowGrain, progress, [&](int first, int last) {
        for (int y = first; y < last; ++y) map_row(change, y, index, *mapped);
    });
    if (!done) return done.error();
    return mapped;
}

}  // namespace

Result<Bitmap> detached(Bitmap bitmap, const Limits& limits, const Progress& progress) {
    if (!bitmap.shared()) return bitmap;
    return cropped(bitmap, whole(bitmap), limits, progress);
}

Result<Bitmap> put_region(const Bitmap& base, const Bitmap& change, Point offset, const Region& region,
                          const Limits& limits, const Progress& progress) {
    if (same_form(base, change)) return put_runs(base, change, offset, region, limits, progress);
    const auto mapped = in_palette_of(base, change, offset, region, limits, progress);
    if (!mapped) return mapped.error();
    if (!mapped->empty()) return put_runs(base, *mapped, offset, region, limits, progress);
    auto lower = level_image(base, limits, progress), upper = level_image(change, limits, progress);
    if (!lower) return lower;
    if (!upper) return upper;
    if (!same_form(*lower, *upper)) {
        const int bits = lower->has_alpha() || upper->has_alpha() ? 32 : 24;
        lower = convert_depth(*lower, bits, limits, progress);
        if (!lower) return lower;
        upper = convert_depth(*upper, bits, limits, progress);
        if (!upper) return upper;
    }
    return put_runs(*lower, *upper, offset, region, limits, progress);
}

namespace {

// Missing arguments filled in, out of range ones clamped or refused.
Result<std::vector<int>> checked(const Operation& operation, std::span<const int> arguments) {
    if (arguments.size() > operation.parameters.size())
        return Error{Fault::bad_parameter, "number of parameters"};
    std::vector<int> values;
    for (std::size_t i = 0; i < operation.parameters.size(); ++i) {
        const Parameter& parameter = operation.parameters[i];
        const int value = i < arguments.size() ? arguments[i] : parameter.initial;
        if (!parameter.choices.empty()) {
            if (std::ranges::find(parameter.choices, value, &Choice::value) == parameter.choices.end())
                return Error{Fault::bad_parameter, "code"};
        } else if (parameter.strict && (value < parameter.low || value > parameter.high)) {
            return Error{Fault::bad_parameter, "value out of range"};
        }
        values.push_back(parameter.choices.empty() ? std::clamp(value, parameter.low, parameter.high)
                                                   : value);
    }
    return values;
}

struct Work {
    const Operation& operation;
    const Bitmap& bitmap;
    std::span<const int> arguments;
    const Context& context;
};

// The operation's result for the pixels of rect alone; they lie at *offset in what is returned.
Result<Bitmap> work_out(const Work& work, const Rect& rect, Point& offset) {
    const int reach = work.operation.reach ? work.operation.reach(work.arguments) : 0;
    Rect needed = rect.grown(reach).intersected(whole(work.bitmap));
    offset = {needed.x, needed.y};
    if (needed == whole(work.bitmap)) return work.operation.run(work.bitmap, work.arguments, work.context);
    const auto part = cropped(work.bitmap, needed, work.context.limits, work.context.progress);
    if (!part) return part.error();
    Context moved = work.context;
    moved.origin_x += needed.x;
    moved.origin_y += needed.y;
    return work.operation.run(*part, work.arguments, moved);
}

// A region is needed only where it leaves something out.
bool covers(const Region& region, const Bitmap& bitmap) {
    return region.area() == static_cast<std::int64_t>(bitmap.width()) * bitmap.height();
}

}  // namespace

Result<Bitmap> cropped(const Bitmap& bitmap, const Rect& rect, const Limits& limits,
                       const Progress& progress) {
    auto result = blank_like(bitmap, rect.width, rect.height, limits);
    if (!result) return result;
    const auto done = parallel_rows(rect.height, kRowGrain, progress, [&](int first, int last) {
        for (int y = first; y < last; ++y) {
            if (bitmap.layout() == Layout::bit1) result->writable_row(y).back() = 0;
            copy_pixels(bitmap, rect.x, rect.y + y, *result, 0, y, rect.width);
        }
    });
    if (!done) return done.error();
    return result;
}

Result<Bitmap> pasted(const Bitmap& target, const Bitmap& source, Point at, const Region* region,
                      const Limits& limits, const Progress& progress) try {
    if (target.empty() || source.empty()) return Error{Fault::malformed, "no image"};
    const Rect place = Rect{at.x, at.y, source.width(), source.height()}.intersected(whole(target));
    if (place.empty()) return target;
    const Region inside = region ? region->clipped(place) : Region::rectangle(place);
    return inside.empty() ? target : put_region(target, source, at, inside, limits, progress);
} catch (const std::bad_alloc&) {
    return kOutOfMemory;
}

Result<Bitmap> apply(const Operation& operation, const Bitmap& bitmap, std::span<const int> arguments,
                     const Region* region, const Context& context) try {
    if (bitmap.empty()) return Error{Fault::malformed, "no image"};
    const auto values = checked(operation, arguments);
    if (!values) return values.error();
    Region inside;
    bool limited = region && operation.scope != Scope::whole;
    if (limited) {
        inside = region->clipped(whole(bitmap));
        if (inside.empty()) return bitmap;
        limited = !covers(inside, bitmap);
    }
    Context full = context;
    Statistics counted;
    if (operation.statistics && !full.statistics) {
        auto statistics =
            gather_statistics(bitmap, limited ? &inside : nullptr, operation.statistics, context);
        if (!statistics) return statistics.error();
        counted = std::move(*statistics);
        full.statistics = &counted;
    }
    if (!limited) return operation.run(bitmap, *values, full);
    Point offset;
    const auto change = work_out({operation, bitmap, *values, full}, inside.bounds(), offset);
    if (!change) return change.error();
    return put_region(bitmap, *change, offset, inside, context.limits, context.progress);
} catch (const std::bad_alloc&) {
    return kOutOfMemory;
}

Result<Bitmap> apply_part(const Operation& operation, const Bitmap& bitmap, std::span<const int> arguments,
                          const Region* region, const Rect& part, const Context& context) try {
    if (bitmap.empty()) return Error{Fault::malformed, "no image"};
    if (operation.scope != Scope::pixels) return Error{Fault::bad_parameter, "acts on the whole image"};
    const Rect wanted = part.intersected(whole(bitmap));
    if (wanted.empty() || wanted != part) return Error{Fault::bad_parameter, "part beyond the image"};
    const auto values = checked(operation, arguments);
    if (!values) return values.error();
    Context full = context;
    Statistics counted;
    if (operation.statistics && !full.statistics) {
        auto statistics = gather_statistics(bitmap, region, operation.statistics, context);
        if (!statistics) return statistics.error();
        counted = std::move(*statistics);
        full.statistics = &counted;
    }
    const Region inside = region ? region->clipped(wanted).moved(-wanted.x, -wanted.y) : Region{};
    if (region && inside.empty()) return cropped(bitmap, wanted, context.limits, context.progress);
    Point offset;
    const auto change = work_out({operation, bitmap, *values, full}, wanted, offset);
    if (!change) return change.error();
    const Rect in_change{wanted.x - offset.x, wanted.y - offset.y, wanted.width, wanted.height};
    if (!region) return cropped(*change, in_change, context.limits, context.progress);
    const auto base = cropped(bitmap, wanted, context.limits, context.progress);
    if (!base) return base.error();
    return put_region(*base, *change, {-in_change.x, -in_change.y}, inside, context.limits, context.progress);
} catch (const std::bad_alloc&) {
    return kOutOfMemory;
}

std::span<const Operation* const> all_operations() {
    static const std::vector<const Operation*> all = [] {
        std::vector<const Operation*> joined;
        for (const auto family :
             {tone_operations(), colour_operations(), smoothing_operations(), relief_operations(),
              geometry_operations(), turning_operations(), resize_operations(), reduction_operations()}) {
            for (const Operation& operation : family) joined.push_back(&operation);
        }
        return joined;
    }();
    return all;
}

const Operation* find_operation(std::string_view name) {
    for (const Operation* operation : all_operations())
        if (operation->name == name) return operation;
    return nullptr;
}

}  // namespace quillmark::imaging
