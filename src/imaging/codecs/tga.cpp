// Truevision Targa: "Truevision TGA File Format Specification, version 2.0", 1991. Grey with alpha (type 3 at
// 16 bits) is not in it, but GIMP, Pillow and others write it, as is black and white (type 3 at 1 bit), which
// GraphicsMagick writes.
#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <ctime>
#include <memory>
#include <optional>
#include <utility>

#include "imaging/codecs/chunk_reader.h"
#include "imaging/codecs/row_stream.h"
#include "imaging/convert_depth.h"
#include "imaging/swizzle.h"

namespace quillmark::imaging::codecs {
namespace {

constexpr int kFormat = 4;
constexpr std::int64_t kHeaderSize = 18;
constexpr std::uint16_t kExtensionSize = 495;
constexpr char kSignature[] = "TRUEVISION-XFILE.";  // its closing zero belongs to the file

// How a stored pixel is laid out.
enum class Pixel : std::uint8_t { index8, index16, gray1, gray8, gray_alpha, bgr555, bgr24, bgra32 };

struct Header {
    int id_length = 0, map_type = 0, type = 0, map_first = 0, map_length = 0, map_bits = 0;
    int width = 0, height = 0, depth = 0, descriptor = 0;

    int kind() const { return type & 7; }  // 1 indexed, 2 true colour, 3 grey
    bool packed() const { return type & 8; }
    int attribute_bits() const { return descriptor & 15; }
    bool right_to_left() const { return descriptor & 0x10; }
    RowOrder order() const {
        return {height, !(descriptor & 0x20),
                std::array{1, 2, 4, 1}[static_cast<std::size_t>(descriptor >> 6)]};
    }
    std::int64_t map_bytes() const {
        return map_type == 1 ? std::int64_t{map_length} * ((map_bits + 7) / 8) : 0;
    }
    std::int64_t pixels_at() const { return kHeaderSize + id_length + map_bytes(); }
    int pixel_bytes() const { return (depth + 7) / 8; }
    /// Bytes of a stored row, or of its pixels unpacked.
    std::int64_t row_bytes() const {
        return depth == 1 ? (width + 7) / 8 : std::int64_t{width} * pixel_bytes();
    }

