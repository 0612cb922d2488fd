#include "imaging/ops/transpose.h"

#include <algorithm>
#include <cstring>
#include <type_traits>

#if defined(__SSSE3__)
#include <tmmintrin.h>
#endif

namespace quillmark::imaging {
namespace {

// Target rows that are worked on together: their open cache lines, and the source rows that fill them, stay
// in the first-level cache.
[[maybe_unused]] constexpr int kStrip = 64;

template <int Size>
void plain_block(const Transposition& job, int first, int last, int from, int to) {
    for (int c = first; c < last; ++c) {
        const std::uint8_t* in = job.in + from * job.in_step + std::ptrdiff_t{c} * Size;
        std::uint8_t* out = job.out + c * job.out_step + std::ptrdiff_t{from} * Size;
        for (int r = from; r < to; ++r, in += job.in_step, out += Size) std::memcpy(out, in, Size);
    }
}

template <typename Body>
void with_size(int bytes_per_pixel, Body body) {
    switch (bytes_per_pixel) {
        case 1: return body(std::integral_constant<int, 1>{});
        case 2: return body(std::integral_constant<int, 2>{});
        case 3: return body(std::integral_constant<int, 3>{});
        default: return body(std::integral_constant<int, 4>{});
    }
}

}  // namespace

namespace plain {

void transpose_pixels(const Transposition& job, int bytes_per_pixel, int first, int last) {
    constexpr int kTile = 32;
    with_size(bytes_per_pixel, [&](auto size) {
        for (int c = first; c < last; c += kTile) {
            for (int r = 0; r < job.rows; r += kTile)
                plain_block<size()>(job, c, std::min(c + kTile, last), r, std::min(r + kTile, job.rows));
        }
    });
}

void transpose_bits(const Transposition& job, int first, int last) {
    for (int c = first; c < last; ++c) {
        std::uint8_t* const out = job.out + c * job.out_step;
        const std::uint8_t* in = job.in + c / 8;
        for (int r = 0; r < job.rows; r += 8) {
            unsigned bits = 0;
            const int count = std::min(8, job.rows - r);
            for (int i = 0; i < count; ++i, in += job.in_step)
                bits |= (static_cast<unsigned>(*in) >> (7 - c % 8) & 1U) << (7 - i);
            out[r / 8] = static_cast<std::uint8_t>(bits);
        }
    }
}

}  // namespace plain

#if defined(__SSSE3__)
namespace {

__m128i load(const std::uint8_t* at) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(at)); }
__m128i load8(const std::uint8_t* at) { return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(at)); }
void store(std::uint8_t* at, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(at), v); }

// Four registers of four 32-bit values, rows into columns.
struct Four {
    __m128i v[4];
};
Four transposed(const Four& in) {
    const __m128i a = _mm_unpacklo_epi32(in.v[0], in.v[1]), b = _mm_unpacklo_epi32(in.v[2], in.v[3]);
    const __m128i c = _mm_unpackhi_epi32(in.v[0], in.v[1]), d = _mm_unpackhi_epi32(in.v[2], in.v[3]);
    return {{_mm_unpacklo_epi64(a, b), _mm_unpackhi_epi64(a, b), _mm_unpacklo_epi64(c, d),
             _mm_unpackhi_epi64(c, d)}};
}

// 4 source pixels of each of 16 source rows become 16 pixels, 48 bytes, of 4 target rows.
void block3(const std::uint8_t* in, std::ptrdiff_t in_step, std::uint8_t* out, std::ptrdiff_t out_step) {
    constexpr char x = -128;  // shuffles in a zero
    const __m128i spread = _mm_setr_epi8(0, 1, 2, x, 3, 4, 5, x, 6, 7, 8, x, 9, 10, 11, x);
    const __m128i pack = _mm_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, x, x, x, x);
    Four quads[4];
    for (Four& quad : quads) {
        for (__m128i& row : quad.v) row = _mm_shuffle_epi8(load(in), spread), in += in_step;
        quad = transposed(quad);
        for (__m128i& row : quad.v) row = _mm_shuffle_epi8(row, pack);
    }
    for (int i = 0; i < 4; ++i, out += out_step) {
        const __m128i a = quads[0].v[i], b = quads[1].v[i], c = quads[2].v[i], d = quads[3].v[i];
        store(out, _mm_or_si128(a, _mm_slli_si128(b, 12)));
        store(out + 16, _mm_or_si128(_mm_srli_si128(b, 4), _mm_slli_si128(c, 8)));
        store(out + 32, _mm_or_si128(_mm_srli_si128(c, 8), _mm_slli_si128(d, 4)));
    }
}

