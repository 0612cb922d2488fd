#include "imaging/convert_depth.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <new>

#include "imaging/ops/grayscale.h"
#include "imaging/ops/row_loop.h"
#include "imaging/quantize.h"

namespace quillmark::imaging {
namespace {

constexpr int kRowGrain = 64;

std::array<Rgba, 256> full_palette(const Bitmap& bitmap) {
    std::array<Rgba, 256> entries{};
    std::ranges::copy(bitmap.palette(), entries.begin());
    return entries;
}

template <bool Alpha>
void put(std::uint8_t*& to, const Rgba& c) {
    *to++ = c.r, *to++ = c.g, *to++ = c.b;
    if constexpr (Alpha) *to++ = c.a;
}

// Calls each(colour) for count pixels from first on; the layout is chosen outside the loop.
template <bool Alpha>
void expand_row(const Bitmap& bitmap, int y, int first, std::size_t count, std::uint8_t* to) {
    const auto row = bitmap.row(y);
    const auto start = static_cast<std::size_t>(first);
    switch (bitmap.layout()) {
        case Layout::bit1: {
            const auto entries = full_palette(bitmap);
            for (std::size_t x = start; x < start + count; ++x)
                put<Alpha>(to, entries[row[x / 8] >> (7 - x % 8) & 1U]);
            break;
        }
        case Layout::index8: {
            const auto entries = full_palette(bitmap);
            for (std::size_t x = start; x < start + count; ++x) put<Alpha>(to, entries[row[x]]);
            break;
        }
        case Layout::gray16: {
            const auto levels = bitmap.row16(y);
            const int shift = bitmap.bits() - 8;
            for (std::size_t x = start; x < start + count; ++x) {
                const auto level = static_cast<std::uint8_t>(std::min(levels[x] >> shift, 255));
                put<Alpha>(to, {level, level, level, 255});
            }
            break;
        }
        case Layout::rgb24:
            if constexpr (!Alpha)
                std::memcpy(to, row.data() + start * 3, count * 3);
            else
                for (const std::uint8_t* p = row.data() + start * 3; count > 0; --count, p += 3)
                    put<true>(to, {p[0], p[1], p[2], 255});
            break;
        case Layout::rgba32:
            if constexpr (Alpha)
                std::memcpy(to, row.data() + start * 4, count * 4);
            else
                for (const std::uint8_t* p = row.data() + start * 4; count > 0; --count, p += 4)
                    put<false>(to, {p[0], p[1], p[2], 255});
            break;
    }
}

// What a conversion is asked for beside its depth.
struct Order {
    const Limits& limits;
    const Progress& progress;
};

template <typename Row>
Result<Bitmap> row_by_row(const Bitmap& bitmap, int bits, bool gray, const Order& order, Row row) {
    auto result = Bitmap::create_unfilled(bitmap.width(), bitmap.height(), bits, order.limits, gray);
    if (!result) return result;
    result->metadata() = bitmap.metadata();
    const auto done = parallel_rows(bitmap.height(), kRowGrain, order.progress, [&](int first, int last) {
        for (int y = first; y < last; ++y) row(y, *result);
    });
    if (!done) return done.error();
    return result;
}

Result<Bitmap> to_rgb24(const Bitmap& bitmap, const Order& order) {
    return row_by_row(bitmap, 24, false, order,
                      [&](int y, Bitmap& out) { row_to_rgb(bitmap, y, 0, out.writable_row(y)); });
}

Result<Bitmap> to_rgba32(const Bitmap& bitmap, const Order& order) {
    return row_by_row(bitmap, 32, false, order,
                      [&](int y, Bitmap& out) { row_to_rgba(bitmap, y, 0, out.writable_row(y)); });
}

Result<Bitmap> to_rgb565(const Bitmap& bitmap, const Order& order) {
    return row_by_row(bitmap, 16, false, order, [&](int y, Bitmap& out) {
        const auto row = out.writable_row(y);
        row_to_rgb(bitmap, y, 0, row);
        for (std::size_t at = 0; at < row.size(); at += 3) {
            const unsigned r = row[at] & 0xF8U, g = row[at + 1] & 0xFCU, b = row[at + 2] & 0xF8U;
            row[at] = static_cast<std::uint8_t>(r | r >> 5);
            row[at + 1] = static_cast<std::uint8_t>(g | g >> 6);
            row[at + 2] = static_cast<std::uint8_t>(b | b >> 5);
        }
    });
}

// Between 12 and 16 bits of grey; colours become their luminance.
Result<Bitmap> to_gray16(const Bitmap& bitmap, int bits, const Order& order) {
    if (bitmap.layout() != Layout::gray16) {
        Context context;
        context.limits = order.limits;
        context.progress = order.progress;
        return grayscale(bitmap, bits, context);
    }
    const int up = std::max(bits - bitmap.bits(), 0), down = std::max(bitmap.bits() - bits, 0);
    const unsigned white = (1U << bitmap.bits()) - 1;
    return row_by_row(bitmap, bits, true, order, [&](int y, Bitmap& out) {
        // Widening repeats the top bits below, so that white stays white; samples beyond it are white.
        std::ranges::transform(bitmap.row16(y), out.writable_row16(y).begin(), [&](std::uint16_t sample) {
            const unsigned level = std::min<unsigned>(sample, white);
            const unsigned widened = up ? level << up | level >> (bitmap.bits() - up) : level;
            return static_cast<std::uint16_t>(widened >> down);
        });
    });
}

// Same palette, other container: between bit1 and index8, or another logical depth.
Result<Bitmap> repack(const Bitmap& bitmap, int bits, const Order& order) {
    auto result = row_by_row(bitmap, bits, false, order, [&](int y, Bitmap& out) {
        const auto in = bitmap.row(y);
        const auto to = out.writable_row(y);
        const bool from_bits = bitmap.layout() == Layout::bit1, to_bits = out.layout() == Layout::bit1;
        if (from_bits == to_bits) {
            std::memcpy(to.data(), in.data(), in.size());
        } else if (from_bits) {
            for (std::size_t x = 0; x < to.size(); ++x) to[x] = in[x / 8] >> (7 - x % 8) & 1U;
        } else {
            std::ranges::fill(to, std::uint8_t{0});
            for (std::size_t x = 0; x < in.size(); ++x)
                to[x / 8] = static_cast<std::uint8_t>(to[x / 8] | (in[x] & 1U) << (7 - x % 8));
        }
    });
    if (result) result->set_palette(bitmap.palette());
    return result;
}

int highest_used_index(const Bitmap& bitmap) {
    if (bitmap.layout() == Layout::bit1) return 1;
    int highest = 0;
    for (int y = 0; y < bitmap.height(); ++y) {
        for (const std::uint8_t index : bitmap.row(y)) highest = std::max<int>(highest, index);
    }
    return highest;
}

Result<Bitmap> to_palette(const Bitmap& bitmap, int bits, const Order& order) {
    const int count = 1 << bits;
    if (own_palette_fits(bitmap, bits)) {
        Palette kept = bitmap.palette();
        if (static_cast<int>(kept.size()) > count) kept.resize(static_cast<std::size_t>(count));
        auto result = repack(bitmap, bits, order);
        if (result) result->set_palette(std::move(kept));
        return result;
    }
    const auto onto = [&](const Palette& palette, bool diffuse) {
        return map_to_palette(bitmap, palette, bits, diffuse, order.limits, order.progress);
    };
    if (bits == 1) return onto(gray_palette(2), true);
    if (bitmap.is_gray()) return onto(gray_palette(count), bits < 8);
    const auto exact = exact_palette(bitmap, count, order.progress);
    if (!exact) return exact.error();
    if (!exact->empty()) return onto(*exact, false);
    const auto palette = optimised_palette(bitmap, count, order.progress);
    if (!palette) return palette.error();
    return onto(*palette, true);
}

}  // namespace

bool own_palette_fits(const Bitmap& bitmap, int bits) {
    return bitmap.bits() <= 8 && (bitmap.bits() <= bits || highest_used_index(bitmap) < 1 << bits);
}

void row_to_rgb(const Bitmap& bitmap, int y, int first, std::span<std::uint8_t> out) {
    expand_row<false>(bitmap, y, first, out.size() / 3, out.data());
}

void row_to_rgba(const Bitmap& bitmap, int y, int first, std::span<std::uint8_t> out) {
    expand_row<true>(bitmap, y, first, out.size() / 4, out.data());
}

Result<Bitmap> convert_depth(const Bitmap& bitmap, int bits, const Limits& limits,
                             const Progress& progress) try {
    const Order order{limits, progress};
    if (bitmap.empty()) return Error{Fault::malformed, "no image"};
    if (bits == bitmap.bits()) return bitmap;
    if (bits >= 1 && bits <= 8) return to_palette(bitmap, bits, order);
    switch (bits) {
        case 12: return to_gray16(bitmap, 12, order);
        case 16:
            return bitmap.is_gray() && bitmap.bits() >= 12 ? to_gray16(bitmap, 16, order)
                                                           : to_rgb565(bitmap, order);
        case 24: return to_rgb24(bitmap, order);
        case 32: return to_rgba32(bitmap, order);
        default: return Error{Fault::unsupported, "bits per pixel"};
    }
} catch (const std::bad_alloc&) {
    return kOutOfMemory;
}

}  // namespace quillmark::imaging
