// The colours of GEM images: those in the header's extensions, and those that systems had without them.
#pragma once

#include <cstdint>
#include <span>

#include "imaging/bitmap.h"

namespace quillmark::imaging::codecs {

/// Whether the header names itself: "XIMG", "STTT" or "TIMG" behind its eight words.
bool gem_has_tag(std::span<const std::uint8_t> header);

/// Whether "XIMG" colours are in another model than red, green and blue; they are read as if they were not.
bool gem_has_other_model(std::span<const std::uint8_t> header);

/// The 2^planes colours of an image of 1 to 8 planes. header is the whole header as its length says.
Palette gem_palette(std::span<const std::uint8_t> header, int planes);

}  // namespace quillmark::imaging::codecs
