#include "imaging/ops/nearest_rows.h"

#include <limits>
#include <unordered_map>

#include "imaging/ops/vector_choice.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace quillmark::imaging {
namespace {

constexpr std::size_t kLanes = 8;

}  // namespace

NearestRows::NearestRows(const Palette& palette) : nearest_{palette} {
    if (!has_avx2()) return;
    cells_.reserve(NearestColour::kCells);
    std::unordered_map<const std::uint8_t*, Cell> known;  // cells of one cube share their candidates
    for (int i = 0; i < NearestColour::kCells; ++i) {
        const auto among = nearest_.candidates(i);
        const auto [at, is_new] = known.try_emplace(among.data(), Cell{among[0], 0});
        if (is_new && among.size() > 1) {
            const auto first = static_cast<std::uint32_t>(groups_.size());
            add_groups(among, palette);
            at->second = {first, static_cast<std::uint32_t>(groups_.size()) - first};
        }
        cells_.push_back(at->second);
    }
}

// Places without a candidate are farther than all.
void NearestRows::add_groups(std::span<const std::uint8_t> among, const Palette& palette) {
    for (std::size_t from = 0; from < among.size(); from += kLanes) {
        Group group{};
        for (std::size_t lane = 0; lane < kLanes; ++lane) {
            const bool given = from + lane < among.size();
            const std::uint8_t index = given ? among[from + lane] : std::uint8_t{0};
            const Rgba& c = palette[index];
            group.red_green[lane] = given ? c.r | c.g << 16 : 0;
            group.rest[lane] = given ? (c.r * c.r + c.g * c.g + c.b * c.b) << 8 | c.b
                                     : std::numeric_limits<std::int32_t>::max() & ~0xFF;
            indices_.push_back(index);
        }
        groups_.push_back(group);
    }
}

void NearestRows::find(const std::uint8_t* rgb, std::size_t count, std::uint8_t* out) const {
    if (has_avx2()) return find_wide(rgb, count, out);
    for (std::size_t i = 0; i < count; ++i, rgb += 3) out[i] = nearest_.exact(rgb[0], rgb[1], rgb[2]);
}

#if defined(__x86_64__)

// The place of a candidate stands in the low byte of its distance: of equal ones the first is the least.
__attribute__((target("avx2"))) void NearestRows::find_wide(const std::uint8_t* rgb, std::size_t count,
                                                            std::uint8_t* out) const {
    const __m256i lanes = _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7), eight = _mm256_set1_epi32(8);
    const __m256i low_byte = _mm256_set1_epi32(0xFF);
    for (std::size_t i = 0; i < count; ++i, rgb += 3) {
        const int r = rgb[0], g = rgb[1], b = rgb[2];
        const Cell cell = cells_.data()[NearestColour::cell_of(r, g, b)];
        if (cell.count == 0) {
            out[i] = static_cast<std::uint8_t>(cell.first);
            continue;
        }
        const __m256i red_green = _mm256_set1_epi32(r | g << 16), blue = _mm256_set1_epi32(b);
        const Group* group = groups_.data() + cell.first;
        __m256i best = _mm256_set1_epi32(std::numeric_limits<std::int32_t>::max()), place = lanes;
        for (std::uint32_t k = 0; k < cell.count; ++k, ++group, place = _mm256_add_epi32(place, eight)) {
            const __m256i two = _mm256_load_si256(reinterpret_cast<const __m256i*>(group->red_green));
            const __m256i rest = _mm256_load_si256(reinterpret_cast<const __m256i*>(group->rest));
            const __m256i third = _mm256_and_si256(rest, low_byte);
            const __m256i product =
                _mm256_add_epi32(_mm256_madd_epi16(two, red_green), _mm256_madd_epi16(third, blue));
            const __m256i square = _mm256_or_si256(_mm256_xor_si256(rest, third), place);
            best = _mm256_min_epi32(best, _mm256_sub_epi32(square, _mm256_slli_epi32(product, 9)));
        }
        __m128i least = _mm_min_epi32(_mm256_castsi256_si128(best), _mm256_extracti128_si256(best, 1));
        least = _mm_min_epi32(least, _mm_shuffle_epi32(least, 0x4E));
        least = _mm_min_epi32(least, _mm_shuffle_epi32(least, 0xB1));
        const auto at = static_cast<std::uint32_t>(_mm_cvtsi128_si32(least)) & 0xFFU;
        out[i] = indices_.data()[cell.first * kLanes + at];
    }
}

#else

void NearestRows::find_wide(const std::uint8_t*, std::size_t, std::uint8_t*) const {}

#endif

}  // namespace quillmark::imaging
