// The code words of ITU-T T.4 and T.6, and tables that find one by the bits to come.
#pragma once

#include <array>
#include <cstdint>
#include <span>

namespace quillmark::imaging::fax {

/// One run: its code word, how many bits that has, and the pixels it stands for. Runs of 64 and more are
/// make-up codes: another code of the same colour follows.
struct RunCode {
    std::uint16_t code;
    std::uint8_t length;
    std::int16_t run;
};

/// Runs 0 to 63, then 64 to 2560 in steps of 64.
std::span<const RunCode> white_codes();
std::span<const RunCode> black_codes();

/// What a two-dimensional row says next. vertical + d (d from -3 to 3): the change lies d pixels right of the
/// one above.
enum Mode : std::int8_t { vertical = 0, pass = 10, horizontal = 11, extension = 12, no_mode = 13 };

struct ModeCode {
    std::uint8_t code, length;
    std::int8_t mode;
};
std::span<const ModeCode> mode_codes();

/// A direct look-up by the bits to come: one access a code word.
template <typename Value, int Bits>
struct Lookup {
    static constexpr int kBits = Bits;
    struct Entry {
        Value value = 0;
        std::uint8_t length = 0;  ///< 0: no code begins so
    };
    std::array<Entry, std::size_t{1} << Bits> entries{};
    const Entry& operator[](std::uint64_t bits) const { return entries[bits]; }
};
using RunLookup = Lookup<std::int16_t, 13>;
using ModeLookup = Lookup<std::int8_t, 7>;

extern const RunLookup kWhiteLookup, kBlackLookup;
extern const ModeLookup kModeLookup;

inline constexpr int kEndOfLineBits = 12;  ///< eleven zeros and a one

}  // namespace quillmark::imaging::fax