    Pixel pixel() const {
        if (kind() == 1) return depth == 8 ? Pixel::index8 : Pixel::index16;
        if (kind() == 3) return depth == 1 ? Pixel::gray1 : depth == 8 ? Pixel::gray8 : Pixel::gray_alpha;
        return depth == 24 ? Pixel::bgr24 : depth == 32 ? Pixel::bgra32 : Pixel::bgr555;
    }
};

bool is_pixel_depth(int bits) { return bits == 15 || bits == 16 || bits == 24 || bits == 32; }
bool is_map_depth(int bits) {
    return bits == 8 || is_pixel_depth(bits);
}  // netpbm writes maps of grey levels

// There is no signature at the beginning, so every field has to make sense.
bool plausible(const Header& h) {
    if (h.map_type > 1 || h.width == 0 || h.height == 0) return false;
    if ((h.type & ~8) < 1 || (h.type & ~8) > 3) return false;
    if (h.attribute_bits() > 8 || h.descriptor >> 6 == 3) return false;
    if (h.map_type == 1 && !is_map_depth(h.map_bits)) return false;
    switch (h.kind()) {
        case 1: return h.map_type == 1 && h.map_length > 0 && (h.depth == 8 || h.depth == 16);
        case 2: return is_pixel_depth(h.depth);
        default: return (h.depth == 1 && !h.packed()) || h.depth == 8 || h.depth == 16;
    }
}

Header parse_header(ByteReader& in) {
    Header h;
    h.id_length = in.u8();
    h.map_type = in.u8();
    h.type = in.u8();
    h.map_first = in.u16le();
    h.map_length = in.u16le();
    h.map_bits = in.u8();
    in.skip(4);  // origin
    h.width = in.u16le();
    h.height = in.u16le();
    h.depth = in.u8();
    h.descriptor = in.u8();
    return h;
}

bool probe(std::span<const std::uint8_t> head) {
    constexpr std::size_t kWholeHead = 4096;
    if (head.size() < kHeaderSize) return false;
    const auto u16 = [&](std::size_t at) { return head[at] | head[at + 1] << 8; };
    Header h;
    h.id_length = head[0], h.map_type = head[1], h.type = head[2], h.map_length = u16(5),
    h.map_bits = head[7];
    h.width = u16(12), h.height = u16(14), h.depth = head[16], h.descriptor = head[17];
    const bool whole_file = head.size() < kWholeHead;
    return plausible(h) && (!whole_file || h.pixels_at() <= static_cast<std::int64_t>(head.size()));
}

// What the extension area says; absent in version 1.
struct Extension {
    int attribute_type = -1;  // -1: not stated
    std::int64_t stamp_at = 0;
    std::string comment;
};

// Zeros may follow the footer, so it is searched for in the last 2 KB. Gives the position of its signature.
std::optional<std::int64_t> find_signature(ByteReader in) {
    constexpr std::int64_t kSearched = 2048;
    const std::int64_t start = std::max<std::int64_t>(in.size() - kSearched, 0);
    in.seek(start);
    const auto tail = in.bytes(static_cast<std::size_t>(in.remaining()));
    const auto found = std::find_end(tail.begin(), tail.end(), std::begin(kSignature), std::end(kSignature));
    if (found == tail.end()) return std::nullopt;
    return start + (found - tail.begin());
}

// Four lines of 80 characters, each ended by a zero.
std::string read_comment(ByteReader& in) {
    std::string comment;
    for (int i = 0; i < 4; ++i) {
        auto line = in.bytes(81);
        line.erase(std::ranges::find(line, std::uint8_t{0}), line.end());
        const std::string text = text_from_bytes(line.data(), line.size());
        if (!text.empty()) comment += (comment.empty() ? "" : "\n") + text;
    }
    while (!comment.empty() && comment.back() == ' ') comment.pop_back();
    return comment;
}

Extension read_extension(const ByteReader& file) {
    Extension extension;
    const auto signature = find_signature(file);
    if (!signature || *signature < 8) return extension;
    ByteReader in = file;
    in.seek(*signature - 8);
    const std::int64_t at = in.u32le();
    in.seek(at);
    const int size = in.u16le();
    if (at == 0 || in.failed() || size < kExtensionSize - 1) return extension;
    in.seek(at + 43);
    extension.comment = read_comment(in);
    in.seek(at + 486);
    extension.stamp_at = in.u32le();
    in.seek(at + 494);
    const int attribute_type = in.u8();
    if (size >= kExtensionSize && !in.failed()) extension.attribute_type = attribute_type;
    return extension;
}

struct File {
    Header header;
    Extension extension;

    // The extension area decides whether alpha is meant; without it the attribute bits and the values do.
    bool alpha_stated() const { return extension.attribute_type < 0 || extension.attribute_type >= 3; }
    bool alpha_in_16_bits() const {
        return header.depth == 16 && header.attribute_bits() > 0 && alpha_stated();
    }

