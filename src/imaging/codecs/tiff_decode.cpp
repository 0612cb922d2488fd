#include "imaging/codecs/tiff_decode.h"

#include <algorithm>
#include <cstring>
#include <optional>

#include "imaging/codecs/fax_decoder.h"
#include "imaging/codecs/row_stream.h"
#include "imaging/codecs/tiff_pixels.h"
#include "imaging/swizzle.h"

namespace quillmark::imaging::tiff {
namespace {

constexpr int kReportRows = 64;
constexpr std::size_t kReadAhead = 256 << 10;
constexpr std::size_t kDirectRow = 8 << 10;  // rows of this size are worth a read of their own

constexpr std::int64_t kReadAheadSpare = 4096;

// How our own coder reads the page's rows; nothing where they are left to libtiff.
std::optional<fax::Coding> fax_coding(const Page& page) {
    if (page.bits != 1 || page.samples != 1 || page.width > 1'000'000) return {};
    switch (page.compression) {
        case COMPRESSION_CCITTRLE: return fax::Coding::aligned_rows;
        case COMPRESSION_CCITTFAX3:
            return page.fax_options & GROUP3OPT_2DENCODING ? fax::Coding::group3_2d : fax::Coding::group3;
        case COMPRESSION_CCITTFAX4: return fax::Coding::group4;
        default: return {};
    }
}

// Rows of an image in strips. Uncompressed rows are read from the file itself, past libtiff: no second
// buffer, and a byte count that lies does no harm.
class StripRows {
  public:
    StripRows(Handle& handle, const Page& page)
        : handle_{handle},
          page_{page},
          row_bytes_{static_cast<std::size_t>(TIFFScanlineSize64(handle.get()))} {}

    std::size_t row_bytes() const { return row_bytes_; }

    /// Whether the file holds any data for the strip with this row.
    bool present(std::uint32_t y, std::uint16_t plane) const {
        const std::uint32_t strip = TIFFComputeStrip(handle_.get(), y, plane);
        const auto offset = static_cast<std::int64_t>(TIFFGetStrileOffset(handle_.get(), strip));
        return offset > 0 && offset < handle_.size();
    }

    /// Reads row y of a plane, native byte order. Rows of a strip must be asked for in order.
    bool read(std::uint32_t y, std::uint16_t plane, std::uint8_t* out) {
        if (fax_) return read_fax(y, plane, out);
        if (page_.compression != COMPRESSION_NONE) return TIFFReadScanline(handle_.get(), out, y, plane) == 1;
        const std::uint32_t strip = TIFFComputeStrip(handle_.get(), y, plane);
        const auto begin = static_cast<std::int64_t>(TIFFGetStrileOffset(handle_.get(), strip));
        const std::int64_t within =
            static_cast<std::int64_t>(y % page_.rows_per_strip) * static_cast<std::int64_t>(row_bytes_);
        if (!fetch(begin + within, {out, row_bytes_})) return false;
        restore_order(out);
        return true;
    }

    /// Rows that were damaged, where the coding tells.
    int damaged_rows() const { return damaged_; }

  private:
    // Fax strips are taken raw and decoded by our own coder.
    bool read_fax(std::uint32_t y, std::uint16_t plane, std::uint8_t* out) {
        if (y % page_.rows_per_strip == 0 && !begin_fax_strip(TIFFComputeStrip(handle_.get(), y, plane)))
            decoder_.reset();
        if (!decoder_) return false;
        const auto row = decoder_->next({out, row_bytes_});
        if (row == fax::Decoder::Row::good) return good_rows_ = true;
        // Between good rows a damaged one is worth showing; data that never gave one are not fax data.
        if (row == fax::Decoder::Row::end || fax_ == fax::Coding::group4 || !good_rows_) return false;
        ++damaged_;
        return true;
    }

