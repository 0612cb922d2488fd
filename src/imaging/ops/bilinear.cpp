#include "imaging/ops/bilinear.h"

#include <cstring>

#if defined(__SSE4_1__)
#include <smmintrin.h>
#endif

namespace quillmark::imaging {
namespace {

constexpr int kOne = 1 << 14;  // the weights of a direction add up to this

using Pixels = std::array<const std::uint8_t*, 4>;

// Top and bottom are blended to 7 more bits than a sample has, then left and right.
template <typename Sum>
Sum blend(Sum top_left, Sum top_right, Sum bottom_left, Sum bottom_right, int fu, int fv) {
    const Sum left = (top_left * (kOne - fv) + bottom_left * fv) >> 7;
    const Sum right = (top_right * (kOne - fv) + bottom_right * fv) >> 7;
    return (left * (kOne - fu) + right * fu + (1 << 20)) >> 21;
}

template <int Channels>
struct Bytes {
    static constexpr int size = Channels;
    static void sample(const Pixels& p, int fu, int fv, std::uint8_t* out) {
        for (int c = 0; c < Channels; ++c)
            out[c] =
                static_cast<std::uint8_t>(blend<std::int32_t>(p[0][c], p[1][c], p[2][c], p[3][c], fu, fv));
    }
};

struct Words {
    static constexpr int size = 2;
    static void sample(const Pixels& p, int fu, int fv, std::uint8_t* out) {
        std::uint16_t w[4];
        for (std::size_t i = 0; i < 4; ++i) std::memcpy(&w[i], p[i], sizeof w[i]);
        const auto level = static_cast<std::uint16_t>(blend<std::int64_t>(w[0], w[1], w[2], w[3], fu, fv));
        std::memcpy(out, &level, sizeof level);
    }
};

std::array<float, 4> alpha_weights(int fu, int fv) {
    constexpr float kScale = 1.0F / (static_cast<float>(kOne) * kOne);
    const auto x = static_cast<float>(fu), y = static_cast<float>(fv);
    return {(kOne - x) * (kOne - y) * kScale, x * (kOne - y) * kScale, (kOne - x) * y * kScale,
            x * y * kScale};
}

struct Alpha {
    static constexpr int size = 4;
    static void sample(const Pixels& p, int fu, int fv, std::uint8_t* out) {
        const auto weights = alpha_weights(fu, fv);
        float sum[4] = {};
        for (std::size_t i = 0; i < 4; ++i) {
            const float cover = weights[i] * p[i][3];
            for (int c = 0; c < 3; ++c) sum[c] += cover * p[i][c];
            sum[3] += cover;
        }
        const float scale = sum[3] > 0 ? 1 / sum[3] : 0;
        for (int c = 0; c < 3; ++c) out[c] = static_cast<std::uint8_t>(sum[c] * scale + 0.5F);
        out[3] = static_cast<std::uint8_t>(sum[3] + 0.5F);
    }
};

// A loop over single samples.
template <typename Form>
void walk_singly(const Walk& walk, std::uint8_t* out, int count) {
    std::int32_t u = walk.u, v = walk.v;
    for (; count > 0; --count, u += walk.du, v += walk.dv, out += Form::size) {
        const std::uint8_t* top = walk.origin + (v >> 16) * walk.stride + (u >> 16) * Form::size;
        const std::uint8_t* bottom = top + walk.stride;
        Form::sample({top, top + Form::size, bottom, bottom + Form::size}, (u & 0xFFFF) >> 2,
                     (v & 0xFFFF) >> 2, out);
    }
}

#if defined(__SSE4_1__)

// Weights of four samples, (one - fraction, fraction) as 16-bit pairs.
__m128i weight_pairs(__m128i coordinates) {
    const __m128i fraction = _mm_srli_epi32(_mm_and_si128(coordinates, _mm_set1_epi32(0xFFFF)), 2);
    return _mm_or_si128(_mm_sub_epi32(_mm_set1_epi32(kOne), fraction), _mm_slli_epi32(fraction, 16));
}

// One sample as 32-bit values R, G, B and one that does not count.
__m128i sample_rgb(const std::uint8_t* top, std::ptrdiff_t stride, __m128i across, __m128i down) {
    constexpr char x = -128;  // shuffles in a zero
    const __m128i second = _mm_setr_epi8(6, x, 7, x, 8, x, 9, x, 10, x, 11, x, x, x, x, x);
    const __m128i both = _mm_unpacklo_epi8(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(top)),
                                           _mm_loadl_epi64(reinterpret_cast<const __m128i*>(top + stride)));
    const __m128i left = _mm_madd_epi16(_mm_cvtepu8_epi16(both), down);
    const __m128i right = _mm_madd_epi16(_mm_shuffle_epi8(both, second), down);
    // Each shifted right by 7, as the halves of 32 bits.
    const __m128i pairs = _mm_blend_epi16(_mm_srli_epi32(left, 7), _mm_slli_epi32(right, 9), 0xAA);
    return _mm_srli_epi32(_mm_add_epi32(_mm_madd_epi16(pairs, across), _mm_set1_epi32(1 << 20)), 21);
}

void walk_rgb(const Walk& walk, std::uint8_t* out, int count) {
    const __m128i pack = _mm_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -128, -128, -128, -128);
    const __m128i ramp = _mm_setr_epi32(0, 1, 2, 3);
    __m128i u = _mm_add_epi32(_mm_set1_epi32(walk.u), _mm_mullo_epi32(_mm_set1_epi32(walk.du), ramp));
    __m128i v = _mm_add_epi32(_mm_set1_epi32(walk.v), _mm_mullo_epi32(_mm_set1_epi32(walk.dv), ramp));
    const __m128i du = _mm_set1_epi32(walk.du * 4), dv = _mm_set1_epi32(walk.dv * 4);
    const __m128i stride = _mm_set1_epi32(static_cast<int>(walk.stride));
    int done = 0;
    for (; done + 4 <= count; done += 4, out += 12) {
        const __m128i column = _mm_srai_epi32(u, 16);
        const __m128i offset = _mm_add_epi32(_mm_mullo_epi32(_mm_srai_epi32(v, 16), stride),
                                             _mm_add_epi32(column, _mm_add_epi32(column, column)));
        const __m128i across = weight_pairs(u), down = weight_pairs(v);
        const __m128i a = sample_rgb(walk.origin + _mm_extract_epi32(offset, 0), walk.stride,
                                     _mm_shuffle_epi32(across, 0x00), _mm_shuffle_epi32(down, 0x00));
        const __m128i b = sample_rgb(walk.origin + _mm_extract_epi32(offset, 1), walk.stride,
                                     _mm_shuffle_epi32(across, 0x55), _mm_shuffle_epi32(down, 0x55));
        const __m128i c = sample_rgb(walk.origin + _mm_extract_epi32(offset, 2), walk.stride,
                                     _mm_shuffle_epi32(across, 0xAA), _mm_shuffle_epi32(down, 0xAA));
        const __m128i d = sample_rgb(walk.origin + _mm_extract_epi32(offset, 3), walk.stride,
                                     _mm_shuffle_epi32(across, 0xFF), _mm_shuffle_epi32(down, 0xFF));
        const __m128i bytes =
            _mm_shuffle_epi8(_mm_packus_epi16(_mm_packus_epi32(a, b), _mm_packus_epi32(c, d)), pack);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(out), bytes);
        const int rest = _mm_extract_epi32(bytes, 2);
        std::memcpy(out + 8, &rest, sizeof rest);
        u = _mm_add_epi32(u, du), v = _mm_add_epi32(v, dv);
    }
    Walk tail = walk;
    tail.u += done * walk.du, tail.v += done * walk.dv;
    walk_singly<Bytes<3>>(tail, out, count - done);
}