    int bits() const {
        switch (header.pixel()) {
            case Pixel::gray1: return 1;
            case Pixel::index8:
            case Pixel::gray8: return 8;
            case Pixel::index16:
            case Pixel::bgr24: return 24;
            case Pixel::bgr555: return alpha_in_16_bits() ? 32 : 16;
            default: return 32;
        }
    }
};

Result<File> read_file(ByteReader& in, const Limits& limits) {
    File file;
    file.header = parse_header(in);
    if (in.failed()) return Error{Fault::truncated, "header"};
    if (file.header.type == 32 || file.header.type == 33)
        return Error{Fault::unsupported, "image type 32 or 33"};
    if (!plausible(file.header)) return Error{Fault::malformed, "header"};
    const auto size = Bitmap::check_size(file.header.width, file.header.height, file.bits(), limits);
    if (!size) return size.error();
    if (file.header.pixels_at() >= in.size()) return Error{Fault::truncated, "pixels"};
    file.extension = read_extension(in);
    return file;
}

// The stamp: its sides and where its pixels lie. Some writers store the sides as 16-bit numbers.
struct Stamp {
    int width, height;
    std::int64_t pixels_at;
};

std::optional<Stamp> find_stamp(const ByteReader& file, const File& facts) {
    const std::int64_t at = facts.extension.stamp_at;
    if (at < kHeaderSize || at + 4 > file.size()) return std::nullopt;
    ByteReader in = file;
    in.seek(at);
    Stamp stamp{in.u8(), 0, at + 2};
    stamp.height = in.u8();
    if (stamp.height == 0) {
        stamp.height = in.u16le();
        stamp.pixels_at = at + 4;
    }
    if (stamp.width == 0 || stamp.height == 0 || stamp.height > 255) return std::nullopt;
    Header sides = facts.header;
    sides.width = stamp.width;
    const std::int64_t bytes = sides.row_bytes() * stamp.height;
    if (stamp.pixels_at + bytes > file.size()) return std::nullopt;
    return stamp;
}

Result<ImageInfo> info(ByteReader in, const ReadOptions& options) {
    const auto file = read_file(in, options.limits);
    if (!file) return file.error();
    ImageInfo info;
    info.format_code = kFormat;
    info.width = file->header.width;
    info.height = file->header.height;
    info.bits = file->bits();
    info.has_stamp = find_stamp(in, *file).has_value();
    info.compression = file->header.packed() ? "RLE" : "";
    return info;
}

// --- pixels
// ------------------------------------------------------------------------------------------------------

std::uint8_t widen5(unsigned v) { return static_cast<std::uint8_t>(v << 3 | v >> 2); }

Rgba from_555(unsigned v) {
    return {widen5(v >> 10 & 31), widen5(v >> 5 & 31), widen5(v & 31),
            static_cast<std::uint8_t>(v & 0x8000 ? 255 : 0)};
}

// Alpha that is the same everywhere and 0 was never meant.
void drop_void_alpha(Palette& map) {
    if (std::ranges::any_of(map, [](const Rgba& c) { return c.a != 0; })) return;
    for (Rgba& entry : map) entry.a = 255;
}

Palette read_map(const ByteReader& file, const File& facts) {
    const Header& h = facts.header;
    ByteReader in = file.sub(kHeaderSize + h.id_length, h.map_bytes());
    const bool alpha =
        facts.alpha_stated() && (h.map_bits == 32 || (h.map_bits == 16 && h.attribute_bits() > 0));
    Palette map(static_cast<std::size_t>(h.map_length));
    for (Rgba& entry : map) {
        if (h.map_bits == 8) {
            entry.r = entry.g = entry.b = in.u8();
        } else if (h.map_bits <= 16) {
            entry = from_555(in.u16le());
        } else {
            entry.b = in.u8(), entry.g = in.u8(), entry.r = in.u8();
            if (h.map_bits == 32) entry.a = in.u8();
        }
        if (!alpha) entry.a = 255;
    }
    drop_void_alpha(map);
    return map;
}

// The colours of all indices: the map begins at its first index, and what it does not hold shows its first
// entry.
Palette palette_from_map(const Palette& map, int first, std::size_t count) {
    Palette palette(count, map.front());
    for (std::size_t i = 0; i < map.size() && i + static_cast<std::size_t>(first) < count; ++i)
        palette[i + static_cast<std::size_t>(first)] = map[i];
    return palette;
}

// Turns stored rows into bitmap rows. Rows may be converted by several threads at once.
class RowConverter {
  public:
    RowConverter(const ByteReader& file, const File& facts, const Bitmap& bitmap)
        : pixel_{facts.header.pixel()},
          alpha_{facts.bits() == 32},
          premultiplied_{facts.extension.attribute_type == 4},
          mirrored_{facts.header.right_to_left()},
          swap_bgr_{mirrored_ ? swap_rgb24 : bgr_swap_for(bitmap)} {
        if (facts.header.kind() == 1) {
            const std::size_t count = pixel_ == Pixel::index8 ? 256 : 65536;
            palette_ = palette_from_map(read_map(file, facts), facts.header.map_first, count);
        }
    }

