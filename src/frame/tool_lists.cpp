#include "frame/tool_lists.h"

#include <QDrag>
#include <QDragEnterEvent>
#include <QKeyEvent>
#include <QPainter>
#include <algorithm>

#include "frame/caption_text.h"
#include "frame/command_surface.h"

namespace quillmark::frame {
namespace {

constexpr int kIdRole = Qt::UserRole;
constexpr int kPictureSize = 16;

/// What a list shows of a tool: its caption, the designed one while a recent-file entry is empty.
QString shown_text(const ToolState& tool) {
    const Tool* designed = find_tool(tool.id);
    const bool empty_entry = designed && tool.id.startsWith(u"ID_ImageFile");
    return plain_text(empty_entry ? QString::fromUtf16(designed->caption) : tool.caption);
}

/// Tools that open a list of their own are told apart by an arrow.
QString shown_text_with_kind(const ToolState& tool) {
    return tool.kind == Kind::menu ? shown_text(tool) + QStringLiteral("  \u25b8") : shown_text(tool);
}

/// A picture for every row, so that texts line up: an empty one where the tool has none.
QIcon row_picture(const QAction* action) {
    if (action && !action->icon().isNull()) return action->icon();
    QPixmap blank(kPictureSize, kPictureSize);
    blank.fill(Qt::transparent);
    return QIcon(blank);
}

/// Rows a little higher than picture and text: easy to hit with a pointer.
QSize row_size(const QWidget& list) { return {0, std::max(kPictureSize, list.fontMetrics().height()) + 6}; }

void run_drag(QWidget* source, const DraggedTool& dragged, const QIcon& picture) {
    auto* drag = new QDrag(source);
    drag->setMimeData(to_mime(dragged));
    drag->setPixmap(picture.pixmap(QSize(24, 24), source->devicePixelRatioF()));
    drag->exec(Qt::MoveAction);
}

}  // namespace

// ---- all tools

ToolTree::ToolTree(QWidget* parent) : QTreeWidget(parent) {
    setHeaderHidden(true);
    setIconSize({kPictureSize, kPictureSize});
    setDragEnabled(true);
    setAcceptDrops(true);
    setIndentation(16);
}

void ToolTree::show_tools(const CommandSurface& surface) {
    clear();
    QHash<QString, QTreeWidgetItem*> categories;
    QFont bold = font();
    bold.setBold(true);
    for (const ToolState& tool : surface.layout().tools) {
        if (tool.id == u"ID_RightClick") continue;  // never on a bar or in a menu
        const QString category = surface.category(tool.id);
        QTreeWidgetItem*& parent_item = categories[category];
        if (!parent_item) {
            parent_item = new QTreeWidgetItem(this, {category});
            parent_item->setFont(0, bold);
            parent_item->setSizeHint(0, row_size(*this));
            parent_item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable);
        }
        auto* item = new QTreeWidgetItem(parent_item, {shown_text_with_kind(tool)});
        item->setData(0, kIdRole, tool.id);
        item->setSizeHint(0, row_size(*this));
        const QAction* action = surface.action(tool.id);
        item->setIcon(0, row_picture(action));
        item->setToolTip(0, action->toolTip());
    }
    expandAll();
    if (topLevelItemCount() > 0) setCurrentItem(topLevelItem(0)->child(0));
}

void ToolTree::filter(const QString& text) {
    QTreeWidgetItem* first_shown = nullptr;
    for (int i = 0; i < topLevelItemCount(); ++i) {
        QTreeWidgetItem* category = topLevelItem(i);
        const bool whole = category->text(0).contains(text, Qt::CaseInsensitive);
        bool any = false;
        for (int k = 0; k < category->childCount(); ++k) {
            const bool match = whole || category->child(k)->text(0).contains(text, Qt::CaseInsensitive);
            category->child(k)->setHidden(!match);
            any = any || match;
            if (match && !first_shown) first_shown = category->child(k);
        }
        category->setHidden(!any);
    }
    // What can be added is always a tool that can be seen.
    if (current_id().isEmpty()) setCurrentItem(first_shown);
}

