#include "imaging/codecs/pcx_runs.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace quillmark::imaging::codecs {
namespace {

constexpr std::uint64_t kTopBits = 0x8080808080808080ULL;
constexpr std::uint64_t kOnes = 0x0101010101010101ULL;
constexpr std::size_t kMostPerStep = 8 + 63;  // bytes that one step of the fast loop can add

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

// Works while whole packets are at hand and fit. Eight literal bytes are copied at once; any other packet is stored
// without asking how long it is, because in noise that question is answered wrongly every other time.
std::size_t PcxRuns::fill_fast(std::uint8_t* out, std::size_t size) {
    if (size < kMostPerStep || in_.size() < kSlack) return 0;
    const std::uint8_t* in = in_.data();
    const std::uint8_t* const in_end = in + in_.size() - 16;
    std::uint8_t* to = out;
    std::uint8_t* const to_end = out + size - kMostPerStep;
    while (in < in_end && to < to_end) {
        std::uint64_t word;
        std::memcpy(&word, in, 8);
        const std::uint64_t leads = word & word << 1 & kTopBits;
        if (leads == 0) {
            std::memcpy(to, in, 8);
            in += 8, to += 8;
            continue;
        }
        // The literals before the lead, then the run: values below C0 need no look, the store covers them.
        std::memcpy(to, in, 8);
        const int literals = std::countr_zero(leads) / 8;
        in += literals, to += literals;
        const std::size_t count = in[0] & 0x3FU;
        const std::uint64_t value = in[1] * kOnes;
        std::memcpy(to, &value, 8);
        if (count > 8) [[unlikely]] {
            for (std::size_t at = 8; at < count; at += 8) std::memcpy(to + at, &value, 8);
        }
        in += 2, to += count;
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
