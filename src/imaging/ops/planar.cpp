#include "imaging/ops/planar.h"

#include "imaging/convert_depth.h"
#include "imaging/swizzle.h"

#if defined(__SSSE3__)
#include <tmmintrin.h>
#endif

namespace quillmark::imaging {
namespace plain {

void split_rgb(const std::uint8_t* in, std::uint8_t* r, std::uint8_t* g, std::uint8_t* b, std::size_t count) {
    for (; count > 0; --count, in += 3) *r++ = in[0], *g++ = in[1], *b++ = in[2];
}

}  // namespace plain

#if defined(__SSSE3__)

void split_rgb(const std::uint8_t* in, std::uint8_t* r, std::uint8_t* g, std::uint8_t* b, std::size_t count) {
    constexpr char x = -128;  // shuffles in a zero
    const __m128i r0 = _mm_setr_epi8(0, 3, 6, 9, 12, 15, x, x, x, x, x, x, x, x, x, x);
    const __m128i r1 = _mm_setr_epi8(x, x, x, x, x, x, 2, 5, 8, 11, 14, x, x, x, x, x);
    const __m128i r2 = _mm_setr_epi8(x, x, x, x, x, x, x, x, x, x, x, 1, 4, 7, 10, 13);
    const __m128i g0 = _mm_setr_epi8(1, 4, 7, 10, 13, x, x, x, x, x, x, x, x, x, x, x);
    const __m128i g1 = _mm_setr_epi8(x, x, x, x, x, 0, 3, 6, 9, 12, 15, x, x, x, x, x);
    const __m128i g2 = _mm_setr_epi8(x, x, x, x, x, x, x, x, x, x, x, 2, 5, 8, 11, 14);
    const __m128i b0 = _mm_setr_epi8(2, 5, 8, 11, 14, x, x, x, x, x, x, x, x, x, x, x);
    const __m128i b1 = _mm_setr_epi8(x, x, x, x, x, 1, 4, 7, 10, 13, x, x, x, x, x, x);
    const __m128i b2 = _mm_setr_epi8(x, x, x, x, x, x, x, x, x, x, 0, 3, 6, 9, 12, 15);
    const auto load = [](const std::uint8_t* at) {
        return _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
    };
    for (; count >= 16; count -= 16, in += 48, r += 16, g += 16, b += 16) {
        const __m128i v0 = load(in), v1 = load(in + 16), v2 = load(in + 32);
        const auto pick = [&](std::uint8_t* to, __m128i s0, __m128i s1, __m128i s2) {
            const __m128i all = _mm_or_si128(
                _mm_shuffle_epi8(v0, s0), _mm_or_si128(_mm_shuffle_epi8(v1, s1), _mm_shuffle_epi8(v2, s2)));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(to), all);
        };
        pick(r, r0, r1, r2);
        pick(g, g0, g1, g2);
        pick(b, b0, b1, b2);
    }
    plain::split_rgb(in, r, g, b, count);
}

#else

void split_rgb(const std::uint8_t* in, std::uint8_t* r, std::uint8_t* g, std::uint8_t* b, std::size_t count) {
    plain::split_rgb(in, r, g, b, count);
}

#endif

void split_pixels(const Bitmap& bitmap, int y, int first, int count, PlanarPixels& out) {
    const auto size = static_cast<std::size_t>(count), start = static_cast<std::size_t>(first);
    if (bitmap.layout() == Layout::rgb24) {
        split_rgb(bitmap.row(y).data() + start * 3, out.r.data(), out.g.data(), out.b.data(), size);
    } else if (bitmap.layout() == Layout::rgba32) {
        const std::uint8_t* in = bitmap.row(y).data() + start * 4;
        std::uint8_t *r = out.r.data(), *g = out.g.data(), *b = out.b.data(), *a = out.a.data();
        for (std::size_t i = 0; i < size; ++i)
            r[i] = in[i * 4], g[i] = in[i * 4 + 1], b[i] = in[i * 4 + 2], a[i] = in[i * 4 + 3];
    } else {
        std::array<std::uint8_t, 3 * PlanarPixels::kCapacity> rgb;
        row_to_rgb(bitmap, y, first, std::span{rgb}.first(size * 3));
        split_rgb(rgb.data(), out.r.data(), out.g.data(), out.b.data(), size);
    }
}

void look_up_pixels(const Bitmap& bitmap, int y, int first, std::span<std::uint8_t> out,
                    const LevelTable& table) {
    const auto in = bitmap.row(y);
    const auto start = static_cast<std::size_t>(first);
    if (bitmap.layout() == Layout::bit1) {
        for (std::size_t i = 0; i < out.size(); ++i) {
            const std::size_t x = start + i;
            out[i] = table[in[x / 8] >> (7 - x % 8) & 1U];
        }
        return;
    }
    for (std::size_t i = 0; i < out.size(); ++i) out[i] = table[in[start + i]];
}

void join_pixels(const PlanarPixels& in, std::uint8_t* out, int count, int channels) {
    const auto size = static_cast<std::size_t>(count);
    const std::uint8_t *r = in.r.data(), *g = in.g.data(), *b = in.b.data(), *a = in.a.data();
    if (channels == 3) return interleave_rgb(r, g, b, out, size);
    for (std::size_t i = 0; i < size; ++i)
        out[i * 4] = r[i], out[i * 4 + 1] = g[i], out[i * 4 + 2] = b[i], out[i * 4 + 3] = a[i];
}

}  // namespace quillmark::imaging