// Two neighbouring bytes of four rows, as 16 bits each.
__m128i byte_pairs(const std::uint8_t* origin, __m128i offset, std::ptrdiff_t below) {
    const auto two = [&](int at) {
        std::uint16_t bytes;
        std::memcpy(&bytes, origin + at + below, sizeof bytes);
        return static_cast<int>(bytes);
    };
    __m128i pairs = _mm_cvtsi32_si128(two(_mm_cvtsi128_si32(offset)));
    pairs = _mm_insert_epi16(pairs, two(_mm_extract_epi32(offset, 1)), 2);
    pairs = _mm_insert_epi16(pairs, two(_mm_extract_epi32(offset, 2)), 4);
    return _mm_insert_epi16(pairs, two(_mm_extract_epi32(offset, 3)), 6);
}

void walk_gray(const Walk& walk, std::uint8_t* out, int count) {
    const __m128i ramp = _mm_setr_epi32(0, 1, 2, 3), low_byte = _mm_set1_epi32(0xFF);
    __m128i u = _mm_add_epi32(_mm_set1_epi32(walk.u), _mm_mullo_epi32(_mm_set1_epi32(walk.du), ramp));
    __m128i v = _mm_add_epi32(_mm_set1_epi32(walk.v), _mm_mullo_epi32(_mm_set1_epi32(walk.dv), ramp));
    const __m128i du = _mm_set1_epi32(walk.du * 4), dv = _mm_set1_epi32(walk.dv * 4);
    const __m128i stride = _mm_set1_epi32(static_cast<int>(walk.stride));
    int done = 0;
    for (; done + 4 <= count; done += 4, out += 4) {
        const __m128i offset =
            _mm_add_epi32(_mm_mullo_epi32(_mm_srai_epi32(v, 16), stride), _mm_srai_epi32(u, 16));
        const __m128i top = byte_pairs(walk.origin, offset, 0),
                      bottom = byte_pairs(walk.origin, offset, walk.stride);
        // Top and bottom as 16-bit pairs, of the left pixels and of the right ones.
        const __m128i left =
            _mm_or_si128(_mm_and_si128(top, low_byte), _mm_slli_epi32(_mm_and_si128(bottom, low_byte), 16));
        const __m128i right =
            _mm_or_si128(_mm_srli_epi32(top, 8), _mm_slli_epi32(_mm_srli_epi32(bottom, 8), 16));
        const __m128i down = weight_pairs(v);
        const __m128i pairs =
            _mm_or_si128(_mm_srli_epi32(_mm_madd_epi16(left, down), 7),
                         _mm_slli_epi32(_mm_srli_epi32(_mm_madd_epi16(right, down), 7), 16));
        const __m128i level = _mm_srli_epi32(
            _mm_add_epi32(_mm_madd_epi16(pairs, weight_pairs(u)), _mm_set1_epi32(1 << 20)), 21);
        const __m128i words = _mm_packus_epi32(level, level);
        const int bytes = _mm_cvtsi128_si32(_mm_packus_epi16(words, words));
        std::memcpy(out, &bytes, sizeof bytes);
        u = _mm_add_epi32(u, du), v = _mm_add_epi32(v, dv);
    }
    Walk tail = walk;
    tail.u += done * walk.du, tail.v += done * walk.dv;
    walk_singly<Bytes<1>>(tail, out, count - done);
}

