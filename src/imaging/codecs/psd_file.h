// The parts of a Photoshop document before its pixels: header, colours, resources.
// Source: Adobe Photoshop File Formats Specification (its header, image resources and image data sections).
#pragma once

#include <cstdint>

#include "imaging/codec.h"

namespace quillmark::imaging::codecs {

enum class PsdMode : std::uint8_t {
    bilevel = 0,
    gray = 1,
    indexed = 2,
    rgb = 3,
    cmyk = 4,
    channels = 7,  ///< inks without a common meaning
    duotone = 8,
    lab = 9,
};

enum class PsdPacking : std::uint8_t { none = 0, runs = 1, deflated = 2, deflated_differences = 3 };

/// Numbers of the resources that are read and written.
enum PsdResource : unsigned {
    kPsdResolution = 1005,
    kPsdCaption = 1008,
    kPsdOldStamp = 1033,  ///< red and blue exchanged
    kPsdStamp = 1036,
    kPsdProfile = 1039,
    kPsdUsedColours = 1046,
    kPsdVersion = 1057,
    kPsdExif = 1058,
};

struct PsdFile {
    int version = 1;  ///< 2: the large document, with wider counts
    int channels = 0, width = 0, height = 0, depth = 0;
    PsdMode mode = PsdMode::rgb;
    PsdPacking packing = PsdPacking::none;
    Palette palette;  ///< indexed only
    Metadata metadata;
    std::int64_t stamp_at = 0, stamp_size = 0;  ///< a JPEG stream; size 0: none
    bool stamp_swapped = false;
    bool merged = true;          ///< false: the merged picture is a blank stand-in for layers
    std::int64_t pixels_at = 0;  ///< behind the packing word

    bool alpha = false;  ///< the channel behind the colours is the picture's transparency

    int colours() const;  ///< channels that make up the colour; the others are masks
    int planes() const { return colours() + (alpha ? 1 : 0); }  ///< channels that are read
    int bits() const;                                           ///< as the image is loaded
    std::size_t row_bytes() const { return static_cast<std::size_t>((std::int64_t{width} * depth + 7) / 8); }
};

/// Reads everything but the pixels. Faults: truncated, malformed, unsupported, too_large.
Result<PsdFile> read_psd(ByteReader& in, const Limits& limits);

}  // namespace quillmark::imaging::codecs
