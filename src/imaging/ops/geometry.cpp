#include "imaging/ops/geometry.h"

#include "imaging/ops/operation.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "imaging/threads.h"

namespace quillmark::imaging {
namespace {

constexpr int kRowGrain = 64;
constexpr int kTile = 32;  // pixels; two tiles of 4-byte pixels stay in the first-level cache

// A bitmap of the same kind with other sides; pixels undefined.
Result<Bitmap> sibling(const Bitmap& model, int width, int height, const Limits& limits) {
    auto result =
        Bitmap::create_unfilled(width, height, model.bits(), limits, model.layout() == Layout::gray16);
    if (!result) return result;
    if (!model.palette().empty()) result->set_palette(model.palette());
    result->metadata() = model.metadata();
    return result;
}

constexpr auto kReversedByte = [] {
    std::array<std::uint8_t, 256> table{};
    for (unsigned i = 0; i < 256; ++i) {
        unsigned reversed = 0;
        for (unsigned bit = 0; bit < 8; ++bit) reversed |= (i >> bit & 1U) << (7 - bit);
        table[i] = static_cast<std::uint8_t>(reversed);
    }
    return table;
}();

// Mirrors a row of packed bits: bytes in reverse order with their bits reversed, then the padding shifted
// out.
void reverse_bits(std::span<const std::uint8_t> in, std::span<std::uint8_t> out, int width) {
    const std::size_t bytes = in.size();
    for (std::size_t i = 0; i < bytes; ++i) out[i] = kReversedByte[in[bytes - 1 - i]];
    const int pad = static_cast<int>(bytes * 8) - width;
    if (pad == 0) return;
    for (std::size_t i = 0; i < bytes; ++i) {
        const unsigned next = i + 1 < bytes ? out[i + 1] : 0;
        out[i] = static_cast<std::uint8_t>(out[i] << pad | next >> (8 - pad));
    }
}

template <std::size_t Size>
void reverse_pixels(std::span<const std::uint8_t> in, std::span<std::uint8_t> out, int width) {
    const std::uint8_t* from = in.data() + static_cast<std::size_t>(width - 1) * Size;
    std::uint8_t* to = out.data();
    for (int x = 0; x < width; ++x, from -= Size, to += Size) std::memcpy(to, from, Size);
}

template <typename Body>
void dispatch_size(Layout layout, Body body) {
    switch (layout) {
        case Layout::index8: return body(std::integral_constant<std::size_t, 1>{});
        case Layout::gray16: return body(std::integral_constant<std::size_t, 2>{});
        case Layout::rgb24: return body(std::integral_constant<std::size_t, 3>{});
        case Layout::rgba32: return body(std::integral_constant<std::size_t, 4>{});
        case Layout::bit1: return;
    }
}

// A quarter turn clockwise of bytes-per-pixel images, tile by tile: source column x becomes target row x.
template <std::size_t Size>
void turn_pixels(const Bitmap& in, Bitmap& out) {
    parallel_bands((out.height() + kTile - 1) / kTile, 1, [&](int first, int last) {
        for (int row = first * kTile; row < std::min(last * kTile, out.height()); row += kTile) {
            const int rows = std::min(kTile, out.height() - row);
            for (int column = 0; column < out.width(); column += kTile) {
                const int columns = std::min(kTile, out.width() - column);
                for (int y = row; y < row + rows; ++y) {
                    std::uint8_t* to = out.writable_row(y).data() + static_cast<std::size_t>(column) * Size;
                    for (int x = column; x < column + columns; ++x, to += Size) {
                        std::memcpy(to,
                                    in.row(in.height() - 1 - x).data() + static_cast<std::size_t>(y) * Size,
                                    Size);
                    }
                }
            }
        }
    });
}

// Transposes an 8 x 8 block of bits held in a 64-bit word, rows from the most significant byte down
// (Warren, Hacker's Delight, "Transposing a bit matrix").
std::uint64_t transpose8(std::uint64_t x) {
    std::uint64_t t = (x ^ (x >> 7)) & 0x00AA00AA00AA00AAULL;
    x ^= t ^ (t << 7);
    t = (x ^ (x >> 14)) & 0x0000CCCC0000CCCCULL;
    x ^= t ^ (t << 14);
    t = (x ^ (x >> 28)) & 0x00000000F0F0F0F0ULL;
    return x ^ t ^ (t << 28);
}

// The same turn for packed bits, 8 x 8 at a time: eight source rows from the bottom up give eight target
// columns.
void turn_bits(const Bitmap& in, Bitmap& out) {
    const int out_bytes = static_cast<int>(out.row_bytes());
    const int in_bytes = static_cast<int>(in.row_bytes());
    parallel_bands(in_bytes, 8, [&](int first, int last) {
        for (int block = first; block < last; ++block) {
            for (int byte = 0; byte < out_bytes; ++byte) {
                std::uint64_t bits = 0;
                for (int i = 0; i < 8; ++i) {
                    const int y = in.height() - 1 - (byte * 8 + i);
                    bits = bits << 8 | (y >= 0 ? in.row(y)[static_cast<std::size_t>(block)] : 0U);
                }
                bits = transpose8(bits);
                for (int i = 0; i < 8 && block * 8 + i < out.height(); ++i) {
                    out.writable_row(block * 8 + i)[static_cast<std::size_t>(byte)] =
                        static_cast<std::uint8_t>(bits >> (56 - 8 * i));
                }
            }
        }
    });
}

}  // namespace

Result<Bitmap> flip(const Bitmap& bitmap, const Limits& limits) {
    auto result = sibling(bitmap, bitmap.width(), bitmap.height(), limits);
    if (!result) return result;
    parallel_bands(bitmap.height(), kRowGrain, [&](int first, int last) {
        for (int y = first; y < last; ++y) {
            const auto from = bitmap.row(bitmap.height() - 1 - y);
            std::memcpy(result->writable_row(y).data(), from.data(), from.size());
        }
    });
    return result;
}

Result<Bitmap> reverse(const Bitmap& bitmap, const Limits& limits) {
    auto result = sibling(bitmap, bitmap.width(), bitmap.height(), limits);
    if (!result) return result;
    parallel_bands(bitmap.height(), kRowGrain, [&](int first, int last) {
        for (int y = first; y < last; ++y) {
            const auto in = bitmap.row(y);
            const auto out = result->writable_row(y);
            if (bitmap.layout() == Layout::bit1)
                reverse_bits(in, out, bitmap.width());
            else
                dispatch_size(bitmap.layout(),
                              [&](auto size) { reverse_pixels<size()>(in, out, bitmap.width()); });
        }
    });
    return result;
}

Result<Bitmap> rotate_quarters(const Bitmap& bitmap, int turns, const Limits& limits) {
    turns = (turns % 4 + 4) % 4;
    if (turns == 0) return bitmap;
    if (turns == 2) {
        auto flipped = flip(bitmap, limits);
        return flipped ? reverse(*flipped, limits) : flipped;
    }
    auto result = sibling(bitmap, bitmap.height(), bitmap.width(), limits);
    if (!result) return result;
    std::swap(result->metadata().resolution.x, result->metadata().resolution.y);
    if (bitmap.layout() == Layout::bit1)
        turn_bits(bitmap, *result);
    else
        dispatch_size(bitmap.layout(), [&](auto size) { turn_pixels<size()>(bitmap, *result); });
    // A turn to the left is a turn to the right and half a turn on.
    return turns == 1 ? std::move(result) : rotate_quarters(*result, 2, limits);
}

Result<Bitmap> apply_orientation(const Bitmap& bitmap, const Limits& limits) {
    Result<Bitmap> result = bitmap;
    const auto then = [&](auto operation) {
        if (result) result = operation(*result);
    };
    const auto mirror = [&](const Bitmap& b) { return reverse(b, limits); };
    const auto turn = [&](int turns) {
        return [&limits, turns](const Bitmap& b) { return rotate_quarters(b, turns, limits); };
    };
    switch (bitmap.metadata().orientation) {
        case Orientation::normal: break;
        case Orientation::mirrored: then(mirror); break;
        case Orientation::rotated_180: then(turn(2)); break;
        case Orientation::flipped: then([&](const Bitmap& b) { return flip(b, limits); }); break;
        case Orientation::transposed: then(turn(1)), then(mirror); break;
        case Orientation::rotated_right: then(turn(1)); break;
        case Orientation::transversed: then(turn(3)), then(mirror); break;
        case Orientation::rotated_left: then(turn(3)); break;
    }
    if (result) result->metadata().orientation = Orientation::normal;
    return result;
}

std::span<const Operation> geometry_operations() { return {}; }

}  // namespace quillmark::imaging
