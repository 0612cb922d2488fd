// What every operation is told beside its image and its parameters.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <vector>

#include "imaging/limits.h"

namespace quillmark::imaging {

/// Told done of total from any of the working threads; returns false to stop.
using Progress = std::function<bool(std::int64_t done, std::int64_t total)>;

enum Channel : int { kMaster = 0, kRed = 1, kGreen = 2, kBlue = 3 };

/// Which channels an operation has to have counted: bits 1 << Channel.
using Channels = unsigned;

/// Pixels per level of a whole image or of a region, by Channel. Master counts the luminance (ITU-R BT.601).
/// 256 levels, or 2^bits for 12- and 16-bit greys; channels that were not asked for are empty.
struct Statistics {
    std::array<std::vector<std::int64_t>, 4> levels;
};

struct Context {
    Limits limits;
    Progress progress;  ///< may be empty
    /// Where the bitmap's top left pixel lies in the image: other than 0 when only a part is worked out.
    /// What depends on the position (noise, tiles, dither patterns) counts from the image's corner.
    int origin_x = 0, origin_y = 0;
    /// Of the whole image or its region; given to operations that ask for it.
    const Statistics* statistics = nullptr;
};

}  // namespace quillmark::imaging
