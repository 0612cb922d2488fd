#include "imaging/ops/level_table.h"

#include <algorithm>

#include "imaging/ops/vector_choice.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace quillmark::imaging {

void plain::map_levels(const std::uint8_t* in, std::uint8_t* out, std::size_t count,
                       const LevelTable& table) {
    const std::uint8_t* const value = table.data();
    for (std::size_t i = 0; i < count; ++i) out[i] = value[in[i]];
}

void plain::map_rgb(const std::uint8_t* in, std::uint8_t* out, std::size_t count, const RgbTables& tables) {
    const std::uint8_t *const r = tables[0].data(), *const g = tables[1].data(), *const b = tables[2].data();
    for (; count > 0; --count, in += 3, out += 3) {
        const std::uint8_t red = r[in[0]], green = g[in[1]], blue = b[in[2]];
        out[0] = red, out[1] = green, out[2] = blue;
    }
}

#if defined(__x86_64__)

// Two halves of eight 16-entry tables in registers. A shuffle gives 0 where the index is 128 or more, that
// is, where it ran below 0; so a half of the tables holds differences to the entry 16 before, and the sum (by
// exclusive or) of those that the level reaches is its value.
__attribute__((target("avx2"))) void avx2::map_levels(const std::uint8_t* in, std::uint8_t* out,
                                                      std::size_t count, const LevelTable& table) {
    __m256i lower[8], upper[8];
    for (std::size_t i = 0; i < 8; ++i) {
        const auto* const at = reinterpret_cast<const __m128i*>(table.data()) + i;
        __m128i low = _mm_loadu_si128(at), high = _mm_loadu_si128(at + 8);
        if (i > 0) {
            low = _mm_xor_si128(low, _mm_loadu_si128(at - 1));
            high = _mm_xor_si128(high, _mm_loadu_si128(at + 7));
        }
        lower[i] = _mm256_broadcastsi128_si256(low), upper[i] = _mm256_broadcastsi128_si256(high);
    }
    const __m256i step = _mm256_set1_epi8(16);
    std::size_t done = 0;
    for (; done + 32 <= count; done += 32) {
        const __m256i level = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(in + done));
        __m256i at = level, above = _mm256_xor_si256(level, _mm256_set1_epi8(-128));
        __m256i low = _mm256_shuffle_epi8(lower[0], at), high = _mm256_shuffle_epi8(upper[0], above);
        for (int i = 1; i < 8; ++i) {
            at = _mm256_sub_epi8(at, step), above = _mm256_sub_epi8(above, step);
            low = _mm256_xor_si256(low, _mm256_shuffle_epi8(lower[i], at));
            high = _mm256_xor_si256(high, _mm256_shuffle_epi8(upper[i], above));
        }
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + done), _mm256_blendv_epi8(low, high, level));
    }
    plain::map_levels(in + done, out + done, count - done, table);
}