    bool begin_fax_strip(std::uint32_t strip) {
        const auto offset = static_cast<std::int64_t>(TIFFGetStrileOffset(handle_.get(), strip));
        const auto told = static_cast<std::int64_t>(TIFFGetStrileByteCount(handle_.get(), strip));
        if (offset <= 0 || offset >= handle_.size()) return false;
        // A count that is missing or lies: what the file still holds, as far as rows can need it.
        const std::int64_t most =
            (std::int64_t{page_.width} * 5 / 8 + 64) * page_.rows_per_strip + kReadAheadSpare;
        const std::int64_t held = std::min(handle_.size() - offset, most);
        strip_.resize(static_cast<std::size_t>(told > 0 ? std::min(told, held) : held));
        strip_.resize(handle_.read_at(offset, strip_));
        fax::Layout layout{*fax_, static_cast<int>(page_.width), reversed_};
        const bool framed = layout.coding == fax::Coding::group3 || layout.coding == fax::Coding::group3_2d;
        if (framed && !fax::has_end_of_line(strip_, reversed_))
            layout.coding =
                page_.fax_options & GROUP3OPT_FILLBITS ? fax::Coding::aligned_rows : fax::Coding::rows;
        decoder_.emplace(strip_, layout);
        good_rows_ = false;
        return true;
    }

    bool fetch(std::int64_t offset, std::span<std::uint8_t> out) {
        if (out.size() >= kDirectRow) return handle_.read_at(offset, out) == out.size();
        const auto held_end = held_at_ + static_cast<std::int64_t>(held_);
        if (offset < held_at_ || offset + std::ssize(out) > held_end) {
            ahead_.resize(kReadAhead);
            held_at_ = offset;
            held_ = handle_.read_at(offset, ahead_);
            if (held_ < out.size()) return false;
        }
        std::memcpy(out.data(), ahead_.data() + (offset - held_at_), out.size());
        return true;
    }

    // What libtiff does to compressed data by itself.
    void restore_order(std::uint8_t* row) const {
        TIFF* tiff = handle_.get();
        const auto size = static_cast<tmsize_t>(row_bytes_);
        if (reversed_) TIFFReverseBits(row, size);
        if (!TIFFIsByteSwapped(tiff)) return;
        if (page_.bits == 16) TIFFSwabArrayOfShort(reinterpret_cast<std::uint16_t*>(row), size / 2);
        if (page_.bits == 24) TIFFSwabArrayOfTriples(row, size / 3);
        if (page_.bits == 32) TIFFSwabArrayOfLong(reinterpret_cast<std::uint32_t*>(row), size / 4);
        if (page_.bits == 64) TIFFSwabArrayOfLong8(reinterpret_cast<std::uint64_t*>(row), size / 8);
    }

    static bool is_reversed(TIFF* tiff) {
        std::uint16_t order = FILLORDER_MSB2LSB;
        TIFFGetFieldDefaulted(tiff, TIFFTAG_FILLORDER, &order);
        return order == FILLORDER_LSB2MSB;
    }

    Handle& handle_;
    const Page& page_;
    std::size_t row_bytes_;
    bool reversed_ = is_reversed(handle_.get());
    std::optional<fax::Coding> fax_ = fax_coding(page_);
    std::optional<fax::Decoder> decoder_;
    std::vector<std::uint8_t> strip_;
    int damaged_ = 0;
    bool good_rows_ = false;  // this strip gave one
    std::vector<std::uint8_t> ahead_;
    std::int64_t held_at_ = 0;
    std::size_t held_ = 0;
};

// Where decoded pixels go, and what is counted on the way.
class Consumer {
  public:
    virtual ~Consumer() = default;
    /// A row (or nullptr) that takes samples as they come, so that they need not be put().
    virtual std::uint8_t* direct_row(std::uint32_t) { return nullptr; }
    virtual void put(std::uint32_t x, std::uint32_t y, std::size_t count,
                     std::span<const std::uint8_t* const> planes) = 0;
    /// Pixels [x, x + count) of rows [first, last) could not be decoded.
    virtual void missing(std::uint32_t x, std::size_t count, std::uint32_t first, std::uint32_t last) = 0;
    /// Rows were delivered, but not all of them whole.
    virtual void damaged() {}
    /// Rows [first, last) are complete, some of them perhaps missing. False: stop.
    virtual bool rows(std::uint32_t first, std::uint32_t last, bool any_decoded) = 0;
};

class BitmapFiller final : public Consumer {
  public:
    BitmapFiller(const Page& page, Range range, Bitmap bitmap, bool zeroed, RowSink& sink)
        : page_{page}, converter_{page, range}, zeroed_{zeroed}, sink_{sink} {
        outcome_.bitmap = std::move(bitmap);
        outcome_.format_code = page.format_code();
        outcome_.rows_declared = outcome_.bitmap.height();
        sink_.begin(outcome_.bitmap);
    }