void block4(const std::uint8_t* in, std::ptrdiff_t in_step, std::uint8_t* out, std::ptrdiff_t out_step) {
    for (int part = 0; part < 4; ++part) {
        Four quad;
        for (__m128i& row : quad.v) row = load(in), in += in_step;
        quad = transposed(quad);
        for (int i = 0; i < 4; ++i) store(out + i * out_step + part * 16, quad.v[i]);
    }
}

// 8 x 8 of 16-bit values: pairs of rows interleaved, then as 4 x 4 of pairs.
void square2(const __m128i (&rows)[8], __m128i (&columns)[8]) {
    Four low, high;
    for (int i = 0; i < 4; ++i) {
        low.v[i] = _mm_unpacklo_epi16(rows[2 * i], rows[2 * i + 1]);
        high.v[i] = _mm_unpackhi_epi16(rows[2 * i], rows[2 * i + 1]);
    }
    low = transposed(low), high = transposed(high);
    for (int i = 0; i < 4; ++i) columns[i] = low.v[i], columns[i + 4] = high.v[i];
}

void block2(const std::uint8_t* in, std::ptrdiff_t in_step, std::uint8_t* out, std::ptrdiff_t out_step) {
    for (int part = 0; part < 2; ++part) {
        __m128i rows[8], columns[8];
        for (__m128i& row : rows) row = load(in), in += in_step;
        square2(rows, columns);
        for (int i = 0; i < 8; ++i) store(out + i * out_step + part * 16, columns[i]);
    }
}

// 8 bytes of each of 16 rows: rows i and i + 8 interleaved are 8 x 8 of pairs, whose halves then part again.
void block1(const std::uint8_t* in, std::ptrdiff_t in_step, std::uint8_t* out, std::ptrdiff_t out_step) {
    const __m128i part = _mm_setr_epi8(0, 2, 4, 6, 8, 10, 12, 14, 1, 3, 5, 7, 9, 11, 13, 15);
    __m128i rows[8], columns[8];
    for (int i = 0; i < 8; ++i)
        rows[i] = _mm_unpacklo_epi8(load8(in + i * in_step), load8(in + (i + 8) * in_step));
    square2(rows, columns);
    for (int i = 0; i < 8; ++i) store(out + i * out_step, _mm_shuffle_epi8(columns[i], part));
}

// What a block takes: source pixels of 16 rows, and the bytes a load of them may reach.
template <int Size>
constexpr int kBlockColumns = Size >= 3 ? 4 : 8;
constexpr int kBlockRows = 16;

template <int Size>
void block(const std::uint8_t* in, std::ptrdiff_t in_step, std::uint8_t* out, std::ptrdiff_t out_step) {
    if constexpr (Size == 1) return block1(in, in_step, out, out_step);
    if constexpr (Size == 2) return block2(in, in_step, out, out_step);
    if constexpr (Size == 3) return block3(in, in_step, out, out_step);
    if constexpr (Size == 4) return block4(in, in_step, out, out_step);
}

