#include "engine/selection_painter.h"

#include <QPolygonF>

namespace quillmark::engine {
namespace {

constexpr int kStripe = 4;              // pixels of black, then of white
constexpr std::size_t kSeparate = 256;  // more bars than this are repainted by their bounds

}  // namespace

// Diagonal stripes: every part of an outline drawn with them shows dashes, on pictures of any colour, and
// nothing has to be measured along the line.
QBrush SelectionPainter::stripes(int thickness) const {
    QImage tile{2 * kStripe, 2 * kStripe, QImage::Format_RGB32};
    for (int y = 0; y < tile.height(); ++y) {
        for (int x = 0; x < tile.width(); ++x)
            tile.setPixel(x, y, (x + y + phase_) / kStripe % 2 ? qRgb(255, 255, 255) : qRgb(0, 0, 0));
    }
    QBrush brush{tile};
    brush.setTransform(QTransform::fromScale(thickness, thickness));
    return brush;
}

void SelectionPainter::paint(QPainter& painter, const Scene& scene, const RegionTracker& tracker) {
    bars_.clear();
    if (engine_.FloaterVisible()) paint_floater(painter, scene);
    const QSize image{engine_.BitmapWidth(), engine_.BitmapHeight()};
    if (tracker.active() && tracker.freehand() && tracker.trail().size() > 1) {
        QPolygonF line;
        for (const imaging::Point& point : tracker.trail())
            line += QPointF{scene.dst.left() + point.x * scene.dst.width() / image.width(),
                            scene.dst.top() + point.y * scene.dst.height() / image.height()};
        painter.setPen(QPen{stripes(scene.thickness), static_cast<double>(scene.thickness)});
        painter.drawPolyline(line);
        return;
    }
    if (tracker.active()) {
        const Outline drawn = trace_outline(tracker.region());
        if (!drawn.empty()) return paint_bars(painter, scene, drawn);
    }
    if (!marches()) return;
    if (!outline_known_) outline_ = trace_outline(engine_.Rgn());
    outline_known_ = true;
    paint_bars(painter, scene, outline_);
}

void SelectionPainter::paint_bars(QPainter& painter, const Scene& scene, const Outline& outline) {
    bars_ = outline_bars(outline, scene.dst, {engine_.BitmapWidth(), engine_.BitmapHeight()}, scene.visible,
                         scene.thickness);
    painter.setPen(Qt::NoPen);
    painter.setBrush(stripes(scene.thickness));
    painter.drawRects(bars_.data(), static_cast<int>(bars_.size()));
}

void SelectionPainter::floater_changed() {
    if (!engine_.FloaterVisible()) floater_.forget();
}

// The floating rectangle tells where the region's bounds are displayed; the picture is that of the whole
// source, moved so that they fall there.
void SelectionPainter::paint_floater(QPainter& painter, const Scene& scene) {
    const imaging::Bitmap& source = engine_.Floater();
    const imaging::Rect lifted = engine_.FloaterRgn().bounds();
    if (source.empty() || lifted.empty()) return;
    const QPointF home{scene.dst.left() + lifted.x * scene.dst.width() / source.width(),
                       scene.dst.top() + lifted.y * scene.dst.height() / source.height()};
    const QRectF dst = scene.dst.translated(engine_.floater_rectangle().topLeft() - home);
    QPoint at;
    const QImage& picture =
        floater_.picture(source, engine_.FloaterRgn(), dst, scene.visible, scene.bitonal, at);
    painter.drawImage(at, picture);
}

QRegion SelectionPainter::march() {
    phase_ = (phase_ + 1) % (2 * kStripe);
    QRegion drawn;
    QRect bounds;
    for (const QRect& bar : bars_) {
        if (bars_.size() > kSeparate)
            bounds |= bar;
        else
            drawn += bar;
    }
    return drawn + bounds;
}

}  // namespace quillmark::engine