    std::uint8_t* direct_row(std::uint32_t y) override {
        return page_.stored_as_bitmap() ? outcome_.bitmap.writable_row(static_cast<int>(y)).data() : nullptr;
    }
    void put(std::uint32_t x, std::uint32_t y, std::size_t count,
             std::span<const std::uint8_t* const> planes) override {
        converter_.put(outcome_.bitmap, static_cast<int>(x), static_cast<int>(y), count, planes);
    }
    void missing(std::uint32_t x, std::size_t count, std::uint32_t first, std::uint32_t last) override {
        damaged_ = true;
        if (zeroed_ && !page_.stored_as_bitmap()) return;
        const int bits = pixel_bits(outcome_.bitmap.layout());
        const std::size_t from = x * static_cast<std::size_t>(bits) / 8;
        const std::size_t size = (count * static_cast<std::size_t>(bits) + 7) / 8;
        // Of zeroed memory only the first row can have been touched, by a decoder that gave up in it.
        if (zeroed_) last = std::min(last, first + 1);
        for (std::uint32_t y = first; y < last; ++y) {
            std::memset(outcome_.bitmap.writable_row(static_cast<int>(y)).data() + from, 0, size);
        }
    }
    void damaged() override { damaged_ = true; }
    bool rows(std::uint32_t first, std::uint32_t last, bool any_decoded) override {
        const int from = static_cast<int>(first), to = static_cast<int>(last);
        if (any_decoded) outcome_.rows_shown += to - from;
        if (to - reported_ < kReportRows && to != outcome_.rows_declared) return true;
        const int since = std::exchange(reported_, to);
        return sink_.rows(outcome_.bitmap, since, to, to, outcome_.rows_declared);
    }

    Bitmap& bitmap() { return outcome_.bitmap; }
    Outcome take() {
        if (damaged_) outcome_.warnings.push_back("TIFF strip or tile is damaged");
        return std::move(outcome_);
    }

  private:
    static int pixel_bits(Layout layout) {
        switch (layout) {
            case Layout::bit1: return 1;
            case Layout::index8: return 8;
            case Layout::gray16: return 16;
            case Layout::rgb24: return 24;
            case Layout::rgba32: return 32;
        }
        return 8;
    }

    const Page& page_;
    RowConverter converter_;
    bool zeroed_;
    RowSink& sink_;
    Outcome outcome_;
    int reported_ = 0;
    bool damaged_ = false;
};

// The first of two passes over floating point images.
class RangeConsumer final : public Consumer {
  public:
    RangeConsumer(const Page& page, RowSink& sink, const Bitmap& bitmap)
        : finder_{page}, sink_{sink}, bitmap_{bitmap} {}
    void put(std::uint32_t, std::uint32_t, std::size_t count,
             std::span<const std::uint8_t* const> planes) override {
        for (const std::uint8_t* plane : planes) finder_.look_at(plane, count);
    }
    void missing(std::uint32_t, std::size_t, std::uint32_t, std::uint32_t) override {}
    bool rows(std::uint32_t, std::uint32_t last, bool) override {
        return last % kReportRows != 0 || sink_.rows(bitmap_, 0, 0, 0, bitmap_.height());
    }
    Range range() const { return finder_.range(); }