// Target rows [first, last) of one strip. Three-byte pixels are loaded 16 bytes at a time, of which 12 count:
// the last block of the picture's width, which a load might overrun, is left to the plain loop.
template <int Size>
void strip(const Transposition& job, int first, int last, bool at_edge) {
    constexpr int columns = kBlockColumns<Size>;
    int whole = (last - first) / columns * columns;
    if (Size == 3 && at_edge) whole = std::max(0, (last - first - 2) / columns * columns);
    int r = 0;
    for (; r + kBlockRows <= job.rows; r += kBlockRows) {
        const std::uint8_t* const in = job.in + r * job.in_step + std::ptrdiff_t{first} * Size;
        if (r + 2 * kBlockRows <= job.rows) {  // rows far apart: no prefetcher guesses the next ones
            for (int i = 0; i < kBlockRows; ++i) {
                for (int byte = 0; byte < (last - first) * Size; byte += 64)
                    _mm_prefetch(in + (kBlockRows + i) * job.in_step + byte, _MM_HINT_T0);
            }
        }
        for (int c = 0; c < whole; c += columns) {
            block<Size>(in + std::ptrdiff_t{c} * Size, job.in_step,
                        job.out + (first + c) * job.out_step + std::ptrdiff_t{r} * Size, job.out_step);
        }
    }
    plain_block<Size>(job, first + whole, last, 0, r);
    plain_block<Size>(job, first, last, r, job.rows);
}

// A byte column of 16 rows as a register: lanes in such an order that the sign bits, taken together, are the
// two bytes of a target row.
struct Columns {
    __m128i v[16];
};
Columns byte_columns(const std::uint8_t* in, std::ptrdiff_t in_step, int rows) {
    __m128i row[16];
    for (int i = 0; i < 16; ++i) {
        const int r = i < 8 ? 7 - i : 23 - i;
        row[i] = r < rows ? load(in + r * in_step) : _mm_setzero_si128();
    }
    // Transposes 16 x 16 bytes: four rounds of interleaving each row with the one half the way down.
    Columns from;
    std::copy_n(row, 16, from.v);
    for (int round = 0; round < 4; ++round) {
        Columns to;
        for (int i = 0; i < 8; ++i) {
            to.v[2 * i] = _mm_unpacklo_epi8(from.v[i], from.v[i + 8]);
            to.v[2 * i + 1] = _mm_unpackhi_epi8(from.v[i], from.v[i + 8]);
        }
        from = to;
    }
    return from;
}

// 128 target rows (or count, at the bottom) by 16 pixels.
void bit_block(const std::uint8_t* in, std::ptrdiff_t in_step, int rows, std::uint8_t* out,
               std::ptrdiff_t out_step, int count) {
    const Columns columns = byte_columns(in, in_step, rows);
    for (int byte = 0; byte * 8 < count; ++byte) {
        __m128i bits = columns.v[byte];
        const int end = std::min(8, count - byte * 8);
        for (int i = 0; i < end; ++i, out += out_step) {
            const auto two = static_cast<std::uint16_t>(_mm_movemask_epi8(bits));
            std::memcpy(out, &two, sizeof two);
            bits = _mm_add_epi8(bits, bits);
        }
    }
}

}  // namespace

void transpose_pixels(const Transposition& job, int bytes_per_pixel, int first, int last) {
    with_size(bytes_per_pixel, [&](auto size) {
        for (int c = first; c < last; c += kStrip)
            strip<size()>(job, c, std::min(c + kStrip, last), c + kStrip >= last);
    });
}

void transpose_bits(const Transposition& job, int first, int last) {
    constexpr int kBlock = 128;  // target rows that a source register of 16 bytes gives
    constexpr int kLine = 512;   // source rows that fill a cache line of the target
    // A group of target rows takes one cache line of every source row.
    for (int group = first; group < last; group += 4 * kBlock) {
        for (int line = 0; line < job.rows; line += kLine) {
            for (int c = group; c < std::min(group + 4 * kBlock, last); c += kBlock) {
                for (int r = line; r < std::min(line + kLine, job.rows); r += 16)
                    bit_block(job.in + r * job.in_step + c / 8, job.in_step, job.rows - r,
                              job.out + c * job.out_step + r / 8, job.out_step, std::min(kBlock, last - c));
            }
        }
    }
}

#else

void transpose_pixels(const Transposition& job, int bytes_per_pixel, int first, int last) {
    plain::transpose_pixels(job, bytes_per_pixel, first, last);
}
void transpose_bits(const Transposition& job, int first, int last) {
    plain::transpose_bits(job, first, last);
}

#endif

}  // namespace quillmark::imaging
