#include "engine/image_view.h"

#include <QMouseEvent>
#include <QPainter>
#include <QScrollBar>
#include <QStyle>
#include <QWheelEvent>
#include <cmath>

#include "engine/loading.h"
#include "engine/pointers.h"
#include "platform/screen.h"

namespace quillmark::engine {
namespace {

constexpr int kMarchEvery = 150;  // milliseconds
constexpr int kLongNudge = 10;

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

ImageView::ImageView(Engine& engine, QWidget* parent)
    : QAbstractScrollArea{parent}, engine_{engine}, selection_{engine} {
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
    connect(&engine, &Engine::region_changed, this, &ImageView::region_changed);
    connect(&engine, &Engine::floater_changed, this, [this] {
        selection_.floater_changed();
        viewport()->update();
    });
    connect(&engine, &Engine::pointer_changed, this, &ImageView::show_pointer);
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

// At fractional scale factors the viewport may begin inside a device pixel, which would blur everything; the
// picture then starts at the next whole one.
QPointF ImageView::pixel_offset() const {
    const QPointF origin = QPointF(viewport()->mapTo(window(), QPoint{})) * devicePixelRatioF();
    return {std::ceil(origin.x()) - origin.x(), std::ceil(origin.y()) - origin.y()};
}

// Draws pixels one to one.
void ImageView::draw(QPainter& painter, const QImage& image, QPoint at) {
    const double ratio = devicePixelRatioF();
    QImage picture = image;
    picture.setDevicePixelRatio(ratio);
    painter.drawImage((QPointF(at) + pixel_offset()) / ratio, picture);
}

imaging::Rect ImageView::visible_pixels() const {
    const QRectF part = visible_part();
    if (part.isEmpty()) return {};
    const QPointF from = engine_.bitmap_point(part.topLeft()), to = engine_.bitmap_point(part.bottomRight());
    const int left = static_cast<int>(std::floor(from.x())), top = static_cast<int>(std::floor(from.y()));
    return imaging::Rect{left, top, static_cast<int>(std::ceil(to.x())) - left,
                         static_cast<int>(std::ceil(to.y())) - top}
        .intersected({0, 0, engine_.BitmapWidth(), engine_.BitmapHeight()});
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
    draw_selection(painter);
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

void ImageView::draw_selection(QPainter& painter) {
    const double ratio = devicePixelRatioF();
    painter.scale(1 / ratio, 1 / ratio);
    painter.translate(pixel_offset());
    selection_.paint(painter,
                     {dst_, visible_part(), std::max(1, static_cast<int>(std::lround(ratio))),
                      bitonal_scale(engine_.BitonalScaling())},
                     tracker_);
}

void ImageView::region_changed() {
    selection_.region_changed();
    march();
    viewport()->update();
}

// The outline moves only while it can be seen, and not for people who want nothing to move.
void ImageView::march() {
    const bool animated = style()->styleHint(QStyle::SH_Widget_Animation_Duration, nullptr, this) > 0;
    if (!animated || !selection_.marches() || !isVisible())
        marching_.stop();
    else if (!marching_.isActive())
        marching_.start(kMarchEvery, this);
}

void ImageView::showEvent(QShowEvent* event) {
    QAbstractScrollArea::showEvent(event);
    march();
}

void ImageView::timerEvent(QTimerEvent* event) {
    if (event->timerId() != marching_.timerId()) return QAbstractScrollArea::timerEvent(event);
    march();
    const double ratio = devicePixelRatioF();
    for (const QRect& bar : selection_.march()) {
        const QRectF logical{QPointF(bar.topLeft()) / ratio, QSizeF(bar.size()) / ratio};
        viewport()->update(logical.toAlignedRect().adjusted(-1, -1, 1, 1));
    }
}

void ImageView::show_pointer() {
    const int pointer = engine_.MousePointer();
    if (pointer == kPointerDefault || pointer == kPointerArrow)
        viewport()->unsetCursor();
    else
        viewport()->setCursor(pointer_cursor(pointer, devicePixelRatioF()));
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

QPointF ImageView::device_position(const QMouseEvent& event) const {
    const QPointF at = event.position() * devicePixelRatioF() - pixel_offset();
    return {std::floor(at.x()), std::floor(at.y())};
}

void ImageView::mousePressEvent(QMouseEvent* event) {
    const QPointF at = device_position(*event);
    emit MouseDown(button_code(event->button()), shift_code(event->modifiers()), at.x(), at.y());
    if (event->button() != Qt::LeftButton || engine_.RgnTracking() == kTrackNone || dst_.isEmpty()) return;
    tracker_.start(engine_.RgnTracking(), engine_.bitmap_point(at), image_size());
}

void ImageView::mouseDoubleClickEvent(QMouseEvent* event) { mousePressEvent(event); }

void ImageView::mouseMoveEvent(QMouseEvent* event) {
    const QPointF at = device_position(*event);
    if (tracker_.active()) {
        tracker_.extend(engine_.bitmap_point(at));
        viewport()->update();
        emit tracked();
    }
    emit MouseMove(button_code(event->buttons()), shift_code(event->modifiers()), at.x(), at.y());
}

void ImageView::mouseReleaseEvent(QMouseEvent* event) {
    const QPointF at = device_position(*event);
    if (tracker_.active() && event->button() == Qt::LeftButton) {
        tracker_.extend(engine_.bitmap_point(at));
        const imaging::Region drawn = tracker_.region();
        stop_tracking();
        if (!drawn.empty()) engine_.SetRgn(drawn);
    }
    emit MouseUp(button_code(event->button()), shift_code(event->modifiers()), at.x(), at.y());
}

void ImageView::stop_tracking() {
    tracker_.stop();
    viewport()->update();
    emit tracked();
}

void ImageView::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape && tracker_.active()) return stop_tracking();
    const Qt::KeyboardModifiers keys = event->modifiers() & ~Qt::KeypadModifier;
    const bool plain = keys == Qt::NoModifier || keys == Qt::ShiftModifier;
    const bool idle = !tracker_.active() && !engine_.FloaterVisible();
    const int step = keys == Qt::ShiftModifier ? kLongNudge : 1;
    const QPoint way = event->key() == Qt::Key_Left    ? QPoint{-1, 0}
                       : event->key() == Qt::Key_Right ? QPoint{1, 0}
                       : event->key() == Qt::Key_Up    ? QPoint{0, -1}
                       : event->key() == Qt::Key_Down  ? QPoint{0, 1}
                                                       : QPoint{};
    if (way.isNull() || !plain || !engine_.HasRgn()) return QAbstractScrollArea::keyPressEvent(event);
    if (idle) emit nudge(way.x() * step, way.y() * step);
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
