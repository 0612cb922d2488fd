// How much a file may ask for. Generous: an old but valid file is never refused.
#pragma once

#include <cstdint>

namespace quillmark::imaging {

struct Limits {
    std::int64_t max_side = 65'500;             ///< pixels, images with more than 1 bit
    std::int64_t max_bilevel_side = 1'000'000;  ///< pixels, 1-bit images (drawings, continuous fax)
    std::int64_t max_pixels = 500'000'000;      ///< images with more than 1 bit
    std::int64_t max_bytes = 2'147'483'648;     ///< decoded bytes of one bitmap
    int max_pages = 10'000;                     ///< pages that are counted in one file
};

}  // namespace quillmark::imaging
