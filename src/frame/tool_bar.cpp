#include "frame/tool_bar.h"

#include <QApplication>
#include <QContextMenuEvent>
#include <QDrag>
#include <QDragEnterEvent>
#include <QMenu>
#include <QPainter>
#include <QTimer>
#include <QToolButton>
#include <algorithm>

namespace quillmark::frame {
namespace {

/// Tells a drag that Esc ended from one dropped nowhere: QDrag reports both alike.
class EscapeWatch final : public QObject {
  public:
    EscapeWatch() {
        // The drag takes its keys by a filter of its own; the filter installed last is asked first.
        QTimer::singleShot(0, this, [this] { qApp->installEventFilter(this); });
    }
    bool escaped() const { return escaped_; }

  protected:
    bool eventFilter(QObject*, QEvent* event) override {
        const auto type = event->type();
        if (type == QEvent::KeyPress || type == QEvent::ShortcutOverride)
            escaped_ = escaped_ || static_cast<QKeyEvent*>(event)->key() == Qt::Key_Escape;
        return false;
    }

  private:
    bool escaped_ = false;
};

}  // namespace

ToolBar::ToolBar(const QString& name, QWidget* parent) : QToolBar(name, parent), name_(name) {
    setObjectName(name);
    setAccessibleName(name);
    setIconSize({24, 24});
}

void ToolBar::show_actions(const QList<QAction*>& shown) {
    clear();
    qDeleteAll(separators_);
    separators_.clear();
    for (QAction* action : shown)
        if (action)
            addAction(action);
        else
            separators_ << addSeparator();
    prepare_widgets();
}

/// The buttons are made anew with every change of the bar, and with them what we ask of them.
void ToolBar::prepare_widgets() {
    bool first = true;
    for (QAction* action : actions()) {
        QWidget* widget = widgetForAction(action);
        if (!widget) continue;
        widget->installEventFilter(this);
        for (QWidget* part : widget->findChildren<QWidget*>()) part->installEventFilter(this);
        auto* button = qobject_cast<QToolButton*>(widget);
        if (!button) continue;
        button->setAccessibleName(action->iconText());
        // One Tab stop for the whole bar; the arrow keys go on from there.
        button->setFocusPolicy(first ? Qt::TabFocus : Qt::NoFocus);
        first = false;
        if (action->menu()) button->setPopupMode(QToolButton::InstantPopup);
    }
}

void ToolBar::set_customizing(bool customizing) {
    customizing_ = customizing;
    setAcceptDrops(customizing);
    setMinimumWidth(customizing ? 80 : 0);  // an empty bar stays a target
    show_drop_mark(-1);
}

QList<QWidget*> ToolBar::stops() const {
    QList<QWidget*> found;
    for (QAction* action : actions()) {
        QWidget* widget = widgetForAction(action);
        if (widget && !action->isSeparator() && widget->isEnabled() && widget->isVisible()) found << widget;
    }
    return found;
}

bool ToolBar::focus_first() {
    const QList<QWidget*> all = stops();
    if (all.isEmpty()) return false;
    all.first()->setFocus(Qt::ShortcutFocusReason);
    return true;
}

bool ToolBar::step_focus(QWidget* from, int key) {
    const QList<QWidget*> all = stops();
    const auto at = all.indexOf(from);
    if (at < 0) return false;
    const bool across = orientation() == Qt::Horizontal;
    qsizetype to = -1;
    if (key == (across ? Qt::Key_Right : Qt::Key_Down)) to = at + 1;
    if (key == (across ? Qt::Key_Left : Qt::Key_Up)) to = at - 1 + all.size();
    if (key == Qt::Key_Home) to = 0;
    if (key == Qt::Key_End) to = all.size() - 1;
    if (to < 0) return false;
    all[to % all.size()]->setFocus(Qt::TabFocusReason);
    return true;
}

bool ToolBar::eventFilter(QObject* watched, QEvent* event) {
    auto* widget = qobject_cast<QWidget*>(watched);
    if (!widget) return QToolBar::eventFilter(watched, event);
    if (customizing_ && filter_drag(widget, event)) return true;
    if (event->type() == QEvent::KeyPress && qobject_cast<QToolButton*>(widget) &&
        step_focus(widget, static_cast<QKeyEvent*>(event)->key()))
        return true;
    return QToolBar::eventFilter(watched, event);
}

/// While customising, a press on a tool begins a drag instead of a click.
bool ToolBar::filter_drag(QWidget* button, QEvent* event) {
    const auto type = event->type();
    if (type == QEvent::MouseButtonPress) {
        const QPoint here = mapFromGlobal(static_cast<QMouseEvent*>(event)->globalPosition().toPoint());
        QAction* action = actionAt(here);
        pressed_at_ = here;
        pressed_index_ = action ? int(actions().indexOf(action)) : -1;
        return true;
    }
    if (type == QEvent::MouseMove) {
        const QPoint here = mapFromGlobal(static_cast<QMouseEvent*>(event)->globalPosition().toPoint());
        if (pressed_index_ >= 0 &&
            (here - pressed_at_).manhattanLength() >= QApplication::startDragDistance()) {
            const int index = std::exchange(pressed_index_, -1);
            // Not from within the button's own event: the drop may replace the button.
            QTimer::singleShot(0, this, [this, index] { start_drag(index); });
        }
        return true;
    }
    return type == QEvent::MouseButtonRelease || type == QEvent::MouseButtonDblClick ||
           type == QEvent::KeyPress;
}

void ToolBar::start_drag(int index) {
    if (index >= actions().size()) return;
    const QAction* action = actions().at(index);
    auto* drag = new QDrag(this);
    drag->setMimeData(
        to_mime({action->isSeparator() ? QString() : action->objectName(), StripRef{true, name_}, index}));
    drag->setPixmap(action->icon().pixmap(QSize(24, 24), devicePixelRatioF()));
    const EscapeWatch watch;
    if (drag->exec(Qt::MoveAction) == Qt::IgnoreAction && !watch.escaped()) emit tool_dragged_off(index);
}

int ToolBar::drop_index(QPoint position) const {
    const bool across = orientation() == Qt::Horizontal;
    const bool mirrored = across && layoutDirection() == Qt::RightToLeft;
    const QList<QAction*> all = actions();
    for (qsizetype i = 0; i < all.size(); ++i) {
        const QWidget* widget = widgetForAction(all[i]);
        if (!widget || !widget->isVisible()) continue;
        const QPoint middle = widget->geometry().center();
        const bool before = mirrored ? position.x() > middle.x()
                            : across ? position.x() < middle.x()
                                     : position.y() < middle.y();
        if (before) return int(i);
    }
    return int(all.size());
}

void ToolBar::contextMenuEvent(QContextMenuEvent* event) {
    event->accept();
    emit context_menu_wanted(event->globalPos());
}

void ToolBar::dragEnterEvent(QDragEnterEvent* event) {
    if (customizing_ && from_mime(event->mimeData())) event->acceptProposedAction();
}

void ToolBar::dragMoveEvent(QDragMoveEvent* event) {
    if (!customizing_ || !from_mime(event->mimeData())) return event->ignore();
    event->acceptProposedAction();
    show_drop_mark(drop_index(event->position().toPoint()));
}

void ToolBar::dragLeaveEvent(QDragLeaveEvent*) { show_drop_mark(-1); }

void ToolBar::dropEvent(QDropEvent* event) {
    show_drop_mark(-1);
    const auto dragged = from_mime(event->mimeData());
    if (!customizing_ || !dragged) return event->ignore();
    event->acceptProposedAction();
    emit tool_dropped(*dragged, drop_index(event->position().toPoint()));
}

void ToolBar::show_drop_mark(int before) {
    if (drop_mark_ == before) return;
    drop_mark_ = before;
    update();
}

void ToolBar::paintEvent(QPaintEvent* event) {
    QToolBar::paintEvent(event);
    if (drop_mark_ < 0) return;
    const bool across = orientation() == Qt::Horizontal;
    const QList<QAction*> all = actions();
    QRect at(rect().center(), QSize());
    if (drop_mark_ < all.size()) {
        if (const QWidget* next = widgetForAction(all[drop_mark_]))
            at.moveTopLeft(next->geometry().topLeft());
    } else if (!all.isEmpty()) {
        if (const QWidget* last = widgetForAction(all.last())) at.moveTopLeft(last->geometry().bottomRight());
    }
    QPainter painter(this);
    const QColor mark = palette().color(QPalette::Highlight);
    painter.fillRect(
        across ? QRect(at.left() - 1, 2, 3, height() - 4) : QRect(2, at.top() - 1, width() - 4, 3), mark);
}

}  // namespace quillmark::frame
