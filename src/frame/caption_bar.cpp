#include "frame/caption_bar.h"

#include <QApplication>
#include <QHBoxLayout>
#include <QMouseEvent>
#include <QPainter>
#include <QStyle>
#include <QWindow>
#include <cmath>

#include "engine/wait.h"

namespace quillmark::frame {
namespace {

constexpr int kBands = 128;

enum Picture { kPictureMinimize, kPictureMaximize, kPictureRestore, kPictureClose };

// Line drawings in the caption's text colour, sharp at any scale factor.
QIcon button_picture(int picture, const QColor& colour, qreal ratio) {
    constexpr int kSide = 16;
    QPixmap pixmap{QSize(kSide, kSide) * ratio};
    pixmap.setDevicePixelRatio(ratio);
    pixmap.fill(Qt::transparent);
    QPainter painter{&pixmap};
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen{colour, 1.4, Qt::SolidLine, Qt::RoundCap});
    switch (picture) {
        case kPictureMinimize: painter.drawLine(QPointF(4, 11.5), QPointF(12, 11.5)); break;
        case kPictureMaximize: painter.drawRect(QRectF(4, 4, 8, 8)); break;
        case kPictureRestore:
            painter.drawRect(QRectF(3.5, 6, 6.5, 6.5));
            painter.drawPolyline(QPolygonF{QPointF(6, 6), QPointF(6, 3.5), QPointF(12.5, 3.5),
                                           QPointF(12.5, 10), QPointF(10, 10)});
            break;
        case kPictureClose:
            painter.drawLine(QPointF(4, 4), QPointF(12, 12));
            painter.drawLine(QPointF(12, 4), QPointF(4, 12));
            break;
    }
    return QIcon{pixmap};
}

}  // namespace

CaptionBar::CaptionBar(QWidget* frame) : QWidget{frame} {
    setObjectName(QStringLiteral("CaptionBar"));
    auto* row = new QHBoxLayout{this};
    row->setContentsMargins(4, 0, 2, 0);
    row->setSpacing(0);
    row->addStretch(1);
    minimize_ = add_button(tr("Minimize"), kPictureMinimize);
    maximize_ = add_button(tr("Maximize"), kPictureMaximize);
    close_ = add_button(tr("Close"), kPictureClose);
    close_->setProperty(engine::kCloses, true);
    connect(minimize_, &QToolButton::clicked, this, [this] { window()->showMinimized(); });
    connect(maximize_, &QToolButton::clicked, this, &CaptionBar::toggle_maximized);
    connect(close_, &QToolButton::clicked, this, [this] { window()->close(); });
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    update_pictures();
}

QToolButton* CaptionBar::add_button(const QString& name, int) {
    auto* button = new QToolButton{this};
    button->setAutoRaise(true);
    button->setFocusPolicy(Qt::NoFocus);
    button->setAccessibleName(name);
    button->setToolTip(name);
    button->setIconSize({16, 16});
    button->setFixedSize(30, 24);
    button->setStyleSheet(
        QStringLiteral("QToolButton{border:none;background:transparent}"
                       "QToolButton:hover{background:rgba(255,255,255,60)}"
                       "QToolButton:pressed{background:rgba(255,255,255,100)}"));
    layout()->addWidget(button);
    return button;
}

void CaptionBar::update_pictures() {
    // The bar is black at its right end, whatever the theme: the buttons are light.
    const QColor colour{235, 235, 235};
    const qreal ratio = devicePixelRatioF();
    minimize_->setIcon(button_picture(kPictureMinimize, colour, ratio));
    maximize_->setIcon(
        button_picture(window()->isMaximized() ? kPictureRestore : kPictureMaximize, colour, ratio));
    maximize_->setToolTip(window()->isMaximized() ? tr("Restore") : tr("Maximize"));
    close_->setIcon(button_picture(kPictureClose, colour, ratio));
}

QSize CaptionBar::sizeHint() const { return {200, std::max(26, fontMetrics().height() + 8)}; }

void CaptionBar::set_text(const QString& text) {
    text_ = text;
    update();
}

