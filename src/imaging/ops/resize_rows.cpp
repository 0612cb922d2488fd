#include "imaging/ops/resize_rows.h"

#include <algorithm>
#include <cstring>

#include "imaging/ops/vector_choice.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace quillmark::imaging {
namespace plain {

void blend_rows(const std::uint8_t* const* rows, const std::int16_t* weights, int count, std::int16_t* out,
                std::size_t samples) {
    constexpr std::size_t kBlock = 256;  // the sums of a block stay in the first-level cache
    for (std::size_t from = 0; from < samples; from += kBlock) {
        const std::size_t size = std::min(kBlock, samples - from);
        std::int32_t sums[kBlock] = {};
        for (int k = 0; k < count; ++k) {
            const std::uint8_t* row = rows[k] + from;
            for (std::size_t i = 0; i < size; ++i) sums[i] += weights[k] * row[i];
        }
        for (std::size_t i = 0; i < size; ++i)
            out[from + i] = static_cast<std::int16_t>(std::clamp((sums[i] + 128) >> 8, -32768, 32767));
    }
}

void blend_columns(const std::int16_t* in, const int* first, const std::int16_t* weights, int taps,
                   int channels, std::uint8_t* out, int count) {
    for (int i = 0; i < count; ++i, weights += taps) {
        const std::int16_t* from = in + static_cast<std::ptrdiff_t>(first[i]) * channels;
        for (int c = 0; c < channels; ++c, ++out) {
            std::int32_t sum = 1 << 19;
            for (int k = 0; k < taps; ++k) sum += from[k * channels + c] * weights[k];
            *out = static_cast<std::uint8_t>(std::clamp(sum >> 20, 0, 255));
        }
    }
}

void halve_rgb24(const std::uint8_t* top, const std::uint8_t* bottom, std::uint8_t* out, int count) {
    for (; count > 0; --count, top += 6, bottom += 6, out += 3) {
        for (int c = 0; c < 3; ++c)
            out[c] = static_cast<std::uint8_t>((top[c] + top[c + 3] + bottom[c] + bottom[c + 3] + 2) >> 2);
    }
}

}  // namespace plain

#if defined(__x86_64__)
namespace {

__attribute__((target("avx2"))) void blend_rows_avx2(const std::uint8_t* const* rows,
                                                     const std::int16_t* weights, int count,
                                                     std::int16_t* out, std::size_t samples) {
    const __m256i zero = _mm256_setzero_si256();
    std::size_t i = 0;
    for (; i + 32 <= samples; i += 32) {
        __m256i sums[4];
        for (__m256i& sum : sums) sum = _mm256_set1_epi32(128);
        for (int k = 0; k < count; k += 2) {
            int two;
            std::memcpy(&two, weights + k, sizeof two);
            const __m256i pair = _mm256_set1_epi32(two);
            const __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(rows[k] + i));
            const __m256i b = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(rows[k + 1] + i));
            const __m256i low = _mm256_unpacklo_epi8(a, b), high = _mm256_unpackhi_epi8(a, b);
            const __m256i parts[4] = {_mm256_unpacklo_epi8(low, zero), _mm256_unpackhi_epi8(low, zero),
                                      _mm256_unpacklo_epi8(high, zero), _mm256_unpackhi_epi8(high, zero)};
            for (int part = 0; part < 4; ++part)
                sums[part] = _mm256_add_epi32(sums[part], _mm256_madd_epi16(parts[part], pair));
        }
        for (__m256i& sum : sums) sum = _mm256_srai_epi32(sum, 8);
        const __m256i low = _mm256_packs_epi32(sums[0], sums[1]);   // samples 0 to 7 and 16 to 23
        const __m256i high = _mm256_packs_epi32(sums[2], sums[3]);  // 8 to 15 and 24 to 31
        auto* to = reinterpret_cast<__m256i*>(out + i);
        _mm256_storeu_si256(to, _mm256_permute2x128_si256(low, high, 0x20));
        _mm256_storeu_si256(to + 1, _mm256_permute2x128_si256(low, high, 0x31));
    }
    for (; i < samples; ++i) {
        std::int32_t sum = 128;
        for (int k = 0; k < count; ++k) sum += weights[k] * rows[k][i];
        out[i] = static_cast<std::int16_t>(std::clamp(sum >> 8, -32768, 32767));
    }
}

