#include "imaging/swizzle.h"

#include <array>
#include <cstring>

#if defined(__SSSE3__)
#include <tmmintrin.h>
#endif

namespace quillmark::imaging {
namespace {

template <std::size_t Size>
void reverse_sized(const std::uint8_t* in, std::uint8_t* out, std::size_t count) {
    const std::uint8_t* from = in + count * Size;
    for (; count > 0; --count, out += Size) std::memcpy(out, from -= Size, Size);
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

// Moves packed bits to the left by less than a byte; zeros follow.
void shift_left(std::uint8_t* bits, std::size_t bytes, unsigned by) {
    if (by == 0) return;
    for (std::size_t i = 0; i + 1 < bytes; ++i)
        bits[i] = static_cast<std::uint8_t>(bits[i] << by | bits[i + 1] >> (8 - by));
    bits[bytes - 1] = static_cast<std::uint8_t>(bits[bytes - 1] << by);
}

}  // namespace

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

void reverse_pixels(const std::uint8_t* in, std::uint8_t* out, std::size_t count, int bytes_per_pixel) {
    switch (bytes_per_pixel) {
        case 1: return reverse_sized<1>(in, out, count);
        case 2: return reverse_sized<2>(in, out, count);
        case 3: return reverse_sized<3>(in, out, count);
        default: return reverse_sized<4>(in, out, count);
    }
}

void reverse_bits(const std::uint8_t* in, std::uint8_t* out, std::size_t count) {
    const std::size_t bytes = (count + 7) / 8;
    for (std::size_t i = 0; i < bytes; ++i) out[i] = kReversedByte[in[bytes - 1 - i]];
    shift_left(out, bytes, static_cast<unsigned>(bytes * 8 - count));
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

void reverse_pixels(const std::uint8_t* in, std::uint8_t* out, std::size_t count, int bytes_per_pixel) {
    constexpr char x = -128;  // shuffles in a zero
    // Of three-byte pixels five a step: the load begins a byte early, so that it never ends beyond the row,
    // and the 16th byte of the store is overwritten by the next one.
    const __m128i orders[] = {_mm_setr_epi8(15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0),
                              _mm_setr_epi8(14, 15, 12, 13, 10, 11, 8, 9, 6, 7, 4, 5, 2, 3, 0, 1),
                              _mm_setr_epi8(13, 14, 15, 10, 11, 12, 7, 8, 9, 4, 5, 6, 1, 2, 3, x),
                              _mm_setr_epi8(12, 13, 14, 15, 8, 9, 10, 11, 4, 5, 6, 7, 0, 1, 2, 3)};
    const __m128i order = orders[bytes_per_pixel - 1];
    const auto size = static_cast<std::size_t>(bytes_per_pixel);
    const std::size_t step = 16 / size;
    const std::uint8_t* from = in + count * size;
    for (; count > step; count -= step, out += step * size) {
        store(out, _mm_shuffle_epi8(load(from - 16), order));
        from -= step * size;
    }
    plain::reverse_pixels(in, out, count, bytes_per_pixel);
}

void reverse_bits(const std::uint8_t* in, std::uint8_t* out, std::size_t count) {
    const __m128i order = _mm_setr_epi8(15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0);
    const __m128i low = _mm_set1_epi8(15);
    // The bits of a nibble reversed, as the upper nibble and as the lower one.
    const __m128i up =
        _mm_setr_epi8(0, -128, 64, -64, 32, -96, 96, -32, 16, -112, 80, -48, 48, -80, 112, -16);
    const __m128i down = _mm_and_si128(_mm_srli_epi16(up, 4), low);
    const std::size_t bytes = (count + 7) / 8;
    std::size_t i = 0;
    for (; i + 16 <= bytes; i += 16) {
        const __m128i v = _mm_shuffle_epi8(load(in + bytes - 16 - i), order);
        store(out + i, _mm_or_si128(_mm_shuffle_epi8(up, _mm_and_si128(v, low)),
                                    _mm_shuffle_epi8(down, _mm_and_si128(_mm_srli_epi16(v, 4), low))));
    }
    for (; i < bytes; ++i) out[i] = kReversedByte[in[bytes - 1 - i]];
    shift_left(out, bytes, static_cast<unsigned>(bytes * 8 - count));
}

#else

void reverse_pixels(const std::uint8_t* in, std::uint8_t* out, std::size_t count, int bytes_per_pixel) {
    plain::reverse_pixels(in, out, count, bytes_per_pixel);
}
void reverse_bits(const std::uint8_t* in, std::uint8_t* out, std::size_t count) {
    plain::reverse_bits(in, out, count);
}
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
