// The chunks of a PNG file around its pixels: header, palette, transparency, and what goes into the metadata.
// Read without the decoder, so that asking for facts costs next to nothing and a bad ancillary chunk cannot
// spoil a picture. Source: PNG specification (third edition), with its extensions (eXIf).
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "imaging/codec.h"

namespace quillmark::imaging::codecs {

inline constexpr std::array<std::uint8_t, 8> kPngSignature{0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};

enum class PngColour : std::uint8_t { gray = 0, rgb = 2, palette = 3, gray_alpha = 4, rgb_alpha = 6 };

struct PngHeader {
    std::int64_t width = 0, height = 0;
    int depth = 0;  ///< bits a sample: 1, 2, 4, 8 or 16
    PngColour colour = PngColour::gray;
    bool interlaced = false;
    Palette palette;  ///< with its transparency; empty for other colour types
    std::optional<std::array<std::uint16_t, 3>>
        key;  ///< the colour that is transparent (grey: the first value)
    Metadata metadata;
    std::int64_t data_at = 0;  ///< position of the first IDAT chunk

    /// Bits per pixel of the decoded image.
    int bits() const;
    /// Samples of a stored pixel.
    int channels() const;
};

/// Reads up to the pixels. Faults: truncated, malformed (also a wrong checksum of header or palette),
/// unsupported.
Result<PngHeader> read_png_header(ByteReader in);

/// Reads what stands behind the pixels (texts, EXIF) into metadata that lacks it. Damage is passed over.
void read_png_trailer(ByteReader in, const PngHeader& header, Metadata& metadata);

}  // namespace quillmark::imaging::codecs
