// Sun raster files (.ras): the layout of <rasterfile.h> of SunOS, and pnmtorast/rasttopnm of netpbm for its
// habits.
#include <algorithm>
#include <array>
#include <cstring>
#include <optional>
#include <utility>

#include "imaging/codecs/chunk_reader.h"
#include "imaging/codecs/row_stream.h"
#include "imaging/convert_depth.h"
#include "imaging/swizzle.h"

namespace quillmark::imaging::codecs {
namespace {

constexpr int kFormat = 55;
constexpr std::uint32_t kMagic = 0x59A66A95;
constexpr std::int64_t kHeaderSize = 32;
constexpr std::uint8_t kEscape = 0x80;  // introduces a run

enum Type : std::uint32_t { kOld = 0, kStandard = 1, kRuns = 2, kRgbOrder = 3 };

struct Header {
    std::uint32_t width = 0, height = 0, depth = 0, type = 0, map_type = 0, map_length = 0;
    bool padded = true;  // rows end on 16-bit boundaries

    std::int64_t unpadded_row() const { return (std::int64_t{width} * depth + 7) / 8; }
    std::int64_t row_bytes() const {
        return padded ? (std::int64_t{width} * depth + 15) / 16 * 2 : unpadded_row();
    }
    int bits() const { return static_cast<int>(depth); }
    int loaded_bits() const { return depth == 32 ? 24 : bits(); }  // the fourth byte is padding
    int columns() const { return static_cast<int>(width); }
    int rows() const { return static_cast<int>(height); }
    bool indexed() const { return depth <= 8; }
    bool has_map() const { return indexed() && map_type == 1 && map_length >= 3; }
};

bool probe(std::span<const std::uint8_t> head) {
    return head.size() >= 4 && head[0] == 0x59 && head[1] == 0xA6 && head[2] == 0x6A && head[3] == 0x95;
}

Result<void> check_variant(const Header& header) {
    switch (header.type) {
        case kOld:
        case kStandard:
        case kRuns:
        case kRgbOrder: break;
        case 4: return Error{Fault::unsupported, "raster type TIFF"};
        case 5: return Error{Fault::unsupported, "raster type IFF"};
        case 0xFFFF: return Error{Fault::unsupported, "experimental raster type"};
        default: return Error{Fault::malformed, "raster type"};
    }
    constexpr std::array<std::uint32_t, 6> kDepths{1, 4, 8, 16, 24, 32};
    if (std::ranges::find(kDepths, header.depth) == kDepths.end()) return Error{Fault::malformed, "depth"};
    return {};
}

// Reads the header and leaves the reader at the colour map.
Result<Header> read_header(ByteReader& in, const Limits& limits) {
    Header header;
    if (in.u32be() != kMagic) return Error{in.failed() ? Fault::truncated : Fault::malformed, "signature"};
    header.width = in.u32be();
    header.height = in.u32be();
    header.depth = in.u32be();
    in.u32be();  // the length of the data is often wrong, and nothing needs it
    header.type = in.u32be();
    header.map_type = in.u32be();
    header.map_length = in.u32be();
    if (in.failed()) return Error{Fault::truncated, "header"};
    if (const auto variant = check_variant(header); !variant) return variant.error();
    const auto size = Bitmap::check_size(header.width, header.height, header.loaded_bits(), limits);
    if (!size) return size.error();
    if (header.map_length > in.remaining()) return Error{Fault::truncated, "colour map"};
    // Some writers forget the padding; only an exact fit tells them.
    const std::int64_t data = in.size() - kHeaderSize - header.map_length;
    if (header.type != kRuns && data == header.unpadded_row() * header.rows()) header.padded = false;
    return header;
}

Result<ImageInfo> info(ByteReader in, const ReadOptions& options) {
    const auto header = read_header(in, options.limits);
    if (!header) return header.error();
    ImageInfo info;
    info.format_code = kFormat;
    info.width = header->columns();
    info.height = header->rows();
    info.bits = header->loaded_bits();
    info.compression = header->type == kRuns ? "RLE" : "";
    return info;
}

// All reds, then all greens, then all blues; leaves the reader at the pixels.
Palette read_map(ByteReader& in, const Header& header) {
    const std::size_t third = header.map_length / 3;
    const std::size_t used = std::min<std::size_t>(third, std::size_t{1} << header.depth);
    const std::int64_t start = in.position();
    Palette palette(used);
    const auto channel = [&](std::size_t index, std::uint8_t Rgba::*member) {
        in.seek(start + static_cast<std::int64_t>(third * index));
        for (Rgba& entry : palette) entry.*member = in.u8();
    };
    channel(0, &Rgba::r);
    channel(1, &Rgba::g);
    channel(2, &Rgba::b);
    return palette;
}

Palette palette_for(ByteReader& in, const Header& header) {
    if (header.has_map()) return read_map(in, header);
    if (header.depth == 1) return {{255, 255, 255, 255}, {0, 0, 0, 255}};  // ink is 1
    return gray_palette(1 << header.depth);
}

// 5-6-5 colour, little-endian: the only known writer of 16 bits stores it so.
void expand_565(const std::uint8_t* in, std::uint8_t* out, int width) {
    for (int x = 0; x < width; ++x, in += 2, out += 3) {
        const unsigned v = in[0] | static_cast<unsigned>(in[1]) << 8;
        const unsigned r = v >> 11, g = v >> 5 & 63, b = v & 31;
        out[0] = static_cast<std::uint8_t>(r << 3 | r >> 2);
        out[1] = static_cast<std::uint8_t>(g << 2 | g >> 4);
        out[2] = static_cast<std::uint8_t>(b << 3 | b >> 2);
    }
}

void convert_row(const Header& header, const std::uint8_t* in, std::span<std::uint8_t> out,
                 BgrSwap swap_bgr) {
    const std::size_t width = header.width;
    switch (header.depth) {
        case 1:
        case 8: std::memcpy(out.data(), in, out.size()); break;
        case 4:
            for (std::size_t x = 0; x < width; ++x)
                out[x] = static_cast<std::uint8_t>(x % 2 ? in[x / 2] & 15 : in[x / 2] >> 4);
            break;
        case 16: expand_565(in, out.data(), header.columns()); break;
        case 24:
            if (header.type == kRgbOrder)
                std::memcpy(out.data(), in, width * 3);
            else
                swap_bgr(in, out.data(), width);
            break;
        case 32:  // the first byte of each pixel is padding
            if (header.type == kRgbOrder)
                drop_fourth(in, out.data(), width, 1, 2, 3);
            else
                drop_fourth(in, out.data(), width, 3, 2, 1);
            break;
        default: break;
    }
}

// Runs: 80 n v stands for n + 1 times v, 80 00 for the byte 80, anything else for itself. Runs may cross
// rows.
class RunDecoder {
  public:
    explicit RunDecoder(ByteReader in) : in_{std::move(in)} {}

