// The operations of the control. Each runs on a snapshot and replaces the image when it has succeeded.
#include "engine/engine.h"
#include "imaging/ops/geometry.h"

namespace quillmark::engine {

using imaging::Limits;

Code Engine::Flip() {
    return apply([](const imaging::Bitmap& b) { return imaging::flip(b, Limits{}); });
}

Code Engine::Reverse() {
    return apply([](const imaging::Bitmap& b) { return imaging::reverse(b, Limits{}); });
}

Code Engine::Rotate(int angle, bool, const QColor&) {
    if (angle % 9000 != 0) return kNotAvailable;
    return apply([turns = angle / 9000](const imaging::Bitmap& b) {
        return imaging::rotate_quarters(b, turns, Limits{});
    });
}

Code Engine::Shear(int, bool, const QColor&) { return kNotAvailable; }
Code Engine::Size(int, int, int) { return kNotAvailable; }
Code Engine::Trim(int, int, int, int) { return kNotAvailable; }
Code Engine::Intensity(int) { return kNotAvailable; }
Code Engine::Contrast(int) { return kNotAvailable; }
Code Engine::Hue(int) { return kNotAvailable; }
Code Engine::Saturation(int) { return kNotAvailable; }
Code Engine::GammaCorrect(int) { return kNotAvailable; }
Code Engine::HistoContrast(int) { return kNotAvailable; }
Code Engine::HistoEqualize() { return kNotAvailable; }
Code Engine::StretchIntensity() { return kNotAvailable; }
Code Engine::IntensityDetect(int, int) { return kNotAvailable; }
Code Engine::Invert() { return kNotAvailable; }
Code Engine::Grayscale(int) { return kNotAvailable; }
Code Engine::Posterize(int) { return kNotAvailable; }
Code Engine::Mosaic(int) { return kNotAvailable; }
Code Engine::Average(int) { return kNotAvailable; }
Code Engine::Median(int) { return kNotAvailable; }
Code Engine::Sharpen(int) { return kNotAvailable; }
Code Engine::AddNoise(int) { return kNotAvailable; }
Code Engine::Emboss(int) { return kNotAvailable; }
Code Engine::SpatialFilter(int) { return kNotAvailable; }
Code Engine::Combine(int, int, float, float, const imaging::Bitmap&, int, int, int) { return kNotAvailable; }
Code Engine::Underlay(const imaging::Bitmap&, int) { return kNotAvailable; }
Code Engine::ColorRes(int, int, int, int) { return kNotAvailable; }
Code Engine::Halftone(int, int) { return kNotAvailable; }
Code Engine::ColorSeparate(int) { return kNotAvailable; }
imaging::Bitmap Engine::ColorPlanes(int) const { return {}; }
Code Engine::GetHistogram(int) { return kNotAvailable; }
std::int64_t Engine::HistogramTable(int) const { return 0; }
std::int64_t Engine::GetColorCount() const { return 0; }
Code Engine::DrawText(const QString&, int) { return kNotAvailable; }
Code Engine::Copy(int) { return kNotAvailable; }
Code Engine::Paste(int) { return kNotAvailable; }
Code Engine::Capture(int, int, int, int, int) { return kNotAvailable; }

}  // namespace quillmark::engine
