#include "engine/preview_pane.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>

namespace quillmark::engine {
namespace {

constexpr int kKeyStep = 32;

}  // namespace

PreviewPane::PreviewPane(const QString& name, QWidget* parent) : QWidget{parent} {
    setAccessibleName(name);
    setFocusPolicy(Qt::StrongFocus);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
}

void PreviewPane::show_picture(const TrialPicture& picture, const TrialView& view) {
    picture_ = picture;
    shown_ = wanted_ = view;
    remark_.clear();
    setAccessibleDescription({});
    choose_pointer();
    update();
}

void PreviewPane::show_remark(const QString& remark) {
    picture_ = {};
    remark_ = remark;
    setAccessibleDescription(remark);
    update();
}

void PreviewPane::set_view(const TrialView& view) {
    wanted_ = view;
    choose_pointer();
    update();
}

void PreviewPane::choose_pointer() {
    if (wanted_.fit)
        unsetCursor();
    else
        setCursor(dragging_ ? Qt::ClosedHandCursor : Qt::OpenHandCursor);
}

void PreviewPane::paintEvent(QPaintEvent*) {
    QPainter painter{this};
    // Neither white nor black: where a picture with a white border ends must be seen.
    painter.fillRect(rect(), palette().color(QPalette::Mid));
    if (!picture_.image.isNull() && shown_.fit == wanted_.fit) {
        const double ratio = devicePixelRatioF();
        QImage image = picture_.image;
        image.setDevicePixelRatio(ratio);
        const QPoint moved = shown_.fit ? QPoint{} : shown_.centre - wanted_.centre;
        painter.drawImage(QPointF{picture_.place + moved} / ratio, image);
    }
    if (!remark_.isEmpty()) {
        painter.setPen(palette().color(QPalette::WindowText));
        painter.drawText(rect().adjusted(8, 8, -8, -8), Qt::AlignCenter | Qt::TextWordWrap, remark_);
    }
    painter.setPen(palette().color(hasFocus() ? QPalette::Highlight : QPalette::Dark));
    painter.drawRect(rect().adjusted(0, 0, -1, -1));
}

void PreviewPane::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton || wanted_.fit) return;
    dragging_ = true;
    grabbed_ = event->position();
    choose_pointer();
}

void PreviewPane::mouseMoveEvent(QMouseEvent* event) {
    if (!dragging_) return;
    const QPoint by = ((event->position() - grabbed_) * devicePixelRatioF()).toPoint();
    if (by.isNull()) return;
    grabbed_ = event->position();
    emit panned(by);
}

void PreviewPane::mouseReleaseEvent(QMouseEvent*) {
    dragging_ = false;
    choose_pointer();
}

void PreviewPane::mouseDoubleClickEvent(QMouseEvent* event) {
    emit double_clicked((event->position() * devicePixelRatioF()).toPoint());
}

void PreviewPane::keyPressEvent(QKeyEvent* event) {
    switch (event->key()) {
        case Qt::Key_Left: return panned({kKeyStep, 0});
        case Qt::Key_Right: return panned({-kKeyStep, 0});
        case Qt::Key_Up: return panned({0, kKeyStep});
        case Qt::Key_Down: return panned({0, -kKeyStep});
        default: QWidget::keyPressEvent(event);
    }
}

}  // namespace quillmark::engine
