// JPEG: baseline, progressive and arithmetic files of 8 bits a sample, with their stamps.
// Sources: ITU-T T.81, T.871; decoding by libjpeg-turbo.
#include <algorithm>
#include <array>
#include <cstring>

#include "imaging/codecs/jpeg_decoder.h"
#include "imaging/codecs/jpeg_header.h"
#include "imaging/codecs/jpeg_writer.h"

namespace quillmark::imaging::codecs {
namespace {

constexpr int kFormatCode = 10;
// No code is shorter than a bit a block; a file that is smaller by far than that is never worth the memory.
constexpr std::int64_t kMaxPixelsPerByte = 2048;

bool probe(std::span<const std::uint8_t> head) {
    return head.size() >= 3 && head[0] == 0xFF && head[1] == 0xD8 && head[2] == 0xFF;
}

std::string_view compression_name(int frame) {
    switch (frame) {
        case 0xC2: return "JPEG, progressive";
        case 0xC9: return "JPEG, arithmetic";
        case 0xCA: return "JPEG, progressive arithmetic";
        default: return "JPEG";
    }
}

Result<ImageInfo> info(ByteReader in, const ReadOptions& options) {
    const auto header = read_jpeg_header(in);
    if (!header) return header.error();
    const auto bits = jpeg_bits(*header);
    if (!bits) return bits.error();
    if (const auto fits = Bitmap::check_size(header->width, header->height, *bits, options.limits); !fits)
        return fits.error();
    ImageInfo facts;
    facts.format_code = kFormatCode;
    facts.width = header->width;
    facts.height = header->height;
    facts.bits = *bits;
    facts.has_stamp = find_jpeg_stamp(*header).has_value();
    facts.resolution = header->resolution;
    facts.orientation = header->orientation;
    facts.compression = compression_name(header->frame);
    return facts;
}

// Four components are shown without a profile: each ink lets its share of light through. Files hold the light
// and not the ink (255 is no ink), with or without the Adobe segment that says so.
void cmyk_to_rgb(const std::uint8_t* in, std::span<std::uint8_t> out) {
    for (std::size_t at = 0; at < out.size(); at += 3, in += 4) {
        for (std::size_t i = 0; i < 3; ++i) {
            const unsigned product = in[i] * unsigned{in[3]} + 128;
            out[at + i] =
                static_cast<std::uint8_t>((product + (product >> 8)) >> 8);  // product / 255, rounded
        }
    }
}

// Takes rows from the decoder: straight into the bitmap, or through a few CMYK lines.
class RowTaker final : public JpegDecoder::Listener {
  public:
    RowTaker(Bitmap& bitmap, RowSink& sink, const JpegDecoder& decoder) : bitmap_{bitmap}, sink_{sink} {
        if (decoder.components() == 4) cmyk_.resize(kLines * static_cast<std::size_t>(bitmap.width()) * 4);
        waited_ = decoder.many_scans() ? 1 : 0;
    }

    bool waiting(std::int64_t done, std::int64_t total) override {
        // The scans count as half of the work.
        return sink_.rows(bitmap_, 0, 0, done, std::max<std::int64_t>(total, 1) * 2);
    }

    std::uint8_t* row(int y) override {
        return cmyk_.empty() ? bitmap_.writable_row(y).data() : cmyk_line(y);
    }

    bool written(int first, int last) override {
        if (!cmyk_.empty()) {
            for (int y = first; y < last; ++y) cmyk_to_rgb(cmyk_line(y), bitmap_.writable_row(y));
        }
        const int height = bitmap_.height();
        return sink_.rows(bitmap_, first, last, waited_ * height + last, (waited_ + 1) * height);
    }

  private:
    static constexpr std::size_t kLines = 64;  // more than the decoder writes between two reports

    std::uint8_t* cmyk_line(int y) {
        return cmyk_.data() +
               static_cast<std::size_t>(y) % kLines * static_cast<std::size_t>(bitmap_.width()) * 4;
    }