  private:
    RangeFinder finder_;
    RowSink& sink_;
    const Bitmap& bitmap_;
};

int planes_needed(const Page& page) {
    switch (page.kind) {
        case Kind::gray_alpha:
        case Kind::palette_alpha:
        case Kind::rgb_alpha: return page.color_samples + 1;
        case Kind::rgb:
        case Kind::cmyk:
        case Kind::lab: return page.color_samples;
        default: return 1;
    }
}

constexpr Error kCancelled{Fault::cancelled, "TIFF"};
constexpr Error kRowSize{Fault::malformed, "TIFF row size"};

// Bytes of width pixels in one buffer: interleaved samples, or one plane.
std::size_t sample_bytes(const Page& page, std::uint32_t width) {
    const auto samples = static_cast<std::uint64_t>(page.separate ? 1 : page.samples);
    return static_cast<std::size_t>((width * samples * static_cast<std::uint64_t>(page.bits) + 7) / 8);
}

// Interleaved samples in strips: row by row, straight into the bitmap where the layouts agree.
Result<void> walk_strips(Handle& handle, const Page& page, Consumer& consumer) {
    StripRows source{handle, page};
    const std::size_t needed = sample_bytes(page, page.width);
    if (source.row_bytes() < needed) return kRowSize;
    std::vector<std::uint8_t> scratch;
    std::uint32_t y = 0;
    while (y < page.height) {
        const std::uint32_t end =
            std::min<std::uint32_t>(page.height, (y / page.rows_per_strip + 1) * page.rows_per_strip);
        bool good = source.present(y, 0);
        for (; good && y < end; ++y) {
            std::uint8_t* row = source.row_bytes() == needed ? consumer.direct_row(y) : nullptr;
            const bool direct = row != nullptr;
            if (!direct) {
                scratch.resize(source.row_bytes());
                row = scratch.data();
            }
            good = source.read(y, 0, row);
            if (!good) break;
            if (!direct) consumer.put(0, y, page.width, std::span<const std::uint8_t* const>{&row, 1});
            if (!consumer.rows(y, y + 1, true)) return kCancelled;
        }
        if (y >= end) continue;
        consumer.missing(0, page.width, y, end);
        if (!consumer.rows(y, end, false)) return kCancelled;
        y = end;
    }
    if (source.damaged_rows() > 0) consumer.damaged();
    return {};
}

// Strips of separate planes, and of codecs that only know whole strips: one strip of all planes at a time.
Result<void> walk_strip_groups(Handle& handle, const Page& page, Consumer& consumer, const Limits& limits) {
    StripRows source{handle, page};
    if (source.row_bytes() < sample_bytes(page, page.width)) return kRowSize;
    const auto planes = static_cast<std::size_t>(planes_needed(page));
    const std::size_t plane_bytes = source.row_bytes() * page.rows_per_strip;
    if (plane_bytes * planes > static_cast<std::size_t>(limits.max_bytes))
        return Error{Fault::too_large, "TIFF strip"};
    Buffer scratch = Buffer::allocate_zeroed(plane_bytes * planes);
    if (!scratch) return Error{Fault::out_of_memory, "TIFF strip"};
    std::vector<const std::uint8_t*> rows(planes);
    for (std::uint32_t first = 0; first < page.height; first += page.rows_per_strip) {
        const std::uint32_t end = std::min(page.height, first + page.rows_per_strip);
        std::uint32_t good_end = end;  // rows that all planes have
        for (std::size_t p = 0; p < planes; ++p) {
            const auto plane = static_cast<std::uint16_t>(p);
            std::uint8_t* at = scratch.data() + p * plane_bytes;
            if (!source.present(first, plane)) good_end = first;
            if (page.compression == COMPRESSION_JBIG) {
                const std::uint32_t strip = TIFFComputeStrip(handle.get(), first, plane);
                if (good_end > first &&
                    TIFFReadEncodedStrip(handle.get(), strip, at, static_cast<tmsize_t>(plane_bytes)) < 0)
                    good_end = first;
                continue;
            }
            for (std::uint32_t y = first; y < good_end; ++y, at += source.row_bytes()) {
                if (!source.read(y, plane, at)) good_end = y;
            }
        }
        for (std::uint32_t y = first; y < good_end; ++y) {
            for (std::size_t p = 0; p < planes; ++p)
                rows[p] = scratch.data() + p * plane_bytes + (y - first) * source.row_bytes();
            consumer.put(0, y, page.width, rows);
            if (!consumer.rows(y, y + 1, true)) return kCancelled;
        }
        if (good_end == end) continue;
        consumer.missing(0, page.width, good_end, end);
        if (!consumer.rows(good_end, end, false)) return kCancelled;
    }
    return {};
}

bool read_tile(Handle& handle, std::uint32_t x, std::uint32_t y, std::uint16_t plane, std::uint8_t* out,
               std::size_t size) {
    const std::uint32_t tile = TIFFComputeTile(handle.get(), x, y, 0, plane);
    const auto offset = static_cast<std::int64_t>(TIFFGetStrileOffset(handle.get(), tile));
    if (offset <= 0 || offset >= handle.size()) return false;
    return TIFFReadEncodedTile(handle.get(), tile, out, static_cast<tmsize_t>(size)) >= 0;
}

Result<void> walk_tiles(Handle& handle, const Page& page, Consumer& consumer, const Limits& limits) {
    const auto planes = static_cast<std::size_t>(page.separate ? planes_needed(page) : 1);
    const std::uint64_t tile_bytes = TIFFTileSize64(handle.get());
    const auto tile_row = static_cast<std::size_t>(TIFFTileRowSize64(handle.get()));
    if (tile_bytes == 0 || tile_bytes * planes > static_cast<std::uint64_t>(limits.max_bytes))
        return Error{Fault::too_large, "TIFF tile"};
    if (tile_row < sample_bytes(page, page.tile_width) || tile_bytes / page.tile_height < tile_row)
        return kRowSize;
    if (page.bitmap_bits == 1 && page.tile_width % 8 != 0)
        return Error{Fault::unsupported, "TIFF tile width"};
    const auto plane_bytes = static_cast<std::size_t>(tile_bytes);
    Buffer scratch = Buffer::allocate_zeroed(plane_bytes * planes);
    if (!scratch) return Error{Fault::out_of_memory, "TIFF tile"};
    std::vector<const std::uint8_t*> rows(planes);
    for (std::uint32_t y = 0; y < page.height; y += page.tile_height) {
        const std::uint32_t end = std::min(page.height, y + page.tile_height);
        bool any = false;
        for (std::uint32_t x = 0; x < page.width; x += page.tile_width) {
            const std::size_t count = std::min(page.tile_width, page.width - x);
            bool good = true;
            for (std::size_t p = 0; p < planes && good; ++p) {
                good = read_tile(handle, x, y, static_cast<std::uint16_t>(p),
                                 scratch.data() + p * plane_bytes, plane_bytes);
            }
            if (!good) consumer.missing(x, count, y, end);
            for (std::uint32_t row = y; good && row < end; ++row) {
                for (std::size_t p = 0; p < planes; ++p)
                    rows[p] = scratch.data() + p * plane_bytes + (row - y) * tile_row;
                consumer.put(x, row, count, rows);
            }
            any = any || good;
        }
        if (!consumer.rows(y, end, any)) return kCancelled;
    }
    return {};
}

Result<void> walk(Handle& handle, const Page& page, Consumer& consumer, const Limits& limits) {
    if (page.tiled) return walk_tiles(handle, page, consumer, limits);
    if (page.separate || page.compression == COMPRESSION_JBIG)
        return walk_strip_groups(handle, page, consumer, limits);
    return walk_strips(handle, page, consumer);
}

// libtiff's own conversion, one strip or row of tiles at a time.
class Converted {
  public:
    explicit Converted(Handle& handle) {
        char reason[1024] = {};
        ready_ =
            TIFFRGBAImageOK(handle.get(), reason) && TIFFRGBAImageBegin(&image_, handle.get(), 1, reason);
        if (ready_) image_.req_orientation = image_.orientation;  // rows as stored
    }
    ~Converted() {
        if (ready_) TIFFRGBAImageEnd(&image_);
    }
    Converted(const Converted&) = delete;
    Converted& operator=(const Converted&) = delete;

