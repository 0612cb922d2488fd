// The operations of the control: each names one of the library's.
#include <vector>

#include "engine/engine.h"
#include "engine/text_drawing.h"
#include "imaging/ops/combine.h"
#include "imaging/ops/compose_mask.h"
#include "imaging/ops/histogram.h"
#include "imaging/ops/operation.h"
#include "imaging/ops/separation.h"
#include "imaging/result_codes.h"

namespace quillmark::engine {
namespace {

constexpr double kTwipsPerPoint = 20;
constexpr Code kInvalid = 20013;  // a parameter

int packed(const QColor& colour) { return static_cast<int>(colour.rgb() & 0xFFFFFFU); }

Code code_of(const imaging::Error& error) { return static_cast<Code>(imaging::result_code(error)); }

}  // namespace

Code Engine::operate(std::string_view name, std::initializer_list<int> arguments) {
    const imaging::Operation* operation = imaging::find_operation(name);
    if (!operation) return kNotAvailable;
    const std::vector<int> values = arguments;
    return apply(
        [&](const imaging::Bitmap& bitmap, const imaging::Region* selected, const imaging::Context& context) {
            return imaging::apply(*operation, bitmap, values, selected, context);
        });
}

Code Engine::Flip() { return operate("Flip", {}); }
Code Engine::Reverse() { return operate("Reverse", {}); }
Code Engine::Rotate(int angle, bool resize, const QColor& fill) {
    return operate("Rotate", {angle, resize, packed(fill)});
}
Code Engine::Shear(int angle, bool horizontal, const QColor& fill) {
    return operate("Shear", {angle, horizontal, packed(fill)});
}
Code Engine::Size(int width, int height, int flags) { return operate("Size", {width, height, flags}); }
Code Engine::Trim(int left, int top, int width, int height) {
    return operate("Trim", {left, top, width, height});
}
Code Engine::Intensity(int change) { return operate("Intensity", {change}); }
Code Engine::Contrast(int change) { return operate("Contrast", {change}); }
Code Engine::Hue(int change) { return operate("Hue", {change}); }
Code Engine::Saturation(int change) { return operate("Saturation", {change}); }
Code Engine::GammaCorrect(int gamma) { return operate("GammaCorrect", {gamma}); }
Code Engine::HistoContrast(int change) { return operate("HistoContrast", {change}); }
Code Engine::HistoEqualize() { return operate("HistoEqualize", {}); }
Code Engine::StretchIntensity() { return operate("StretchIntensity", {}); }
Code Engine::IntensityDetect(int low, int high) { return operate("IntensityDetect", {low, high}); }
Code Engine::Invert() { return operate("Invert", {}); }
Code Engine::Grayscale(int bits) { return operate("Grayscale", {bits}); }
Code Engine::Posterize(int levels) { return operate("Posterize", {levels}); }
Code Engine::Mosaic(int size) { return operate("Mosaic", {size}); }
Code Engine::Average(int size) { return operate("Average", {size}); }
Code Engine::Median(int size) { return operate("Median", {size}); }
Code Engine::Sharpen(int amount) { return operate("Sharpen", {amount}); }
Code Engine::AddNoise(int amount) { return operate("AddNoise", {amount}); }
Code Engine::Emboss(int depth) { return operate("Emboss", {depth}); }
Code Engine::SpatialFilter(int filter) { return operate("SpatialFilter", {filter}); }
Code Engine::EdgeComponent(int amount) { return operate("EdgeComponent", {amount}); }
Code Engine::ColorRes(int bits, int palette, int dither, int) {
    return operate("ColorRes", {bits, palette, dither});
}
Code Engine::Halftone(int type, int value) { return operate("Halftone", {type, value}); }

Code Engine::Combine(int x, int y, float width, float height, const imaging::Bitmap& source, int source_x,
                     int source_y, int flags) {
    const imaging::Rect place{x, y, static_cast<int>(width), static_cast<int>(height)};
    return apply(
        [&](const imaging::Bitmap& bitmap, const imaging::Region* selected, const imaging::Context& context) {
            return imaging::combine(bitmap, place, source, {source_x, source_y}, flags, selected, context);
        });
}

Code Engine::Underlay(const imaging::Bitmap& underlay, int mode) {
    return apply(
        [&](const imaging::Bitmap& bitmap, const imaging::Region* selected, const imaging::Context& context) {
            return imaging::underlay(bitmap, underlay, static_cast<imaging::UnderlayMode>(mode), selected,
                                     context);
        });
}

Code Engine::ColorSeparate(int kind) {
    planes_.clear();
    if (bitmap_.empty()) return 20002;
    if (kind < 0 || kind > static_cast<int>(imaging::Separation::cmy)) return kInvalid;
    imaging::Result<std::vector<imaging::Bitmap>> planes = imaging::kOutOfMemory;
    run([&, snapshot = bitmap_](const Report& report) {
        planes = imaging::separate(snapshot, static_cast<imaging::Separation>(kind), context(report));
    });
    if (!planes) return code_of(planes.error());
    planes_ = std::move(*planes);
    return 0;
}

imaging::Bitmap Engine::ColorPlanes(int plane) const {
    const auto at = static_cast<std::size_t>(plane);
    return at < planes_.size() ? planes_[at] : imaging::Bitmap{};
}

Code Engine::GetHistogram(int channel) {
    histogram_.clear();
    if (bitmap_.empty()) return 20002;
    if (channel < imaging::kMaster || channel > imaging::kBlue) return kInvalid;
    imaging::Result<imaging::Statistics> counted = imaging::kOutOfMemory;
    run([&, snapshot = bitmap_, selected = region_](const Report& report) {
        counted = imaging::gather_statistics(snapshot, selected.empty() ? nullptr : &selected, 1U << channel,
                                             context(report));
    });
    if (!counted) return code_of(counted.error());
    // The table has 256 levels whatever the depth.
    const auto& levels = counted->levels[static_cast<std::size_t>(channel)];
    histogram_.assign(256, 0);
    for (std::size_t i = 0; i < levels.size(); ++i) histogram_[i * 256 / levels.size()] += levels[i];
    return 0;
}

std::int64_t Engine::HistogramTable(int level) const {
    const auto at = static_cast<std::size_t>(level);
    return at < histogram_.size() ? histogram_[at] : 0;
}

std::int64_t Engine::GetColorCount() {
    imaging::Result<std::int64_t> count = std::int64_t{0};
    if (bitmap_.empty()) return 0;
    run([&, snapshot = bitmap_, selected = region_](const Report& report) {
        count = imaging::count_colours(snapshot, selected.empty() ? nullptr : &selected, context(report));
    });
    return count ? *count : 0;
}

Code Engine::DrawText(const QString& text, int) {
    if (!draw_persistent_ || text.isEmpty()) return 0;
    // An instance without a view draws as at 100 %.
    const QRectF dst = dst_.isEmpty() ? QRectF(0, 0, BitmapWidth(), BitmapHeight()) : dst_;
    const double across = BitmapWidth() / dst.width(), down = BitmapHeight() / dst.height();
    const TextPlacement placement{{(from_scale(text_box_.left(), true) - dst.left()) * across,
                                   (from_scale(text_box_.top(), false) - dst.top()) * down},
                                  kTwipsPerPoint / twips_x_ * across,
                                  kTwipsPerPoint / twips_y_ * down,
                                  text_angle_ / 10.0};
    const QColor& c = font_colour_;
    const imaging::Rgba colour{static_cast<std::uint8_t>(c.red()), static_cast<std::uint8_t>(c.green()),
                               static_cast<std::uint8_t>(c.blue())};
    return apply([&](const imaging::Bitmap& bitmap, const imaging::Region* selected,
                     const imaging::Context& context) -> imaging::Result<imaging::Bitmap> {
        const auto mask = draw_text(text, font_, placement, bitmap.width(), bitmap.height(), context.limits);
        if (!mask) return mask.error();
        if (mask->coverage.empty()) return bitmap;
        return imaging::compose_mask(bitmap, mask->coverage, mask->place, colour, selected, context);
    });
}

Code Engine::Copy(int) { return kNotAvailable; }
Code Engine::Paste(int) { return kNotAvailable; }
Code Engine::Capture(int, int, int, int, int) { return kNotAvailable; }

}  // namespace quillmark::engine
