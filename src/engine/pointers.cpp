#include "engine/pointers.h"

#include <QPainter>
#include <QPixmap>

namespace quillmark::engine {
namespace {

// A beam with serifs and a small "A" beside it: text will be put here.
QCursor text_cursor(double ratio) {
    constexpr int kSide = 32;
    constexpr QPoint kBeam{11, 15};  // where the text goes
    QPixmap pixmap{QSize{kSide, kSide} * ratio};
    pixmap.setDevicePixelRatio(ratio);
    pixmap.fill(Qt::transparent);
    QPainter painter{&pixmap};
    const QLine lines[] = {{kBeam - QPoint{0, 8}, kBeam + QPoint{0, 8}},
                           {kBeam + QPoint{-4, -9}, kBeam + QPoint{4, -9}},
                           {kBeam + QPoint{-4, 9}, kBeam + QPoint{4, 9}},
                           {17, 24, 21, 13},
                           {21, 13, 25, 24},
                           {18, 20, 24, 20}};
    // White around black shows on light and dark alike.
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen{Qt::white, 3.5, Qt::SolidLine, Qt::RoundCap});
    painter.drawLines(lines, static_cast<int>(std::size(lines)));
    painter.setPen(QPen{Qt::black, 1.4, Qt::SolidLine, Qt::RoundCap});
    painter.drawLines(lines, static_cast<int>(std::size(lines)));
    painter.end();
    return QCursor{pixmap, kBeam.x(), kBeam.y()};
}

}  // namespace

QCursor pointer_cursor(int pointer, double device_pixel_ratio) {
    switch (pointer) {
        case kPointerSize: return Qt::SizeAllCursor;
        case kPointerText: return text_cursor(device_pixel_ratio);
        default: return Qt::ArrowCursor;
    }
}

}  // namespace quillmark::engine
