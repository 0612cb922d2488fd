// The segments of a JPEG file before its first scan: frame, density, profile, EXIF, comment and stamps. Read
// without the decoder, so that asking for facts costs next to nothing.
// Sources: ITU-T T.81 (segments), T.871 (JFIF, with its JFXX extension), T.872 (Adobe), ICC.1 annex B.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "imaging/codec.h"

namespace quillmark::imaging::codecs {

struct JpegHeader {
    int frame = 0;  ///< the frame marker's low byte: 0xC0 baseline, 0xC2 progressive, 0xC9 arithmetic, ...
    int precision = 0;  ///< bits a sample
    int width = 0, height = 0;
    int components = 0;
    Resolution resolution;
    Orientation orientation = Orientation::normal;
    SharedBytes icc;
    SharedBytes exif;
    std::string comment;
    std::vector<std::uint8_t> jfif;  ///< payload of the JFIF segment (behind its name): density, thumbnail
    std::vector<std::uint8_t> jfxx;  ///< payload of the first JFXX segment: coding, thumbnail
    std::vector<std::uint8_t> photoshop;  ///< image resource blocks
};

/// Reads up to the first scan. Faults: truncated, malformed.
Result<JpegHeader> read_jpeg_header(ByteReader in);

/// Bits per pixel of the decoded image: 8 or 24. Faults: unsupported (with the variant's name), malformed.
Result<int> jpeg_bits(const JpegHeader& header);

/// A thumbnail as it lies in the file.
struct JpegStamp {
    enum class Coding : std::uint8_t { jpeg, palette, rgb, ycbcr };
    Coding coding = Coding::jpeg;
    int width = 0, height = 0;
    std::vector<std::uint8_t> bytes;  ///< a JPEG file, 768 bytes of palette and indices, or 3 bytes a pixel
};

/// The first usable stamp, looked for in EXIF, JFXX, JFIF and Photoshop's resources. Stamps with another
/// aspect ratio than the image (black bars, turned images) or over 512 pixels a side are passed over.
std::optional<JpegStamp> find_jpeg_stamp(const JpegHeader& header);

}  // namespace quillmark::imaging::codecs
