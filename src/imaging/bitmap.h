// Pixels with copy-on-write: assigning a Bitmap costs nothing, and the copy is independent.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "imaging/buffer.h"
#include "imaging/limits.h"
#include "imaging/metadata.h"
#include "imaging/result.h"

namespace quillmark::imaging {

/// How pixels lie in memory. Every algorithm chooses by this once, outside its loops.
enum class Layout : std::uint8_t {
    bit1,    ///< 8 pixels a byte, the leftmost in the most significant bit; an index into a 2-entry palette
    index8,  ///< one byte a pixel, an index into the palette (2 to 8 logical bits; grey is a grey palette)
    gray16,  ///< one native-endian 16-bit word a pixel, 0 black to 2^bits - 1 white (12 or 16 logical bits)
    rgb24,   ///< bytes R, G, B (24 logical bits, or 16 for 5-5-5 and 5-6-5 colour)
    rgba32,  ///< bytes R, G, B, A, alpha not premultiplied (32 logical bits)
};

/// A palette entry. Alpha 255 is opaque.
struct Rgba {
    std::uint8_t r = 0, g = 0, b = 0, a = 255;
    friend bool operator==(const Rgba&, const Rgba&) = default;
};
using Palette = std::vector<Rgba>;

/// count evenly spaced greys from black to white (count 2 to 256).
Palette gray_palette(int count);

class Bitmap {
  public:
    /// The empty bitmap: no pixels, bits() 0.
    Bitmap() = default;

    /// The one door for pixel memory: checks width x height x depth against limits in 64 bits, then
    /// allocates. Pixels start as zero (untouched pages cost nothing). For bits up to 8 the palette starts as
    /// greys, black first, with 2^bits entries. bits: 1, 2 to 8 (index8), 12 or 16 with gray true (gray16),
    /// 16 or 24 (rgb24), 32 (rgba32). Faults: malformed (a side below 1, a depth not listed), too_large,
    /// out_of_memory.
    static Result<Bitmap> create(int width, int height, int bits, const Limits& limits, bool gray = false);

    /// The same with undefined pixels, for callers that write every row (recycled memory is not cleared).
    static Result<Bitmap> create_unfilled(int width, int height, int bits, const Limits& limits,
                                          bool gray = false);

    /// What create would check, without allocating: for header-only queries.
    static Result<void> check_size(std::int64_t width, std::int64_t height, int bits, const Limits& limits);

    bool empty() const { return !pixels_; }
    int width() const { return width_; }
    int height() const { return height_; }
    int bits() const { return bits_; }  ///< logical bits per pixel: 1 to 8, 12, 16, 24 or 32
    Layout layout() const { return layout_; }
    std::size_t stride() const { return stride_; }        ///< bytes from row to row, a multiple of 32
    std::size_t row_bytes() const { return row_bytes_; }  ///< bytes of a row that hold pixels
    std::int64_t byte_count() const { return static_cast<std::int64_t>(stride_) * height_; }

    /// Row y, 0 <= y < height(): row_bytes() bytes. Reading never copies.
    std::span<const std::uint8_t> row(int y) const {
        return {pixels_.data() + static_cast<std::size_t>(y) * stride_, row_bytes_};
    }
    /// Row y for writing. The pixels must not be shared: call detach() once before the loop.
    std::span<std::uint8_t> writable_row(int y) {
        return {pixels_.data() + static_cast<std::size_t>(y) * stride_, row_bytes_};
    }
    std::span<const std::uint16_t> row16(int y) const {
        return {reinterpret_cast<const std::uint16_t*>(row(y).data()), static_cast<std::size_t>(width_)};
    }
    std::span<std::uint16_t> writable_row16(int y) {
        return {reinterpret_cast<std::uint16_t*>(writable_row(y).data()), static_cast<std::size_t>(width_)};
    }

    /// Sets rows [first, last) to zero.
    void clear_rows(int first, int last);

    /// Makes the pixels this bitmap's own. False when memory is short; the bitmap is then as it was.
    bool detach();
    /// Whether other bitmaps share these pixels.
    bool shared() const { return pixels_.shared(); }

    /// The palette of bit1 and index8; empty for the others. Indices beyond its end show black.
    const Palette& palette() const;
    void set_palette(Palette palette);
    /// Every palette entry is an opaque grey (also true for gray16).
    bool is_gray() const;
    /// Alpha can be below 255: rgba32, or a palette with a transparent entry.
    bool has_alpha() const;
    /// For rgb24 whose colours came from fewer bits, and gray16: sets the logical depth (16, 24; 12, 16).
    void set_bits(int bits) { bits_ = bits; }

    const Metadata& metadata() const { return metadata_; }
    Metadata& metadata() { return metadata_; }

    /// The colour of one pixel, for tests, tools and tiny images; loops use rows.
    Rgba pixel(int x, int y) const;

  private:
    static Result<Bitmap> make(int width, int height, int bits, const Limits& limits, bool gray, bool zeroed);

    Buffer pixels_;
    std::shared_ptr<const Palette> palette_;
    Metadata metadata_;
    int width_ = 0;
    int height_ = 0;
    int bits_ = 0;
    Layout layout_ = Layout::rgb24;
    std::size_t stride_ = 0;
    std::size_t row_bytes_ = 0;
};

}  // namespace quillmark::imaging
