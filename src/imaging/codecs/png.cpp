// PNG: all colour types and depths, interlaced files shown pass by pass; of animated files the default image.
// Source: PNG specification (third edition); decoding by libpng's progressive reader, which takes rows out of
// whatever part of a broken file there is.
#include <libdeflate.h>
#include <png.h>

#include <algorithm>
#include <array>
#include <csetjmp>
#include <cstring>
#include <limits>

#include "imaging/codecs/png_header.h"
#include "imaging/codecs/png_writer.h"

namespace quillmark::imaging::codecs {
namespace {

constexpr int kFormatCode = 75;
constexpr int kRowsPerReport = 32;
constexpr int kLastPass = 6;
constexpr std::int64_t kMaxInflation = 1032;  // deflate cannot give more bytes out of one

bool probe(std::span<const std::uint8_t> head) {
    return head.size() >= kPngSignature.size() &&
           std::ranges::equal(head.first(kPngSignature.size()), kPngSignature);
}

Result<ImageInfo> info(ByteReader in, const ReadOptions& options) {
    const auto header = read_png_header(std::move(in));
    if (!header) return header.error();
    const int bits = header->bits();
    if (const auto fits = Bitmap::check_size(header->width, header->height, bits, options.limits); !fits)
        return fits.error();
    ImageInfo facts;
    facts.format_code = kFormatCode;
    facts.width = static_cast<int>(header->width);
    facts.height = static_cast<int>(header->height);
    facts.bits = bits;
    facts.resolution = header->metadata.resolution;
    facts.orientation = header->metadata.orientation;
    facts.compression = header->interlaced ? "Deflate, interlaced" : "Deflate";
    return facts;
}

void append_chunk(std::vector<std::uint8_t>& to, std::string_view type, std::span<const std::uint8_t> data) {
    const auto put32 = [&to](std::uint32_t value) {
        for (int shift = 24; shift >= 0; shift -= 8) to.push_back(static_cast<std::uint8_t>(value >> shift));
    };
    put32(static_cast<std::uint32_t>(data.size()));
    const std::size_t begin = to.size();
    to.insert(to.end(), type.begin(), type.end());
    to.insert(to.end(), data.begin(), data.end());
    put32(libdeflate_crc32(0, to.data() + begin, to.size() - begin));
}

// What the library is given instead of the file's own beginning: no more than the pixels need, so that only
// critical chunks ever reach it.
std::vector<std::uint8_t> short_beginning(const PngHeader& header) {
    std::vector<std::uint8_t> bytes(kPngSignature.begin(), kPngSignature.end());
    std::array<std::uint8_t, 13> facts{};
    for (std::size_t i = 0; i < 4; ++i) {
        facts[i] = static_cast<std::uint8_t>(header.width >> (24 - 8 * i));
        facts[4 + i] = static_cast<std::uint8_t>(header.height >> (24 - 8 * i));
    }
    facts[8] = static_cast<std::uint8_t>(header.depth);
    facts[9] = static_cast<std::uint8_t>(header.colour);
    facts[12] = header.interlaced;
    append_chunk(bytes, "IHDR", facts);
    std::vector<std::uint8_t> more;
    for (const Rgba& entry : header.palette) more.insert(more.end(), {entry.r, entry.g, entry.b});
    if (!more.empty()) append_chunk(bytes, "PLTE", more);
    more.clear();
    if (header.key) {
        const std::size_t samples = header.colour == PngColour::rgb ? 3 : 1;
        for (std::size_t i = 0; i < samples; ++i) {
            const std::uint16_t value = (*header.key)[i];
            more.insert(more.end(),
                        {static_cast<std::uint8_t>(value >> 8), static_cast<std::uint8_t>(value)});
        }
        append_chunk(bytes, "tRNS", more);
    }
    return bytes;
}

// Drives libpng over one image. The library calls back from inside feed(), and leaves it by longjmp: between
// the two no object with a destructor lives.
class Decoder {
  public:
    Decoder(const PngHeader& header, Bitmap& bitmap, RowSink& sink)
        : header_{header}, bitmap_{bitmap}, sink_{sink}, passes_{header.interlaced ? kLastPass + 1 : 1} {
        png_ = png_create_read_struct(PNG_LIBPNG_VER_STRING, this, on_error, on_warning);
        if (png_) info_ = png_create_info_struct(png_);
        if (bitmap.layout() == Layout::bit1 && bitmap.width() % 8 != 0) {
            last_byte_mask_ = static_cast<std::uint8_t>(0xFF << (8 - bitmap.width() % 8));
        }
    }
    ~Decoder() { png_destroy_read_struct(&png_, &info_, nullptr); }
    Decoder(const Decoder&) = delete;
    Decoder& operator=(const Decoder&) = delete;

