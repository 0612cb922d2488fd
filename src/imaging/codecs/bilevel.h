// 1-bit images for formats that know only black and white.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "imaging/bitmap.h"

namespace quillmark::imaging::codecs {

/// White paper, black ink: what a bit of 0 and of 1 show in most bilevel formats.
inline Palette paper_and_ink() { return {{255, 255, 255, 255}, {0, 0, 0, 255}}; }

/// Turns packed rows of a 1-bit image into bits where 1 is ink: the darker palette entry, whatever its
/// colour. Two equally bright entries are both ink or both paper.
class InkRows {
  public:
    explicit InkRows(const Bitmap& bitmap) : bitmap_{bitmap} {
        const int zero = brightness(0), one = brightness(1);
        keep_ = zero == one ? 0 : 0xFF;
        flip_ = zero < one || (zero == one && zero < 128) ? 0xFF : 0;
    }

    /// Row y; out has at least the row's bytes. The bits beyond the width are paper.
    void get(int y, std::span<std::uint8_t> out) const {
        const auto row = bitmap_.row(y);
        for (std::size_t i = 0; i < row.size(); ++i)
            out[i] = static_cast<std::uint8_t>((row[i] & keep_) ^ flip_);
        const int used = bitmap_.width() % 8;
        if (used != 0) out[row.size() - 1] &= static_cast<std::uint8_t>(0xFF00U >> used);
    }

    /// The image is black and white already, so that nothing is lost.
    static bool plain(const Palette& palette) {
        constexpr Rgba kBlack{0, 0, 0, 255}, kWhite{255, 255, 255, 255};
        return palette == Palette{kBlack, kWhite} || palette == Palette{kWhite, kBlack};
    }

  private:
    // ITU-R BT.601; an index beyond the palette shows black.
    int brightness(std::size_t index) const {
        const Palette& palette = bitmap_.palette();
        if (index >= palette.size()) return 0;
        return (palette[index].r * 299 + palette[index].g * 587 + palette[index].b * 114) / 1000;
    }

    const Bitmap& bitmap_;
    std::uint8_t keep_, flip_;
};

}  // namespace quillmark::imaging::codecs
