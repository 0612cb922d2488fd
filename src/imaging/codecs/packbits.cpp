#include "imaging/codecs/packbits.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <vector>

#include "imaging/threads.h"

namespace quillmark::imaging::codecs {
namespace {

constexpr std::size_t kLongest = 128;  // bytes of one packet
constexpr std::size_t kStep = 16;
constexpr std::size_t kAhead = kLongest + kStep;  // what a packet copied in whole steps may touch
constexpr std::uint64_t kOnes = 0x0101010101010101;

std::uint64_t load64(const std::uint8_t* at) {
    std::uint64_t value;
    std::memcpy(&value, at, sizeof value);
    return value;
}

// The first place from at on where three equal bytes begin; end when there is none.
const std::uint8_t* next_run(const std::uint8_t* at, const std::uint8_t* end) {
    if constexpr (std::endian::native == std::endian::little) {
        for (; end - at >= 10; at += 8) {
            const std::uint64_t next = load64(at + 1);
            const std::uint64_t apart = (load64(at) ^ next) | (next ^ load64(at + 2));
            const std::uint64_t zero = (apart - kOnes) & ~apart & (kOnes << 7);  // its lowest bit is exact
            if (zero) return at + std::countr_zero(zero) / 8;
        }
    }
    for (; end - at >= 3; ++at) {
        if (at[0] == at[1] && at[1] == at[2]) return at;
    }
    return end;
}

// Where the bytes equal to *at end.
const std::uint8_t* run_end(const std::uint8_t* at, const std::uint8_t* end) {
    const std::uint64_t pattern = kOnes * *at;
    const std::uint8_t value = *at;
    while (end - at >= 8 && load64(at) == pattern) at += 8;
    while (at < end && *at == value) ++at;
    return at;
}

}  // namespace

Unpacked unpack_bits(std::span<const std::uint8_t> packed, std::span<std::uint8_t> out) {
    const std::uint8_t* in = packed.data();
    const std::uint8_t* const in_end = in + packed.size();
    std::uint8_t* to = out.data();
    std::uint8_t* const to_end = to + out.size();
    while (to < to_end && in < in_end) {
        const std::size_t n = *in++;
        if (n < 128) {
            const std::size_t count = n + 1;
            const auto there = static_cast<std::size_t>(in_end - in),
                       room = static_cast<std::size_t>(to_end - to);
            if (there >= kAhead && room >= kAhead) [[likely]] {
                for (std::size_t i = 0; i < count; i += kStep) std::memcpy(to + i, in + i, kStep);
                to += count, in += count;
                continue;
            }
            const std::size_t copied = std::min({count, there, room});
            std::memcpy(to, in, copied);
            to += copied, in += std::min(count, there);
        } else if (n > 128) {
            if (in == in_end) break;
            const std::size_t count = std::min<std::size_t>(257 - n, static_cast<std::size_t>(to_end - to));
            std::memset(to, *in++, count);
            to += count;
        }
    }
    return {static_cast<std::size_t>(to - out.data()), static_cast<std::size_t>(in - packed.data())};
}

Unpacked unpack_words(std::span<const std::uint8_t> packed, std::span<std::uint8_t> out) {
    std::size_t in = 0, to = 0;
    while (to < out.size() && in < packed.size()) {
        const std::size_t n = packed[in++];
        const std::size_t there = packed.size() - in, room = out.size() - to;
        if (n < 128) {
            const std::size_t count = (n + 1) * 2, copied = std::min({count, there, room});
            std::memcpy(out.data() + to, packed.data() + in, copied);
            to += copied, in += std::min(count, there);
        } else if (n > 128) {
            if (there < 2) break;
            const std::size_t end = to + std::min((257 - n) * 2, room);
            for (; to < end; to += 2) std::memcpy(out.data() + to, packed.data() + in, 2);
            in += 2;
        }
    }
    return {to, in};
}

std::size_t pack_bits(std::span<const std::uint8_t> row, std::uint8_t* out) {
    const std::uint8_t* at = row.data();
    const std::uint8_t* const end = at + row.size();
    std::uint8_t* to = out;
    while (at < end) {
        // Runs of two stay among the plain bytes: taking them out would cost a byte as often as it saves one.
        const std::uint8_t* const run = next_run(at, end);
        while (at < run) {
            const auto count = std::min<std::size_t>(kLongest, static_cast<std::size_t>(run - at));
            *to++ = static_cast<std::uint8_t>(count - 1);
            std::memcpy(to, at, count);
            to += count, at += count;
        }
        const std::uint8_t* const after = at < end ? run_end(at, end) : end;
        for (; after - at >= 2; to += 2) {
            const auto count = std::min<std::ptrdiff_t>(kLongest, after - at);
            to[0] = static_cast<std::uint8_t>(257 - count);
            to[1] = *at;
            at += count;
        }
    }
    return static_cast<std::size_t>(to - out);
}

bool pack_rows(int rows, std::size_t row_bytes, const std::function<void(int, std::span<std::uint8_t>)>& make,
               const std::function<bool(std::span<const std::uint8_t>)>& put) {
    constexpr std::size_t kBlock = std::size_t{1} << 20;
    constexpr int kGrain = 8;
    const std::size_t room = packed_room(row_bytes);
    const int block = std::clamp(static_cast<int>(kBlock / room), 1, rows);
    std::vector<std::uint8_t> packed(room * static_cast<std::size_t>(block));
    std::vector<std::size_t> sizes(static_cast<std::size_t>(block));
    for (int first = 0; first < rows; first += block) {
        const int count = std::min(block, rows - first);
        parallel_bands(count, kGrain, [&](int from, int to) {
            std::vector<std::uint8_t> row(row_bytes);
            for (int i = from; i < to; ++i) {
                make(first + i, row);
                const auto at = static_cast<std::size_t>(i);
                sizes[at] = pack_bits(row, packed.data() + at * room);
            }
        });
        for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i) {
            if (!put({packed.data() + i * room, sizes[i]})) return false;
        }
    }
    return true;
}

}  // namespace quillmark::imaging::codecs
