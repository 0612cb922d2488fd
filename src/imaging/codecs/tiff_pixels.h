// TIFF samples of any width to the pixels of a bitmap.
#pragma once

#include <span>
#include <vector>

#include "imaging/bitmap.h"
#include "imaging/codecs/tiff_page.h"

namespace quillmark::imaging::tiff {

/// The values that floating point samples span; they become black and full level.
struct Range {
    double low = 0, high = 1;
};

/// Finds the range of floating point samples. Images that stay within 0 to 1 keep that as their range.
class RangeFinder {
  public:
    explicit RangeFinder(const Page& page) : page_{page} {}
    /// count pixels of one plane (or of interleaved samples), native byte order.
    void look_at(const std::uint8_t* samples, std::size_t count);
    Range range() const;

  private:
    const Page& page_;
    double low_ = 0, high_ = 0;
    bool any_ = false;
};

/// Turns runs of pixels into parts of bitmap rows. Keeps scratch memory of one row.
class RowConverter {
  public:
    RowConverter(const Page& page, Range range) : page_{page}, range_{range} {}

    /// Writes count pixels at (x, y). planes: one pointer to interleaved samples, or one per sample (of which
    /// the first color_samples and the alpha that follows are looked at); each begins at a byte, native byte
    /// order. x is a multiple of 8 for 1-bit bitmaps.
    void put(Bitmap& bitmap, int x, int y, std::size_t count, std::span<const std::uint8_t* const> planes);

  private:
    const std::uint8_t* levels8(std::size_t count, std::span<const std::uint8_t* const> planes);
    void narrow(const std::uint8_t* in, std::size_t count, std::uint8_t* out) const;
    void widen(const std::uint8_t* in, std::size_t count, std::uint16_t* out) const;
    void put_bilevel(std::span<std::uint8_t> row, int x, std::size_t count, const std::uint8_t* in) const;
    void put_index(Bitmap& bitmap, int x, int y, std::size_t count, const std::uint8_t* in);
    void put_gray16(std::uint16_t* out, std::size_t count, const std::uint8_t* in);
    void put_palette_alpha(std::uint8_t* out, std::size_t count, std::span<const std::uint8_t* const> planes);
    void put_deep_palette(std::uint8_t* out, std::size_t count, const std::uint8_t* in);
    void put_color(std::uint8_t* out, std::size_t count, const std::uint8_t* in, std::size_t step) const;
    std::size_t samples_in(std::span<const std::uint8_t* const> planes) const;

    const Page& page_;
    Range range_;
    std::vector<std::uint8_t> levels_, plane_;
    std::vector<std::uint16_t> words_;
};

}  // namespace quillmark::imaging::tiff
