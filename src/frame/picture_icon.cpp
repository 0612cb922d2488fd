#include "frame/picture_icon.h"

#include <QFile>
#include <QGuiApplication>
#include <QIconEngine>
#include <QImage>
#include <QPainter>
#include <QPalette>
#include <QPixmapCache>
#include <QSvgRenderer>

// Resources of a static library are dropped by the linker unless asked for; the macro must stand outside
// namespaces.
static void load_pictures() { Q_INIT_RESOURCE(pictures); }

namespace quillmark::frame {
namespace {

constexpr QColor kAccentOnLight(0x1f, 0x6f, 0xd0);
constexpr QColor kAccentOnDark(0x6c, 0xb0, 0xff);

/// The text of a picture with its two placeholder colours replaced.
QByteArray coloured_svg(const QString& name, const QColor& ink, const QColor& accent) {
    static const bool loaded = (load_pictures(), true);
    Q_UNUSED(loaded);
    QFile file(QStringLiteral(":/pictures/%1.svg").arg(name));
    if (!file.open(QIODevice::ReadOnly)) return {};
    QByteArray svg = file.readAll();
    svg.replace("currentColor", ink.name().toLatin1());
    svg.replace("#2f7fe0", accent.name().toLatin1());
    return svg;
}

/// A few pictures have colours of their own; disabled, they are grey like the others.
void drop_colours(QImage& image) {
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x) {
            const QColor pixel = image.pixelColor(x, y);
            const int grey = qGray(pixel.rgb());
            image.setPixelColor(x, y, QColor(grey, grey, grey, pixel.alpha()));
        }
}

class PictureEngine final : public QIconEngine {
  public:
    explicit PictureEngine(QString name) : name_(std::move(name)) {}

    QIconEngine* clone() const override { return new PictureEngine(name_); }
    QString key() const override { return QStringLiteral("quillmark-picture"); }
    QString iconName() override { return name_; }
    bool isNull() override { return false; }
    QSize actualSize(const QSize& size, QIcon::Mode, QIcon::State) override {
        const int side = std::min(size.width(), size.height());
        return {side, side};
    }

    /// `size` is in device pixels: the scale factor is already multiplied in.
    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State) override {
        const QPalette palette = QGuiApplication::palette();
        const auto group = mode == QIcon::Disabled ? QPalette::Disabled : QPalette::Active;
        const auto role = mode == QIcon::Selected ? QPalette::HighlightedText : QPalette::WindowText;
        const QColor ink = palette.color(group, role);
        const QColor accent = mode == QIcon::Normal || mode == QIcon::Active ? accent_for(ink) : ink;
        const int side = std::min(size.width(), size.height());
        const QString key = QStringLiteral("quillmark/%1/%2/%3/%4/%5")
                                .arg(name_)
                                .arg(side)
                                .arg(ink.rgba())
                                .arg(accent.rgba())
                                .arg(mode == QIcon::Disabled);
        QPixmap result;
        if (QPixmapCache::find(key, &result)) return result;
        QImage drawn = picture_image(name_, side, ink, accent);
        if (mode == QIcon::Disabled) drop_colours(drawn);
        result = QPixmap::fromImage(drawn);
        QPixmapCache::insert(key, result);
        return result;
    }

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State state) override {
        const qreal ratio = painter->device() ? painter->device()->devicePixelRatioF() : 1.0;
        QPixmap drawn = pixmap((QSizeF(rect.size()) * ratio).toSize(), mode, state);
        drawn.setDevicePixelRatio(ratio);
        QRectF target(QPointF(), QSizeF(drawn.size()) / ratio);
        target.moveCenter(QRectF(rect).center());
        painter->drawPixmap(target.topLeft(), drawn);
    }

  private:
    /// Light ink means a dark surface.
    static QColor accent_for(const QColor& ink) {
        return ink.lightnessF() > 0.5f ? kAccentOnDark : kAccentOnLight;
    }

    QString name_;
};

}  // namespace

QIcon picture_icon(const QString& name) { return name.isEmpty() ? QIcon() : QIcon(new PictureEngine(name)); }

QImage picture_image(const QString& name, int pixels, const QColor& ink, const QColor& accent) {
    const QByteArray svg = coloured_svg(name, ink, accent);
    QSvgRenderer renderer;
    if (pixels <= 0 || svg.isEmpty() || !renderer.load(svg)) return {};
    QImage image(pixels, pixels, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    renderer.render(&painter, QRectF(0, 0, pixels, pixels));
    return image;
}

}  // namespace quillmark::frame
