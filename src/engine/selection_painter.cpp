#include "engine/selection_painter.h"

#include <QPolygonF>

namespace quillmark::engine {
namespace {

constexpr int kDash = 4;
constexpr std::size_t kSeparate = 512;  // more dashes than this are repainted by their bounds

void paint_freehand(QPainter& painter, const Scene& scene, const RegionTracker& tracker, QSize image) {
    QPolygonF line;
    for (const imaging::Point& point : tracker.trail())
        line += QPointF{scene.dst.left() + point.x * scene.dst.width() / image.width(),
                        scene.dst.top() + point.y * scene.dst.height() / image.height()};
    QPen pen{Qt::white, static_cast<double>(scene.thickness)};
    painter.setPen(pen);
    painter.drawPolyline(line);
    pen.setColor(Qt::black);
    pen.setDashPattern({kDash, kDash});
    painter.setPen(pen);
    painter.drawPolyline(line);
}

}  // namespace

void SelectionPainter::paint(QPainter& painter, const Scene& scene, const RegionTracker& tracker) {
    dashes_ = {};
    if (engine_.FloaterVisible()) paint_floater(painter, scene);
    if (tracker.active() && tracker.freehand() && tracker.trail().size() > 1)
        return paint_freehand(painter, scene, tracker, {engine_.BitmapWidth(), engine_.BitmapHeight()});
    if (tracker.active()) {
        const Outline drawn = tracker.region().outlines();
        if (!drawn.empty()) return paint_outline(painter, scene, drawn);
    }
    if (!marches()) return;
    if (!outline_known_) outline_ = engine_.Rgn().outlines();
    outline_known_ = true;
    paint_outline(painter, scene, outline_);
}

void SelectionPainter::paint_outline(QPainter& painter, const Scene& scene, const Outline& outline) {
    const QSize image{engine_.BitmapWidth(), engine_.BitmapHeight()};
    dashes_ = outline_dashes(outline, {scene.dst, image, scene.visible, scene.thickness,
                                       kDash * scene.thickness, phase_ * scene.thickness});
    painter.setPen(Qt::NoPen);
    for (const auto& [colour, bars] : {std::pair{Qt::black, &dashes_.dark}, {Qt::white, &dashes_.light}}) {
        painter.setBrush(colour);
        painter.drawRects(bars->data(), static_cast<int>(bars->size()));
    }
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
    phase_ = (phase_ + 1) % (2 * kDash);
    const bool separate = dashes_.dark.size() + dashes_.light.size() <= kSeparate;
    QRegion drawn;
    QRect bounds;
    for (const auto* bars : {&dashes_.dark, &dashes_.light}) {
        for (const QRect& bar : *bars) {
            if (separate)
                drawn += bar;
            else
                bounds |= bar;
        }
    }
    return drawn + bounds;
}

}  // namespace quillmark::engine