// Four taps of a pixel a step: two in each half of the register.
__attribute__((target("avx2"))) void blend_columns_avx2(const std::int16_t* in, const int* first,
                                                        const std::int16_t* weights, int taps,
                                                        std::uint8_t* out, int count) {
    constexpr char x = -128;  // shuffles in a zero
    const __m256i pairs = _mm256_setr_epi8(0, 1, 6, 7, 2, 3, 8, 9, 4, 5, 10, 11, x, x, x, x, 0, 1, 6, 7, 2, 3,
                                           8, 9, 4, 5, 10, 11, x, x, x, x);
    const __m256i spread = _mm256_setr_epi32(0, 0, 0, 0, 1, 1, 1, 1);
    for (int i = 0; i < count; ++i, weights += taps, out += 3) {
        const std::int16_t* from = in + static_cast<std::ptrdiff_t>(first[i]) * 3;
        __m256i sum = _mm256_setzero_si256();
        for (int k = 0; k < taps; k += 4, from += 12) {
            const __m256i pixels = _mm256_inserti128_si256(
                _mm256_castsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(from))),
                _mm_loadu_si128(reinterpret_cast<const __m128i*>(from + 6)), 1);
            const __m256i four = _mm256_permutevar8x32_epi32(
                _mm256_castsi128_si256(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(weights + k))),
                spread);
            sum = _mm256_add_epi32(sum, _mm256_madd_epi16(_mm256_shuffle_epi8(pixels, pairs), four));
        }
        __m128i pixel = _mm_add_epi32(_mm256_castsi256_si128(sum), _mm256_extracti128_si256(sum, 1));
        pixel = _mm_srai_epi32(_mm_add_epi32(pixel, _mm_set1_epi32(1 << 19)), 20);
        pixel = _mm_packus_epi16(_mm_packs_epi32(pixel, pixel), pixel);
        const int bytes = _mm_cvtsi128_si32(pixel);
        std::memcpy(out, &bytes, i + 1 < count ? 4 : 3);  // the next pixel overwrites the fourth
    }
}

}  // namespace

void blend_rows(const std::uint8_t* const* rows, const std::int16_t* weights, int count, std::int16_t* out,
                std::size_t samples) {
    if (has_avx2()) return blend_rows_avx2(rows, weights, count, out, samples);
    plain::blend_rows(rows, weights, count, out, samples);
}

void blend_columns(const std::int16_t* in, const int* first, const std::int16_t* weights, int taps,
                   int channels, std::uint8_t* out, int count) {
    if (channels == 3 && has_avx2()) return blend_columns_avx2(in, first, weights, taps, out, count);
    plain::blend_columns(in, first, weights, taps, channels, out, count);
}

#else

void blend_rows(const std::uint8_t* const* rows, const std::int16_t* weights, int count, std::int16_t* out,
                std::size_t samples) {
    plain::blend_rows(rows, weights, count, out, samples);
}
void blend_columns(const std::int16_t* in, const int* first, const std::int16_t* weights, int taps,
                   int channels, std::uint8_t* out, int count) {
    plain::blend_columns(in, first, weights, taps, channels, out, count);
}

#endif

#if defined(__SSSE3__)

void halve_rgb24(const std::uint8_t* top, const std::uint8_t* bottom, std::uint8_t* out, int count) {
    constexpr char x = -128;  // shuffles in a zero
    const __m128i pairs = _mm_setr_epi8(0, 3, 1, 4, 2, 5, 6, 9, 7, 10, 8, 11, x, x, x, x);
    const __m128i pack = _mm_setr_epi8(0, 1, 2, 3, 4, 5, 8, 9, 10, 11, 12, 13, x, x, x, x);
    const __m128i ones = _mm_set1_epi8(1), half = _mm_set1_epi16(2);
    // Two pixels as 16-bit means, from 12 bytes (of 16 that are loaded) of each row.
    const auto two = [&](int at) {
        const auto sums = [&](const std::uint8_t* row) {
            const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(row + at));
            return _mm_maddubs_epi16(_mm_shuffle_epi8(bytes, pairs), ones);
        };
        return _mm_srli_epi16(_mm_add_epi16(_mm_add_epi16(sums(top), sums(bottom)), half), 2);
    };
    // Each store writes 4 bytes too many, each load reads 4: the plain tail is longer than that.
    for (; count >= 6; count -= 4, top += 24, bottom += 24, out += 12)
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out),
                         _mm_shuffle_epi8(_mm_packus_epi16(two(0), two(12)), pack));
    plain::halve_rgb24(top, bottom, out, count);
}

#else

void halve_rgb24(const std::uint8_t* top, const std::uint8_t* bottom, std::uint8_t* out, int count) {
    plain::halve_rgb24(top, bottom, out, count);
}

#endif

}  // namespace quillmark::imaging