    bool prepare() {
        if (!info_ || setjmp(back_) != 0) return false;
        png_set_progressive_read_fn(png_, this, on_info, on_row, nullptr);
        png_set_user_limits(png_, PNG_UINT_31_MAX, PNG_UINT_31_MAX);  // checked before
        png_set_crc_action(png_, PNG_CRC_WARN_USE, PNG_CRC_WARN_DISCARD);
        png_set_option(png_, PNG_MAXIMUM_INFLATE_WINDOW, PNG_OPTION_ON);  // some writers understate it
        png_set_option(png_, PNG_IGNORE_ADLER32, PNG_OPTION_ON);  // the chunks' checksums cover the same
        png_set_check_for_invalid_index(png_, 0);                 // shown black
        return true;
    }

    // Hands bytes to the library. False when it wants no more: after an error or a stop.
    bool feed(std::span<const std::uint8_t> bytes) {
        if (setjmp(back_) != 0) return false;
        png_process_data(png_, info_, const_cast<png_bytep>(bytes.data()),
                         bytes.size());  // it only reads them
        return true;
    }

    bool cancelled() const { return cancelled_; }
    // The last pass comes for every interlaced image, however small; passes before it may be left out.
    bool complete() const { return pass_ == passes_ - 1 && filled_ == bitmap_.height(); }
    bool corrupt() const { return corrupt_; }
    // Rows with pixels of their own; an interlaced file that breaks off in a late pass shows all rows
    // coarsely.
    int rows_shown() const {
        return complete() ? bitmap_.height() : std::min(own_rows_, bitmap_.height() - 1);
    }
    // Rows that hold anything at all.
    int rows_filled() const { return pass_ > 0 ? bitmap_.height() : filled_; }

  private:
    std::int64_t total_rows() const { return std::int64_t{passes_} * bitmap_.height(); }

    static Decoder& self(png_structp png) { return *static_cast<Decoder*>(png_get_progressive_ptr(png)); }

    [[noreturn]] static void on_error(png_structp png, png_const_charp) {
        std::longjmp(static_cast<Decoder*>(png_get_error_ptr(png))->back_, 1);
    }

    static void on_warning(png_structp png, png_const_charp text) {
        if (std::strstr(text, "CRC error")) static_cast<Decoder*>(png_get_error_ptr(png))->corrupt_ = true;
    }

    static void on_info(png_structp png, png_infop info) {
        const Decoder& decoder = self(png);
        decoder.set_transforms(png);
        png_set_interlace_handling(png);
        png_read_update_info(png, info);
        // Rows go straight into the bitmap: its rows and the library's must agree.
        if (png_get_rowbytes(png, info) != decoder.bitmap_.row_bytes()) png_error(png, "row size");
    }

    void set_transforms(png_structp png) const {
        if (header_.key) png_set_expand(png);
        if (header_.depth == 16) {
            if (bitmap_.layout() != Layout::gray16)
                png_set_scale_16(png);
            else if constexpr (std::endian::native == std::endian::little)
                png_set_swap(png);
        }
        if (header_.depth < 8 && bitmap_.layout() == Layout::index8) png_set_packing(png);
        const bool gray = header_.colour == PngColour::gray || header_.colour == PngColour::gray_alpha;
        if (gray && bitmap_.layout() == Layout::rgba32) png_set_gray_to_rgb(png);
    }

    static void on_row(png_structp png, png_bytep pixels, png_uint_32 y, int pass) {
        Decoder& decoder = self(png);
        if (static_cast<int>(y) >= decoder.bitmap_.height()) return;
        if (!decoder.take_row(pixels, static_cast<int>(y), pass)) png_error(png, "stop");
    }

    bool take_row(png_bytep pixels, int y, int pass) {
        const auto row = bitmap_.writable_row(y);
        if (pixels) png_progressive_combine_row(png_, row.data(), pixels);
        row.back() &= last_byte_mask_;
        pass_ = pass;
        filled_ = y + 1;
        if (passes_ == 1 || brings_row(pass, y)) ++own_rows_;
        const bool last = filled_ == bitmap_.height();
        if (!last && filled_ - reported_ < kRowsPerReport) return true;
        const int first = std::exchange(reported_, last ? 0 : filled_);
        cancelled_ = !sink_.rows(bitmap_, first, filled_, std::int64_t{pass} * bitmap_.height() + filled_,
                                 total_rows());
        return !cancelled_;
    }