    Bitmap& bitmap_;
    RowSink& sink_;
    std::vector<std::uint8_t> cmyk_;
    std::int64_t waited_ = 0;
};

void add_warnings(const JpegDecoder& decoder, std::vector<Place>& warnings) {
    if (decoder.too_many_scans())
        warnings.push_back("JPEG has too many scans");
    else if (decoder.incomplete())
        warnings.push_back("JPEG image data end early");
    if (decoder.corrupt()) warnings.push_back("JPEG image data are corrupt");
}

Result<Outcome> decode_image(ByteReader in, JpegHeader header, const ReadOptions& options, RowSink& sink) {
    const auto bits = jpeg_bits(header);
    if (!bits) return bits.error();
    if (const auto fits = Bitmap::check_size(header.width, header.height, *bits, options.limits); !fits)
        return fits.error();

    const std::int64_t file_size = in.size();
    JpegDecoder decoder{in};
    if (!decoder.start(std::clamp(options.reduce, 1, 8))) return decoder.error();
    if (decoder.components() != header.components) return Error{Fault::malformed, "JPEG components"};
    const std::int64_t pixels = static_cast<std::int64_t>(decoder.width()) * decoder.height();
    const auto create = pixels / kMaxPixelsPerByte > file_size ? Bitmap::create : Bitmap::create_unfilled;
    auto bitmap = create(decoder.width(), decoder.height(), *bits, options.limits, false);
    if (!bitmap) return bitmap.error();

    Metadata& metadata = bitmap->metadata();
    metadata.resolution = header.resolution;
    metadata.orientation = header.orientation;
    metadata.icc = std::move(header.icc);
    metadata.exif = std::move(header.exif);
    metadata.comment = std::move(header.comment);

    sink.begin(*bitmap);
    RowTaker taker{*bitmap, sink, decoder};
    const bool finished = decoder.rows(taker);
    if (!finished && decoder.error().fault == Fault::cancelled) return decoder.error();
    Outcome outcome;
    outcome.rows_shown = decoder.rows_shown();
    outcome.rows_declared = bitmap->height();
    if (outcome.rows_shown == 0)
        return decoder.incomplete() ? Error{Fault::truncated, "JPEG image data"} : decoder.error();
    bitmap->clear_rows(decoder.rows_filled(), outcome.rows_declared);
    add_warnings(decoder, outcome.warnings);
    if (!finished) outcome.warnings.push_back("JPEG decoder gave up");
    outcome.bitmap = std::move(*bitmap);
    outcome.format_code = kFormatCode;
    return outcome;
}

Result<Outcome> decode(ByteReader in, const ReadOptions& options, RowSink& sink) {
    auto header = read_jpeg_header(in);
    if (!header) return header.error();
    return decode_image(std::move(in), std::move(*header), options, sink);
}

// Full-range YCbCr (ITU-T T.871) in 16-bit fixed point, in place.
void ycbcr_to_rgb(std::span<std::uint8_t> row) {
    const auto clamped = [](int value) {
        return static_cast<std::uint8_t>(std::clamp((value + 32768) >> 16, 0, 255));
    };
    for (std::size_t at = 0; at < row.size(); at += 3) {
        const int y = row[at] * 65536, cb = row[at + 1] - 128, cr = row[at + 2] - 128;
        row[at] = clamped(y + 91881 * cr);
        row[at + 1] = clamped(y - 22554 * cb - 46802 * cr);
        row[at + 2] = clamped(y + 116130 * cb);
    }
}

Result<Bitmap> raw_stamp_bitmap(const JpegStamp& stamp, const Limits& limits) {
    const bool indexed = stamp.coding == JpegStamp::Coding::palette;
    auto bitmap = Bitmap::create_unfilled(stamp.width, stamp.height, indexed ? 8 : 24, limits);
    if (!bitmap) return bitmap;
    const std::uint8_t* in = stamp.bytes.data();
    if (indexed) {
        Palette palette(256);
        for (Rgba& entry : palette) entry = {in[0], in[1], in[2], 255}, in += 3;
        bitmap->set_palette(std::move(palette));
    }
    for (int y = 0; y < stamp.height; ++y, in += bitmap->row_bytes()) {
        const auto row = bitmap->writable_row(y);
        std::memcpy(row.data(), in, row.size());
        if (stamp.coding == JpegStamp::Coding::ycbcr) ycbcr_to_rgb(row);
    }
    return bitmap;
}

Result<Outcome> decode_stamp(const JpegStamp& stamp, const ReadOptions& options) {
    if (stamp.coding == JpegStamp::Coding::jpeg) {
        ByteReader in{memory_source(std::span{stamp.bytes})};
        auto header = read_jpeg_header(in);
        if (!header) return header.error();
        RowSink quiet;
        return decode_image(in, std::move(*header), options, quiet);
    }
    auto bitmap = raw_stamp_bitmap(stamp, options.limits);
    if (!bitmap) return bitmap.error();
    Outcome outcome;
    outcome.format_code = kFormatCode;
    outcome.rows_shown = outcome.rows_declared = stamp.height;
    outcome.bitmap = std::move(*bitmap);
    return outcome;
}

Result<Outcome> stamp(ByteReader in, const ReadOptions& options) {
    const auto header = read_jpeg_header(std::move(in));
    if (!header) return header.error();
    const auto found = find_jpeg_stamp(*header);
    if (!found) return Error{Fault::no_stamp, "JPEG"};
    ReadOptions whole = options;
    whole.reduce = 1;
    auto outcome = decode_stamp(*found, whole);
    // A stamp lies as its image does, whatever its own segments say.
    if (outcome) outcome->bitmap.metadata().orientation = header->orientation;
    return outcome;
}

constexpr std::array kDepths{24, 8};
constexpr std::array kFormats{FormatCode{kFormatCode, "JFIF", kDepths, false, true}};
constexpr std::array<std::string_view, 7> kExtensions{"jpg", "jpeg", "jpe", "jff", "jfif", "jtf", "thm"};

}  // namespace

extern const Codec jpeg;
const Codec jpeg{"JPEG", kFormats, kExtensions, Pages::one, true,       true,
                 probe,  info,     decode,      stamp,      encode_jpeg};

}  // namespace quillmark::imaging::codecs
