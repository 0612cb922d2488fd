#include "engine/floater.h"

#include <algorithm>
#include <cmath>

namespace quillmark::engine {
namespace {

constexpr qint64 kLargestKept = 4'000'000;  // device pixels; larger ones are drawn as far as they are seen

}  // namespace

QImage render_region(const imaging::Bitmap& bitmap, const imaging::Region& region,
                     const RenderRequest& request) {
    const QImage full = render(bitmap, request);
    QImage picture{request.exposed.size(), QImage::Format_ARGB32_Premultiplied};
    if (picture.isNull() || full.isNull()) return {};
    picture.fill(0);
    const double scale_x = request.dst.width() / bitmap.width(),
                 scale_y = request.dst.height() / bitmap.height();
    // The first device pixel, within the exposed part, whose centre lies at or behind bitmap column x.
    const auto column = [&](int x) {
        const double at = request.dst.left() + x * scale_x - request.exposed.x();
        return std::clamp(static_cast<int>(std::ceil(at - 0.5)), 0, picture.width());
    };
    for (int y = 0; y < picture.height(); ++y) {
        const double row = (request.exposed.y() + y + 0.5 - request.dst.top()) / scale_y;
        const auto* from = reinterpret_cast<const QRgb*>(full.constScanLine(y));
        auto* to = reinterpret_cast<QRgb*>(picture.scanLine(y));
        for (const imaging::Run& run : region.row(static_cast<int>(std::floor(row))))
            for (int x = column(run.first); x < column(run.last); ++x) to[x] = from[x] | 0xFF000000U;
    }
    return picture;
}

const QImage& FloaterPicture::picture(const imaging::Bitmap& bitmap, const imaging::Region& region,
                                      const QRectF& dst, const QRect& visible, BitonalScale bitonal,
                                      QPoint& at) {
    const double scale_x = dst.width() / bitmap.width(), scale_y = dst.height() / bitmap.height();
    const imaging::Rect bounds = region.bounds();
    const QRect whole = QRectF{dst.left() + bounds.x * scale_x, dst.top() + bounds.y * scale_y,
                               bounds.width * scale_x, bounds.height * scale_y}
                            .toAlignedRect();
    const bool keep = static_cast<qint64>(whole.width()) * whole.height() <= kLargestKept;
    const QRect exposed = keep ? whole : whole.intersected(visible);
    at = exposed.topLeft();
    // Relative to its own corner a picture stays the same while it moves by whole device pixels.
    const RenderRequest wanted{dst.translated(-at), QRect{QPoint{}, exposed.size()}, bitonal};
    if (exposed.isEmpty()) {
        picture_ = {};
    } else if (picture_.isNull() || !(rendered_ == wanted)) {
        picture_ = render_region(bitmap, region, wanted);
        rendered_ = wanted;
    }
    return picture_;
}

}  // namespace quillmark::engine
