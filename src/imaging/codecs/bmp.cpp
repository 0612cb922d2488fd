// BMP files of Windows and OS/2, OS/2 bitmap arrays (their entries are pages) with icons and pointers, and
// DIBs without a file header.
#include <algorithm>
#include <optional>

#include "imaging/codecs/dib.h"
#include "imaging/codecs/icon_mask.h"

namespace quillmark::imaging::codecs {
namespace {

constexpr int kFileHeader = 14;
constexpr std::size_t kMostArrayEntries = 256;
constexpr int kLargestIconSide = 1024;

// What a file header begins with, read little-endian.
enum Kind : std::uint16_t {
    kBitmap = 0x4D42,        // BM
    kArray = 0x4142,         // BA
    kIcon = 0x4349,          // IC
    kPointer = 0x5450,       // PT
    kColourIcon = 0x4943,    // CI
    kColourPointer = 0x5043  // CP
};

bool is_icon(int kind) {
    return kind == kIcon || kind == kPointer || kind == kColourIcon || kind == kColourPointer;
}
bool is_colour_icon(int kind) { return kind == kColourIcon || kind == kColourPointer; }

struct Page {
    int kind = kBitmap;
    DibPlace place;
    int hot_spot_x = 0, hot_spot_y = 0;
};

std::optional<Page> read_page(ByteReader in, std::int64_t at) {
    in.seek(at);
    Page page;
    page.kind = in.u16le();
    page.place.file_size_field = in.u32le();
    page.hot_spot_x = in.u16le();
    page.hot_spot_y = in.u16le();
    page.place.bits_at = in.u32le();
    page.place.header_at = at + kFileHeader;
    if (in.failed() || (page.kind != kBitmap && !is_icon(page.kind))) return std::nullopt;
    return page;
}

Result<std::vector<Page>> find_pages(ByteReader in) {
    std::vector<Page> pages;
    if (in.u16le() != kArray) {
        if (const auto page = read_page(in, 0)) pages.push_back(*page);
    } else {
        for (std::int64_t at = 0; pages.size() < kMostArrayEntries;) {
            in.seek(at);
            const bool entry = in.u16le() == kArray;
            in.skip(4);
            const std::int64_t next = in.u32le();
            if (in.failed() || !entry) break;
            if (const auto page = read_page(in, at + kFileHeader)) pages.push_back(*page);
            if (next <= at) break;
            at = next;
        }
    }
    if (pages.empty()) return Error{Fault::truncated, "bitmap file header"};
    return pages;
}

int clamp_page(int page, std::size_t count) { return std::clamp(page, 1, static_cast<int>(count)); }

Result<Outcome> decode_small(const ByteReader& in, const DibHeader& header, const ReadOptions& options) {
    if (header.width > kLargestIconSide || header.height > 2 * kLargestIconSide) {
        return Error{Fault::too_large, "icon's width or height"};
    }
    RowSink nobody;
    return decode_dib(in, header, options, nobody);
}

// The mask's upper half says where the icon is transparent; the lower half is the picture of icons without
// colour.
Result<Bitmap> compose(const Bitmap& halves, const std::optional<Bitmap>& colours, const Limits& limits) {
    const int height = halves.height() / 2;
    auto mask = copy_rows(halves, 0, height, limits);
    if (!mask) return mask;
    if (colours) {
        const bool same_size = colours->width() == mask->width() && colours->height() == height;
        return same_size ? with_mask(*colours, *mask, limits) : Result<Bitmap>{*colours};
    }
    auto picture = copy_rows(halves, height, height, limits);
    if (!picture) return picture;
    picture->set_palette(gray_palette(2));
    return with_mask(*picture, *mask, limits);
}

// An OS/2 icon or pointer: a mask of double height, for coloured ones followed by the headers of the colour
// bitmap.
Result<Outcome> decode_icon(const ByteReader& in, const Page& page, const ReadOptions& options) {
    const auto mask_header = read_dib_header(in, page.place);
    if (!mask_header) return mask_header.error();
    if (mask_header->bits != 1 || mask_header->height < 2) return Error{Fault::malformed, "icon mask"};
    const auto halves = decode_small(in, *mask_header, options);
    if (!halves) return halves.error();
    std::optional<Bitmap> colours;
    int format_code = halves->format_code;
    if (is_colour_icon(page.kind)) {
        const auto colour_page = read_page(in, mask_header->headers_end);
        if (!colour_page) return Error{Fault::malformed, "colour icon"};
        const auto header = read_dib_header(in, colour_page->place);
        if (!header) return header.error();
        auto outcome = decode_small(in, *header, options);
        if (!outcome) return outcome;
        colours = std::move(outcome->bitmap);
        format_code = outcome->format_code;
    }
    auto picture = compose(halves->bitmap, colours, options.limits);
    if (!picture) return picture.error();
    picture->metadata().hot_spot_x = page.hot_spot_x;
    picture->metadata().hot_spot_y = page.hot_spot_y;
    const int height = picture->height();
    return Outcome{std::move(*picture), format_code, height, height, {}};
}

Result<ImageInfo> page_info(const ByteReader& in, const Page& page, const ReadOptions& options) {
    if (!is_icon(page.kind)) {
        const auto header = read_dib_header(in, page.place);
        if (!header) return header.error();
        return dib_info(in, *header, options);
    }
    // What depth the mask leaves depends on the pixels; icons are small.
    const auto outcome = decode_icon(in, page, options);
    if (!outcome) return outcome.error();
    ImageInfo info;
    info.format_code = outcome->format_code;
    info.width = outcome->bitmap.width();
    info.height = outcome->bitmap.height();
    info.bits = outcome->bitmap.bits();
    return info;
}

std::uint32_t u16_at(std::span<const std::uint8_t> head, std::size_t at) {
    return head[at] | head[at + 1] * 256U;
}
std::uint32_t u32_at(std::span<const std::uint8_t> head, std::size_t at) {
    return u16_at(head, at) | u16_at(head, at + 2) << 16;
}

bool plausible_header_size(std::uint32_t size) { return size == 12 || (size >= 16 && size <= 124); }

bool probe(std::span<const std::uint8_t> head) {
    if (head.size() < 18) return false;
    const int kind = static_cast<int>(u16_at(head, 0));
    if (kind == kBitmap) return plausible_header_size(u32_at(head, 14));
    const int inner = static_cast<int>(u16_at(head, 14));
    if (kind == kArray) return inner == kBitmap || is_icon(inner);
    // Letters alone are too little for icons on their own.
    if (!is_icon(kind) || head.size() < 26 || !plausible_header_size(u32_at(head, 14))) return false;
    const bool core = u32_at(head, 14) == 12;
    return head.size() >= 30 && u16_at(head, core ? 22 : 26) == 1 && u16_at(head, core ? 24 : 28) == 1;
}

Result<ImageInfo> info(ByteReader in, const ReadOptions& options) {
    const auto pages = find_pages(in);
    if (!pages) return pages.error();
    const int page = clamp_page(options.page, pages->size());
    auto result = page_info(in, (*pages)[static_cast<std::size_t>(page - 1)], options);
    if (!result) return result;
    result->page = page;
    result->pages = static_cast<int>(pages->size());
    return result;
}

Result<Outcome> decode(ByteReader in, const ReadOptions& options, RowSink& sink) {
    const auto pages = find_pages(in);
    if (!pages) return pages.error();
    const Page& page = (*pages)[static_cast<std::size_t>(clamp_page(options.page, pages->size()) - 1)];
    if (is_icon(page.kind)) {
        auto outcome = decode_icon(in, page, options);
        if (!outcome) return outcome;
        return deliver(std::move(outcome->bitmap), outcome->format_code, outcome->rows_shown, sink);
    }
    const auto header = read_dib_header(in, page.place);
    if (!header) return header.error();
    return decode_dib(in, *header, options, sink);
}

bool probe_headerless(std::span<const std::uint8_t> head) {
    if (head.size() < 16) return false;
    const std::uint32_t size = u32_at(head, 0);
    const auto is_depth = [](std::uint32_t bits) {
        return bits == 1 || bits == 4 || bits == 8 || bits == 16 || bits == 24 || bits == 32;
    };
    if (size == 12)
        return u16_at(head, 4) > 0 && u16_at(head, 6) > 0 && u16_at(head, 8) == 1 &&
               is_depth(u16_at(head, 10));
    const bool known = size == 40 || size == 52 || size == 56 || size == 64 || size == 108 || size == 124;
    return known && head.size() >= 40 && u32_at(head, 4) > 0 && u32_at(head, 4) < 0x80000000U &&
           u32_at(head, 8) != 0 && u16_at(head, 12) == 1 &&
           (is_depth(u16_at(head, 14)) || u16_at(head, 14) == 0) && u32_at(head, 16) <= 6;
}

constexpr int kHeaderlessCode = 9;

Result<ImageInfo> info_headerless(ByteReader in, const ReadOptions& options) {
    const auto header = read_dib_header(in, {});
    if (!header) return header.error();
    auto result = dib_info(in, *header, options);
    if (result) result->format_code = kHeaderlessCode;
    return result;
}

Result<Outcome> decode_headerless(ByteReader in, const ReadOptions& options, RowSink& sink) {
    const auto header = read_dib_header(in, {});
    if (!header) return header.error();
    auto outcome = decode_dib(in, *header, options, sink);
    if (outcome) outcome->format_code = kHeaderlessCode;
    return outcome;
}

constexpr int kWindowsDepths[] = {1, 4, 8, 16, 24, 32};
constexpr int kOs2Depths[] = {1, 4, 8, 24};
constexpr FormatCode kFormats[] = {
    {6, "Windows", kWindowsDepths},
    {14, "OS/2 1.x", kOs2Depths},
    {74, "OS/2 2.x"},
};
constexpr FormatCode kHeaderlessFormats[] = {{kHeaderlessCode, "without file header"}};
constexpr std::string_view kExtensions[] = {"bmp", "dib", "rle"};
constexpr std::string_view kHeaderlessExtensions[] = {"dib"};

}  // namespace

extern const Codec bmp;
const Codec bmp{"BMP", kFormats, kExtensions, Pages::one, false,     true,
                probe, info,     decode,      nullptr,    encode_bmp};

extern const Codec dib;
const Codec dib{"DIB",  kHeaderlessFormats, kHeaderlessExtensions, Pages::one,        false,
                false,  probe_headerless,   info_headerless,       decode_headerless, nullptr,
                nullptr};

}  // namespace quillmark::imaging::codecs
