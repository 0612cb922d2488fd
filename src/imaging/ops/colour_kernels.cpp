#include "imaging/ops/colour_kernels.h"

#include <algorithm>
#include <cmath>

#include "imaging/ops/luminance.h"

#pragma GCC diagnostic ignored "-Wunknown-pragmas"  // ivdep: a compiler that lacks it looks for itself

namespace quillmark::imaging {
namespace {

// Arithmetic stays in 16 bits wherever it can: twice the pixels per step. Everything here is inlined into
// the loops below, which exist once for the baseline and once for AVX2. The channels never overlap: ivdep.
using Level = std::int16_t;

inline Level narrow(int value) { return static_cast<Level>(value); }

struct Extent {
    Level low, high;
};

inline Extent extent(Level r, Level g, Level b) {
    return {std::min(std::min(r, g), b), std::max(std::max(r, g), b)};
}

// Without a branch, whatever the compiler makes of its surroundings: one would keep a loop from vectorising.
inline Level chosen(bool first, Level a, Level b) {
    const int mask = -static_cast<int>(first);
    return narrow((a & mask) | (b & ~mask));
}

// The hue's place on the hexagon whose sides are delta = high - low long: -delta to 5 delta, 0 being red.
inline Level hexagon(Level r, Level g, Level b, Extent e) {
    const Level delta = narrow(e.high - e.low);
    const Level red = narrow(g - b), green = narrow(2 * delta + b - r), blue = narrow(4 * delta + r - g);
    const Level rest = chosen(e.high == g, green, blue);
    return chosen(e.high == r, red, rest);
}

inline Level clamped(Level value, Level high) { return std::min(std::max(value, Level{0}), high); }

inline Level magnitude(int value) {
    const Level v = narrow(value);
    return std::max(v, narrow(-v));
}

inline std::uint8_t byte(float value) { return static_cast<std::uint8_t>(static_cast<int>(value + 0.5F)); }

// value, or 1 for 0 (added, not chosen, so that no branch comes of it).
inline float divisor(int value) { return static_cast<float>(value + static_cast<int>(value == 0)); }

inline std::uint8_t hue_of(Level r, Level g, Level b, Extent e) {
    const Level delta = narrow(e.high - e.low);
    const Level place = hexagon(r, g, b, e);
    const Level around = narrow(place + chosen(place < 0, narrow(6 * delta), 0));
    // 256 steps for 6 delta; the step after the last is the first.
    const float steps = static_cast<float>(around * 128) / divisor(3 * delta);
    return static_cast<std::uint8_t>(static_cast<int>(steps + 0.5F) & 255);
}

}  // namespace

__attribute__((target_clones("avx2", "default"))) void turn_hue(ChannelRows rows, std::size_t count,
                                                                int tenths) {
    // The turn in sides of the hexagon, -3 to 3, times 8192.
    const int turn = ((tenths % 3600) + 3600 + 1800) % 3600 - 1800;
    const Level scaled = narrow(static_cast<int>(std::lround(turn * 8192.0 / 600.0)));
    std::uint8_t *r = rows.r, *g = rows.g, *b = rows.b;
#pragma GCC ivdep
    for (std::size_t i = 0; i < count; ++i) {
        const Level red = r[i], green = g[i], blue = b[i];
        const Extent e = extent(red, green, blue);
        // From here on in sixteenths: 8 x 255 x 16 is the largest that occurs.
        const Level delta = narrow(e.high - e.low), unit = narrow(delta * 16);
        const Level moved = narrow((narrow(delta * 64) * scaled + 0x4000) >> 15);
        const Level place = narrow(hexagon(red, green, blue, e) * 16 + moved);
        const Level round = narrow(unit * 6);
        const Level lower = narrow(place - (place >= round ? round : Level{0}));
        const Level at = narrow(lower + (lower < 0 ? round : Level{0}));
        const Level to_red = clamped(narrow(magnitude(at - 3 * unit) - unit), unit);
        const Level to_green = clamped(narrow(2 * unit - magnitude(at - 2 * unit)), unit);
        const Level to_blue = clamped(narrow(2 * unit - magnitude(at - 4 * unit)), unit);
        r[i] = static_cast<std::uint8_t>(e.low + (narrow(to_red + 8) >> 4));
        g[i] = static_cast<std::uint8_t>(e.low + (narrow(to_green + 8) >> 4));
        b[i] = static_cast<std::uint8_t>(e.low + (narrow(to_blue + 8) >> 4));
    }
}

__attribute__((target_clones("avx2", "default"))) void scale_saturation(ChannelRows rows, std::size_t count,
                                                                        float factor) {
    std::uint8_t *r = rows.r, *g = rows.g, *b = rows.b;
#pragma GCC ivdep
    for (std::size_t i = 0; i < count; ++i) {
        const Extent e = extent(r[i], g[i], b[i]);
        const auto high = static_cast<float>(e.high);
        const float most = high / divisor(e.high - e.low);  // full saturation: the smallest channel reaches 0
        const float f = factor < most ? factor : most;
        r[i] = byte(high - static_cast<float>(e.high - r[i]) * f);
        g[i] = byte(high - static_cast<float>(e.high - g[i]) * f);
        b[i] = byte(high - static_cast<float>(e.high - b[i]) * f);
    }
}

__attribute__((target_clones("avx2", "default"))) void luminance8(ConstChannelRows rows, std::uint8_t* out,
                                                                  std::size_t count) {
    const std::uint8_t *r = rows.r, *g = rows.g, *b = rows.b;
    std::uint8_t* to = out;
#pragma GCC ivdep
    for (std::size_t i = 0; i < count; ++i) to[i] = luminance(r[i], g[i], b[i]);
}

__attribute__((target_clones("avx2", "default"))) void luminance16(ConstChannelRows rows, std::uint16_t* out,
                                                                   std::size_t count, int bits) {
    const std::uint8_t *r = rows.r, *g = rows.g, *b = rows.b;
    std::uint16_t* to = out;
#pragma GCC ivdep
    for (std::size_t i = 0; i < count; ++i) to[i] = wide_luminance(r[i], g[i], b[i], bits);
}

__attribute__((target_clones("avx2", "default"))) void to_cmy(ConstChannelRows rows, ChannelRows cmy,
                                                              std::size_t count) {
    const std::uint8_t *r = rows.r, *g = rows.g, *b = rows.b;
    std::uint8_t *c = cmy.r, *m = cmy.g, *y = cmy.b;
#pragma GCC ivdep
    for (std::size_t i = 0; i < count; ++i) {
        c[i] = static_cast<std::uint8_t>(~r[i]);
        m[i] = static_cast<std::uint8_t>(~g[i]);
        y[i] = static_cast<std::uint8_t>(~b[i]);
    }
}

__attribute__((target_clones("avx2", "default"))) void to_cmyk(ConstChannelRows rows, ChannelRows cmy,
                                                               std::uint8_t* k, std::size_t count) {
    const std::uint8_t *r = rows.r, *g = rows.g, *b = rows.b;
    std::uint8_t *c = cmy.r, *m = cmy.g, *y = cmy.b, *black = k;
#pragma GCC ivdep
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint8_t high = std::max(std::max(r[i], g[i]), b[i]);
        c[i] = static_cast<std::uint8_t>(high - r[i]);
        m[i] = static_cast<std::uint8_t>(high - g[i]);
        y[i] = static_cast<std::uint8_t>(high - b[i]);
        black[i] = static_cast<std::uint8_t>(~high);
    }
}