    const Palette& palette() const { return palette_; }

    void operator()(const std::uint8_t* in, Bitmap& bitmap, int y) {
        const auto out = bitmap.writable_row(y);
        const auto width = static_cast<std::size_t>(bitmap.width());
        switch (pixel_) {
            case Pixel::gray1: copy_bits(in, out, width); break;
            case Pixel::index8:
            case Pixel::gray8: std::memcpy(out.data(), in, width); break;
            case Pixel::index16: expand_index16(in, out.data(), width); break;
            case Pixel::gray_alpha: expand_gray_alpha(in, out.data(), width); break;
            case Pixel::bgr555:
                alpha_ ? expand_555<4>(in, out.data(), width) : expand_555<3>(in, out.data(), width);
                break;
            case Pixel::bgr24: swap_bgr_(in, out.data(), width); break;
            case Pixel::bgra32: swap_rgba32(in, out.data(), width); break;
        }
        if (alpha_) note_alpha(out.data(), width);
        if (alpha_ && premultiplied_) divide_by_alpha(out.data(), width);
        if (mirrored_) pixel_ == Pixel::gray1 ? mirror_bits(out, width) : mirror(out, width);
    }

    // Whether every alpha value seen was 0.
    bool alpha_is_void() const { return alpha_ && alpha_seen_.load() == 0; }

  private:
    void expand_index16(const std::uint8_t* in, std::uint8_t* out, std::size_t width) const {
        for (; width > 0; --width, in += 2, out += 3) {
            const Rgba& c = palette_[in[0] | static_cast<std::size_t>(in[1]) << 8];
            out[0] = c.r, out[1] = c.g, out[2] = c.b;
        }
    }
    static void expand_gray_alpha(const std::uint8_t* in, std::uint8_t* out, std::size_t width) {
        for (; width > 0; --width, in += 2, out += 4) out[0] = out[1] = out[2] = in[0], out[3] = in[1];
    }
    template <std::size_t Size>
    static void expand_555(const std::uint8_t* in, std::uint8_t* out, std::size_t width) {
        for (; width > 0; --width, in += 2, out += Size) {
            const unsigned v = in[0] | static_cast<unsigned>(in[1]) << 8;
            out[0] = widen5(v >> 10 & 31), out[1] = widen5(v >> 5 & 31), out[2] = widen5(v & 31);
            if constexpr (Size == 4) out[3] = v & 0x8000 ? 255 : 0;
        }
    }
    void note_alpha(const std::uint8_t* rgba, std::size_t width) {
        std::uint8_t seen = 0;
        for (std::size_t x = 0; x < width; ++x) seen |= rgba[x * 4 + 3];
        alpha_seen_.fetch_or(seen, std::memory_order_relaxed);
    }
    static void divide_by_alpha(std::uint8_t* rgba, std::size_t width) {
        for (; width > 0; --width, rgba += 4) {
            const unsigned a = rgba[3];
            for (int c = 0; c < 3 && a > 0; ++c)
                rgba[c] = static_cast<std::uint8_t>(std::min(255U, (rgba[c] * 255U + a / 2) / a));
        }
    }
    static void copy_bits(const std::uint8_t* in, std::span<std::uint8_t> out, std::size_t width) {
        std::memcpy(out.data(), in, out.size());
        if (width % 8 != 0) out.back() &= static_cast<std::uint8_t>(0xFF00 >> width % 8);
    }
    static void mirror_bits(std::span<std::uint8_t> row, std::size_t width) {
        const std::vector<std::uint8_t> from(row.begin(), row.end());
        std::ranges::fill(row, std::uint8_t{0});
        for (std::size_t x = 0; x < width; ++x) {
            const std::size_t source = width - 1 - x;
            if (from[source / 8] >> (7 - source % 8) & 1)
                row[x / 8] |= static_cast<std::uint8_t>(0x80 >> x % 8);
        }
    }
    static void mirror(std::span<std::uint8_t> row, std::size_t width) {
        const std::size_t size = row.size() / width;
        for (std::size_t x = 0; x < width / 2; ++x) {
            std::swap_ranges(row.data() + x * size, row.data() + (x + 1) * size,
                             row.data() + (width - 1 - x) * size);
        }
    }