    bool ready() const { return ready_; }
    bool get(std::uint32_t y, std::uint32_t rows, std::uint32_t* raster) {
        image_.row_offset = static_cast<int>(y);
        image_.col_offset = 0;
        return TIFFRGBAImageGet(&image_, raster, image_.width, rows) == 1;
    }

  private:
    TIFFRGBAImage image_{};
    bool ready_ = false;
};

Result<void> walk_converted(Handle& handle, const Page& page, BitmapFiller& filler, const Limits& limits) {
    Converted image{handle};
    if (!image.ready()) return Error{Fault::unsupported, "TIFF sample layout"};
    const std::uint32_t band = std::min(page.height, page.tiled ? page.tile_height : page.rows_per_strip);
    const std::uint64_t bytes = std::uint64_t{band} * page.width * 4;
    if (bytes > static_cast<std::uint64_t>(limits.max_bytes)) return Error{Fault::too_large, "TIFF strip"};
    Buffer raster = Buffer::allocate_zeroed(static_cast<std::size_t>(bytes));
    if (!raster) return Error{Fault::out_of_memory, "TIFF strip"};
    for (std::uint32_t y = 0; y < page.height; y += band) {
        const std::uint32_t end = std::min(page.height, y + band);
        const bool good = image.get(y, end - y, reinterpret_cast<std::uint32_t*>(raster.data()));
        if (!good) filler.missing(0, page.width, y, end);
        for (std::uint32_t row = y; good && row < end; ++row) {
            // Words hold alpha, blue, green, red from the top: bytes R, G, B, A.
            drop_fourth(raster.data() + std::size_t{row - y} * page.width * 4,
                        filler.bitmap().writable_row(static_cast<int>(row)).data(), page.width, 0, 1, 2);
        }
        if (!filler.rows(y, end, good)) return kCancelled;
    }
    return {};
}

// Whether the first strip or tile that the page names lies beyond the file's end.
Error nothing_decoded(Handle& handle) {
    const auto offset = static_cast<std::int64_t>(TIFFGetStrileOffset(handle.get(), 0));
    const auto count = static_cast<std::int64_t>(TIFFGetStrileByteCount(handle.get(), 0));
    if (offset > handle.size() || count > handle.size() - offset)
        return Error{Fault::truncated, "TIFF image data"};
    return Error{Fault::malformed, "TIFF image data"};
}

void describe(TIFF* tiff, const Page& page, Bitmap& bitmap) {
    Metadata& metadata = bitmap.metadata();
    metadata.resolution = page.resolution;
    metadata.orientation = page.orientation;
    constexpr std::uint32_t kMaxProfile = 16 << 20;
    std::uint32_t size = 0;
    void* profile = nullptr;
    if (TIFFGetField(tiff, TIFFTAG_ICCPROFILE, &size, &profile) && profile && size > 0 &&
        size <= kMaxProfile) {
        const auto* bytes = static_cast<const std::uint8_t*>(profile);
        metadata.icc = std::make_shared<const std::vector<std::uint8_t>>(bytes, bytes + size);
    }
    char* text = nullptr;
    if (TIFFGetField(tiff, TIFFTAG_IMAGEDESCRIPTION, &text) && text) {
        metadata.comment = text_from_bytes(reinterpret_cast<const std::uint8_t*>(text), std::strlen(text));
    }
    if (!page.palette.empty() && page.bitmap_bits <= 8) bitmap.set_palette(page.palette);
}

// A file much smaller than its picture may deliver next to nothing: memory that stays untouched costs nothing
// then.
bool looks_short(const Handle& handle, const Page& page) {
    return handle.size() * 200 <
           static_cast<std::int64_t>(page.width) * page.height * std::max(page.bitmap_bits, 1) / 8;
}

}  // namespace

Result<Outcome> decode_page(Handle& handle, const Page& page, const ReadOptions& options, RowSink& sink) {
    const bool zeroed = looks_short(handle, page);
    const auto create = zeroed ? &Bitmap::create : &Bitmap::create_unfilled;
    auto bitmap = create(static_cast<int>(page.width), static_cast<int>(page.height), page.bitmap_bits,
                         options.limits, page.gray());
    if (!bitmap) return bitmap.error();
    describe(handle.get(), page, *bitmap);
    Range range;
    if (page.floating && page.kind != Kind::converted) {
        RangeConsumer first_pass{page, sink, *bitmap};
        if (const auto walked = walk(handle, page, first_pass, options.limits); !walked)
            return walked.error();
        range = first_pass.range();
    }
    BitmapFiller filler{page, range, std::move(*bitmap), zeroed, sink};
    const auto walked = page.kind == Kind::converted ? walk_converted(handle, page, filler, options.limits)
                                                     : walk(handle, page, filler, options.limits);
    if (!walked) return walked.error();
    Outcome outcome = filler.take();
    if (outcome.rows_shown == 0) return nothing_decoded(handle);
    const int height = outcome.bitmap.height();
    if (page.alpha_guessed && !zeroed &&
        codecs::make_opaque_if_invisible(outcome.bitmap, codecs::RowOrder{height}, height) &&
        !sink.rows(outcome.bitmap, 0, height, height, height))
        return kCancelled;
    return outcome;
}

}  // namespace quillmark::imaging::tiff
