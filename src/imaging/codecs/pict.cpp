// Macintosh pictures, versions 1 and 2: the rasters and QuickTime images in them, and their simple shapes.
// Source: Inside Macintosh: Imaging With QuickDraw, appendix A.
#include <algorithm>
#include <cmath>

#include "imaging/codecs/pict_file.h"
#include "imaging/codecs/pict_rows.h"
#include "imaging/codecs/pict_stream.h"
#include "imaging/codecs/pict_write.h"
#include "imaging/convert_depth.h"

namespace quillmark::imaging::codecs {
namespace {

constexpr std::int64_t kMostPainted = 16;  // times the canvas: rasters that hide each other are no picture

bool probe(std::span<const std::uint8_t> head) { return find_pict(head) >= 0; }

std::string_view packing_name(const PictFile& file) {
    if (file.rasters.empty()) return "";
    const PictRaster& first = file.rasters[0];
    if (first.stream != 0) return "QuickTime";
    return first.count_bytes > 0 ? "PackBits" : "";
}

Result<ImageInfo> info(ByteReader in, const ReadOptions& options) {
    const auto file = read_pict(in, options.limits);
    if (!file) return file.error();
    ImageInfo info;
    info.format_code = kPictFormat;
    info.width = file->width;
    info.height = file->height;
    info.bits = file->bits;
    info.resolution = file->resolution;
    info.compression = packing_name(*file);
    return info;
}

Result<Outcome> decode_raster(const ByteReader& picture, const PictRaster& raster, const ReadOptions& options,
                              RowSink& sink) {
    if (raster.stream == 0) return decode_pict_rows(picture, raster, options.limits, sink);
    return decode_pict_stream(picture.sub(raster.data_at, raster.data_size), raster, options, sink);
}

// Where a raster's target lies on the canvas.
struct Area {
    int left, top, right, bottom;
};

Area area_of(const PictFile& file, const PictRect& target) {
    const auto at = [&](int units) { return static_cast<int>(std::lround(units * file.scale)); };
    return {at(target.left - file.frame.left), at(target.top - file.frame.top),
            at(target.right - file.frame.left), at(target.bottom - file.frame.top)};
}

// Stretches the picture over its area; rows beyond rows_shown are left as they are.
void paint(const Bitmap& picture, int rows_shown, const Area& area, bool over_white, Bitmap& canvas) {
    const int left = std::max(area.left, 0), right = std::min(area.right, canvas.width());
    const int top = std::max(area.top, 0), bottom = std::min(area.bottom, canvas.height());
    const std::int64_t wide = area.right - area.left, high = area.bottom - area.top;
    if (left >= right || top >= bottom) return;
    std::vector<std::uint8_t> row(static_cast<std::size_t>(picture.width()) * 3);
    int held = -1;
    for (int y = top; y < bottom; ++y) {
        const int from =
            static_cast<int>((2 * std::int64_t{y - area.top} + 1) * picture.height() / (2 * high));
        if (from >= rows_shown) return;
        if (from != held) row_to_rgb(picture, from, 0, row);
        held = from;
        const auto out = canvas.writable_row(y);
        for (int x = left; x < right; ++x) {
            const auto at = (2 * std::int64_t{x - area.left} + 1) * picture.width() / (2 * wide) * 3;
            const std::uint8_t* pixel = &row[static_cast<std::size_t>(at)];
            if (over_white && (pixel[0] & pixel[1] & pixel[2]) == 255) continue;
            std::copy_n(pixel, 3, &out[static_cast<std::size_t>(x) * 3]);
        }
    }
}

// Which row of the canvas is the first without its pixels.
int missing_from(const Area& area, const Outcome& outcome, int height) {
    if (outcome.rows_shown >= outcome.rows_declared) return height;
    const std::int64_t high = area.bottom - area.top;
    return std::clamp(static_cast<int>(area.top + high * outcome.rows_shown / outcome.rows_declared), 0,
                      height);
}

Result<Outcome> compose(const ByteReader& picture, const PictFile& file, const ReadOptions& options,
                        RowSink& sink) {
    auto canvas = Bitmap::create_unfilled(file.width, file.height, 24, options.limits);
    if (!canvas) return canvas.error();
    for (int y = 0; y < file.height; ++y) std::ranges::fill(canvas->writable_row(y), std::uint8_t{255});
    sink.begin(*canvas);
    const std::int64_t total = static_cast<std::int64_t>(file.rasters.size());
    std::int64_t painted = 0, done = 0;
    int shown = file.height, good = 0;
    RowSink quiet;
    auto shape = file.shapes.begin();
    std::int64_t budget = kMostPainted * (std::int64_t{file.width} * file.height + 65'536);
    const auto draw_until = [&](std::size_t rasters) {
        for (; shape != file.shapes.end() && shape->before <= rasters; ++shape)
            draw_pict_shape(*shape, file.frame.left, file.frame.top, file.scale, budget, *canvas);
    };
    draw_until(0);
    for (const PictRaster& raster : file.rasters) {
        const Area area = area_of(file, raster.target);
        painted += std::int64_t{raster.source.width()} * raster.source.height();
        if (painted > kMostPainted * std::max(std::int64_t{file.width} * file.height, std::int64_t{65'536}))
            break;
        const auto part = decode_raster(picture, raster, options, quiet);
        if (part) {
            paint(part->bitmap, part->rows_shown, area, raster.mode == 1 || raster.mode == 36, *canvas);
            shown = std::min(shown, missing_from(area, *part, file.height));
            ++good;
        } else {
            if (part.error().fault == Fault::out_of_memory) return part.error();
            shown = std::min(shown, std::clamp(area.top, 0, file.height));
        }
        draw_until(static_cast<std::size_t>(++done));
        if (!sink.rows(*canvas, 0, file.height, done, total)) return Error{Fault::cancelled, "pixels"};
    }
    if (good == 0 && file.shapes.empty()) return Error{Fault::truncated, "pixels"};
    Outcome outcome;
    outcome.bitmap = std::move(*canvas);
    outcome.rows_declared = file.height;
    outcome.rows_shown = std::max(shown, 1);
    if (shown < file.height) outcome.warnings.push_back("data end early");
    return outcome;
}

// A stream's rows are reported once it is there in full: its own sides may differ from the picture's.
Result<Outcome> decode(ByteReader in, const ReadOptions& options, RowSink& sink) {
    const auto file = read_pict(in, options.limits);
    if (!file) return file.error();
    const ByteReader picture = in.sub(file->begin);
    auto outcome = file->single() ? decode_raster(picture, file->rasters[0], options, sink)
                                  : compose(picture, *file, options, sink);
    if (!outcome) return outcome;
    outcome->format_code = kPictFormat;
    if (outcome->bitmap.metadata().resolution.x <= 0)
        outcome->bitmap.metadata().resolution = file->resolution;
    if (file->simplified) outcome->warnings.push_back("text and some shapes are not shown");
    if (!file->finished) outcome->warnings.push_back("picture has no end");
    return outcome;
}

constexpr int kDepths[] = {1, 4, 8, 24};
constexpr FormatCode kFormats[] = {{kPictFormat, "", kDepths}};
constexpr std::string_view kExtensions[] = {"pct", "pict", "pic", "pict2"};

}  // namespace

extern const Codec pict;
const Codec pict{"PICT", kFormats, kExtensions, Pages::one, false,      true,
                 probe,  info,     decode,      nullptr,    encode_pict};

}  // namespace quillmark::imaging::codecs
