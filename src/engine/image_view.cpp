#include "engine/image_view.h"

#include <QMouseEvent>
#include <QPainter>
#include <QScrollBar>
#include <QStyle>
#include <QWheelEvent>
#include <cmath>

#include "engine/loading.h"
#include "platform/screen.h"

namespace quillmark::engine {
namespace {

int button_code(Qt::MouseButton button) {
    switch (button) {
        case Qt::LeftButton: return 1;
        case Qt::RightButton: return 2;
        case Qt::MiddleButton: return 4;
        default: return 0;
    }
}

int button_code(Qt::MouseButtons buttons) {
    return (buttons & Qt::LeftButton ? 1 : 0) | (buttons & Qt::RightButton ? 2 : 0) |
           (buttons & Qt::MiddleButton ? 4 : 0);
}

int shift_code(Qt::KeyboardModifiers keys) {
    return (keys & Qt::ShiftModifier ? 1 : 0) | (keys & Qt::ControlModifier ? 2 : 0) |
           (keys & Qt::AltModifier ? 4 : 0);
}

BitonalScale bitonal_scale(int method) {
    return method == 1   ? BitonalScale::favour_black
           : method == 2 ? BitonalScale::to_gray
                         : BitonalScale::normal;
}

}  // namespace

ImageView::ImageView(Engine& engine, QWidget* parent) : QAbstractScrollArea{parent}, engine_{engine} {
    setFrameShape(QFrame::NoFrame);
    setFocusPolicy(Qt::StrongFocus);
    setAccessibleName(tr("Image"));
    viewport()->setMouseTracking(true);
    viewport()->setAttribute(Qt::WA_OpaquePaintEvent);
    connect(&engine, &Engine::bitmap_changed, this, &ImageView::image_changed);
    connect(&engine, &Engine::display_changed, this, &ImageView::image_changed);
    // Not repaint(): a view mode re-applied while windows are being arranged would paint before the others
    // have moved, and what they uncover stays unpainted.
    connect(&engine, &Engine::repaint_requested, this, [this] {
        stale_ = true;
        transition_due_ = engine_.PaintEffect() != 0;
        viewport()->update();
    });
    connect(&transition_, &TransitionPlayer::changed, viewport(), qOverload<>(&QWidget::update));
    connect(&engine, &Engine::partly_loaded, this, [this] {
        update_layout();
        viewport()->update();
    });
}

QSize ImageView::sizeHint() const {
    const QSize image = image_size();
    return image.isEmpty() ? QSize{320, 240} : size_for_image(image.width(), image.height()).toSize();
}

QSizeF ImageView::size_for_image(int width, int height) const {
    // At fractional scale factors the view may begin inside a device pixel, which costs it one.
    const double ratio = devicePixelRatioF();
    const int spare = ratio == std::floor(ratio) ? 0 : 1;
    return QSizeF(width + spare, height + spare) / ratio;
}

QPoint ImageView::middle_seen() const {
    return viewport()->mapToGlobal(viewport()->visibleRegion().boundingRect().center());
}

QSize ImageView::image_size() const {
    if (Loading* loading = engine_.loading(); loading && engine_.PaintWhileLoad())
        return loading->image_size();
    return {engine_.BitmapWidth(), engine_.BitmapHeight()};
}

QSize ImageView::view_size() const {
    const QSizeF size = QSizeF(viewport()->size()) * devicePixelRatioF();
    return {static_cast<int>(std::lround(size.width())), static_cast<int>(std::lround(size.height()))};
}

DisplayRequest ImageView::request() const {
    return {image_size(),
            view_size(),
            engine_.PaintSizeMode(),
            engine_.PaintZoomFactor(),
            {horizontalScrollBar()->value(), verticalScrollBar()->value()}};
}

void ImageView::image_changed() {
    stale_ = true;
    updateGeometry();
    update_layout();
    if (engine_.AutoRepaint()) viewport()->update();
}

// Scroll bars count device pixels. Without AutoScroll, or in the fitting modes, there is nothing to scroll.
void ImageView::update_layout() {
    const auto range = [](QScrollBar* bar, int shown, int view) {
        bar->setPageStep(view);
        bar->setSingleStep(std::max(1, view / 20));
        bar->setRange(0, std::max(0, shown - view));
    };
    const DisplayRequest now = request();
    const bool scrolls = engine_.AutoScroll() && now.paint_size_mode == kPaintNormal;
    const QSize shown = scrolls ? displayed_size(now) : QSize{};
    const QSizeF most = QSizeF(maximumViewportSize()) * devicePixelRatioF();
    // A pixel of rounding at fractional scale factors must not bring up the bars.
    const bool fits = shown.width() <= std::ceil(most.width()) && shown.height() <= std::ceil(most.height());
    range(horizontalScrollBar(), fits ? 0 : shown.width(), now.view.width());
    range(verticalScrollBar(), fits ? 0 : shown.height(), now.view.height());
    dst_ = display_rectangle(request());
    engine_.SetDisplayRectangles(dst_, dst_.intersected(QRectF{QPointF{}, QSizeF(view_size())}));
    if (const QScreen* on = screen()) {
        const double ratio = devicePixelRatioF();
        engine_.SetTwipsPerPixel(platform::twips_per_pixel_x(on) / ratio,
                                 platform::twips_per_pixel_y(on) / ratio);
    }
}

// Only what can be seen is rendered: a window may be far larger than the frame that shows it.
QRect ImageView::visible_part() const {
    const QRect part = viewport()->visibleRegion().boundingRect();
    const double ratio = devicePixelRatioF();
    const QPoint from(static_cast<int>(std::floor(part.left() * ratio)),
                      static_cast<int>(std::floor(part.top() * ratio)));
    const QPoint to(static_cast<int>(std::ceil((part.left() + part.width()) * ratio)),
                    static_cast<int>(std::ceil((part.top() + part.height()) * ratio)));
    return QRect{from, QSize(to.x() - from.x(), to.y() - from.y())}.intersected(dst_.toAlignedRect());
}

RenderRequest ImageView::render_request() const {
    return {dst_, visible_part(), bitonal_scale(engine_.BitonalScaling())};
}

// Draws pixels one to one: at fractional scale factors the viewport may begin inside a device pixel, which
// would blur everything; the picture then starts at the next whole one.
void ImageView::draw(QPainter& painter, const QImage& image, QPoint at) {
    const double ratio = devicePixelRatioF();
    const QPointF origin = QPointF(viewport()->mapTo(window(), QPoint{})) * ratio;
    const QPointF offset(std::ceil(origin.x()) - origin.x(), std::ceil(origin.y()) - origin.y());
    QImage picture = image;
    picture.setDevicePixelRatio(ratio);
    painter.drawImage((QPointF(at) + offset) / ratio, picture);
}

QColor ImageView::surround() const { return palette().color(QPalette::Window).darker(120); }

void ImageView::paintEvent(QPaintEvent*) {
    QPainter painter{viewport()};
    painter.fillRect(viewport()->rect(), surround());
    const RenderRequest wanted = render_request();
    if (wanted.exposed.isEmpty()) return;
    if (Loading* loading = engine_.loading()) {
        if (!engine_.PaintWhileLoad()) return;
        const QImage partial = loading->picture(wanted);
        if (!partial.isNull()) draw(painter, partial, wanted.exposed.topLeft());
        return;
    }
    refresh_cache(wanted);
    draw(painter, transition_.running() ? transition_.picture() : cache_, wanted.exposed.topLeft());
}

void ImageView::refresh_cache(const RenderRequest& wanted) {
    if (!stale_ && cached_ == wanted) return;
    const QImage before = cached_ == wanted ? cache_ : QImage{};
    cache_ = engine::render(engine_.Bitmap(), wanted);
    cached_ = wanted;
    stale_ = false;
    if (transition_.running() && transition_.target() != cache_) transition_.finish();
    if (transition_due_) begin_transition(before);
}

// From what is shown; where that is the same picture, it appears anew on an empty sheet.
void ImageView::begin_transition(const QImage& shown) {
    transition_due_ = false;
    const bool animated = style()->styleHint(QStyle::SH_Widget_Animation_Duration, nullptr, this) > 0;
    if (animated)
        transition_.begin(engine_.PaintEffect(), engine_.EffectDelay(), shown == cache_ ? QImage{} : shown,
                          cache_, surround().rgb());
    engine_.SetPaintEffect(0);
}

void ImageView::resizeEvent(QResizeEvent* event) {
    QAbstractScrollArea::resizeEvent(event);
    update_layout();
}

void ImageView::scrollContentsBy(int, int) {
    update_layout();
    viewport()->update();
}

bool ImageView::viewportEvent(QEvent* event) {
    if (event->type() == QEvent::ScreenChangeInternal || event->type() == QEvent::PaletteChange) {
        stale_ = true;
        update_layout();
    }
    return QAbstractScrollArea::viewportEvent(event);
}

namespace {

QPointF in_scale(const Engine& engine, const QMouseEvent& event, double ratio, double twips_x,
                 double twips_y) {
    const QPointF pixels = event.position() * ratio;
    if (engine.ScaleMode() != kTwips) return pixels;
    return {pixels.x() * twips_x / ratio, pixels.y() * twips_y / ratio};
}

}  // namespace

void ImageView::mousePressEvent(QMouseEvent* event) {
    const QPointF at = in_scale(engine_, *event, devicePixelRatioF(), platform::twips_per_pixel_x(screen()),
                                platform::twips_per_pixel_y(screen()));
    emit MouseDown(button_code(event->button()), shift_code(event->modifiers()), at.x(), at.y());
}

void ImageView::mouseMoveEvent(QMouseEvent* event) {
    const QPointF at = in_scale(engine_, *event, devicePixelRatioF(), platform::twips_per_pixel_x(screen()),
                                platform::twips_per_pixel_y(screen()));
    emit MouseMove(button_code(event->buttons()), shift_code(event->modifiers()), at.x(), at.y());
}

void ImageView::mouseReleaseEvent(QMouseEvent* event) {
    const QPointF at = in_scale(engine_, *event, devicePixelRatioF(), platform::twips_per_pixel_x(screen()),
                                platform::twips_per_pixel_y(screen()));
    emit MouseUp(button_code(event->button()), shift_code(event->modifiers()), at.x(), at.y());
}

// The mouse's right button arrives as MouseDown; here the keyboard gets the same menu.
void ImageView::contextMenuEvent(QContextMenuEvent* event) {
    if (event->reason() == QContextMenuEvent::Keyboard) emit menu_key();
    event->accept();
}

void ImageView::wheelEvent(QWheelEvent* event) {
    if (!(event->modifiers() & Qt::ControlModifier)) return QAbstractScrollArea::wheelEvent(event);
    const int steps = event->angleDelta().y() > 0 ? 1 : event->angleDelta().y() < 0 ? -1 : 0;
    if (steps) emit zoom_wheel(steps);
    event->accept();
}

}  // namespace quillmark::engine