    Pixel pixel_;
    bool alpha_, premultiplied_, mirrored_;
    BgrSwap swap_bgr_;  // mirrored rows are read again at once, so they stay in the cache
    Palette palette_;
    std::atomic<std::uint8_t> alpha_seen_{0};
};

// Packets of up to 128 pixels, one repeated or all stored. Old files let them cross rows.
template <std::size_t Size>
class PacketDecoder {
  public:
    explicit PacketDecoder(const ByteReader& in) : in_{in} {}

    // Returns the pixels delivered: fewer than asked for only at the end of the data.
    std::size_t fill(std::uint8_t* out, std::size_t pixels) {
        std::size_t done = 0;
        while (done < pixels) {
            if (left_ == 0 && !next_packet()) break;
            const std::size_t part = std::min(left_, pixels - done);
            const std::size_t got =
                repeated_ ? repeat(out + done * Size, part) : copy(out + done * Size, part);
            left_ -= got;
            done += got;
            if (got < part) break;
        }
        return done;
    }

  private:
    bool next_packet() {
        if (!in_.ensure(1 + Size)) return false;
        const std::uint8_t control = in_.data()[0];
        repeated_ = control & 0x80;
        left_ = (control & 0x7FU) + 1;
        if (repeated_) std::memcpy(value_.data(), in_.data() + 1, Size);
        in_.advance(repeated_ ? 1 + Size : 1);
        return true;
    }
    std::size_t copy(std::uint8_t* out, std::size_t pixels) {
        in_.ensure(pixels * Size);
        const std::size_t part = std::min(pixels, in_.size() / Size);
        std::memcpy(out, in_.data(), part * Size);
        in_.advance(part * Size);
        return part;
    }
    std::size_t repeat(std::uint8_t* out, std::size_t pixels) {
        if constexpr (Size == 1)
            std::memset(out, value_[0], pixels);
        else
            for (std::size_t i = 0; i < pixels; ++i) std::memcpy(out + i * Size, value_.data(), Size);
        return pixels;
    }

