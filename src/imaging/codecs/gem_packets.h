// The packets of GEM images: what one of them says, and how a line of bytes is filled with them.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

namespace quillmark::imaging::codecs {

struct GemPacket {
    enum class Kind : std::uint8_t { solid, literal, pattern, keep, repeat };
    Kind kind = Kind::solid;
    std::uint8_t value = 0;  ///< solid: the byte
    std::size_t header = 1;  ///< bytes in front of the data
    std::size_t data = 0;    ///< bytes of data in the file: literal bytes, or the pattern
    std::size_t count = 0;   ///< bytes it fills; repeat: how often the coming line is shown in total
};

/// How the packets of a file are to be taken.
struct GemCoding {
    std::size_t pattern = 2;  ///< bytes of a pattern, 1 to 8
    std::size_t unit = 1;     ///< bytes that a count of 1 means, in literal and solid runs
};

/// The packet at the start of in, which is not empty. What lies beyond the end of in reads as zero.
inline GemPacket gem_packet(std::span<const std::uint8_t> in, const GemCoding& coding) {
    using Kind = GemPacket::Kind;
    const auto at = [&](std::size_t i) -> std::size_t { return i < in.size() ? in[i] : 0; };
    const std::size_t first = in[0], second = at(1);
    if (first == 0x80) {
        const std::size_t count = (second == 0 ? 256 : second) * coding.unit;
        return {Kind::literal, 0, 2, count, count};
    }
    if (first == 0 && second != 0) return {Kind::pattern, 0, 2, coding.pattern, second * coding.pattern};
    if (first == 0 && at(2) == 0xFF) return {Kind::repeat, 0, 4, 0, std::max<std::size_t>(at(3), 1)};
    if (first == 0) return {Kind::keep, 0, 3, 0, at(2) + 1};
    return {Kind::solid, static_cast<std::uint8_t>(first & 0x80 ? 0xFF : 0), 1, 0,
            (first & 0x7F) * coding.unit};
}

/// Fills the bytes of one line that a packet of count bytes at done stands for. data are its bytes as far as
/// the file has them; out holds the line above. Returns the bytes filled.
inline std::size_t gem_fill(const GemPacket& packet, std::span<const std::uint8_t> data,
                            std::span<std::uint8_t> out) {
    using Kind = GemPacket::Kind;
    const std::size_t count = std::min(packet.count, out.size());
    switch (packet.kind) {
        case Kind::solid: std::memset(out.data(), packet.value, count); return count;
        case Kind::literal: {
            const std::size_t there = std::min(count, data.size());
            if (there > 0) std::memcpy(out.data(), data.data(), there);
            return there;
        }
        case Kind::pattern:
            if (data.size() < packet.data) return 0;
            for (std::size_t i = 0; i < count; i += packet.data)
                std::memcpy(&out[i], data.data(), std::min(packet.data, count - i));
            return count;
        case Kind::keep: return count;
        case Kind::repeat: break;
    }
    return 0;
}

}  // namespace quillmark::imaging::codecs
