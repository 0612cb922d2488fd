// The parts of an EXIF block that matter here: orientation, resolution, and where its stamp lies.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "imaging/metadata.h"

namespace quillmark::imaging {

struct ExifStamp {
    std::size_t offset = 0, size = 0;  ///< within the block
    bool jpeg = true;                  ///< else uncompressed pixels
    int width = 0, height = 0;         ///< uncompressed only
    bool rgb = true;                   ///< uncompressed only; else YCbCr 4:4:4
};

struct ExifFacts {
    Orientation orientation = Orientation::normal;
    Resolution resolution;
    std::optional<ExifStamp> stamp;
};

/// Reads a block that begins with its TIFF header ("II" or "MM"). Damaged blocks give the defaults. Directories:
/// at most 8, each visited once; entries: at most 512 each.
ExifFacts read_exif(std::span<const std::uint8_t> block);

/// A copy of the block with its orientation tag set to 1, for saving an image whose pixels were turned.
std::vector<std::uint8_t> exif_with_normal_orientation(std::span<const std::uint8_t> block);

}  // namespace quillmark::imaging