namespace {

// The whole table fits four registers of 64 bytes, of which one instruction looks up in two.
struct WideTable {
    __m512i quarter[4];
};

__attribute__((target("avx512bw"))) inline WideTable load_wide(const LevelTable& table) {
    const std::uint8_t* const at = table.data();
    return {{_mm512_loadu_si512(at), _mm512_loadu_si512(at + 64), _mm512_loadu_si512(at + 128),
             _mm512_loadu_si512(at + 192)}};
}

__attribute__((target("avx512vbmi,avx512bw"))) inline __m512i look_up(const WideTable& table, __m512i level) {
    return _mm512_mask_blend_epi8(_mm512_movepi8_mask(level),
                                  _mm512_permutex2var_epi8(table.quarter[0], level, table.quarter[1]),
                                  _mm512_permutex2var_epi8(table.quarter[2], level, table.quarter[3]));
}

__attribute__((target("avx512vbmi,avx512bw"))) void map_levels_wide(const std::uint8_t* in, std::uint8_t* out,
                                                                    std::size_t count,
                                                                    const LevelTable& table) {
    const WideTable wide = load_wide(table);
    std::size_t done = 0;
    for (; done + 64 <= count; done += 64)
        _mm512_storeu_si512(out + done, look_up(wide, _mm512_loadu_si512(in + done)));
    plain::map_levels(in + done, out + done, count - done, table);
}

__attribute__((target("avx512vbmi,avx512bw"))) void map_rgb_wide(const std::uint8_t* in, std::uint8_t* out,
                                                                 std::size_t count, const RgbTables& tables) {
    const WideTable red = load_wide(tables[0]), green = load_wide(tables[1]), blue = load_wide(tables[2]);
    // Every third byte from the first, second and third on; 64 bytes on, the channels stand one further.
    constexpr __mmask64 kFirst = 0x9249249249249249, kSecond = kFirst << 1, kThird = kFirst << 2;
    const __mmask64 greens[] = {kSecond, kFirst, kThird}, blues[] = {kThird, kSecond, kFirst};
    for (; count >= 64; count -= 64, in += 192, out += 192) {
        for (int i = 0; i < 3; ++i) {
            const __m512i level = _mm512_loadu_si512(in + i * 64);
            const __m512i some = _mm512_mask_mov_epi8(look_up(red, level), greens[i], look_up(green, level));
            _mm512_storeu_si512(out + i * 64, _mm512_mask_mov_epi8(some, blues[i], look_up(blue, level)));
        }
    }
    plain::map_rgb(in, out, count, tables);
}

bool has_wide() {
    static const bool has = __builtin_cpu_supports("avx512vbmi") && __builtin_cpu_supports("avx512bw");
    return has;
}

}  // namespace

void map_levels(const std::uint8_t* in, std::uint8_t* out, std::size_t count, const LevelTable& table) {
    if (has_wide()) return map_levels_wide(in, out, count, table);
    if (has_avx2()) return avx2::map_levels(in, out, count, table);
    plain::map_levels(in, out, count, table);
}

void map_rgb(const std::uint8_t* in, std::uint8_t* out, std::size_t count, const RgbTables& tables) {
    if (tables[0] == tables[1] && tables[1] == tables[2]) return map_levels(in, out, count * 3, tables[0]);
    if (has_wide()) return map_rgb_wide(in, out, count, tables);
    plain::map_rgb(in, out, count, tables);
}

#else

void map_levels(const std::uint8_t* in, std::uint8_t* out, std::size_t count, const LevelTable& table) {
    plain::map_levels(in, out, count, table);
}

void map_rgb(const std::uint8_t* in, std::uint8_t* out, std::size_t count, const RgbTables& tables) {
    plain::map_rgb(in, out, count, tables);
}

#endif

void map_rgba(const std::uint8_t* in, std::uint8_t* out, std::size_t count, const RgbTables& tables) {
    if (tables[0] == tables[1] && tables[1] == tables[2]) {
        map_levels(in, out, count * 4, tables[0]);
        for (std::size_t i = 3; i < count * 4; i += 4) out[i] = in[i];
        return;
    }
    for (std::size_t i = 0; i < count * 4; i += 4) {
        for (std::size_t c = 0; c < 3; ++c) out[i + c] = tables[c][in[i + c]];
        out[i + 3] = in[i + 3];
    }
}

void shift_levels(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t step,
                  const LevelShift& shift) {
    constexpr std::size_t kBlock = 32;  // a multiple of the pixels that have an exception
    std::array<std::uint8_t, kBlock> low, high, add, flip;
    low.fill(shift.low), high.fill(shift.high), add.fill(shift.add), flip.fill(shift.flip);
    for (std::size_t i = 3; step == 4 && i < kBlock; i += 4) low[i] = 0, high[i] = 255, add[i] = flip[i] = 0;
    const auto sample = [&](std::size_t at, std::size_t i) {
        const std::uint8_t limited = std::min(std::max(in[at], low[i]), high[i]);
        out[at] = static_cast<std::uint8_t>(static_cast<std::uint8_t>(limited + add[i]) ^ flip[i]);
    };
    std::size_t done = 0;
    for (; done + kBlock <= count; done += kBlock)
        for (std::size_t i = 0; i < kBlock; ++i) sample(done + i, i);
    for (std::size_t i = 0; done + i < count; ++i) sample(done + i, i);
}

}  // namespace quillmark::imaging
