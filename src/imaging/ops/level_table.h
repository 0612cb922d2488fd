// Passes over rows of 8-bit samples that treat every level by itself: tables, and what needs no table.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace quillmark::imaging {

/// The new value of each level.
using LevelTable = std::array<std::uint8_t, 256>;
using RgbTables = std::array<LevelTable, 3>;

/// count samples through one table. in and out do not overlap.
void map_levels(const std::uint8_t* in, std::uint8_t* out, std::size_t count, const LevelTable& table);
/// count pixels R,G,B, each sample through the table of its channel.
void map_rgb(const std::uint8_t* in, std::uint8_t* out, std::size_t count, const RgbTables& tables);
/// count pixels R,G,B,A likewise; alpha stays.
void map_rgba(const std::uint8_t* in, std::uint8_t* out, std::size_t count, const RgbTables& tables);

/// A table that is made of at most four steps: limit to low..high, add (modulo 256), exchange the bits of
/// flip.
struct LevelShift {
    std::uint8_t low = 0, high = 255, add = 0, flip = 0;
};

/// count bytes of pixels with step bytes each; with step 4 every fourth byte is alpha, which stays.
void shift_levels(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t step,
                  const LevelShift& shift);

/// The twins, for the tests.
namespace plain {
void map_levels(const std::uint8_t* in, std::uint8_t* out, std::size_t count, const LevelTable& table);
void map_rgb(const std::uint8_t* in, std::uint8_t* out, std::size_t count, const RgbTables& tables);
}  // namespace plain

#if defined(__x86_64__)
/// What map_levels does where the processor has AVX2; to be called only there.
namespace avx2 {
void map_levels(const std::uint8_t* in, std::uint8_t* out, std::size_t count, const LevelTable& table);
}
#endif

}  // namespace quillmark::imaging