__attribute__((target_clones("avx2", "default"))) void to_hsv(ConstChannelRows rows, std::uint8_t* h,
                                                              std::uint8_t* s, std::uint8_t* v,
                                                              std::size_t count) {
    const std::uint8_t *r = rows.r, *g = rows.g, *b = rows.b;
    std::uint8_t *hue = h, *saturation = s, *value = v;
#pragma GCC ivdep
    for (std::size_t i = 0; i < count; ++i) {
        const Extent e = extent(r[i], g[i], b[i]);
        const int delta = e.high - e.low;
        hue[i] = hue_of(r[i], g[i], b[i], e);
        saturation[i] = byte(static_cast<float>(255 * delta) / divisor(e.high));
        value[i] = static_cast<std::uint8_t>(e.high);
    }
}

__attribute__((target_clones("avx2", "default"))) void to_hls(ConstChannelRows rows, std::uint8_t* h,
                                                              std::uint8_t* l, std::uint8_t* s,
                                                              std::size_t count) {
    const std::uint8_t *r = rows.r, *g = rows.g, *b = rows.b;
    std::uint8_t *hue = h, *lightness = l, *saturation = s;
#pragma GCC ivdep
    for (std::size_t i = 0; i < count; ++i) {
        const Extent e = extent(r[i], g[i], b[i]);
        const int delta = e.high - e.low, sum = e.high + e.low;
        hue[i] = hue_of(r[i], g[i], b[i], e);
        lightness[i] = static_cast<std::uint8_t>((sum + 1) >> 1);
        saturation[i] = byte(static_cast<float>(255 * delta) / divisor(std::min(sum, 510 - sum)));
    }
}

}  // namespace quillmark::imaging
