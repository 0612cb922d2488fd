// One page of a TIFF file: the tags that matter, and what kind of bitmap they lead to.
#pragma once

#include <vector>

#include "imaging/bitmap.h"
#include "imaging/codecs/tiff_handle.h"

namespace quillmark::imaging::tiff {

/// How samples become pixels.
enum class Kind : std::uint8_t {
    bilevel,     ///< 1 bit, one sample: packed as stored
    index,       ///< 2 to 8 bits, one sample: palette entries, or grey levels (inverted when white is zero)
    gray16,      ///< grey of 9 and more bits, and floating point
    gray_alpha,  ///< grey and alpha, to rgba32
    palette_alpha,  ///< palette of 2 to 8 bits and alpha, to rgba32
    deep_palette,   ///< palette of 9 to 16 bits, to rgb24
    rgb,            ///< three samples
    rgb_alpha,      ///< three samples and alpha, to rgba32
    cmyk,           ///< inks, 0 is no ink; to rgb24
    lab,            ///< CIE L*a*b*, to rgb24
    converted,      ///< left to libtiff's own conversion (YCbCr, LogLuv, old JPEG), to rgb24
};

struct Page {
    std::uint32_t width = 0, height = 0;
    int bits = 1, samples = 1, photometric = 0, compression = 1;
    bool separate = false;       ///< one plane per sample
    bool floating = false;       ///< samples are floating point numbers (16, 24, 32 or 64 bits)
    bool associated = false;     ///< alpha is premultiplied
    bool alpha = false;          ///< the sample after the colours is alpha
    bool alpha_guessed = false;  ///< only taken for alpha: the file leaves open what it is
    bool tiled = false;
    std::uint32_t tile_width = 0, tile_height = 0;
    std::uint32_t rows_per_strip = 0;  ///< 1 to height
    Kind kind = Kind::bilevel;
    int color_samples = 1;          ///< samples that carry colour; alpha follows them
    int bitmap_bits = 1;            ///< as Bitmap::create takes it
    Palette palette;                ///< bilevel, index, palette_alpha and deep_palette; empty for plain greys
    std::uint32_t fax_options = 0;  ///< T4Options
    Resolution resolution;
    Orientation orientation = Orientation::normal;

    bool white_is_zero() const;
    bool gray() const { return kind == Kind::gray16; }
    /// Rows of samples are laid out as the bitmap's own rows.
    bool stored_as_bitmap() const;
    int format_code() const;
    std::string_view compression_name() const;
};

/// The current directory. Faults: malformed (sizes, sample layout), unsupported, and those of
/// Bitmap::check_size; nothing is allocated by the size of the image.
Result<Page> read_page(TIFF* tiff, const Limits& limits);

/// Where the pictures of a file lie.
struct Chain {
    std::vector<std::uint64_t> pages;  ///< directory offsets, reduced images and masks left out; never empty
    std::uint64_t stamp = 0;           ///< directory offset of the first reduced image; 0: none
};

/// Walks the directories of an open file (at most limits.max_pages; loops end the walk).
Chain read_chain(TIFF* tiff, const Limits& limits);

}  // namespace quillmark::imaging::tiff
