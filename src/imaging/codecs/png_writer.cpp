#include "imaging/codecs/png_writer.h"

#include <png.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <csetjmp>

#include "imaging/codecs/exif.h"

namespace quillmark::imaging::codecs {
namespace {

constexpr int kCompressionLevel = 6;
constexpr int kRowsPerReport = 64;

// How the pixels are stored in the file.
struct Storage {
    int colour_type;
    int depth;
};

bool is_ramp(const Palette& palette, int bits) { return palette == gray_palette(1 << bits); }

Storage storage_of(const Bitmap& bitmap) {
    switch (bitmap.layout()) {
        case Layout::bit1:
        case Layout::index8: {
            const int bits = bitmap.bits();
            const int depth = bits <= 2 ? bits : bits <= 4 ? 4 : 8;
            const bool gray = bits == depth && is_ramp(bitmap.palette(), bits);
            return {gray ? PNG_COLOR_TYPE_GRAY : PNG_COLOR_TYPE_PALETTE, depth};
        }
        case Layout::gray16: return {PNG_COLOR_TYPE_GRAY, 16};
        case Layout::rgb24: return {PNG_COLOR_TYPE_RGB, 8};
        case Layout::rgba32: return {PNG_COLOR_TYPE_RGB_ALPHA, 8};
    }
    return {};
}

int highest_index(const Bitmap& bitmap) {
    if (bitmap.layout() == Layout::bit1) return 1;
    int highest = 0;
    for (int y = 0; y < bitmap.height(); ++y)
        highest = std::max<int>(highest, std::ranges::max(bitmap.row(y)));
    return highest;
}

// The palette with black for indices beyond its end: the format does not allow those.
Palette palette_for(const Bitmap& bitmap, int depth) {
    Palette palette = bitmap.palette();
    const std::size_t most = std::size_t{1} << depth;
    if (palette.size() > most) palette.resize(most);
    if (palette.size() < most)
        palette.resize(std::clamp(palette.size(), static_cast<std::size_t>(highest_index(bitmap)) + 1, most));
    return palette;
}

// One encode by libpng. Everything that needs memory is made ready in the constructor, because the library
// leaves write() by longjmp.
class Encoder {
  public:
    Encoder(const Bitmap& bitmap, ByteWriter& out, const WriteOptions& options)
        : bitmap_{bitmap}, out_{out}, options_{options}, storage_{storage_of(bitmap)} {
        if (storage_.colour_type == PNG_COLOR_TYPE_PALETTE) {
            for (const Rgba& entry : palette_for(bitmap, storage_.depth)) {
                palette_.push_back({entry.r, entry.g, entry.b});
                alpha_.push_back(entry.a);
            }
            // Opaque entries at the end need not be listed.
            while (!alpha_.empty() && alpha_.back() == 255) alpha_.pop_back();
        }
        const Metadata& metadata = bitmap.metadata();
        if (metadata.exif) exif_ = exif_for_saving(*metadata.exif, metadata.orientation);
        comment_ = metadata.comment;
        if (bitmap.layout() == Layout::gray16 && bitmap.bits() < 16)
            widened_.resize(static_cast<std::size_t>(bitmap.width()));
        png_ = png_create_write_struct(PNG_LIBPNG_VER_STRING, this, on_error,
                                       [](png_structp, png_const_charp) {});
        if (png_) info_ = png_create_info_struct(png_);
    }
    ~Encoder() { png_destroy_write_struct(&png_, &info_); }
    Encoder(const Encoder&) = delete;
    Encoder& operator=(const Encoder&) = delete;

    Result<void> run() {
        if (!info_) return Error{Fault::out_of_memory, "PNG"};
        if (write()) return {};
        if (cancelled_) return Error{Fault::cancelled, "PNG"};
        return out_.failed() ? Error{Fault::io, "PNG"} : Error{Fault::out_of_memory, "PNG"};
    }

  private:
    [[noreturn]] static void on_error(png_structp png, png_const_charp) {
        std::longjmp(static_cast<Encoder*>(png_get_error_ptr(png))->back_, 1);
    }

    static void on_bytes(png_structp png, png_bytep bytes, std::size_t count) {
        ByteWriter& out = static_cast<Encoder*>(png_get_io_ptr(png))->out_;
        out.write({bytes, count});
        if (out.failed()) png_error(png, "writing");
    }