    // Returns the bytes delivered: fewer than asked for only at the end of the data.
    std::size_t fill(std::span<std::uint8_t> out) {
        std::size_t done = 0;
        while (done < out.size()) {
            if (left_ == 0 && !next(out, done)) break;
            const std::size_t part = std::min(left_, out.size() - done);
            std::memset(out.data() + done, value_, part);
            left_ -= part;
            done += part;
        }
        return done;
    }

  private:
    // Copies literal bytes, then reads the run they end at. False at the end of the data.
    bool next(std::span<std::uint8_t> out, std::size_t& done) {
        if (!in_.ensure(3) && in_.size() == 0) return false;
        const std::size_t room = std::min(in_.size(), out.size() - done);
        const void* escape = std::memchr(in_.data(), kEscape, room);
        const std::size_t literal =
            escape ? static_cast<std::size_t>(static_cast<const std::uint8_t*>(escape) - in_.data()) : room;
        std::memcpy(out.data() + done, in_.data(), literal);
        in_.advance(literal);
        done += literal;
        if (!escape) return true;
        if (!in_.ensure(2)) return false;
        const std::size_t count = in_.data()[1];
        if (count > 0 && !in_.ensure(3)) return false;
        value_ = count > 0 ? in_.data()[2] : kEscape;
        in_.advance(count > 0 ? 3 : 2);
        left_ = count + 1;
        return true;
    }

