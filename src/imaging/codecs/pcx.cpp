// ZSoft PCX and its multi-page companion DCX: "ZSoft PCX File Format Technical Reference Manual", revision 5,
// 1991, and what files in the wild do beyond it.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <optional>
#include <utility>

#include "imaging/codecs/pcx_runs.h"
#include "imaging/codecs/row_stream.h"
#include "imaging/convert_depth.h"
#include "imaging/swizzle.h"

namespace quillmark::imaging::codecs {
namespace {

constexpr int kPcxFormat = 1;
// DCX has no number of its own among the engine's codes; a code belongs to one codec, so this one lies
// outside their range on purpose.
constexpr int kDcxFormat = 101;
constexpr std::int64_t kHeaderSize = 128;
constexpr std::uint8_t kPaletteMark = 0x0C;
constexpr std::int64_t kPaletteSize = 768;

struct Header {
    int version = 0, encoding = 0, bits = 0, planes = 0, bytes_per_line = 0;
    int width = 0, height = 0, dpi_x = 0, dpi_y = 0, format_code = kPcxFormat;
    bool consistent = true;  // the stated bytes per line can hold the width
    std::array<std::uint8_t, 48> colours{};

    bool packed() const { return encoding == 1; }
    int depth() const { return bits * planes; }
    std::size_t row_bytes() const {
        return static_cast<std::size_t>(planes) * static_cast<std::size_t>(bytes_per_line);
    }
};

bool plausible(std::span<const std::uint8_t> head) {
    if (head.size() < 66 || head[0] != 0x0A || head[1] > 5 || head[1] == 1 || head[2] > 1) return false;
    const int bits = head[3], planes = head[65];
    return (bits == 1 || bits == 2 || bits == 4 || bits == 8) && planes >= 1 && planes <= 4;
}

bool probe(std::span<const std::uint8_t> head) { return plausible(head); }

bool probe_dcx(std::span<const std::uint8_t> head) {
    return head.size() >= 4 && head[0] == 0xB1 && head[1] == 0x68 && head[2] == 0xDE && head[3] == 0x3A;
}

Result<Header> read_header(ByteReader in, const Limits& limits) {
    std::array<std::uint8_t, kHeaderSize> raw{};
    in.seek(0);
    if (in.read(raw) < raw.size()) return Error{Fault::truncated, "header"};
    if (!plausible(raw)) return Error{Fault::malformed, "header"};
    const auto u16 = [&](std::size_t at) { return raw[at] | raw[at + 1] << 8; };
    Header h;
    h.version = raw[1], h.encoding = raw[2], h.bits = raw[3], h.planes = raw[65];
    h.width = u16(8) - u16(4) + 1, h.height = u16(10) - u16(6) + 1;
    h.dpi_x = u16(12), h.dpi_y = u16(14), h.bytes_per_line = u16(66);
    std::copy_n(raw.begin() + 16, h.colours.size(), h.colours.begin());
    if (h.width < 1 || h.height < 1) return Error{Fault::malformed, "width or height"};
    const bool colour = h.bits == 8 && (h.planes == 3 || h.planes == 4);
    if (!colour && h.depth() > 8) return Error{Fault::unsupported, "bits and planes"};
    const int needed = (h.width * h.bits + 7) / 8;
    h.consistent = h.bytes_per_line >= needed;
    if (!h.consistent) h.bytes_per_line = needed;
    const auto size = Bitmap::check_size(h.width, h.height, h.depth(), limits);
    if (!size) return size.error();
    return h;
}

// Dots per inch, unless the field holds what writers put there instead: sides of the image or of the screen.
Resolution resolution_of(const Header& h) {
    const auto sane = [](int dpi) { return dpi >= 30 && dpi <= 2400; };
    const bool screen =
        (h.dpi_x == 320 || h.dpi_x == 640) && (h.dpi_y == 200 || h.dpi_y == 350 || h.dpi_y == 480);
    const bool sides = h.dpi_x == h.width && h.dpi_y == h.height;
    if (!sane(h.dpi_x) || !sane(h.dpi_y) || screen || sides) return {};
    return {static_cast<double>(h.dpi_x), static_cast<double>(h.dpi_y)};
}

Result<ImageInfo> info_of(const ByteReader& in, const ReadOptions& options, int format_code) {
    const auto header = read_header(in, options.limits);
    if (!header) return header.error();
    ImageInfo info;
    info.format_code = format_code;
    info.width = header->width;
    info.height = header->height;
    info.bits = header->depth();
    info.resolution = resolution_of(*header);
    info.compression = header->packed() ? "RLE" : "";
    return info;
}

Result<ImageInfo> info(ByteReader in, const ReadOptions& options) { return info_of(in, options, kPcxFormat); }

// --- palettes
// ----------------------------------------------------------------------------------------------------

constexpr Rgba from_hex(std::uint32_t rgb) {
    return {static_cast<std::uint8_t>(rgb >> 16), static_cast<std::uint8_t>(rgb >> 8),
            static_cast<std::uint8_t>(rgb), 255};
}

constexpr std::array<std::uint32_t, 16> kCgaColours{
    0x000000, 0x0000AA, 0x00AA00, 0x00AAAA, 0xAA0000, 0xAA00AA, 0xAA5500, 0xAAAAAA,
    0x555555, 0x5555FF, 0x55FF55, 0x55FFFF, 0xFF5555, 0xFF55FF, 0xFFFF55, 0xFFFFFF};
// What version 3, which stores no palette, meant by its 16 colours.
constexpr std::array<std::uint32_t, 16> kDefaultColours{
    0x000000, 0x000080, 0x008000, 0x008080, 0x800000, 0x800080, 0x808000, 0x808080,
    0xC0C0C0, 0x0000FF, 0x00FF00, 0x00FFFF, 0xFF0000, 0xFF00FF, 0xFFFF00, 0xFFFFFF};

// A 4-colour screen of the Color Graphics Adapter: the header names its background and one of its fixed
// palettes.
bool is_cga(const Header& h) {
    return h.depth() == 2 && h.width == 320 && h.height == 200 && h.dpi_x == 320 && h.dpi_y == 200;
}

Palette cga_palette(const Header& h) {
    const bool no_burst = !(h.colours[3] & 0x80), second = h.colours[3] & 0x40, bright = h.colours[3] & 0x20;
    std::array<std::size_t, 3> colours{2, 4, 6};
    if (second) colours = {3, no_burst ? std::size_t{4} : std::size_t{5}, 7};
    Palette palette{from_hex(kCgaColours[h.colours[0] >> 4])};
    for (const std::size_t colour : colours)
        palette.push_back(from_hex(kCgaColours[colour + (bright ? 8 : 0)]));
    return palette;
}

Palette header_palette(const Header& h) {
    Palette palette(std::min<std::size_t>(16, std::size_t{1} << h.depth()));
    for (std::size_t i = 0; i < palette.size(); ++i)
        palette[i] = {h.colours[i * 3], h.colours[i * 3 + 1], h.colours[i * 3 + 2], 255};
    return palette;
}

std::size_t distinct_colours(const Header& h) {
    Palette seen;
    for (std::size_t i = 0; i < 16; ++i) {
        const Rgba c{h.colours[i * 3], h.colours[i * 3 + 1], h.colours[i * 3 + 2], 255};
        if (std::ranges::find(seen, c) == seen.end()) seen.push_back(c);
    }
    return seen.size();
}

// Palettes of up to 16 colours, known before the pixels. Stored bilevel palettes are often dummies: never
// used.
Palette small_palette(const Header& h) {
    if (h.depth() == 1) return gray_palette(2);
    if (is_cga(h)) return cga_palette(h);
    const bool meant = h.version != 3 || distinct_colours(h) > 2;
    if (meant || h.depth() == 2) return header_palette(h);
    Palette palette;
    for (std::size_t i = 0; i < std::size_t{1} << std::min(h.depth(), 4); ++i)
        palette.push_back(from_hex(kDefaultColours[i]));
    return palette;
}

// Where the 256 colours follow their mark: at the end of the file, right behind the pixels, or somewhere
// after them.
std::optional<std::int64_t> find_palette(ByteReader in, const Header& h, std::int64_t data_end) {
    const auto marked = [&](std::int64_t at) {
        if (at < kHeaderSize || at >= in.size()) return false;
        in.seek(at);
        return in.u8() == kPaletteMark;
    };
    const std::int64_t last = in.size() - kPaletteSize - 1;
    if (h.version >= 5 && marked(last)) return last + 1;
    if (marked(data_end)) return data_end + 1;
    if (h.version < 5) return std::nullopt;
    constexpr std::int64_t kSearched = 65'536;  // a gap is a few bytes; more is no palette
    in.seek(data_end);
    for (std::int64_t at = data_end; at <= std::min(last, data_end + kSearched); ++at) {
        if (in.u8() == kPaletteMark) return at + 1;
    }
    return std::nullopt;
}

Palette large_palette(const ByteReader& file, const Header& h, std::int64_t data_end) {
    const auto at = find_palette(file, h, data_end);
    if (!at) return gray_palette(256);
    ByteReader in = file;
    in.seek(*at);
    Palette palette(256);
    std::uint8_t highest = 0;
    for (Rgba& c : palette) {
        c.r = in.u8(), c.g = in.u8(), c.b = in.u8();
        highest = std::max({highest, c.r, c.g, c.b});
    }
    // Old files hold the 6 bits of the video hardware; white at 63 tells them.
    if (highest != 63) return palette;
    for (Rgba& c : palette) {
        for (std::uint8_t* v : {&c.r, &c.g, &c.b}) *v = static_cast<std::uint8_t>(*v << 2 | *v >> 4);
    }
    return palette;
}

// --- pixels
// ------------------------------------------------------------------------------------------------------

// The 8 bits of a byte as 8 bytes of 0 or 1, leftmost first in memory.
constexpr auto kSpread = [] {
    std::array<std::array<std::uint8_t, 8>, 256> table{};
    for (std::size_t byte = 0; byte < 256; ++byte) {
        for (std::size_t i = 0; i < 8; ++i) table[byte][i] = byte >> (7 - i) & 1;
    }
    return table;
}();

// Planes of single bits: plane k supplies bit k of the index.
void combine_bit_planes(const Header& h, const std::uint8_t* in, std::span<std::uint8_t> out) {
    for (std::size_t x = 0, byte = 0; x < out.size(); x += 8, ++byte) {
        std::uint64_t pixels = 0;
        for (int k = 0; k < h.planes; ++k) {
            std::uint64_t bits;
            std::memcpy(&bits, kSpread[in[static_cast<std::size_t>(k * h.bytes_per_line) + byte]].data(), 8);
            pixels |= bits << k;
        }
        std::memcpy(out.data() + x, &pixels, std::min<std::size_t>(8, out.size() - x));
    }
}

// Several bits a pixel, in one or more planes.
void combine_deep_planes(const Header& h, const std::uint8_t* in, std::span<std::uint8_t> out) {
    const auto bits = static_cast<std::size_t>(h.bits), per_byte = 8 / bits;
    const unsigned mask = (1U << bits) - 1;
    std::ranges::fill(out, std::uint8_t{0});
    for (int k = 0; k < h.planes; ++k, in += h.bytes_per_line) {
        const auto shift = static_cast<unsigned>(k * h.bits);
        for (std::size_t x = 0; x < out.size(); ++x) {
            const unsigned value = in[x / per_byte] >> (8 - bits - x % per_byte * bits) & mask;
            out[x] = static_cast<std::uint8_t>(out[x] | value << shift);
        }
    }
}

void convert_row(const Header& h, const std::uint8_t* in, std::span<std::uint8_t> out) {
    const auto width = static_cast<std::size_t>(h.width), line = static_cast<std::size_t>(h.bytes_per_line);
    if (h.depth() == 1) {
        std::memcpy(out.data(), in, out.size());
        if (width % 8) out.back() &= static_cast<std::uint8_t>(0xFF00U >> (width % 8));
    } else if (h.bits == 1) {
        combine_bit_planes(h, in, out);
    } else if (h.bits < 8) {
        combine_deep_planes(h, in, out);
    } else if (h.planes == 1) {
        std::memcpy(out.data(), in, width);
    } else if (h.planes == 3) {
        interleave_rgb(in, in + line, in + line * 2, out.data(), width);
    } else {
        for (std::size_t x = 0; x < width; ++x) {
            for (std::size_t k = 0; k < 4; ++k) out[x * 4 + k] = in[line * k + x];
        }
    }
}

struct Decoded {
    int rows = 0;
    bool complete = false;      // the last row too
    std::int64_t data_end = 0;  // where the compressed pixels end
};

Result<Decoded> decode_runs(const ByteReader& in, const Header& h, Bitmap& bitmap, RowSink& sink) {
    constexpr int kReport = 64;
    const RowOrder order{h.height};
    PcxRuns runs{in};
    std::vector<std::uint8_t> stored(h.row_bytes() + PcxRuns::kSlack);
    int reported = 0, y = 0;
    bool complete = true;
    while (complete && y < h.height) {
        const std::size_t got = runs.fill(stored.data(), h.row_bytes());
        complete = got == h.row_bytes();
        if (got == 0) break;
        std::fill(stored.begin() + static_cast<std::ptrdiff_t>(got), stored.end(), std::uint8_t{0});
        convert_row(h, stored.data(), bitmap.writable_row(y++));
        if (y - reported < kReport && complete && y < h.height) continue;
        if (!report_rows(order, bitmap, reported, y, sink)) return Error{Fault::cancelled, "pixels"};
        reported = y;
    }
    if (y == 0) return Error{Fault::truncated, "pixels"};
    return Decoded{y, complete && y == h.height, kHeaderSize + runs.consumed()};
}

Result<Decoded> decode_raw(const ByteReader& in, const Header& h, Bitmap& bitmap, RowSink& sink) {
    const auto rows = read_raw_rows(
        in, h.row_bytes(), RowOrder{h.height}, bitmap, sink,
        [&](const std::uint8_t* stored, int y) { convert_row(h, stored, bitmap.writable_row(y)); });
    if (!rows) return rows.error();
    const std::int64_t size = static_cast<std::int64_t>(h.row_bytes()) * h.height;
    return Decoded{*rows, in.remaining() >= size, kHeaderSize + size};
}

// Alpha that is 0 everywhere was never meant.
void drop_void_alpha(Bitmap& bitmap, int rows) {
    const auto each = [&](auto visit) {
        for (int y = 0; y < rows; ++y) {
            const auto row = bitmap.writable_row(y);
            for (std::size_t at = 3; at < row.size(); at += 4) visit(row[at]);
        }
    };
    unsigned seen = 0;
    each([&](std::uint8_t alpha) { seen |= alpha; });
    if (seen == 0) each([](std::uint8_t& alpha) { alpha = 255; });
}

Result<Outcome> decode_page(ByteReader in, const ReadOptions& options, RowSink& sink, int format_code) {
    const auto header = read_header(in, options.limits);
    if (!header) return header.error();
    in.seek(kHeaderSize);
    const auto row_bytes = static_cast<std::int64_t>(header->row_bytes());
    const std::int64_t reach =
        header->packed() ? (in.remaining() + 1) / 2 * 63 : in.remaining();  // bytes the data can give at most
    if (reach < row_bytes) return Error{Fault::truncated, "pixels"};
    const bool data_short = reach < row_bytes * header->height;
    auto bitmap = bitmap_for(header->width, header->height, header->depth(), options.limits, data_short);
    if (!bitmap) return bitmap.error();
    if (header->depth() < 8) bitmap->set_palette(small_palette(*header));
    bitmap->metadata().resolution = resolution_of(*header);
    // The 256 colours stand behind the pixels; a guess from the end of the file serves until these are read.
    if (header->depth() == 8) bitmap->set_palette(large_palette(in, *header, in.size()));
    sink.begin(*bitmap);
    const auto decoded =
        header->packed() ? decode_runs(in, *header, *bitmap, sink) : decode_raw(in, *header, *bitmap, sink);
    if (!decoded) return decoded.error();
    // A width that contradicts the bytes per line is believed only when the data bear it out.
    if (!header->consistent && !decoded->complete) return Error{Fault::malformed, "bytes per line"};
    if (!data_short) bitmap->clear_rows(decoded->rows, header->height);
    if (header->depth() == 8) bitmap->set_palette(large_palette(in, *header, decoded->data_end));
    if (header->depth() == 32) drop_void_alpha(*bitmap, decoded->rows);
    return outcome_of(std::move(*bitmap), format_code, decoded->rows);
}

Result<Outcome> decode(ByteReader in, const ReadOptions& options, RowSink& sink) {
    return decode_page(in, options, sink, kPcxFormat);
}

// --- several pages
// -----------------------------------------------------------------------------------------------

// The pages in the order of the table. A page ends where the next one in the file begins.
Result<std::vector<ByteReader>> read_pages(ByteReader& in, const Limits& limits) {
    constexpr int kTable = 1023;
    if (in.u32le() != 0x3ADE68B1)
        return Error{in.failed() ? Fault::truncated : Fault::malformed, "signature"};
    std::vector<std::int64_t> offsets;
    for (int i = 0; i < std::min(kTable, limits.max_pages); ++i) {
        const std::int64_t offset = in.u32le();
        if (offset == 0 || in.failed()) break;
        const bool known = std::ranges::find(offsets, offset) != offsets.end();
        if (offset >= 8 && offset < in.size() && !known) offsets.push_back(offset);
    }
    if (offsets.empty()) return Error{in.failed() ? Fault::truncated : Fault::malformed, "page table"};
    std::vector<std::int64_t> sorted = offsets;
    std::ranges::sort(sorted);
    std::vector<ByteReader> pages;
    for (const std::int64_t offset : offsets) {
        const auto next = std::ranges::upper_bound(sorted, offset);
        pages.push_back(in.sub(offset, (next == sorted.end() ? in.size() : *next) - offset));
    }
    return pages;
}

int page_of(const ReadOptions& options, std::size_t pages) {
    return std::clamp(options.page, 1, static_cast<int>(pages));
}

Result<ImageInfo> info_dcx(ByteReader in, const ReadOptions& options) {
    const auto pages = read_pages(in, options.limits);
    if (!pages) return pages.error();
    const int page = page_of(options, pages->size());
    auto info = info_of((*pages)[static_cast<std::size_t>(page - 1)], options, kDcxFormat);
    if (!info) return info;
    info->pages = static_cast<int>(pages->size());
    info->page = page;
    return info;
}

Result<Outcome> decode_dcx(ByteReader in, const ReadOptions& options, RowSink& sink) {
    const auto pages = read_pages(in, options.limits);
    if (!pages) return pages.error();
    return decode_page((*pages)[static_cast<std::size_t>(page_of(options, pages->size()) - 1)], options, sink,
                       kDcxFormat);
}

// --- writing
// -----------------------------------------------------------------------------------------------------

Header header_for(const Bitmap& bitmap) {
    Header h;
    h.width = bitmap.width();
    h.height = bitmap.height();
    switch (bitmap.layout()) {
        case Layout::bit1: h.bits = 1, h.planes = 1; break;
        case Layout::index8:
            h.bits = bitmap.bits() <= 4 ? 1 : 8, h.planes = bitmap.bits() <= 4 ? 4 : 1;
            break;
        default: h.bits = 8, h.planes = 3;
    }
    h.bytes_per_line = (h.width * h.bits + 15) / 16 * 2;
    const auto dpi = [](double value) {
        return value >= 1 && value < 65535 ? static_cast<int>(std::lround(value)) : 0;
    };
    h.dpi_x = dpi(bitmap.metadata().resolution.x);
    h.dpi_y = dpi(bitmap.metadata().resolution.y);
    const Palette palette = h.depth() == 1 ? gray_palette(2) : bitmap.palette();
    for (std::size_t i = 0; i < std::min<std::size_t>(16, palette.size()); ++i) {
        h.colours[i * 3] = palette[i].r, h.colours[i * 3 + 1] = palette[i].g,
                      h.colours[i * 3 + 2] = palette[i].b;
    }
    return h;
}

void put_header(const Header& h, bool gray, ByteWriter& out) {
    const auto u16 = [&](int value) { out.u16le(static_cast<std::uint32_t>(value)); };
    out.u8(0x0A), out.u8(5), out.u8(1), out.u8(h.bits);
    u16(0), u16(0), u16(h.width - 1), u16(h.height - 1), u16(h.dpi_x), u16(h.dpi_y);
    out.write(h.colours);
    out.u8(0), out.u8(h.planes);
    u16(h.bytes_per_line), u16(gray ? 2 : 1);
    out.zeros(58);
}

int brightness(const Palette& palette, std::size_t index) {
    return index < palette.size() ? palette[index].r * 2 + palette[index].g * 5 + palette[index].b : 0;
}

// Row y as its planes, one behind the other; bytes behind the width stay zero.
class PlaneRows {
  public:
    PlaneRows(const Bitmap& bitmap, const Header& h)
        : bitmap_{bitmap}, h_{h}, rgb_(static_cast<std::size_t>(h.width) * 3) {
        // In a bilevel file 1 is the bright one.
        flip_ =
            h.depth() == 1 && brightness(bitmap.palette(), 0) > brightness(bitmap.palette(), 1) ? 0xFF : 0;
    }

