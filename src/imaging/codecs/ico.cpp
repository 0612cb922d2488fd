// Windows icons and cursors. Page 1 is the largest, deepest entry, the one worth showing; the other entries
// follow as pages 2, 3 ... in file order. Of the directory only offset, size and hot spot are believed, the
// rest is read from the images.
#include <algorithm>

#include "imaging/codecs/dib.h"
#include "imaging/codecs/icon_mask.h"

namespace quillmark::imaging::codecs {

extern const Codec png;

namespace {

constexpr int kIconCode = 91, kCursorCode = 92;
constexpr int kIconType = 1, kCursorType = 2;
constexpr int kMostEntries = 1024;
constexpr int kDirectory = 6, kEntry = 16;
constexpr int kLargestSide = 1024;  // of entries that are not PNG
constexpr std::uint8_t kPngSignature[] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};

struct Entry {
    std::int64_t offset = 0, size = 0;
    int listed_width = 0, listed_height = 0;
    int hot_spot_x = 0, hot_spot_y = 0;
    // From the image itself:
    bool is_png = false;
    DibHeader dib;  // of the colours alone, unless is_png
    int width = 0, height = 0, bits = 0;
};

struct Directory {
    int format_code = kIconCode;
    std::vector<Entry> pages;
};

bool has_png_signature(ByteReader in) {
    std::array<std::uint8_t, sizeof kPngSignature> start{};
    in.read(start);
    return std::ranges::equal(start, kPngSignature);
}

// The height field counts colours and mask; a few writers give the height of the picture alone.
bool counts_colours_only(const Entry& entry, const DibHeader& dib, std::int64_t available) {
    if (dib.height % 2 != 0) return true;
    const bool as_listed = dib.height == entry.listed_height && dib.width == entry.listed_width;
    return as_listed && dib.bits_at + dib.row_stride() * dib.height <= available;
}

bool read_dib_entry(const ByteReader& data, Entry& entry) {
    auto dib = read_dib_header(data, {});
    if (!dib || (dib->packing != DibPacking::none && dib->packing != DibPacking::bitfields)) return false;
    if (!counts_colours_only(entry, *dib, data.size())) dib->height /= 2;
    if (dib->width > kLargestSide || dib->height > kLargestSide) return false;
    if (dib->bits == 32 && dib->packing == DibPacking::none)
        dib->masks = {0xFF0000, 0x00FF00, 0x0000FF, 0xFF000000};
    dib->keep_alpha = true;
    entry.dib = *dib;
    entry.width = dib->width;
    entry.height = dib->height;
    entry.bits = dib->bits;
    return true;
}

// Looks at the image itself. False: the entry is of no use.
bool read_image_facts(const ByteReader& in, const ReadOptions& options, Entry& entry) {
    const ByteReader data = in.sub(entry.offset);
    entry.is_png = has_png_signature(data);
    if (!entry.is_png) return read_dib_entry(data, entry);
    const auto info = png.info(data, options);
    if (!info) return false;
    entry.width = info->width;
    entry.height = info->height;
    entry.bits = info->bits;
    return true;
}

Entry read_entry(ByteReader& in, bool cursor) {
    Entry entry;
    const auto side = [](int listed) { return listed == 0 ? 256 : listed; };
    entry.listed_width = side(in.u8());
    entry.listed_height = side(in.u8());
    in.skip(2);  // colours, reserved
    const int third = in.u16le(), fourth = in.u16le();
    if (cursor) entry.hot_spot_x = third, entry.hot_spot_y = fourth;
    entry.size = in.u32le();
    entry.offset = in.u32le();
    return entry;
}

bool shows_less(const Entry& a, const Entry& b) {
    const std::int64_t area_a = std::int64_t{a.width} * a.height, area_b = std::int64_t{b.width} * b.height;
    return area_a != area_b ? area_a < area_b : a.bits < b.bits;
}

Result<Directory> read_directory(ByteReader in, const ReadOptions& options) {
    Directory directory;
    in.skip(2);
    const int type = in.u16le();
    const int count = in.u16le();
    if (in.failed()) return Error{Fault::truncated, "icon directory"};
    if (count < 1 || count > kMostEntries) return Error{Fault::malformed, "number of icons"};
    directory.format_code = type == kCursorType ? kCursorCode : kIconCode;
    for (int i = 0; i < count; ++i) {
        Entry entry = read_entry(in, type == kCursorType);
        if (in.failed()) break;
        const bool inside = entry.offset >= kDirectory + kEntry && entry.offset < in.size();
        if (inside && read_image_facts(in, options, entry)) directory.pages.push_back(entry);
    }
    if (directory.pages.empty()) return Error{Fault::malformed, "icon images"};
    const auto best = std::ranges::max_element(directory.pages, shows_less);
    std::rotate(directory.pages.begin(), best, best + 1);
    return directory;
}

// The mask follows the colours. Rows that are not there leave the picture opaque.
Result<Bitmap> read_mask(const ByteReader& data, const Entry& entry, const Limits& limits) {
    auto mask = Bitmap::create(entry.width, entry.height, 1, limits);
    if (!mask) return mask;
    const std::int64_t at = entry.dib.bits_at + entry.dib.row_stride() * entry.height;
    const std::int64_t stride = (entry.width + 31) / 32 * 4;
    std::int64_t end = data.size();
    if (entry.size >= at) end = std::min(end, entry.size);  // sizes that are too small are wrong altogether
    if (entry.dib.profile_at >= at && entry.dib.profile_at < at + stride * entry.height) end = at;
    const int rows = static_cast<int>(std::clamp<std::int64_t>((end - at) / stride, 0, entry.height));
    const RowOrder order = dib::row_order(entry.dib);
    ByteReader in = data;
    for (int row = 0; row < rows; ++row) {
        in.seek(at + row * stride);
        in.read(mask->writable_row(order.target(row)));
    }
    return mask;
}

// The colours with the mask applied. 32-bit images have alpha of their own; old writers leave it 0
// everywhere.
Result<Outcome> decode_dib_entry(const ByteReader& in, const Entry& entry, const ReadOptions& options) {
    const ByteReader data = in.sub(entry.offset);
    const std::int64_t colours_end = entry.dib.bits_at + entry.dib.row_stride() * entry.height;
    RowSink nobody;
    auto outcome =
        decode_dib(data.sub(0, std::max(colours_end, entry.dib.profile_at + entry.dib.profile_bytes)),
                   entry.dib, options, nobody);
    if (!outcome) return outcome;
    Bitmap& picture = outcome->bitmap;
    const bool alpha = picture.layout() == Layout::rgba32;
    if (alpha && !make_opaque_if_invisible(picture, {picture.height()}, picture.height())) return outcome;
    const auto mask = read_mask(data, entry, options.limits);
    if (!mask) return mask.error();
    auto masked = with_mask(picture, *mask, options.limits);
    if (!masked) return masked.error();
    picture = std::move(*masked);
    return outcome;
}

Result<Outcome> decode_entry(const ByteReader& in, const Entry& entry, int format_code, ReadOptions options,
                             RowSink& sink) {
    options.page = 1;
    options.reduce = 1;
    auto outcome =
        entry.is_png ? png.decode(in.sub(entry.offset), options, sink) : decode_dib_entry(in, entry, options);
    if (!outcome) return outcome;
    outcome->format_code = format_code;
    outcome->bitmap.metadata().hot_spot_x = entry.hot_spot_x;
    outcome->bitmap.metadata().hot_spot_y = entry.hot_spot_y;
    if (entry.is_png) return outcome;
    return deliver(std::move(outcome->bitmap), format_code, outcome->rows_shown, sink);
}

std::uint32_t u16_at(std::span<const std::uint8_t> head, std::size_t at) {
    return head[at] | head[at + 1] * 256U;
}
std::uint32_t u32_at(std::span<const std::uint8_t> head, std::size_t at) {
    return u16_at(head, at) | u16_at(head, at + 2) << 16;
}

// The signature is weak, so the first entry and its image must make sense too.
bool probe_type(std::span<const std::uint8_t> head, std::uint32_t type) {
    if (head.size() < kDirectory + kEntry || u16_at(head, 0) != 0 || u16_at(head, 2) != type) return false;
    const std::uint32_t count = u16_at(head, 4);
    if (count < 1 || count > kMostEntries) return false;
    const std::uint32_t at = u32_at(head, 18);
    if (at < kDirectory + kEntry * count || u32_at(head, 14) == 0) return false;
    if (std::size_t{at} + 4 > head.size()) return true;
    const std::uint32_t start = u32_at(head, at);
    return start == 12 || (start >= 16 && start <= 124) ||
           std::equal(kPngSignature, kPngSignature + 4, head.data() + at);
}

bool probe_icon(std::span<const std::uint8_t> head) { return probe_type(head, kIconType); }
bool probe_cursor(std::span<const std::uint8_t> head) { return probe_type(head, kCursorType); }

const Entry& page_of(const Directory& directory, int page) {
    return directory
        .pages[static_cast<std::size_t>(std::clamp(page, 1, static_cast<int>(directory.pages.size())) - 1)];
}

Result<ImageInfo> info(ByteReader in, const ReadOptions& options) {
    const auto directory = read_directory(in, options);
    if (!directory) return directory.error();
    const Entry& entry = page_of(*directory, options.page);
    ImageInfo info;
    info.format_code = directory->format_code;
    info.width = entry.width;
    info.height = entry.height;
    info.bits = entry.bits;
    info.pages = static_cast<int>(directory->pages.size());
    info.page = std::clamp(options.page, 1, info.pages);
    info.compression = entry.is_png ? "PNG" : "";
    if (!entry.is_png) {
        info.resolution = entry.dib.resolution;
        // What depth the mask leaves depends on the pixels; these images are small.
        const auto outcome = decode_dib_entry(in, entry, options);
        if (!outcome) return outcome.error();
        info.bits = outcome->bitmap.bits();
    }
    return info;
}

Result<Outcome> decode(ByteReader in, const ReadOptions& options, RowSink& sink) {
    const auto directory = read_directory(in, options);
    if (!directory) return directory.error();
    return decode_entry(in, page_of(*directory, options.page), directory->format_code, options, sink);
}

constexpr FormatCode kIconFormats[] = {{kIconCode, "icon"}};
constexpr FormatCode kCursorFormats[] = {{kCursorCode, "cursor"}};
constexpr std::string_view kIconExtensions[] = {"ico"};
constexpr std::string_view kCursorExtensions[] = {"cur"};

}  // namespace

extern const Codec ico;
const Codec ico{"ICO",      kIconFormats, kIconExtensions, Pages::many, false,  true,
                probe_icon, info,         decode,          nullptr,     nullptr};

extern const Codec cur;
const Codec cur{"CUR", kCursorFormats, kCursorExtensions, Pages::many, false, true, probe_cursor,
                info,  decode,         nullptr,           nullptr};

}  // namespace quillmark::imaging::codecs
