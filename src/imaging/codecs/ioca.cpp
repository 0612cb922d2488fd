// IBM IOCA images (.ica), bare or inside MO:DCA and AFP documents: every image is a page.
// Sources: IOCA and MO:DCA references of the AFP Consortium.
#include <algorithm>
#include <tuple>
#include <utility>

#include "imaging/codecs/ioca_content.h"
#include "imaging/codecs/ioca_pages.h"
#include "imaging/codecs/ioca_painter.h"
#include "imaging/codecs/ioca_plane.h"
#include "imaging/codecs/ioca_writer.h"
#include "imaging/convert_depth.h"

namespace quillmark::imaging::codecs {

extern const Codec jpeg;

namespace {

constexpr int kOneDimensional = 71, kTwoDimensional = 72, kGroup4 = 73;

// One image, ready to be decoded.
struct Image {
    IocaPages pages;
    Buffer segment;
    IocaContent content;
    int width = 0, height = 0, bits = 0;
    Resolution resolution;

    const IocaBlock& first() const { return content.blocks.front(); }
    // A JPEG file is all there is.
    bool whole_jpeg() const {
        return !content.tiled && first().bands.empty() &&
               first().encoding.compression() == IocaCompression::jpeg;
    }
};

bool is_jpeg(const IocaBlock& block) { return block.encoding.compression() == IocaCompression::jpeg; }

std::span<const std::uint8_t> first_data(const IocaBlock& block) {
    return block.bands.empty() ? block.data.bytes() : block.bands.front().bytes();
}

ByteReader reader_of(std::span<const std::uint8_t> bytes) { return ByteReader{memory_source(bytes)}; }

// The codes tell the fax codings apart; what is coded in other ways counts as the first of them.
int format_code(const IocaEncoding& encoding) {
    switch (encoding.compression()) {
        case IocaCompression::group3_2d: return kTwoDimensional;
        case IocaCompression::ibm_mmr:
        case IocaCompression::group4: return kGroup4;
        default: return kOneDimensional;
    }
}

std::string_view compression_name(const IocaEncoding& encoding) {
    switch (encoding.compression()) {
        case IocaCompression::ibm_mmr: return "IBM MMR";
        case IocaCompression::run_lines: return "RL4";
        case IocaCompression::aligned_mh:
        case IocaCompression::group3: return "CCITT G3 1D";
        case IocaCompression::group3_2d: return "CCITT G3 2D";
        case IocaCompression::group4: return "CCITT G4";
        case IocaCompression::packbits: return "PackBits";
        case IocaCompression::lzw: return "LZW";
        case IocaCompression::jpeg: return "JPEG";
        default: return "";
    }
}

IocaPlane plane_of(const IocaBlock& block, int band, std::span<const std::uint8_t> data) {
    const auto i = static_cast<std::size_t>(band);
    return {data, block.encoding, static_cast<int>(block.width), static_cast<int>(block.height),
            block.bands.empty() ? block.samples.pixel_bits() : block.samples.bits[i]};
}

// --- sizes

Result<int> block_bits(const IocaBlock& block, const ReadOptions& options) {
    if (is_jpeg(block) && block.bands.empty()) {
        const auto inner = jpeg.info(reader_of(block.data.bytes()), options);
        if (!inner) return inner.error();
        return inner->bits;
    }
    return block.samples.count == 1 ? block.samples.bits[0] : 24;
}

// The sides of an image without tiles: JPEG data know better, and rows can be counted.
Result<void> settle_whole(Image& image, const ReadOptions& options) {
    IocaBlock& block = image.content.blocks.front();
    if (is_jpeg(block)) {
        const auto inner = jpeg.info(reader_of(first_data(block)), options);
        if (!inner) return inner.error();
        block.width = inner->width;
        block.height = inner->height;
        return {};
    }
    if (block.encoding.compression() == IocaCompression::solid)
        return Error{Fault::unsupported, "solid image without tiles"};
    if (block.width == 0) return Error{Fault::malformed, "width is not stated"};
    if (block.height == 0) {
        const auto rows = count_ioca_rows(plane_of(block, 0, first_data(block)), options.limits);
        if (!rows) return rows.error();
        block.height = *rows;
    }
    return {};
}

std::pair<std::int64_t, std::int64_t> tiled_size(const IocaContent& content) {
    if (content.width > 0 && content.height > 0) return {content.width, content.height};
    std::int64_t width = 0, height = 0;
    for (const IocaBlock& tile : content.blocks) {
        width = std::max(width, tile.x + tile.width);
        height = std::max(height, tile.y + tile.height);
    }
    return {width, height};
}

// Tiles may overlap and repeat, but the work stays in proportion to the image, and a large image to its data.
Result<void> check_tiles(const Image& image, std::int64_t width, std::int64_t height,
                         const ReadOptions& options) {
    constexpr std::int64_t kMaxCover = 4, kSmall = 64'000'000, kPixelsPerByte = 1 << 15;
    std::int64_t covered = 0;
    for (const IocaBlock& tile : image.content.blocks) {
        const auto fits = Bitmap::check_size(tile.width, tile.height, 1, options.limits);
        if (!fits) return fits.error();
        covered += tile.width * tile.height;
    }
    const std::int64_t area = width * height;
    if (covered > area * kMaxCover + 65'536) return Error{Fault::malformed, "tiles cover too much"};
    if (area > kSmall && area / kPixelsPerByte > image.pages.page.size)
        return Error{Fault::too_large, "tiled image with little data"};
    return {};
}

Result<int> common_bits(const IocaContent& content, const ReadOptions& options) {
    int common = 0;
    for (const IocaBlock& block : content.blocks) {
        const auto bits = block_bits(block, options);
        if (!bits && !content.tiled) return bits.error();
        // A tile that cannot be read does not decide on the others.
        if (!bits) continue;
        common = common == 0 || common == *bits ? *bits : 24;
    }
    if (common == 0) return Error{Fault::malformed, "tiles"};
    return common;
}

Result<void> settle_sizes(Image& image, const ReadOptions& options) {
    std::int64_t width = 0, height = 0;
    if (image.content.tiled) {
        std::tie(width, height) = tiled_size(image.content);
    } else {
        if (const auto settled = settle_whole(image, options); !settled) return settled.error();
        width = image.first().width;
        height = image.first().height;
    }
    const auto bits = common_bits(image.content, options);
    if (!bits) return bits.error();
    if (const auto fits = Bitmap::check_size(width, height, *bits, options.limits); !fits)
        return fits.error();
    if (image.content.tiled) {
        if (const auto fine = check_tiles(image, width, height, options); !fine) return fine.error();
    }
    image.width = static_cast<int>(width);
    image.height = static_cast<int>(height);
    image.bits = *bits;
    return {};
}

Result<Image> open_image(const ByteReader& in, const ReadOptions& options) {
    auto pages = find_ioca_page(in, options.page, options.limits);
    if (!pages) return pages.error();
    auto segment = join_ioca_page(in, pages->page);
    if (!segment) return segment.error();
    auto content = parse_ioca({std::as_const(*segment).data(), static_cast<std::size_t>(pages->page.size)});
    if (!content) return content.error();
    Image image;
    image.pages = *pages;
    image.segment = std::move(*segment);
    image.content = std::move(*content);
    for (const IocaBlock& block : image.content.blocks) {
        if (const auto known = check_ioca_encoding(block.encoding); !known) return known.error();
    }
    if (const auto settled = settle_sizes(image, options); !settled) return settled.error();
    const Resolution& outer = image.pages.page.resolution;
    image.resolution = outer.x > 0 ? outer : image.content.resolution;
    return image;
}

bool probe(std::span<const std::uint8_t> head) { return looks_like_ioca(head); }

Result<ImageInfo> info(ByteReader in, const ReadOptions& options) {
    const auto image = open_image(in, options);
    if (!image) return image.error();
    ImageInfo info;
    info.format_code = format_code(image->first().encoding);
    info.width = image->width;
    info.height = image->height;
    info.bits = image->bits;
    info.pages = image->pages.count;
    info.page = image->pages.number;
    info.resolution = image->resolution;
    info.compression = compression_name(image->first().encoding);
    return info;
}

// --- decoding

Result<Outcome> decode_jpeg(const Image& image, const ReadOptions& options, RowSink& sink) {
    auto outcome = jpeg.decode(reader_of(image.first().data.bytes()), options, sink);
    if (!outcome) return outcome.error();
    outcome->format_code = format_code(image.first().encoding);
    Metadata& metadata = outcome->bitmap.metadata();
    metadata.orientation = Orientation::normal;
    if (image.resolution.x > 0) metadata.resolution = image.resolution;
    return outcome;
}

// Decodes JPEG data of a tile or a band; they may not be larger than it by more than blocks that stick out.
Result<Outcome> inner_jpeg(const IocaBlock& block, std::span<const std::uint8_t> data,
                           const ReadOptions& options) {
    constexpr std::int64_t kMaxBlock = 32;
    ReadOptions whole = options;
    whole.reduce = 1;
    const auto facts = jpeg.info(reader_of(data), whole);
    if (!facts) return facts.error();
    if (facts->width > block.width + kMaxBlock || facts->height > block.height + kMaxBlock)
        return Error{Fault::malformed, "JPEG data larger than their tile"};
    RowSink quiet;
    return jpeg.decode(reader_of(data), whole, quiet);
}

class Decoder {
  public:
    Decoder(const Image& image, Bitmap& bitmap, const ReadOptions& options, RowSink& sink)
        : image_{image}, options_{options}, painter_{bitmap, sink, work(image.content)} {}

    // Rows shown. Faults: those of the first block when there is no other.
    Result<int> run() {
        if (image_.content.tiled) painter_.clear();
        int shown = image_.height;
        bool any = false;
        Error first_error{Fault::truncated, "pixels"};
        for (const IocaBlock& block : image_.content.blocks) {
            const auto rows = decode_block(block);
            if (!rows && (!image_.content.tiled || rows.error().fault == Fault::cancelled))
                return rows.error();
            if (!rows && !any) first_error = rows.error();
            any = any || rows;
            const std::int64_t got = rows ? *rows : 0;
            if (got < std::min(block.height, image_.height - block.y))
                shown = static_cast<int>(std::min<std::int64_t>(shown, block.y + got));
            if (!painter_.report()) return Error{Fault::cancelled, "pixels"};
        }
        if (!any) return first_error;
        return std::max(shown, 1);
    }
    bool damaged() const { return damaged_; }

  private:
    static std::int64_t work(const IocaContent& content) {
        std::int64_t rows = 0;
        for (const IocaBlock& block : content.blocks)
            rows += block.height * static_cast<std::int64_t>(std::max<std::size_t>(1, block.bands.size()));
        return std::max<std::int64_t>(rows, 1);
    }

    Result<int> decode_block(const IocaBlock& block) {
        if (block.encoding.compression() == IocaCompression::solid) {
            painter_.fill(block, block.colour);
            return static_cast<int>(block.height);
        }
        if (block.bands.empty()) return decode_plane(block, 0, block.data.bytes());
        return decode_bands(block);
    }

    // Bands without data are zero throughout.
    Result<int> decode_bands(const IocaBlock& block) {
        if (std::ranges::all_of(block.bands, [](const IocaData& band) { return band.bytes().empty(); }))
            return Error{Fault::truncated, "bands"};
        const bool ink = block.samples.colour == IocaColour::cmyk;
        if (block.samples.count > 1) painter_.fill(block, ink ? Rgba{255, 255, 255, 255} : Rgba{});
        int rows = static_cast<int>(block.height);
        for (std::size_t i = 0; i < block.bands.size(); ++i) {
            const auto data = block.bands[i].bytes();
            if (data.empty()) continue;
            const auto got = decode_plane(block, static_cast<int>(i), data);
            if (!got) return got.error();
            rows = std::min(rows, *got);
        }
        painter_.finish_bands(block);
        return rows;
    }

    Result<int> decode_plane(const IocaBlock& block, int band, std::span<const std::uint8_t> data) {
        if (is_jpeg(block)) return decode_jpeg_plane(block, band, data);
        const auto rows = read_ioca_plane(
            plane_of(block, band, data),
            [&](int y, const std::uint8_t* packed) { return painter_.samples(block, band, y, packed); });
        if (!rows) return rows.error();
        damaged_ = damaged_ || rows->damaged;
        return rows->rows;
    }

    Result<int> decode_jpeg_plane(const IocaBlock& block, int band, std::span<const std::uint8_t> data) {
        const auto inner = inner_jpeg(block, data, options_);
        if (!inner) return inner.error();
        const Bitmap& bitmap = inner->bitmap;
        const bool gray = bitmap.layout() == Layout::index8;
        if (!block.bands.empty() && !gray) return Error{Fault::malformed, "JPEG data of a band"};
        damaged_ = damaged_ || !inner->warnings.empty();
        const auto width = static_cast<std::size_t>(block.width);
        std::vector<std::uint8_t> row(width * 3);
        const int rows = static_cast<int>(std::min<std::int64_t>(inner->rows_shown, block.height));
        for (int y = 0; y < rows; ++y) {
            const auto count = std::min(width, static_cast<std::size_t>(bitmap.width()));
            const bool as_is = gray && (!block.bands.empty() || image_.bits == 8);
            if (as_is)
                std::ranges::copy(bitmap.row(y).first(count), row.begin());
            else
                row_to_rgb(bitmap, y, 0, std::span{row}.first(count * 3));
            const bool go_on =
                block.bands.empty()
                    ? painter_.finished(block, y, std::span{row}.first(width * (as_is ? 1 : 3)))
                    : painter_.samples(block, band, y, row.data());
            if (!go_on) return Error{Fault::cancelled, "pixels"};
        }
        return rows;
    }

    const Image& image_;
    const ReadOptions& options_;
    IocaPainter painter_;
    bool damaged_ = false;
};

Result<Outcome> decode(ByteReader in, const ReadOptions& options, RowSink& sink) {
    const auto image = open_image(in, options);
    if (!image) return image.error();
    if (image->whole_jpeg()) return decode_jpeg(*image, options, sink);
    auto bitmap = Bitmap::create(image->width, image->height, image->bits, options.limits);
    if (!bitmap) return bitmap.error();
    if (image->bits == 1) bitmap->set_palette({{255, 255, 255, 255}, {0, 0, 0, 255}});
    bitmap->metadata().resolution = image->resolution;
    sink.begin(*bitmap);
    Decoder decoder{*image, *bitmap, options, sink};
    const auto rows = decoder.run();
    if (!rows) return rows.error();
    Outcome outcome;
    outcome.format_code = format_code(image->first().encoding);
    outcome.rows_shown = *rows;
    outcome.rows_declared = image->height;
    outcome.warnings = image->content.warnings;
    if (*rows < image->height) outcome.warnings.push_back("image data end early");
    if (decoder.damaged()) outcome.warnings.push_back("damaged lines");
    outcome.bitmap = std::move(*bitmap);
    return outcome;
}

constexpr int kDepths[] = {1};
constexpr FormatCode kFormats[] = {
    {kOneDimensional, "G3 1-D", kDepths}, {kTwoDimensional, "G3 2-D"}, {kGroup4, "G4"}};
constexpr std::string_view kExtensions[] = {"ica", "ioca", "mod", "modca", "afp", "mda"};

}  // namespace

extern const Codec ioca;
const Codec ioca{"IOCA", kFormats, kExtensions, Pages::many, false,      true,
                 probe,  info,     decode,      nullptr,     encode_ioca};

}  // namespace quillmark::imaging::codecs