    bool write() {
        if (setjmp(back_) != 0) return false;
        png_set_write_fn(png_, this, on_bytes, [](png_structp) {});
        png_set_user_limits(png_, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
        png_set_check_for_invalid_index(png_, 0);
        set_header();
        set_metadata();
        png_write_info(png_, info_);
        if (!write_pixels()) return false;
        png_write_end(png_, nullptr);
        return true;
    }

    void set_header() {
        png_set_IHDR(png_, info_, static_cast<png_uint_32>(bitmap_.width()),
                     static_cast<png_uint_32>(bitmap_.height()), storage_.depth, storage_.colour_type,
                     PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
        if (!palette_.empty()) png_set_PLTE(png_, info_, palette_.data(), static_cast<int>(palette_.size()));
        if (!alpha_.empty())
            png_set_tRNS(png_, info_, alpha_.data(), static_cast<int>(alpha_.size()), nullptr);
        png_set_compression_level(png_, kCompressionLevel);
        // Neighbouring indices are no neighbouring colours: filters only make palettes larger.
        if (!palette_.empty() || storage_.depth < 8)
            png_set_filter(png_, PNG_FILTER_TYPE_BASE, PNG_FILTER_NONE);
    }

    void set_metadata() {
        const Metadata& metadata = bitmap_.metadata();
        const auto per_metre = [](double dpi) {
            return static_cast<png_uint_32>(std::clamp(std::round(dpi / 0.0254), 1.0, 2e9));
        };
        if (metadata.resolution.x > 0 && metadata.resolution.y > 0) {
            png_set_pHYs(png_, info_, per_metre(metadata.resolution.x), per_metre(metadata.resolution.y),
                         PNG_RESOLUTION_METER);
        }
        if (metadata.icc && !metadata.icc->empty()) {
            png_set_iCCP(png_, info_, "ICC profile", PNG_COMPRESSION_TYPE_BASE, metadata.icc->data(),
                         static_cast<png_uint_32>(metadata.icc->size()));
        }
        if (!exif_.empty()) png_set_eXIf_1(png_, info_, static_cast<png_uint_32>(exif_.size()), exif_.data());
        if (!comment_.empty()) set_comment();
    }

    // Text beyond ASCII goes into the chunk that is UTF-8 by definition.
    void set_comment() {
        char keyword[] = "Comment";
        const bool ascii =
            std::ranges::all_of(comment_, [](char c) { return static_cast<unsigned char>(c) < 0x80; });
        png_text text{};
        text.compression = ascii ? PNG_TEXT_COMPRESSION_NONE : PNG_ITXT_COMPRESSION_NONE;
        text.key = keyword;
        text.text = comment_.data();
        text.text_length = comment_.size();
        png_set_text(png_, info_, &text, 1);
    }

    // The compressed pixels, from the first IDAT chunk to the last. False: stopped.
    bool write_pixels() {
        if (bitmap_.layout() == Layout::index8) png_set_packing(png_);
        if (storage_.depth == 16 && std::endian::native == std::endian::little) png_set_swap(png_);
        const int height = bitmap_.height();
        for (int y = 0; y < height; ++y) {
            png_write_row(png_, pixels(y));
            if ((y + 1) % kRowsPerReport != 0 || !options_.progress || options_.progress(y + 1, height))
                continue;
            cancelled_ = true;
            return false;
        }
        return true;
    }

    png_const_bytep pixels(int y) {
        if (widened_.empty()) return bitmap_.row(y).data();
        const auto words = bitmap_.row16(y);
        const int bits = bitmap_.bits();
        // The top bits are repeated below, so that white stays white.
        std::ranges::transform(words, widened_.begin(), [bits](std::uint16_t v) {
            return static_cast<std::uint16_t>(v << (16 - bits) | v >> (2 * bits - 16));
        });
        return reinterpret_cast<png_const_bytep>(widened_.data());
    }

    const Bitmap& bitmap_;
    ByteWriter& out_;
    const WriteOptions& options_;
    const Storage storage_;
    std::vector<png_color> palette_;
    std::vector<png_byte> alpha_;
    std::vector<std::uint8_t> exif_;
    std::vector<std::uint16_t> widened_;
    std::string comment_;
    png_structp png_ = nullptr;
    png_infop info_ = nullptr;
    std::jmp_buf back_{};
    bool cancelled_ = false;
};

}  // namespace

Result<void> encode_png(const Bitmap& bitmap, ByteWriter& out, const WriteOptions& options) {
    if (bitmap.empty()) return Error{Fault::malformed, "no image"};
    return Encoder{bitmap, out, options}.run();
}

}  // namespace quillmark::imaging::codecs
