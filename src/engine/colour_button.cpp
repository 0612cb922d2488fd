#include "engine/colour_button.h"

#include <QColorDialog>
#include <QPainter>

namespace quillmark::engine {
namespace {

constexpr int kGap = 6;  // between the swatch and the caption

QIcon swatch(const QColor& colour, QSize size, const QColor& edge, double ratio) {
    QPixmap picture{size * ratio};
    picture.setDevicePixelRatio(ratio);
    picture.fill(Qt::transparent);
    QPainter painter{&picture};
    painter.setPen(edge);
    painter.setBrush(colour);
    painter.drawRect(QRectF{QPointF{0, 0}, QSizeF{size}}.adjusted(0.5, 0.5, -0.5 - kGap, -0.5));
    return QIcon{picture};
}

}  // namespace

ColourButton::ColourButton(const QString& caption, const QColor& colour, QWidget* parent)
    : QPushButton{caption, parent} {
    setAutoDefault(false);
    setIconSize({28 + kGap, 16});
    set_colour(colour);
    connect(this, &QPushButton::clicked, this, &ColourButton::ask);
}

void ColourButton::set_colour(const QColor& colour) {
    if (colour == colour_) return;
    colour_ = colour;
    setIcon(swatch(colour, iconSize(), palette().color(QPalette::WindowText), devicePixelRatioF()));
    setAccessibleDescription(colour.name());
    setToolTip(colour.name());
    emit colour_changed();
}

void ColourButton::ask() {
    const QColor chosen = QColorDialog::getColor(colour_, this, QString{text()}.remove(u'&').remove(u'…'));
    if (chosen.isValid()) set_colour(chosen);
}

}  // namespace quillmark::engine
