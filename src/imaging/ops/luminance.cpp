#include "imaging/ops/luminance.h"

#include "imaging/ops/fetch_ahead.h"

#if defined(__SSSE3__)
#include <tmmintrin.h>
#endif

namespace quillmark::imaging {

void plain::luminance_row(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t step) {
    for (; count > 0; --count, in += step) *out++ = luminance(in[0], in[1], in[2]);
}

#if defined(__SSSE3__)
namespace {

struct Spread {
    __m128i red_green, blue_green;  // shuffles of four pixels into pairs of 16-bit words
};

Spread spread_for(std::size_t step) {
    constexpr char x = -128;  // shuffles in a zero
    if (step == 3)
        return {_mm_setr_epi8(0, x, 1, x, 3, x, 4, x, 6, x, 7, x, 9, x, 10, x),
                _mm_setr_epi8(2, x, 1, x, 5, x, 4, x, 8, x, 7, x, 11, x, 10, x)};
    return {_mm_setr_epi8(0, x, 1, x, 4, x, 5, x, 8, x, 9, x, 12, x, 13, x),
            _mm_setr_epi8(2, x, 1, x, 6, x, 5, x, 10, x, 9, x, 14, x, 13, x)};
}

// Four pixels as 32-bit luminances. Green's weight does not fit a signed word: half of it goes to each pair.
__m128i four(const std::uint8_t* in, const Spread& spread) {
    const __m128i pixels = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in));
    const __m128i red_green =
        _mm_madd_epi16(_mm_shuffle_epi8(pixels, spread.red_green), _mm_set1_epi32(19595 | 19235 << 16));
    const __m128i blue_green =
        _mm_madd_epi16(_mm_shuffle_epi8(pixels, spread.blue_green), _mm_set1_epi32(7471 | 19235 << 16));
    const __m128i sum = _mm_add_epi32(_mm_add_epi32(red_green, blue_green), _mm_set1_epi32(32768));
    return _mm_srli_epi32(sum, 16);
}

}  // namespace

void luminance_row(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t step) {
    const Spread spread = spread_for(step);
    // Each load reads 16 bytes, of which four pixels of three bytes use 12: two pixels stay for the tail.
    for (; count >= 18; count -= 16, in += 16 * step, out += 16) {
        fetch_ahead(in);
        const __m128i low = _mm_packs_epi32(four(in, spread), four(in + 4 * step, spread));
        const __m128i high = _mm_packs_epi32(four(in + 8 * step, spread), four(in + 12 * step, spread));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_packus_epi16(low, high));
    }
    plain::luminance_row(in, out, count, step);
}

#else

void luminance_row(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t step) {
    plain::luminance_row(in, out, count, step);
}

#endif

}  // namespace quillmark::imaging
