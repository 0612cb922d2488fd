#include "imaging/codecs/pcx_runs.h"

#include <algorithm>
#include <bit>
#include <cstring>

#if defined(__SSSE3__)
#include <tmmintrin.h>
#endif

namespace quillmark::imaging::codecs {
namespace {

constexpr std::size_t kMostPerStep = 8 + 64;  // bytes of out that one step of the fast loop can touch

// The same 8 bytes for every byte.
std::uint64_t broadcast(std::uint8_t value) { return value * 0x0101010101010101ULL; }

#if defined(__SSSE3__)

// For the bytes from C0 up among eight: which of them lead a run. A value behind a lead is none, whatever it
// is.
constexpr auto kLeads = [] {
    std::array<std::uint8_t, 256> table{};
    for (unsigned high = 0; high < 256; ++high) {
        for (unsigned i = 0; i < 8; ++i) {
            if (!(high >> i & 1)) continue;
            table[high] = static_cast<std::uint8_t>(table[high] | 1U << i);
            ++i;
        }
    }
    return table;
}();

// Shuffles that close the gaps where leads stood.
constexpr auto kWithoutLeads = [] {
    std::array<std::array<std::uint8_t, 8>, 256> table{};
    for (unsigned leads = 0; leads < 256; ++leads) {
        std::size_t kept = 0;
        for (unsigned i = 0; i < 8; ++i) {
            if (!(leads >> i & 1)) table[leads][kept++] = static_cast<std::uint8_t>(i);
        }
    }
    return table;
}();

// Bytes of in that stand for one byte each, literal or with a lead of C1, written to out without their leads;
// at most eight.
struct Singles {
    unsigned used;     // bytes of in
    unsigned written;  // bytes of out
    bool more;         // they all did
};

Singles copy_singles(const std::uint8_t* in, std::uint8_t* out) {
    const __m128i bytes = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(in));
    const __m128i limit = _mm_set1_epi8(static_cast<char>(0xC0)),
                  one = _mm_set1_epi8(static_cast<char>(0xC1));
    const unsigned high =
        static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(_mm_max_epu8(bytes, limit), bytes))) & 0xFF;
    const unsigned ones = static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(bytes, one)));
    const unsigned leads = kLeads[high];
    // A lead in the last place has its value elsewhere: it is left to the caller like a longer run.
    const unsigned stop = (leads & ~ones) | (leads & 0x80);
    const auto used = static_cast<unsigned>(std::countr_zero(stop | 0x100U));
    const __m128i shuffle = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(kWithoutLeads[leads].data()));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(out), _mm_shuffle_epi8(bytes, shuffle));
    return {used, used - static_cast<unsigned>(std::popcount(leads & ((1U << used) - 1))), stop == 0};
}

#else

struct Singles {
    unsigned used, written;
    bool more;
};

Singles copy_singles(const std::uint8_t* in, std::uint8_t* out) {
    unsigned used = 0;
    while (used < 8 && in[used] < 0xC0) out[used] = in[used], ++used;
    return {used, used, used == 8};
}

#endif

}  // namespace

bool PcxRuns::next_packet() {
    if (!in_.ensure(2) && in_.size() == 0) return false;
    const std::uint8_t lead = in_.data()[0];
    if (lead < 0xC0) {
        value_ = lead;
        left_ = 1;
        in_.advance(1);
        return true;
    }
    if (in_.size() < 2) return false;
    left_ = lead & 0x3FU;
    value_ = in_.data()[1];
    in_.advance(2);
    return true;
}

// Works while whole packets are at hand and fit. Whether the singles are followed by a run is not asked: in
// noise the answer is mispredicted every other time, so a run of none is written instead.
std::size_t PcxRuns::fill_fast(std::uint8_t* out, std::size_t size) {
    if (size < kMostPerStep || in_.size() < kSlack) return 0;
    const std::uint8_t* in = in_.data();
    const std::uint8_t* const in_end = in + in_.size() - 16;
    std::uint8_t* to = out;
    std::uint8_t* const to_end = out + size - kMostPerStep;
    while (in < in_end && to <= to_end) {
        const Singles singles = copy_singles(in, to);
        in += singles.used, to += singles.written;
        const unsigned run = singles.more ? 0 : 1;
        const std::size_t count = run * (in[0] & 0x3FU);
        const std::uint64_t value = broadcast(in[1]);
        std::memcpy(to, &value, 8);
        if (count > 8) [[unlikely]] {
            for (std::size_t at = 8; at < count; at += 8) std::memcpy(to + at, &value, 8);
        }
        in += run * 2, to += count;
    }
    in_.advance(static_cast<std::size_t>(in - in_.data()));
    return static_cast<std::size_t>(to - out);
}

std::size_t PcxRuns::fill(std::uint8_t* out, std::size_t size) {
    std::size_t done = 0;
    while (done < size) {
        if (left_ > 0) {
            const std::size_t part = std::min(left_, size - done);
            std::memset(out + done, value_, part);
            left_ -= part;
            done += part;
            continue;
        }
        in_.ensure(kSlack);
        done += fill_fast(out + done, size - done);
        if (done < size && !next_packet()) break;
    }
    return done;
}

}  // namespace quillmark::imaging::codecs