void CaptionBar::OnCaptionMessage(int message, int wparam) {
    if (minimized_ || busy_) return;
    busy_ = true;
    if (message == kNonClientPaint) {
        update();
    } else if (message == kNonClientActivate) {
        active_ = wparam != 0;
        update();
    } else if (message == kSystemCommand && (wparam & ~0xF) == kRestore) {
        active_ = true;
        update_pictures();
        update();
    }
    busy_ = false;
}

void CaptionBar::PaintGradientCaption(QPainter& painter, const QRect& bar, const QString& text,
                                      const QColor& colour, const QColor& text_colour) {
    if (text.isEmpty()) return;
    const auto fraction = [](int i) { return static_cast<double>(i) / kBands; };
    const auto shade = [](int channel, double f) { return static_cast<int>(std::nearbyint(channel * f)); };
    for (int i = 0; i < kBands; ++i) {
        const double f = fraction(kBands - i);
        const QColor band{shade(colour.red(), f), shade(colour.green(), f), shade(colour.blue(), f)};
        const double from = bar.x() + fraction(i) * bar.width(),
                     to = bar.x() + fraction(i + 1) * bar.width() + 2;
        painter.fillRect(
            QRectF(from, bar.y(), std::min(to, bar.x() + double(bar.width())) - from, bar.height()), band);
    }
    painter.setPen(text_colour);
    const QRect room{bar.x() + 2, bar.y(), bar.width() - 2, bar.height()};
    painter.drawText(room, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine,
                     painter.fontMetrics().elidedText(text, Qt::ElideRight, room.width()));
}

void CaptionBar::paintEvent(QPaintEvent*) {
    QPainter painter{this};
    painter.fillRect(rect(), Qt::black);
    const auto group = active_ ? QPalette::Active : QPalette::Inactive;
    // An inactive bar is as grey as the desktop's disabled things, so that the active frame stands out.
    const QColor colour = active_ ? palette().color(group, QPalette::Highlight)
                                  : palette().color(QPalette::Disabled, QPalette::Text);
    const QColor text_colour =
        active_ ? palette().color(group, QPalette::HighlightedText) : QColor{Qt::white};
    QFont bold = font();
    bold.setBold(true);
    painter.setFont(bold);
    PaintGradientCaption(painter, rect().adjusted(6, 0, -(width() - minimize_->x()), 0), text_, colour,
                         text_colour);
    painter.fillRect(QRect(0, 0, 6, height()), colour);
}

void CaptionBar::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    update();
}

void CaptionBar::toggle_maximized() {
    window()->isMaximized() ? window()->showNormal() : window()->showMaximized();
}

void CaptionBar::mousePressEvent(QMouseEvent* event) {
    pressed_ = event->button() == Qt::LeftButton;
    press_global_ = event->globalPosition().toPoint();
    press_window_ = window()->pos();
}

// The system moves the window (and snaps it); only once the pointer has moved, or a double-click would be
// lost.
void CaptionBar::mouseMoveEvent(QMouseEvent* event) {
    if (!pressed_) return;
    const QPoint moved = event->globalPosition().toPoint() - press_global_;
    if (moving_by_hand_) {
        window()->move(press_window_ + moved);
        return;
    }
    if (moved.manhattanLength() < QApplication::startDragDistance()) return;
    QWindow* handle = window()->windowHandle();
    if (handle && handle->startSystemMove())
        pressed_ = false;
    else
        moving_by_hand_ = true;
}

void CaptionBar::mouseReleaseEvent(QMouseEvent*) { pressed_ = moving_by_hand_ = false; }

void CaptionBar::mouseDoubleClickEvent(QMouseEvent* event) {
    pressed_ = false;
    if (event->button() == Qt::LeftButton) toggle_maximized();
}

void CaptionBar::contextMenuEvent(QContextMenuEvent* event) { emit menu_requested(event->globalPos()); }

void CaptionBar::changeEvent(QEvent* event) {
    if (event->type() == QEvent::PaletteChange || event->type() == QEvent::StyleChange) update();
    QWidget::changeEvent(event);
}

}  // namespace quillmark::frame
