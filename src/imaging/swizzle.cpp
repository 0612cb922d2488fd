#include "imaging/swizzle.h"

#if defined(__SSSE3__)
#include <tmmintrin.h>
#endif

namespace quillmark::imaging {
namespace plain {

void swap_rgb24(const std::uint8_t* in, std::uint8_t* out, std::size_t count) {
    for (; count > 0; --count, in += 3, out += 3) {
        const std::uint8_t b = in[0], g = in[1], r = in[2];
        out[0] = r, out[1] = g, out[2] = b;
    }
}

void swap_rgba32(const std::uint8_t* in, std::uint8_t* out, std::size_t count) {
    for (; count > 0; --count, in += 4, out += 4) {
        const std::uint8_t b = in[0], g = in[1], r = in[2], a = in[3];
        out[0] = r, out[1] = g, out[2] = b, out[3] = a;
    }
}

void drop_fourth(const std::uint8_t* in, std::uint8_t* out, std::size_t count, int r, int g, int b) {
    for (; count > 0; --count, in += 4, out += 3) out[0] = in[r], out[1] = in[g], out[2] = in[b];
}

void interleave_rgb(const std::uint8_t* r, const std::uint8_t* g, const std::uint8_t* b, std::uint8_t* out,
                    std::size_t count) {
    for (; count > 0; --count, out += 3) out[0] = *r++, out[1] = *g++, out[2] = *b++;
}

}  // namespace plain

#if defined(__SSSE3__)
namespace {

__m128i load(const std::uint8_t* at) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(at)); }
void store(std::uint8_t* at, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(at), v); }

}  // namespace

void swap_rgb24(const std::uint8_t* in, std::uint8_t* out, std::size_t count) {
    // Five pixels a step; the 16th byte passes through, so that working in place stays correct.
    const __m128i order = _mm_setr_epi8(2, 1, 0, 5, 4, 3, 8, 7, 6, 11, 10, 9, 14, 13, 12, 15);
    for (; count >= 6; count -= 5, in += 15, out += 15) store(out, _mm_shuffle_epi8(load(in), order));
    plain::swap_rgb24(in, out, count);
}

void stream_swap_rgb24(const std::uint8_t* in, std::uint8_t* out, std::size_t count) {
    // Sixteen pixels a step. Each 16 bytes of output need 18 bytes of input: two loads, two bytes apart, of
    // which the second supplies what the first cannot reach.
    constexpr char x = -128;  // shuffles in a zero
    const __m128i a0 = _mm_setr_epi8(2, 1, 0, 5, 4, 3, 8, 7, 6, 11, 10, 9, 14, 13, 12, x);
    const __m128i b0 = _mm_setr_epi8(x, x, x, x, x, x, x, x, x, x, x, x, x, x, x, 15);
    const __m128i a1 = _mm_setr_epi8(1, 0, 5, 4, 3, 8, 7, 6, 11, 10, 9, 14, 13, 12, x, x);
    const __m128i b1 = _mm_setr_epi8(x, x, x, x, x, x, x, x, x, x, x, x, x, x, 15, 14);
    const __m128i a2 = _mm_setr_epi8(0, 5, 4, 3, 8, 7, 6, 11, 10, 9, 14, 13, 12, x, x, 15);
    const __m128i b2 = _mm_setr_epi8(x, x, x, x, x, x, x, x, x, x, x, x, x, 15, 14, x);
    for (; count >= 17; count -= 16, in += 48, out += 48) {
        const auto mix = [in](int at, __m128i a, __m128i b) {
            return _mm_or_si128(_mm_shuffle_epi8(load(in + at), a), _mm_shuffle_epi8(load(in + at + 2), b));
        };
        _mm_stream_si128(reinterpret_cast<__m128i*>(out), mix(0, a0, b0));
        _mm_stream_si128(reinterpret_cast<__m128i*>(out + 16), mix(15, a1, b1));
        _mm_stream_si128(reinterpret_cast<__m128i*>(out + 32), mix(30, a2, b2));
    }
    plain::swap_rgb24(in, out, count);
    _mm_sfence();  // other threads see the pixels with whatever tells them of the row
}