    ChunkReader in_;
    std::size_t left_ = 0;
    bool repeated_ = false;
    std::array<std::uint8_t, Size> value_{};
};

template <std::size_t Size>
RowFill packet_fill(const ByteReader& in) {
    return [packets = std::make_shared<PacketDecoder<Size>>(in)](std::span<std::uint8_t> stored) {
        return packets->fill(stored.data(), stored.size() / Size) * Size;
    };
}

RowFill packet_fill(const ByteReader& in, int pixel_bytes) {
    switch (pixel_bytes) {
        case 1: return packet_fill<1>(in);
        case 2: return packet_fill<2>(in);
        case 3: return packet_fill<3>(in);
        default: return packet_fill<4>(in);
    }
}

Result<int> decode_rows(const ByteReader& in, const Header& header, Bitmap& bitmap, RowConverter& convert,
                        RowSink& sink) {
    const auto row_bytes = static_cast<std::size_t>(header.row_bytes());
    const RowBody body = [&](const std::uint8_t* stored, int y) { convert(stored, bitmap, y); };
    if (!header.packed()) return read_raw_rows(in, row_bytes, header.order(), bitmap, sink, body);
    const RowFill fill = packet_fill(in, header.pixel_bytes());
    return read_packed_rows(row_bytes, header.order(), bitmap, sink, fill, body);
}

// Decodes the rows at the reader's position; facts describe them (the image's, or the stamp's with its
// sides).
Result<Outcome> decode_image(const ByteReader& in, const File& facts, const Limits& limits, RowSink& sink) {
    const Header& header = facts.header;
    const std::int64_t unit = header.pixel_bytes();
    const std::int64_t reach =  // bytes of pixels that the data can hold at best
        header.packed() ? (in.remaining() / (unit + 1) * 128 + 128) * unit : in.remaining();
    if (reach < header.row_bytes()) return Error{Fault::truncated, "pixels"};
    const bool data_short = reach < header.row_bytes() * header.height;
    auto bitmap = bitmap_for(header.width, header.height, facts.bits(), limits, data_short);
    if (!bitmap) return bitmap.error();
    RowConverter convert{in, facts, *bitmap};
    if (header.pixel() == Pixel::index8) bitmap->set_palette(convert.palette());
    if (header.pixel() == Pixel::gray1) bitmap->set_palette(gray_palette(2));
    bitmap->metadata().comment = facts.extension.comment;
    sink.begin(*bitmap);
    const auto rows = decode_rows(in, header, *bitmap, convert, sink);
    if (!rows) return rows.error();
    const RowOrder order = header.order();
    for (int i = *rows; i < order.height && !data_short; ++i)
        bitmap->clear_rows(order.target(i), order.target(i) + 1);
    if (facts.bits() == 32 && (!facts.alpha_stated() || convert.alpha_is_void()))
        make_opaque(*bitmap, order, *rows);
    return outcome_of(std::move(*bitmap), kFormat, *rows);
}

Result<Outcome> decode(ByteReader in, const ReadOptions& options, RowSink& sink) {
    const auto file = read_file(in, options.limits);
    if (!file) return file.error();
    in.seek(file->header.pixels_at());
    return decode_image(in, *file, options.limits, sink);
}

Result<Outcome> stamp(ByteReader in, const ReadOptions& options) {
    auto file = read_file(in, options.limits);
    if (!file) return file.error();
    const auto stamp = find_stamp(in, *file);
    if (!stamp) return Error{Fault::no_stamp, "extension area"};
    Header& header = file->header;
    header.width = stamp->width;
    header.height = stamp->height;
    header.type &= 7;           // never packed
    header.descriptor &= 0x3F;  // nor interleaved
    in.seek(stamp->pixels_at);
    RowSink nobody;
    return decode_image(in, *file, options.limits, nobody);
}

// --- writing
// -----------------------------------------------------------------------------------------------------

bool is_plain_gray(const Bitmap& bitmap) { return bitmap.palette() == gray_palette(256); }

// What is written for a bitmap. 16-bit grey has no place in the format and becomes 8-bit grey, which keeps
// more than 5 bits a channel would.
Header header_for(const Bitmap& bitmap) {
    Header h;
    h.width = bitmap.width();
    h.height = bitmap.height();
    switch (bitmap.layout()) {
        case Layout::gray16: h.type = 3, h.depth = 8; break;
        case Layout::rgba32: h.type = 2, h.depth = 32, h.descriptor = 8; break;
        case Layout::rgb24: h.type = 2, h.depth = bitmap.bits() == 16 ? 16 : 24; break;
        default:
            h.depth = 8;
            h.type = is_plain_gray(bitmap) ? 3 : 1;
            if (h.type == 1)
                h.map_type = 1, h.map_length = static_cast<int>(bitmap.palette().size()),
                h.map_bits = bitmap.has_alpha() ? 32 : 24;
    }
    return h;
}

void put_header(const Header& h, ByteWriter& out) {
    out.u8(0);  // no identification field
    out.u8(h.map_type);
    out.u8(h.type);
    out.u16le(0);
    out.u16le(static_cast<std::uint32_t>(h.map_length));
    out.u8(h.map_bits);
    out.u32le(0);  // origin
    out.u16le(static_cast<std::uint32_t>(h.width));
    out.u16le(static_cast<std::uint32_t>(h.height));
    out.u8(h.depth);
    out.u8(h.descriptor);  // bottom-left, which every reader knows
}

void put_map(const Bitmap& bitmap, int bits, ByteWriter& out) {
    for (const Rgba& c : bitmap.palette()) {
        out.u8(c.b), out.u8(c.g), out.u8(c.r);
        if (bits == 32) out.u8(c.a);
    }
}

void put_row(const Bitmap& bitmap, int y, int depth, std::vector<std::uint8_t>& rgb,
             std::vector<std::uint8_t>& out) {
    const auto row = bitmap.row(y);
    const auto width = static_cast<std::size_t>(bitmap.width());
    switch (bitmap.layout()) {
        case Layout::rgba32: swap_rgba32(row.data(), out.data(), width); return;
        case Layout::index8: std::memcpy(out.data(), row.data(), width); return;
        case Layout::rgb24:
            if (depth == 24) return swap_rgb24(row.data(), out.data(), width);
            for (std::size_t x = 0; x < width; ++x) {
                const unsigned v =
                    (row[x * 3] >> 3U) << 10 | (row[x * 3 + 1] >> 3U) << 5 | row[x * 3 + 2] >> 3U;
                out[x * 2] = static_cast<std::uint8_t>(v), out[x * 2 + 1] = static_cast<std::uint8_t>(v >> 8);
            }
            return;
        default:
            row_to_rgb(bitmap, y, 0, rgb);
            for (std::size_t x = 0; x < width; ++x) out[x] = rgb[x * 3];
    }
}

void put_extension(const Bitmap& bitmap, ByteWriter& out) {
    const std::int64_t start = out.position();
    constexpr std::string_view kSoftware = "Image Processing";
    const auto text = [&](std::string_view value, std::size_t size) {
        const auto count = std::min(value.size(), size - 1);
        out.write({reinterpret_cast<const std::uint8_t*>(value.data()), count});
        out.zeros(size - count);
    };
    out.u16le(kExtensionSize);
    text("", 41);  // author
    for (int line = 0; line < 4; ++line) {
        const std::string& comment = bitmap.metadata().comment;
        const auto from = std::min(comment.size(), static_cast<std::size_t>(line) * 80);
        text(std::string_view{comment}.substr(from, 80), 81);
    }
    const std::time_t now = std::time(nullptr);
    std::tm date{};
    gmtime_r(&now, &date);
    for (const int part :
         {date.tm_mon + 1, date.tm_mday, date.tm_year + 1900, date.tm_hour, date.tm_min, date.tm_sec}) {
        out.u16le(static_cast<std::uint32_t>(part));
    }
    out.zeros(47);  // job
    text(kSoftware, 41);
    out.zeros(3 + 4 + 4 + 4 + 4 + 4 + 4);  // version, key colour, aspect, gamma, three offsets
    out.u8(bitmap.layout() == Layout::rgba32 || bitmap.has_alpha() ? 3 : 0);
    out.u32le(static_cast<std::uint32_t>(start));
    out.u32le(0);  // developer directory
    out.write({reinterpret_cast<const std::uint8_t*>(kSignature), sizeof kSignature});
}

Result<void> encode(const Bitmap& bitmap, ByteWriter& out, const WriteOptions& options) {
    if (bitmap.width() > 0xFFFF || bitmap.height() > 0xFFFF)
        return Error{Fault::too_large, "width or height"};
    const Header header = header_for(bitmap);
    put_header(header, out);
    if (header.map_type == 1) put_map(bitmap, header.map_bits, out);
    const auto width = static_cast<std::size_t>(bitmap.width());
    std::vector<std::uint8_t> rgb(width * 3), stored(width * static_cast<std::size_t>(header.pixel_bytes()));
    for (int y = bitmap.height() - 1, done = 1; y >= 0; --y, ++done) {
        put_row(bitmap, y, header.depth, rgb, stored);
        out.write(stored);
        if (out.failed()) return Error{Fault::io, "pixels"};
        if (done % 64 == 0 && options.progress && !options.progress(done, bitmap.height()))
            return Error{Fault::cancelled, "pixels"};
    }
    put_extension(bitmap, out);
    return {};
}

constexpr int kDepths[] = {8, 16, 24, 32};
constexpr FormatCode kFormats[] = {{kFormat, "", kDepths}};
constexpr std::string_view kExtensions[] = {"tga", "vda", "icb", "vst", "win", "targa"};

}  // namespace

extern const Codec tga;
const Codec tga{"Targa", kFormats, kExtensions, Pages::one, true, false, probe, info, decode, stamp, encode};

}  // namespace quillmark::imaging::codecs
