// One bar of tools: keyboard reach of its buttons, and dragging of tools while the bars are being customised.
#pragma once

#include <QToolBar>

#include "frame/tool_drag.h"

namespace quillmark::frame {

class ToolBar : public QToolBar {
    Q_OBJECT

  public:
    explicit ToolBar(const QString& name, QWidget* parent = nullptr);

    const QString& name() const { return name_; }
    /// Shows these actions in order; null is a separator.
    void show_actions(const QList<QAction*>& shown);
    /// While customising, buttons can be dragged and do not act.
    void set_customizing(bool customizing);
    /// Index in the tool list before which a drop at `position` (in the bar) would insert.
    int drop_index(QPoint position) const;
    /// Gives the keyboard focus to the first button that can take it.
    bool focus_first();

  signals:
    void tool_dropped(const DraggedTool& dragged, int before);
    /// A tool of this bar was dragged and dropped nowhere.
    void tool_dragged_off(int index);
    /// A right click: the position on the screen.
    void context_menu_wanted(QPoint global);

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dragLeaveEvent(QDragLeaveEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

  private:
    bool filter_drag(QWidget* button, QEvent* event);
    bool step_focus(QWidget* from, int key);
    void prepare_widgets();
    void start_drag(int index);
    void show_drop_mark(int before);
    QList<QWidget*> stops() const;

    QString name_;
    QList<QAction*> separators_;
    bool customizing_ = false;
    QPoint pressed_at_;
    int pressed_index_ = -1;
    int drop_mark_ = -1;
};

}  // namespace quillmark::frame