void swap_rgba32(const std::uint8_t* in, std::uint8_t* out, std::size_t count) {
    const __m128i order = _mm_setr_epi8(2, 1, 0, 3, 6, 5, 4, 7, 10, 9, 8, 11, 14, 13, 12, 15);
    for (; count >= 4; count -= 4, in += 16, out += 16) store(out, _mm_shuffle_epi8(load(in), order));
    plain::swap_rgba32(in, out, count);
}

void drop_fourth(const std::uint8_t* in, std::uint8_t* out, std::size_t count, int r, int g, int b) {
    alignas(16) std::uint8_t order[16] = {};
    for (int i = 0; i < 4; ++i) {
        order[i * 3] = static_cast<std::uint8_t>(i * 4 + r);
        order[i * 3 + 1] = static_cast<std::uint8_t>(i * 4 + g);
        order[i * 3 + 2] = static_cast<std::uint8_t>(i * 4 + b);
    }
    const __m128i shuffle = load(order);
    // Each store writes 4 bytes too many; the next step, or the plain tail, overwrites them.
    for (; count >= 6; count -= 4, in += 16, out += 12) store(out, _mm_shuffle_epi8(load(in), shuffle));
    plain::drop_fourth(in, out, count, r, g, b);
}

void interleave_rgb(const std::uint8_t* r, const std::uint8_t* g, const std::uint8_t* b, std::uint8_t* out,
                    std::size_t count) {
    constexpr char x = -128;  // shuffles in a zero
    const __m128i r0 = _mm_setr_epi8(0, x, x, 1, x, x, 2, x, x, 3, x, x, 4, x, x, 5);
    const __m128i g0 = _mm_setr_epi8(x, 0, x, x, 1, x, x, 2, x, x, 3, x, x, 4, x, x);
    const __m128i b0 = _mm_setr_epi8(x, x, 0, x, x, 1, x, x, 2, x, x, 3, x, x, 4, x);
    const __m128i r1 = _mm_setr_epi8(x, x, 6, x, x, 7, x, x, 8, x, x, 9, x, x, 10, x);
    const __m128i g1 = _mm_setr_epi8(5, x, x, 6, x, x, 7, x, x, 8, x, x, 9, x, x, 10);
    const __m128i b1 = _mm_setr_epi8(x, 5, x, x, 6, x, x, 7, x, x, 8, x, x, 9, x, x);
    const __m128i r2 = _mm_setr_epi8(x, 11, x, x, 12, x, x, 13, x, x, 14, x, x, 15, x, x);
    const __m128i g2 = _mm_setr_epi8(x, x, 11, x, x, 12, x, x, 13, x, x, 14, x, x, 15, x);
    const __m128i b2 = _mm_setr_epi8(10, x, x, 11, x, x, 12, x, x, 13, x, x, 14, x, x, 15);
    for (; count >= 16; count -= 16, r += 16, g += 16, b += 16, out += 48) {
        const __m128i vr = load(r), vg = load(g), vb = load(b);
        const auto mix = [&](__m128i sr, __m128i sg, __m128i sb) {
            return _mm_or_si128(_mm_shuffle_epi8(vr, sr),
                                _mm_or_si128(_mm_shuffle_epi8(vg, sg), _mm_shuffle_epi8(vb, sb)));
        };
        store(out, mix(r0, g0, b0));
        store(out + 16, mix(r1, g1, b1));
        store(out + 32, mix(r2, g2, b2));
    }
    plain::interleave_rgb(r, g, b, out, count);
}

#else

void stream_swap_rgb24(const std::uint8_t* in, std::uint8_t* out, std::size_t count) {
    plain::swap_rgb24(in, out, count);
}
void swap_rgb24(const std::uint8_t* in, std::uint8_t* out, std::size_t count) {
    plain::swap_rgb24(in, out, count);
}
void swap_rgba32(const std::uint8_t* in, std::uint8_t* out, std::size_t count) {
    plain::swap_rgba32(in, out, count);
}
void drop_fourth(const std::uint8_t* in, std::uint8_t* out, std::size_t count, int r, int g, int b) {
    plain::drop_fourth(in, out, count, r, g, b);
}
void interleave_rgb(const std::uint8_t* r, const std::uint8_t* g, const std::uint8_t* b, std::uint8_t* out,
                    std::size_t count) {
    plain::interleave_rgb(r, g, b, out, count);
}

#endif

}  // namespace quillmark::imaging