    // Whether an interlacing pass is the first that has pixels of row y.
    static bool brings_row(int pass, int y) {
        switch (pass) {
            case 0: return y % 8 == 0;
            case 2: return y % 8 == 4;
            case 4: return y % 4 == 2;
            case kLastPass: return y % 2 == 1;
            default: return false;
        }
    }

    const PngHeader& header_;
    Bitmap& bitmap_;
    RowSink& sink_;
    png_structp png_ = nullptr;
    png_infop info_ = nullptr;
    std::jmp_buf back_{};
    const int passes_;
    std::uint8_t last_byte_mask_ = 0xFF;
    int own_rows_ = 0;
    int pass_ = 0;
    int filled_ = 0;    // rows of this pass
    int reported_ = 0;  // rows of this pass that the sink knows
    bool cancelled_ = false;
    bool corrupt_ = false;
};

// Feeds the consecutive IDAT chunks that begin at a position.
void feed_pixels(ByteReader& in, std::int64_t position, Decoder& decoder) {
    while (!decoder.complete()) {
        in.seek(position);
        const std::uint32_t size = in.u32be();
        const bool pixels = in.u32be() == 0x49444154U;  // IDAT
        if (in.failed() || !pixels) return;
        const std::int64_t end = std::min(position + 12 + size, in.size());
        in.seek(position);
        while (in.position() < end) {
            auto window = in.window();
            if (window.empty()) return;
            window = window.first(static_cast<std::size_t>(
                std::min<std::int64_t>(static_cast<std::int64_t>(window.size()), end - in.position())));
            if (!decoder.feed(window)) return;
            in.advance(window.size());
        }
        position = end;
    }
}

// The bitmap that the file declares. One that its data cannot possibly fill is not allowed to touch its
// memory.
Result<Bitmap> make_bitmap(const PngHeader& header, std::int64_t data_size, const Limits& limits) {
    const int bits = header.bits();
    if (const auto fits = Bitmap::check_size(header.width, header.height, bits, limits); !fits)
        return fits.error();
    const std::int64_t stored = (header.width * header.channels() * header.depth + 7) / 8 * header.height;
    const auto create = stored / kMaxInflation > data_size ? Bitmap::create : Bitmap::create_unfilled;
    const bool gray = bits == 16;
    auto bitmap = create(static_cast<int>(header.width), static_cast<int>(header.height), bits, limits, gray);
    if (!bitmap || header.palette.empty()) return bitmap;
    Palette palette = header.palette;
    if (bits == 1) palette.resize(2);
    bitmap->set_palette(std::move(palette));
    return bitmap;
}

Result<Outcome> decode(ByteReader in, const ReadOptions& options, RowSink& sink) {
    auto header = read_png_header(in);
    if (!header) return header.error();
    auto bitmap = make_bitmap(*header, in.size() - header->data_at, options.limits);
    if (!bitmap) return bitmap.error();
    bitmap->metadata() = header->metadata;
    sink.begin(*bitmap);

    Outcome outcome;
    {
        Decoder decoder{*header, *bitmap, sink};
        if (!decoder.prepare()) return Error{Fault::out_of_memory, "PNG"};
        if (decoder.feed(short_beginning(*header))) feed_pixels(in, header->data_at, decoder);
        if (decoder.cancelled()) return Error{Fault::cancelled, "PNG"};
        outcome.rows_shown = decoder.rows_shown();
        outcome.rows_declared = bitmap->height();
        if (outcome.rows_shown == 0) return Error{Fault::truncated, "PNG pixels"};
        bitmap->clear_rows(decoder.rows_filled(), bitmap->height());
        if (!decoder.complete()) outcome.warnings.push_back("PNG pixels end early");
        if (decoder.corrupt()) outcome.warnings.push_back("PNG pixels have a wrong checksum");
    }
    read_png_trailer(in, *header, bitmap->metadata());
    outcome.bitmap = std::move(*bitmap);
    outcome.format_code = kFormatCode;
    return outcome;
}

constexpr std::array kDepths{1, 2, 4, 8, 16, 24, 32};
constexpr std::array kFormats{FormatCode{kFormatCode, "", kDepths, true}};
constexpr std::array<std::string_view, 1> kExtensions{"png"};

}  // namespace

extern const Codec png;
const Codec png{"PNG", kFormats, kExtensions, Pages::one, false,     true,
                probe, info,     decode,      nullptr,    encode_png};

}  // namespace quillmark::imaging::codecs
