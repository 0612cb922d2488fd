// The parts of an EXIF block that matter here: orientation, resolution, and where its stamp lies.
// Source: Exif 2.3 (CIPA DC-008), whose block is a small TIFF file.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "imaging/metadata.h"

namespace quillmark::imaging {

struct ExifStamp {
    std::size_t offset = 0, size = 0;  ///< within the block, inside its bounds
    bool jpeg = true;                  ///< else uncompressed pixels, 3 bytes each
    int width = 0, height = 0;         ///< uncompressed only
    bool rgb = true;                   ///< uncompressed only; else YCbCr 4:4:4
};

struct ExifFacts {
    Orientation orientation = Orientation::normal;
    Resolution resolution;
    std::optional<ExifStamp> stamp;
};

/// Reads a block that begins with its TIFF header ("II" or "MM"). Damaged blocks give the defaults. Only the
/// first two directories (image and stamp) are read; entries: at most 512 each.
ExifFacts read_exif(std::span<const std::uint8_t> block);

/// A copy of the block for saving an image: its orientation tag is set to what the pixels still need, and its
/// stamp is taken out (it would show the image as it was before editing). Damaged blocks come back empty.
std::vector<std::uint8_t> exif_for_saving(std::span<const std::uint8_t> block, Orientation orientation);

}  // namespace quillmark::imaging