// The same sums as Alpha's, in the same order, for the channels at once; the alpha lane adds up the covers.
struct AlphaLanes {
    static constexpr int size = 4;

    static __m128 tap(const std::uint8_t* pixel, float weight) {
        std::int32_t bytes;
        std::memcpy(&bytes, pixel, sizeof bytes);
        const __m128 lanes = _mm_cvtepi32_ps(_mm_cvtepu8_epi32(_mm_cvtsi32_si128(bytes)));
        const __m128 cover = _mm_mul_ps(_mm_set1_ps(weight), _mm_shuffle_ps(lanes, lanes, 0xFF));
        return _mm_mul_ps(cover, _mm_blend_ps(lanes, _mm_set1_ps(1), 8));
    }

    static void sample(const Pixels& p, int fu, int fv, std::uint8_t* out) {
        const auto weights = alpha_weights(fu, fv);
        __m128 sum = tap(p[0], weights[0]);
        for (std::size_t i = 1; i < 4; ++i) sum = _mm_add_ps(sum, tap(p[i], weights[i]));
        const __m128 alpha = _mm_shuffle_ps(sum, sum, 0xFF);
        const __m128 scale =
            _mm_and_ps(_mm_cmpgt_ps(alpha, _mm_setzero_ps()), _mm_div_ps(_mm_set1_ps(1), alpha));
        const __m128 pixel = _mm_add_ps(_mm_blend_ps(_mm_mul_ps(sum, scale), sum, 8), _mm_set1_ps(0.5F));
        const __m128i words = _mm_packs_epi32(_mm_cvttps_epi32(pixel), _mm_setzero_si128());
        const int bytes = _mm_cvtsi128_si32(_mm_packus_epi16(words, words));
        std::memcpy(out, &bytes, sizeof bytes);
    }
};

void walk_rgba(const Walk& walk, std::uint8_t* out, int count) { walk_singly<AlphaLanes>(walk, out, count); }

#else

void walk_gray(const Walk& walk, std::uint8_t* out, int count) { walk_singly<Bytes<1>>(walk, out, count); }
void walk_rgb(const Walk& walk, std::uint8_t* out, int count) { walk_singly<Bytes<3>>(walk, out, count); }
void walk_rgba(const Walk& walk, std::uint8_t* out, int count) { walk_singly<Alpha>(walk, out, count); }

#endif

}  // namespace

namespace plain {

void sample_walk(Samples form, const Walk& walk, std::uint8_t* out, int count) {
    switch (form) {
        case Samples::gray8: return walk_singly<Bytes<1>>(walk, out, count);
        case Samples::gray16: return walk_singly<Words>(walk, out, count);
        case Samples::rgb24: return walk_singly<Bytes<3>>(walk, out, count);
        case Samples::rgba32: return walk_singly<Alpha>(walk, out, count);
    }
}

}  // namespace plain

void sample_walk(Samples form, const Walk& walk, std::uint8_t* out, int count) {
    if (form == Samples::gray8) return walk_gray(walk, out, count);
    if (form == Samples::rgb24) return walk_rgb(walk, out, count);
    if (form == Samples::rgba32) return walk_rgba(walk, out, count);
    plain::sample_walk(form, walk, out, count);
}

void sample_pixels(Samples form, const std::array<const std::uint8_t*, 4>& pixels, int u, int v,
                   std::uint8_t* out) {
    switch (form) {
        case Samples::gray8: return Bytes<1>::sample(pixels, u >> 2, v >> 2, out);
        case Samples::gray16: return Words::sample(pixels, u >> 2, v >> 2, out);
        case Samples::rgb24: return Bytes<3>::sample(pixels, u >> 2, v >> 2, out);
        case Samples::rgba32: return Alpha::sample(pixels, u >> 2, v >> 2, out);
    }
}

}  // namespace quillmark::imaging