    void get(int y, std::vector<std::uint8_t>& out) {
        const auto row = bitmap_.row(y);
        const auto width = static_cast<std::size_t>(h_.width),
                   line = static_cast<std::size_t>(h_.bytes_per_line);
        if (h_.depth() == 1) {
            for (std::size_t i = 0; i < row.size(); ++i) out[i] = row[i] ^ flip_;
            if (width % 8) out[row.size() - 1] &= static_cast<std::uint8_t>(0xFF00U >> (width % 8));
        } else if (h_.bits == 1) {
            std::ranges::fill(out, std::uint8_t{0});
            for (std::size_t x = 0; x < width; ++x) {
                for (std::size_t k = 0; k < 4; ++k)
                    out[k * line + x / 8] |= static_cast<std::uint8_t>((row[x] >> k & 1) << (7 - x % 8));
            }
        } else if (h_.planes == 1) {
            std::memcpy(out.data(), row.data(), width);
        } else {
            row_to_rgb(bitmap_, y, 0, rgb_);
            for (std::size_t x = 0; x < width; ++x) {
                out[x] = rgb_[x * 3], out[line + x] = rgb_[x * 3 + 1], out[line * 2 + x] = rgb_[x * 3 + 2];
            }
        }
    }

  private:
    const Bitmap& bitmap_;
    const Header& h_;
    std::vector<std::uint8_t> rgb_;
    std::uint8_t flip_ = 0;
};

// One plane of one row: runs end with it, as readers without a carry expect. out has room for twice the
// plane; returns its new end.
std::uint8_t* pack(const std::uint8_t* plane, const std::uint8_t* end, std::uint8_t* out) {
    while (plane < end) {
        const std::uint8_t value = *plane;
        const std::uint8_t* const limit = plane + std::min<std::ptrdiff_t>(63, end - plane);
        const std::uint8_t* next = plane + 1;
        while (next < limit && *next == value) ++next;
        const auto count = next - plane;
        // Written in any case, kept only when needed: noise makes the question unpredictable.
        *out = static_cast<std::uint8_t>(0xC0 | count);
        out += count > 1 || value >= 0xC0 ? 1 : 0;
        *out++ = value;
        plane = next;
    }
    return out;
}

void put_palette(const Palette& palette, ByteWriter& out) {
    out.u8(kPaletteMark);
    for (std::size_t i = 0; i < 256; ++i) {
        const Rgba c = i < palette.size() ? palette[i] : Rgba{};
        out.u8(c.r), out.u8(c.g), out.u8(c.b);
    }
}

Result<void> encode(const Bitmap& bitmap, ByteWriter& out, const WriteOptions& options) {
    const Header h = header_for(bitmap);
    if (h.width > 0xFFFF || h.height > 0xFFFF || h.bytes_per_line > 0xFFFF)
        return Error{Fault::too_large, "width or height"};
    put_header(h, bitmap.is_gray(), out);
    PlaneRows rows{bitmap, h};
    std::vector<std::uint8_t> planes(h.row_bytes()), packed(h.row_bytes() * 2);
    for (int y = 0; y < h.height; ++y) {
        rows.get(y, planes);
        std::uint8_t* end = packed.data();
        for (const std::uint8_t* plane = planes.data(); plane < planes.data() + planes.size();
             plane += h.bytes_per_line) {
            end = pack(plane, plane + h.bytes_per_line, end);
        }
        out.write({packed.data(), end});
        if (out.failed()) return Error{Fault::io, "pixels"};
        if (y % 64 == 63 && options.progress && !options.progress(y + 1, h.height))
            return Error{Fault::cancelled, "pixels"};
    }
    if (h.depth() == 8) put_palette(bitmap.palette(), out);
    return {};
}

constexpr int kDepths[] = {1, 4, 8, 24};
constexpr FormatCode kPcxFormats[] = {{kPcxFormat, "", kDepths}};
constexpr FormatCode kDcxFormats[] = {{kDcxFormat, "multi-page"}};
constexpr std::string_view kPcxExtensions[] = {"pcx", "pcc"};
constexpr std::string_view kDcxExtensions[] = {"dcx"};

}  // namespace

extern const Codec pcx;
const Codec pcx{"PCX", kPcxFormats, kPcxExtensions, Pages::one, false, true,
                probe, info,        decode,         nullptr,    encode};

extern const Codec dcx;
const Codec dcx{"DCX",     kDcxFormats, kDcxExtensions, Pages::many, false,  true,
                probe_dcx, info_dcx,    decode_dcx,     nullptr,     nullptr};

}  // namespace quillmark::imaging::codecs
