#include "imaging/codecs/fax_pages.h"

#include <algorithm>
#include <array>
#include <utility>

#include "imaging/codecs/fax_encoder.h"
#include "imaging/codecs/row_stream.h"

namespace quillmark::imaging::fax {
namespace {

constexpr std::size_t kMostBytes = std::size_t{256} << 20;
constexpr int kReport = 64;  // rows between two reports
constexpr int kPageRows = 20;
constexpr double kFineFrom = 150;
constexpr int kLongPage = 1400;  // rows from which a page of 1728 pixels is a fine one

std::size_t page_index(const Document& document, const ReadOptions& options) {
    return static_cast<std::size_t>(std::clamp(options.page, 1, static_cast<int>(document.pages.size()))) - 1;
}

struct Count {
    int rows = 0;  // up to the last good one
    bool damaged = false;
};

Count skip_page(Decoder& decoder, std::int64_t most) {
    Count count;
    const int damaged_before = decoder.damaged_rows();
    for (int rows = 1; rows <= most; ++rows) {
        const Decoder::Row row = decoder.skip();
        if (row == Decoder::Row::end) break;
        if (row == Decoder::Row::good) count.rows = rows;
    }
    count.damaged = decoder.damaged_rows() > damaged_before;
    return count;
}

// What follows a page is another one only when it looks so: other bytes give a row or two by accident.
bool is_page(const Count& count, bool first) {
    return count.rows > 0 && (first || !count.damaged || count.rows >= kPageRows);
}

// Page ends that the section may hold: pages without rows count as well, else nothing would bound them.
void find_pages_of(const Document& document, std::size_t number, const Limits& limits,
                   std::vector<Page>& pages) {
    const Section& section = document.sections[number];
    Decoder decoder{document.data_of(section), section.layout};
    const std::size_t before = pages.size();
    for (int skipped = 0; skipped < limits.max_pages; ++skipped) {
        const Count count = skip_page(decoder, limits.max_bilevel_side);
        if (is_page(count, pages.size() == before)) pages.push_back({number, skipped, count.rows});
        if (count.rows == limits.max_bilevel_side || !decoder.begin_page()) return;
    }
}

std::string_view name_of(Coding coding) {
    switch (coding) {
        case Coding::group3_2d: return "CCITT G3 2-D";
        case Coding::group4: return "CCITT G4";
        default: return "CCITT G3 1-D";
    }
}

int luminance(const Rgba& c) { return c.r * 2 + c.g * 5 + c.b; }

}  // namespace

Document open_document(const ByteReader& in) {
    Document document;
    const auto memory = in.source()->memory();
    const auto size =
        static_cast<std::size_t>(std::min<std::int64_t>(in.size(), static_cast<std::int64_t>(kMostBytes)));
    if (!memory.empty()) {
        document.bytes = memory.subspan(static_cast<std::size_t>(in.base()), size);
        return document;
    }
    ByteReader all{in};
    all.seek(0);
    document.own = all.bytes(size);
    document.bytes = document.own;
    return document;
}

Result<void> find_pages(Document& document, const Limits& limits) {
    const auto most = static_cast<std::size_t>(limits.max_pages);
    for (std::size_t i = 0; i < document.sections.size() && document.pages.size() < most; ++i)
        find_pages_of(document, i, limits, document.pages);
    if (document.pages.size() > most) document.pages.resize(most);
    if (document.pages.empty()) return Error{Fault::malformed, "fax rows"};
    return {};
}

const Section& section_of(const Document& document, const ReadOptions& options) {
    return document.sections[document.pages[page_index(document, options)].section];
}

ImageInfo info_of(const Document& document, const ReadOptions& options) {
    const std::size_t index = page_index(document, options);
    const Section& section = section_of(document, options);
    ImageInfo info;
    info.width = section.layout.width;
    info.height = document.pages[index].rows;
    info.bits = 1;
    info.pages = static_cast<int>(document.pages.size());
    info.page = static_cast<int>(index) + 1;
    info.resolution =
        section.resolution.x > 0 ? section.resolution : usual_resolution(info.width, info.height);
    info.compression = name_of(section.layout.coding);
    return info;
}

Result<Outcome> decode_page(const Document& document, const ReadOptions& options, int format_code,
                            RowSink& sink) {
    const Page& page = document.pages[page_index(document, options)];
    const Section& section = document.sections[page.section];
    Decoder decoder{document.data_of(section), section.layout};
    for (int i = 0; i < page.skipped; ++i) {
        skip_page(decoder, options.limits.max_bilevel_side);
        decoder.begin_page();
    }
    auto outcome = decode_rows(decoder, section.layout.width, page.rows, format_code, options.limits, sink);
    if (outcome) outcome->bitmap.metadata().resolution = info_of(document, options).resolution;
    return outcome;
}

Result<Outcome> decode_rows(Decoder& decoder, int width, int height, int format_code, const Limits& limits,
                            RowSink& sink) {
    const bool data_short = decoder.bits_left() < height;  // a row takes a bit at least
    auto bitmap = codecs::bitmap_for(width, height, 1, limits, data_short);
    if (!bitmap) return bitmap.error();
    bitmap->set_palette({{255, 255, 255, 255}, {0, 0, 0, 255}});
    sink.begin(*bitmap);
    const codecs::RowOrder order{height};
    const int damaged_before = decoder.damaged_rows();
    int rows = 0, shown = 0, reported = 0;
    for (Decoder::Row row; rows < height; ++rows) {
        row = decoder.next(bitmap->writable_row(rows));
        if (row == Decoder::Row::end) break;
        if (row == Decoder::Row::good) shown = rows + 1;
        if (rows + 1 - reported < kReport) continue;
        if (!codecs::report_rows(order, *bitmap, reported, rows + 1, sink))
            return Error{Fault::cancelled, "fax rows"};
        reported = rows + 1;
    }
    if (shown == 0) return Error{Fault::truncated, "fax rows"};
    if (!codecs::report_rows(order, *bitmap, std::min(reported, rows), rows, sink))
        return Error{Fault::cancelled, "fax rows"};
    if (!data_short) bitmap->clear_rows(rows, height);
    Outcome outcome = codecs::outcome_of(std::move(*bitmap), format_code, shown);
    if (decoder.damaged_rows() > damaged_before) outcome.warnings.push_back("damaged fax rows");
    return outcome;
}

Result<std::vector<std::uint8_t>> encode_page(const Bitmap& bitmap, const Layout& layout,
                                              const WriteOptions& options) {
    if (bitmap.layout() != imaging::Layout::bit1)
        return Error{Fault::unsupported, "fax with more than 1 bit"};
    Palette palette = bitmap.palette();
    palette.resize(2);
    const bool zero_is_black = luminance(palette[0]) < luminance(palette[1]);
    Encoder encoder{layout, k_for(bitmap.metadata().resolution)};
    std::vector<std::uint8_t> inverted(bitmap.row_bytes());
    for (int y = 0; y < bitmap.height(); ++y) {
        if (zero_is_black)
            std::ranges::transform(bitmap.row(y), inverted.begin(),
                                   [](std::uint8_t byte) { return static_cast<std::uint8_t>(~byte); });
        encoder.add_row(zero_is_black ? std::span<const std::uint8_t>{inverted} : bitmap.row(y));
        if (y % kReport == kReport - 1 && options.progress && !options.progress(y + 1, bitmap.height()))
            return Error{Fault::cancelled, "fax rows"};
    }
    encoder.finish(true);
    return std::move(encoder.bytes());
}

int k_for(const Resolution& resolution) { return resolution.y > 0 && resolution.y < kFineFrom ? 2 : 4; }

Resolution usual_resolution(int width, int rows) {
    struct Class {
        double dpi;
        std::array<int, 5> widths;
    };
    static constexpr Class kClasses[] = {{204, {1728, 2048, 2432, 1216, 864}},
                                         {300, {2592, 3072, 3648}},
                                         {400, {3456, 4096, 4864}},
                                         {600, {5184, 6144, 7296}},
                                         {1200, {10368, 12288, 14592}}};
    for (const Class& c : kClasses) {
        if (std::ranges::find(c.widths, width) == c.widths.end()) continue;
        if (c.dpi > 204) return {c.dpi, c.dpi};
        const bool fine = std::int64_t{rows} * 1728 > std::int64_t{kLongPage} * width;
        return {204, fine ? 196.0 : 98.0};
    }
    return {};
}

}  // namespace quillmark::imaging::fax
