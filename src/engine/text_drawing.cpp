#include "engine/text_drawing.h"

#include <QFontMetricsF>
#include <QImage>
#include <QPainter>
#include <QTransform>
#include <algorithm>
#include <cmath>

namespace quillmark::engine {
namespace {

// QPainter's coordinates end at 32767; larger masks are drawn piece by piece.
constexpr int kTile = 8192;
// Glyphs may reach a little beyond what the font states.
constexpr double kSpare = 0.25;  // of the line's height

// Sizes at which Qt draws outlines well; the rest is left to the scale.
constexpr double kLeastSize = 1, kMostSize = 256;  // pixels
constexpr double kScreenDots = 96;                 // per inch, for fonts given in pixels

double points(const QFont& font) {
    return font.pointSizeF() > 0 ? font.pointSizeF() : font.pixelSize() * 72 / kScreenDots;
}

// Pictures of 72 dots per inch: there a point is a pixel, and points may be fractions.
void set_dots(QImage& picture) {
    picture.setDotsPerMeterX(2835);
    picture.setDotsPerMeterY(2835);
}

// A piece of the mask as a picture on the same memory.
QImage tile_of(imaging::Bitmap& mask, int x, int y) {
    QImage tile{mask.writable_row(y).data() + x, std::min(kTile, mask.width() - x),
                std::min(kTile, mask.height() - y), static_cast<qsizetype>(mask.stride()),
                QImage::Format_Alpha8};
    set_dots(tile);
    return tile;
}

void draw_tile(QImage& tile, const QString& text, const QFont& font, const QTransform& to_tile,
               double baseline) {
    QPainter painter{&tile};
    painter.setRenderHints(QPainter::Antialiasing | QPainter::TextAntialiasing);
    painter.setTransform(to_tile);
    painter.setFont(font);
    painter.setPen(Qt::black);
    painter.drawText(QPointF{0, baseline}, text);
}

}  // namespace

imaging::Result<TextMask> draw_text(const QString& text, const QFont& font, const TextPlacement& placement,
                                    int width, int height, const imaging::Limits& limits) {
    const double pixels = points(font) * placement.points_y;
    const double size = std::clamp(pixels, kLeastSize, kMostSize);
    QFont drawn = font;
    drawn.setPointSizeF(size);
    drawn.setStyleStrategy(
        static_cast<QFont::StyleStrategy>(QFont::PreferAntialias | QFont::NoSubpixelAntialias));
    QImage device{1, 1, QImage::Format_Alpha8};
    set_dots(device);
    const QFontMetricsF metrics{drawn, &device};
    const double spare = metrics.height() * kSpare;
    const QRectF box = metrics.boundingRect(text)
                           .translated(0, metrics.ascent())
                           .united({0, 0, metrics.horizontalAdvance(text), metrics.height()})
                           .adjusted(-spare, -spare, spare, spare);
    const double down = pixels / size, across = down * placement.points_x / placement.points_y;
    const QTransform to_image = QTransform{}.rotate(placement.angle) * QTransform::fromScale(across, down) *
                                QTransform::fromTranslate(placement.at.x(), placement.at.y());
    const QRect place = to_image.mapRect(box)
                            .intersected(QRectF(0, 0, width, height))
                            .toAlignedRect()
                            .intersected({0, 0, width, height});
    if (place.isEmpty()) return TextMask{};
    auto mask = imaging::Bitmap::create(place.width(), place.height(), 8, limits);
    if (!mask) return mask.error();
    for (int y = 0; y < place.height(); y += kTile) {
        for (int x = 0; x < place.width(); x += kTile) {
            QImage tile = tile_of(*mask, x, y);
            draw_tile(tile, text, drawn, to_image * QTransform::fromTranslate(-place.x() - x, -place.y() - y),
                      metrics.ascent());
        }
    }
    return TextMask{std::move(*mask), {place.x(), place.y()}};
}

}  // namespace quillmark::engine