QString ToolTree::current_id() const {
    const QTreeWidgetItem* item = currentItem();
    return item && !item->isHidden() ? item->data(0, kIdRole).toString() : QString();
}

void ToolTree::startDrag(Qt::DropActions) {
    if (const QString id = current_id(); !id.isEmpty())
        run_drag(this, {id, std::nullopt, -1}, currentItem()->icon(0));
}

void ToolTree::dragEnterEvent(QDragEnterEvent* event) {
    const auto dragged = from_mime(event->mimeData());
    if (dragged && dragged->from) event->acceptProposedAction();
}

void ToolTree::dragMoveEvent(QDragMoveEvent* event) {
    const auto dragged = from_mime(event->mimeData());
    event->setAccepted(dragged && dragged->from);
}

void ToolTree::dropEvent(QDropEvent* event) {
    const auto dragged = from_mime(event->mimeData());
    if (!dragged || !dragged->from) return event->ignore();
    event->acceptProposedAction();
    emit tool_dropped(*dragged);
}

// ---- one menu or bar

StripList::StripList(QWidget* parent) : QListWidget(parent) {
    setIconSize({kPictureSize, kPictureSize});
    setDragEnabled(true);
    setAcceptDrops(true);
    setUniformItemSizes(true);
}

void StripList::show_strip(const CommandSurface& surface, const Layout& layout, const StripRef& ref) {
    ref_ = ref;
    clear();
    const QStringList* tools = strip(layout, ref);
    if (!tools) return;
    for (const QString& id : *tools) {
        auto* item = new QListWidgetItem(this);
        item->setData(kIdRole, id);
        item->setSizeHint(row_size(*this));
        const ToolState* tool = layout.tool(id);
        item->setText(tool ? shown_text_with_kind(*tool) : QString(8, QChar(0x2500)));
        item->setIcon(row_picture(surface.action(id)));
        if (!tool) {
            item->setForeground(palette().color(QPalette::Disabled, QPalette::Text));
            item->setData(Qt::AccessibleTextRole, tr("Separator"));
        }
    }
}

int StripList::drop_row(QPoint position) const {
    for (int row = 0; row < count(); ++row)
        if (position.y() < visualItemRect(item(row)).center().y()) return row;
    return count();
}

void StripList::keyPressEvent(QKeyEvent* event) {
    if (event->key() != Qt::Key_Delete) return QListWidget::keyPressEvent(event);
    emit removal_wanted();
}

void StripList::startDrag(Qt::DropActions) {
    if (const QListWidgetItem* item = currentItem())
        run_drag(this, {item->data(kIdRole).toString(), ref_, currentRow()}, item->icon());
}

void StripList::dragEnterEvent(QDragEnterEvent* event) {
    if (from_mime(event->mimeData())) event->acceptProposedAction();
}

void StripList::dragMoveEvent(QDragMoveEvent* event) {
    if (!from_mime(event->mimeData())) return event->ignore();
    event->acceptProposedAction();
    show_drop_mark(drop_row(event->position().toPoint()));
}

void StripList::dragLeaveEvent(QDragLeaveEvent*) { show_drop_mark(-1); }

void StripList::dropEvent(QDropEvent* event) {
    show_drop_mark(-1);
    const auto dragged = from_mime(event->mimeData());
    if (!dragged) return event->ignore();
    event->acceptProposedAction();
    emit tool_dropped(*dragged, drop_row(event->position().toPoint()));
}

void StripList::show_drop_mark(int row) {
    if (drop_mark_ == row) return;
    drop_mark_ = row;
    viewport()->update();
}

void StripList::paintEvent(QPaintEvent* event) {
    QListWidget::paintEvent(event);
    if (drop_mark_ < 0) return;
    int y = 0;
    if (drop_mark_ < count())
        y = visualItemRect(item(drop_mark_)).top();
    else if (count() > 0)
        y = visualItemRect(item(count() - 1)).bottom();
    QPainter painter(viewport());
    painter.fillRect(0, y - 1, viewport()->width(), 3, palette().color(QPalette::Highlight));
}

}  // namespace quillmark::frame