    ChunkReader in_;
    std::size_t left_ = 0;
    std::uint8_t value_ = 0;
};

Result<Outcome> decode(ByteReader in, const ReadOptions& options, RowSink& sink) {
    const auto header = read_header(in, options.limits);
    if (!header) return header.error();
    const std::int64_t map_at = in.position();
    const Palette palette = header->indexed() ? palette_for(in, *header) : Palette{};
    in.seek(map_at + header->map_length);
    const bool packed = header->type == kRuns;
    const std::int64_t reach =
        packed ? in.remaining() / 3 * 256 + 256 : in.remaining();  // bytes the data can give at most
    if (in.at_end() || reach < header->row_bytes()) return Error{Fault::truncated, "pixels"};
    const bool data_short = reach < header->row_bytes() * header->rows();
    auto bitmap =
        bitmap_for(header->columns(), header->rows(), header->loaded_bits(), options.limits, data_short);
    if (!bitmap) return bitmap.error();
    if (header->indexed()) bitmap->set_palette(palette);
    sink.begin(*bitmap);
    const RowOrder order{header->rows()};
    const auto row_bytes = static_cast<std::size_t>(header->row_bytes());
    const RowBody body = [&, swap = bgr_swap_for(*bitmap)](const std::uint8_t* stored, int y) {
        convert_row(*header, stored, bitmap->writable_row(y), swap);
    };
    RunDecoder runs{in};
    const RowFill fill = [&](std::span<std::uint8_t> stored) { return runs.fill(stored); };
    const auto rows = packed ? read_packed_rows(row_bytes, order, *bitmap, sink, fill, body)
                             : read_raw_rows(in, row_bytes, order, *bitmap, sink, body);
    if (!rows) return rows.error();
    if (!data_short) bitmap->clear_rows(*rows, bitmap->height());
    return outcome_of(std::move(*bitmap), kFormat, *rows);
}

// --- writing
// ---------------------------------------------------------------------------------------------------

bool is_plain_gray(const Palette& palette) { return palette == gray_palette(256); }

void write_map(const Palette& palette, ByteWriter& out) {
    for (const Rgba& entry : palette) out.u8(entry.r);
    for (const Rgba& entry : palette) out.u8(entry.g);
    for (const Rgba& entry : palette) out.u8(entry.b);
}

// A bilevel image needs no map: black is 1. Gives the bits to flip, or nothing when the colours need a map.
std::optional<std::uint8_t> bilevel_flip(const Bitmap& bitmap) {
    constexpr Rgba kBlack{0, 0, 0, 255}, kWhite{255, 255, 255, 255};
    if (bitmap.palette() == Palette{kBlack, kWhite}) return std::uint8_t{0xFF};
    if (bitmap.palette() == Palette{kWhite, kBlack}) return std::uint8_t{0};
    return std::nullopt;
}

void put_row(const Bitmap& bitmap, int y, std::uint8_t flip, std::vector<std::uint8_t>& rgb,
             std::vector<std::uint8_t>& out) {
    const auto row = bitmap.row(y);
    const auto width = static_cast<std::size_t>(bitmap.width());
    switch (bitmap.layout()) {
        case Layout::bit1:
            for (std::size_t i = 0; i < row.size(); ++i) out[i] = row[i] ^ flip;
            if (width % 8) out[row.size() - 1] &= static_cast<std::uint8_t>(0xFF00U >> (width % 8));
            break;
        case Layout::index8: std::memcpy(out.data(), row.data(), width); break;
        case Layout::rgba32:
            for (std::size_t x = 0; x < width; ++x) {
                out[x * 4 + 1] = row[x * 4 + 2], out[x * 4 + 2] = row[x * 4 + 1], out[x * 4 + 3] = row[x * 4];
            }
            break;
        default: row_to_rgb(bitmap, y, 0, rgb); swap_rgb24(rgb.data(), out.data(), width);
    }
}

// 4 bits are written as 8: that depth is natural to the format and every reader knows it.
int stored_depth(const Bitmap& bitmap) {
    switch (bitmap.layout()) {
        case Layout::bit1: return 1;
        case Layout::index8: return 8;
        case Layout::rgba32: return 32;
        default: return 24;
    }
}

Result<void> encode(const Bitmap& bitmap, ByteWriter& out, const WriteOptions& options) {
    const int depth = stored_depth(bitmap);
    const auto flip = depth == 1 ? bilevel_flip(bitmap) : std::nullopt;
    const bool map = depth == 1 ? !flip : depth == 8 && !is_plain_gray(bitmap.palette());
    const auto row_bytes = static_cast<std::size_t>((std::int64_t{bitmap.width()} * depth + 15) / 16 * 2);
    const std::int64_t length = static_cast<std::int64_t>(row_bytes) * bitmap.height();
    if (length > 0xFFFFFFFFLL) return Error{Fault::too_large, "length of the data"};
    for (const std::uint32_t field :
         {kMagic, static_cast<std::uint32_t>(bitmap.width()), static_cast<std::uint32_t>(bitmap.height()),
          static_cast<std::uint32_t>(depth), static_cast<std::uint32_t>(length),
          static_cast<std::uint32_t>(kStandard), map ? 1U : 0U,
          map ? static_cast<std::uint32_t>(bitmap.palette().size() * 3) : 0U}) {
        out.u32be(field);
    }
    if (map) write_map(bitmap.palette(), out);
    std::vector<std::uint8_t> rgb(static_cast<std::size_t>(bitmap.width()) * 3), stored(row_bytes);
    for (int y = 0; y < bitmap.height(); ++y) {
        put_row(bitmap, y, flip.value_or(0), rgb, stored);
        out.write(stored);
        if (out.failed()) return Error{Fault::io, "pixels"};
        if (y % 64 == 63 && options.progress && !options.progress(y + 1, bitmap.height()))
            return Error{Fault::cancelled, "pixels"};
    }
    return {};
}

constexpr int kDepths[] = {1, 4, 8, 24, 32};
constexpr FormatCode kFormats[] = {{kFormat, "", kDepths}};
constexpr std::string_view kExtensions[] = {"ras", "sun", "im1", "im8", "im24", "im32", "rs"};

}  // namespace

extern const Codec sunraster;
const Codec sunraster{"Sun raster", kFormats, kExtensions, Pages::one, false, true,
                      probe,        info,     decode,      nullptr,    encode};

}  // namespace quillmark::imaging::codecs
