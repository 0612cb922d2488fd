#include "imaging/codecs/dib.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <limits>

namespace quillmark::imaging {
namespace codecs {

extern const Codec png, jpeg;

}  // namespace codecs

namespace {

constexpr int kCoreHeader = 12;
constexpr int kSmallestHeader = 16;
constexpr int kV5Header = 124;
constexpr std::int64_t kMostProfileBytes = 64 << 20;

// The header's bytes, zero where a cut header ends.
struct RawHeader {
    std::array<std::uint8_t, kV5Header> bytes{};
    int size = 0;

    std::uint32_t u16(std::size_t at) const {
        return bytes[at] | static_cast<std::uint32_t>(bytes[at + 1]) << 8;
    }
    std::uint32_t u32(std::size_t at) const { return u16(at) | u16(at + 2) << 16; }
    std::int32_t i32(std::size_t at) const { return static_cast<std::int32_t>(u32(at)); }
};

Result<RawHeader> read_raw_header(ByteReader& in, std::int64_t at) {
    RawHeader raw;
    in.seek(at);
    const std::uint32_t size = in.u32le();
    if (in.failed()) return Error{Fault::truncated, "bitmap header"};
    const bool plausible = size == kCoreHeader || (size >= kSmallestHeader && size <= kV5Header);
    if (!plausible) return Error{Fault::malformed, "bitmap header size"};
    raw.size = static_cast<int>(size);
    in.read(std::span{raw.bytes}.subspan(4, size - 4));
    if (in.failed()) return Error{Fault::truncated, "bitmap header"};
    return raw;
}

Result<void> read_sides(const RawHeader& raw, DibHeader& header) {
    const bool core = raw.size == kCoreHeader;
    const std::int64_t width = core ? static_cast<std::int32_t>(raw.u16(4)) : raw.i32(4);
    const std::int64_t height = core ? static_cast<std::int32_t>(raw.u16(6)) : raw.i32(8);
    if (width < 1 || height == 0 || height == std::numeric_limits<std::int32_t>::min()) {
        return Error{Fault::malformed, "width or height"};
    }
    // Far beyond any limit; with smaller sides no product of them leaves 64 bits anywhere.
    constexpr std::int64_t kBeyondLimits = 1 << 24;
    if (width > kBeyondLimits || std::abs(height) > kBeyondLimits)
        return Error{Fault::too_large, "width or height"};
    header.width = static_cast<int>(width);
    header.height = static_cast<int>(height < 0 ? -height : height);
    header.top_down = height < 0;
    return {};
}

// OS/2 2.x headers may be cut at any field and give 3 and 4 another meaning; nothing in them says "OS/2".
bool is_os2(const RawHeader& raw, std::uint32_t file_size_field, std::uint32_t compression, int bits) {
    if (raw.size == kCoreHeader || raw.size > 64) return false;
    const bool windows_size = raw.size == 40 || raw.size == 52 || raw.size == 56;
    return !windows_size || file_size_field == 14U + static_cast<std::uint32_t>(raw.size) ||
           (compression == 3 && bits == 1) || (compression == 4 && bits == 24);
}

bool depth_fits(DibPacking packing, int bits) {
    switch (packing) {
        case DibPacking::none:
            return bits == 1 || bits == 2 || bits == 4 || bits == 8 || bits == 16 || bits == 24 ||
                   bits == 32 || bits == 64;
        case DibPacking::bitfields: return bits == 16 || bits == 32;
        case DibPacking::rle8: return bits == 8;
        case DibPacking::rle4: return bits == 4;
        case DibPacking::rle24: return bits == 24;
        case DibPacking::huffman: return bits == 1;
        case DibPacking::jpeg:
        case DibPacking::png: return true;
    }
    return false;
}

Result<DibPacking> packing_of(std::uint32_t compression, int bits, bool os2) {
    switch (compression) {
        case 0: return DibPacking::none;
        case 1: return DibPacking::rle8;
        case 2: return DibPacking::rle4;
        case 3:
            if (bits == 1) return DibPacking::huffman;
            return bits == 24 ? DibPacking::none : DibPacking::bitfields;
        case 4: return os2 && bits == 24 ? DibPacking::rle24 : DibPacking::jpeg;
        case 5: return DibPacking::png;
        case 6: return bits == 24 ? DibPacking::none : DibPacking::bitfields;
        case 11:
        case 12:
        case 13: return Error{Fault::unsupported, "CMYK bitmap"};
        default: return Error{Fault::malformed, "bitmap compression"};
    }
}

bool is_contiguous(std::uint32_t mask) {
    if (mask == 0) return true;
    const std::uint32_t low = mask >> std::countr_zero(mask);
    return (low & (low + 1)) == 0;
}

Result<void> check_masks(const DibHeader& header) {
    std::uint32_t seen = 0;
    for (const std::uint32_t mask : header.masks) {
        if (!is_contiguous(mask) || (mask & seen) != 0) return Error{Fault::malformed, "colour masks"};
        seen |= mask;
    }
    return {};
}

// Masks stand in the header from its version 2 on, and behind a version 1 header. Returns the bytes they take
// there.
std::int64_t read_masks(ByteReader& in, const RawHeader& raw, std::uint32_t compression, DibHeader& header) {
    if (raw.size >= 52 && !header.os2) {
        for (std::size_t i = 0; i < 4; ++i)
            header.masks[i] = raw.u32(40 + 4 * i);  // no alpha in 52 bytes: zero
        return 0;
    }
    const std::size_t count = compression == 6 ? 4 : 3;
    for (std::size_t i = 0; i < count; ++i) header.masks[i] = in.u32le();
    return static_cast<std::int64_t>(4 * count);
}

// Plain 16 and 32 bits have masks too, only none of their own.
void settle_masks(DibHeader& header) {
    const auto& given = header.masks;
    const bool usable = header.packing == DibPacking::bitfields && (given[0] | given[1] | given[2]) != 0;
    if (usable) return;
    header.masks = {};
    if (header.bits == 16) header.masks = {0x7C00, 0x03E0, 0x001F, 0};
    if (header.bits == 32) header.masks = {0xFF0000, 0x00FF00, 0x0000FF, 0};
}

Resolution resolution_of(const RawHeader& raw, bool os2) {
    if (raw.size < 32 || (os2 && raw.u16(40) != 0)) return {};  // OS/2: units 0 are metres
    const auto dpi = [](std::int32_t per_metre) { return per_metre > 0 ? per_metre * 0.0254 : 0; };
    return {dpi(raw.i32(24)), dpi(raw.i32(28))};
}

void find_profile(const RawHeader& raw, std::int64_t header_at, std::int64_t file_size, DibHeader& header) {
    constexpr std::uint32_t kEmbedded = 0x4D424544;  // 'MBED'
    if (raw.size < kV5Header || raw.u32(56) != kEmbedded) return;
    const std::int64_t at = header_at + raw.u32(112), size = raw.u32(116);
    if (size == 0 || size > kMostProfileBytes || at + size > file_size) return;
    header.profile_at = at;
    header.profile_bytes = size;
}

// Where palette and pixels lie. The declared offset of the pixels is not always to be trusted, and palettes
// come shorter and with fewer bytes an entry than they should.
Result<void> locate_pixels(const RawHeader& raw, const DibPlace& place, std::int64_t file_size,
                           DibHeader& header) {
    const bool core = raw.size == kCoreHeader;
    const std::uint32_t used = core ? 0 : raw.u32(32);
    const bool indexed = header.bits >= 1 && header.bits <= 8;
    const std::uint32_t full = indexed ? 1U << header.bits : 0;
    header.palette_entry_bytes = core ? 3 : 4;
    if (indexed && std::int64_t{used} * 4 > file_size) return Error{Fault::malformed, "palette size"};
    const std::int64_t space = place.bits_at - header.palette_at;
    if (!core && (used == 0 || used == full) && indexed && space == 3 * std::int64_t{full})
        header.palette_entry_bytes = 3;

    const std::uint32_t hinted = used <= 256 ? used : 0;  // colours of true-colour bitmaps are a hint to skip
    std::int64_t entries = indexed ? (used == 0 ? full : used) : hinted;
    header.headers_end = header.palette_at + entries * header.palette_entry_bytes;
    header.bits_at = place.bits_at;
    if (space < 0) {
        header.bits_at = header.headers_end;
    } else if (place.bits_at < header.headers_end && indexed) {
        const bool room_for_both = header.headers_end + header.row_stride() * header.height <= file_size;
        if (header.packing == DibPacking::none && room_for_both)
            header.bits_at = header.headers_end;
        else
            entries = space / header.palette_entry_bytes;
    }
    header.palette_entries = static_cast<int>(std::min<std::int64_t>(entries, full));
    return {};
}

// RLE24 and embedded JPEG share a number; when the header leaves it open, the data decide.
void settle_jpeg(ByteReader& in, DibHeader& header) {
    if (header.packing != DibPacking::jpeg && header.packing != DibPacking::rle24) return;
    in.seek(header.bits_at);
    const bool starts_as_jpeg = in.u8() == 0xFF && in.u8() == 0xD8 && in.u8() == 0xFF;
    if (starts_as_jpeg)
        header.packing = DibPacking::jpeg;
    else if (header.bits == 24)
        header.packing = DibPacking::rle24;
}

Palette read_palette(ByteReader in, const DibHeader& header) {
    Palette palette;
    in.seek(header.palette_at);
    for (int i = 0; i < header.palette_entries && in.remaining() >= 3; ++i) {
        const std::uint8_t b = in.u8(), g = in.u8(), r = in.u8();
        if (header.palette_entry_bytes == 4) in.skip(1);
        palette.push_back({r, g, b, 255});
    }
    if (palette.empty()) return gray_palette(1 << header.bits);
    if (header.bits == 1 && palette.size() == 1) palette.push_back({});
    return palette;
}

void set_facts(const ByteReader& in, const DibHeader& header, Bitmap& bitmap) {
    Metadata& metadata = bitmap.metadata();
    metadata.resolution = header.resolution;
    if (header.profile_bytes == 0) return;
    ByteReader profile = in.sub(header.profile_at, header.profile_bytes);
    metadata.icc = std::make_shared<const std::vector<std::uint8_t>>(
        profile.bytes(static_cast<std::size_t>(header.profile_bytes)));
}

bool is_embedded(const DibHeader& header) {
    return header.packing == DibPacking::jpeg || header.packing == DibPacking::png;
}

const Codec& embedded_codec(const DibHeader& header) {
    return header.packing == DibPacking::jpeg ? codecs::jpeg : codecs::png;
}

ByteReader embedded_stream(const ByteReader& in, const DibHeader& header) {
    const std::int64_t rest = in.size() - header.bits_at;
    const bool told = header.image_bytes > 0 && header.image_bytes <= rest;
    return in.sub(header.bits_at, told ? header.image_bytes : rest);
}

Result<ImageInfo> embedded_info(const ByteReader& in, const DibHeader& header, const ReadOptions& options) {
    const ByteReader stream = embedded_stream(in, header);
    std::array<std::uint8_t, 64> head{};
    ByteReader start = stream;
    const std::size_t count = start.read(head);
    if (!embedded_codec(header).probe(std::span{head}.first(count)))
        return Error{Fault::malformed, "embedded image"};
    auto info = embedded_codec(header).info(stream, options);
    if (info && (info->width != header.width || info->height != header.height)) {
        return Error{Fault::malformed, "embedded image's size"};
    }
    return info;
}

Result<Outcome> decode_embedded(const ByteReader& in, const DibHeader& header, ReadOptions options,
                                RowSink& sink) {
    options.page = 1;
    options.reduce = 1;
    const auto info = embedded_info(in, header, options);
    if (!info) return info.error();
    auto outcome = embedded_codec(header).decode(embedded_stream(in, header), options, sink);
    if (!outcome) return outcome;
    outcome->format_code = dib_format_code(header);
    Resolution& resolution = outcome->bitmap.metadata().resolution;
    if (resolution == Resolution{}) resolution = header.resolution;
    return outcome;
}

Result<int> read_rows(const ByteReader& in, const DibHeader& header, Bitmap& bitmap, RowSink& sink) {
    switch (header.packing) {
        case DibPacking::none:
        case DibPacking::bitfields: return dib::read_raw_rows(in, header, bitmap, sink);
        case DibPacking::huffman: return dib::read_huffman_rows(in, header, bitmap, sink);
        default: return dib::read_rle_rows(in, header, bitmap, sink);
    }
}

}  // namespace

Result<DibHeader> read_dib_header(ByteReader in, const DibPlace& place) {
    const auto raw = read_raw_header(in, place.header_at);
    if (!raw) return raw.error();
    DibHeader header;
    header.header_bytes = raw->size;
    if (const auto sides = read_sides(*raw, header); !sides) return sides.error();
    const bool core = raw->size == kCoreHeader;
    const std::uint32_t compression = core ? 0 : raw->u32(16);
    header.bits = static_cast<int>(raw->u16(core ? 10 : 14));
    header.os2 = is_os2(*raw, place.file_size_field, compression, header.bits);
    const auto packing = packing_of(compression, header.bits, header.os2);
    if (!packing) return packing.error();
    header.packing = *packing;
    if (!depth_fits(header.packing, header.bits)) return Error{Fault::malformed, "bits per pixel"};

    header.palette_at = place.header_at + raw->size;
    const bool masked = compression == 3 || compression == 6;
    if (masked && header.bits >= 16) header.palette_at += read_masks(in, *raw, compression, header);
    settle_masks(header);
    if (in.failed()) return Error{Fault::truncated, "colour masks"};
    if (const auto masks = check_masks(header); !masks) return masks.error();
    header.image_bytes = core ? 0 : raw->u32(20);
    header.resolution = resolution_of(*raw, header.os2);
    find_profile(*raw, place.header_at, in.size(), header);
    if (const auto located = locate_pixels(*raw, place, in.size(), header); !located) return located.error();
    if (header.bits_at >= in.size()) return Error{Fault::truncated, "pixels"};
    settle_jpeg(in, header);
    return header;
}

int loaded_bits(const DibHeader& header) {
    if (is_embedded(header)) return 0;
    if (header.masks[3] != 0 || header.bits == 64) return 32;
    return header.bits == 32 ? 24 : header.bits;
}

std::string_view compression_name(const DibHeader& header) {
    switch (header.packing) {
        case DibPacking::none:
        case DibPacking::bitfields: return "";
        case DibPacking::rle8: return "RLE8";
        case DibPacking::rle4: return "RLE4";
        case DibPacking::rle24: return "RLE24";
        case DibPacking::huffman: return "Huffman 1-D";
        case DibPacking::jpeg: return "JPEG";
        case DibPacking::png: return "PNG";
    }
    return "";
}

int dib_format_code(const DibHeader& header) {
    if (header.header_bytes == kCoreHeader) return 14;
    return header.os2 ? 74 : 6;
}

Result<ImageInfo> dib_info(const ByteReader& in, const DibHeader& header, const ReadOptions& options) {
    ImageInfo info;
    info.bits = loaded_bits(header);
    if (is_embedded(header)) {
        const auto embedded = embedded_info(in, header, options);
        if (!embedded) return embedded.error();
        info.bits = embedded->bits;
        info.orientation = embedded->orientation;
        info.resolution = embedded->resolution;
    }
    if (info.resolution == Resolution{}) info.resolution = header.resolution;
    info.format_code = dib_format_code(header);
    info.width = header.width;
    info.height = header.height;
    info.compression = compression_name(header);
    return info;
}

Result<Outcome> decode_dib(const ByteReader& in, const DibHeader& header, const ReadOptions& options,
                           RowSink& sink) {
    if (is_embedded(header)) return decode_embedded(in, header, options, sink);
    const int bits = loaded_bits(header);
    const bool raw = header.packing == DibPacking::none || header.packing == DibPacking::bitfields;
    // Runs may leave pixels out, and a file that is cut short must not cost the memory that it declares.
    const bool gaps = !raw || dib::rows_are_short(in, header);
    auto bitmap = codecs::bitmap_for(header.width, header.height, bits, options.limits, gaps);
    if (!bitmap) return bitmap.error();
    if (bits <= 8) bitmap->set_palette(read_palette(in, header));
    set_facts(in, header, *bitmap);
    sink.begin(*bitmap);
    const auto rows = read_rows(in, header, *bitmap, sink);
    if (!rows) return rows.error();
    if (*rows == 0) return Error{Fault::truncated, "pixels"};
    if (!header.keep_alpha && codecs::make_opaque_if_invisible(*bitmap, dib::row_order(header), *rows) &&
        !sink.rows(*bitmap, 0, header.height, *rows, header.height)) {
        return Error{Fault::cancelled, "bitmap"};
    }
    return codecs::outcome_of(std::move(*bitmap), dib_format_code(header), *rows);
}

}  // namespace quillmark::imaging
