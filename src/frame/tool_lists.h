// The two lists of the customise dialog: all tools by category, and the contents of one menu or bar.
#pragma once

#include <QListWidget>
#include <QTreeWidget>

#include "frame/tool_drag.h"

namespace quillmark::frame {

class CommandSurface;

/// All tools by category. A tool dragged here from a menu or bar is taken off it.
class ToolTree : public QTreeWidget {
    Q_OBJECT

  public:
    explicit ToolTree(QWidget* parent = nullptr);
    void show_tools(const CommandSurface& surface);
    /// Shows only tools whose text or category contains `text`.
    void filter(const QString& text);
    /// ID of the selected tool, empty when none is.
    QString current_id() const;

  signals:
    void tool_dropped(const DraggedTool& dragged);

  protected:
    void startDrag(Qt::DropActions actions) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dropEvent(QDropEvent* event) override;
};

/// The tools of one menu or bar in order; separators show as a line of text.
class StripList : public QListWidget {
    Q_OBJECT

  public:
    explicit StripList(QWidget* parent = nullptr);
    void show_strip(const CommandSurface& surface, const Layout& layout, const StripRef& ref);
    /// Row before which a drop at `position` (in the viewport) inserts.
    int drop_row(QPoint position) const;

  signals:
    void tool_dropped(const DraggedTool& dragged, int before);
    /// The Delete key.
    void removal_wanted();

  protected:
    void keyPressEvent(QKeyEvent* event) override;
    void startDrag(Qt::DropActions actions) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dragLeaveEvent(QDragLeaveEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

  private:
    void show_drop_mark(int row);

    StripRef ref_;
    int drop_mark_ = -1;
};

}  // namespace quillmark::frame
