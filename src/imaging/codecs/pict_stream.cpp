#include "imaging/codecs/pict_stream.h"

#include "imaging/codecs/quicktime_video.h"
#include "imaging/codecs/row_stream.h"
#include "imaging/swizzle.h"

namespace quillmark::imaging::codecs {

extern const Codec jpeg, png, tiff, dib;

namespace {

constexpr std::uint32_t letters(const char (&text)[5]) {
    std::uint32_t value = 0;
    for (int i = 0; i < 4; ++i) value = value << 8 | static_cast<unsigned char>(text[i]);
    return value;
}

// Streams that are files of another format.
const Codec* codec_of(std::uint32_t stream) {
    switch (stream) {
        case letters("jpeg"): return &jpeg;
        case letters("png "): return &png;
        case letters("tiff"): return &tiff;
        case letters("WRLE"): return &dib;
        default: return nullptr;
    }
}

int plain_bits(const PictRaster& raster) {
    switch (raster.stream_depth) {
        case 16: return 16;
        case 24:
        case 32: return 24;
        default: return 0;
    }
}

std::int64_t plain_row(const PictRaster& raster, std::int64_t size) {
    const std::int64_t least = std::int64_t{raster.stream_width} * raster.stream_depth / 8;
    return std::max(least, size / raster.stream_height);
}

void expand_555(const std::uint8_t* in, std::span<std::uint8_t> out) {
    for (std::size_t x = 0; x < out.size(); x += 3, in += 2) {
        const Rgba colour = colour_of_555(static_cast<unsigned>(in[0] << 8 | in[1]));
        out[x] = colour.r, out[x + 1] = colour.g, out[x + 2] = colour.b;
    }
}

// Pixels as they are: 5-5-5, R,G,B or A,R,G,B.
Result<Outcome> decode_plain(const ByteReader& data, const PictRaster& raster, const ReadOptions& options,
                             RowSink& sink) {
    const std::int64_t row = plain_row(raster, data.size());
    const bool data_short = data.size() < row * raster.stream_height;
    if (data.size() < row) return Error{Fault::truncated, "QuickTime pixels"};
    auto bitmap =
        bitmap_for(raster.stream_width, raster.stream_height, raster.bits, options.limits, data_short);
    if (!bitmap) return bitmap.error();
    sink.begin(*bitmap);
    const auto body = [&](const std::uint8_t* stored, int y) {
        const auto out = bitmap->writable_row(y);
        switch (raster.stream_depth) {
            case 16: expand_555(stored, out); break;
            case 24: std::copy_n(stored, out.size(), out.data()); break;
            default: drop_fourth(stored, out.data(), out.size() / 3, 1, 2, 3);
        }
    };
    const auto rows = read_raw_rows(data, static_cast<std::size_t>(row), RowOrder{raster.stream_height},
                                    *bitmap, sink, body);
    if (!rows) return rows.error();
    if (!data_short) bitmap->clear_rows(*rows, bitmap->height());
    return outcome_of(std::move(*bitmap), 0, *rows);
}

Result<Outcome> decode_video(const ByteReader& data, const PictRaster& raster, const ReadOptions& options) {
    ByteReader in = data;
    const auto bytes = in.bytes(static_cast<std::size_t>(std::min<std::int64_t>(in.size(), kMaxVideoFrame)));
    // The smallest code covers a few hundred pixels; a stream far below that is no picture.
    const std::int64_t pixels = std::int64_t{raster.stream_width} * raster.stream_height;
    if (pixels > static_cast<std::int64_t>(bytes.size()) * 1024)
        return Error{Fault::truncated, "QuickTime frame"};
    auto bitmap = Bitmap::create(raster.stream_width, raster.stream_height, raster.bits, options.limits);
    if (!bitmap) return bitmap.error();
    const bool road = raster.stream == letters("rpza");
    const int rows = road ? decode_road_pizza(bytes, *bitmap) : decode_cinepak(bytes, *bitmap);
    if (rows == 0) return Error{Fault::truncated, "QuickTime frame"};
    return outcome_of(std::move(*bitmap), 0, rows);
}

}  // namespace

bool settle_pict_stream(const ByteReader& data, PictRaster& raster) {
    if (const Codec* codec = codec_of(raster.stream)) {
        const auto info = codec->info(data, {});
        if (!info) return false;
        raster.stream_width = info->width;
        raster.stream_height = info->height;
        raster.bits = info->bits;
        return true;
    }
    if (raster.stream_width <= 0 || raster.stream_height <= 0) return false;
    if (raster.stream == letters("raw ")) raster.bits = plain_bits(raster);
    if (raster.stream == letters("rpza")) raster.bits = 16;
    if (raster.stream == letters("cvid")) raster.bits = 24;
    return raster.bits > 0;
}

Result<Outcome> decode_pict_stream(const ByteReader& data, const PictRaster& raster,
                                   const ReadOptions& options, RowSink& sink) {
    if (const Codec* codec = codec_of(raster.stream)) {
        ReadOptions whole = options;
        whole.reduce = whole.page = 1;
        auto outcome = codec->decode(data, whole, sink);
        if (outcome) outcome->bitmap.metadata().orientation = Orientation::normal;
        return outcome;
    }
    if (raster.stream == letters("raw ")) return decode_plain(data, raster, options, sink);
    return decode_video(data, raster, options);
}

}  // namespace quillmark::imaging::codecs
