#include "frame/customize_dialog.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScreen>
#include <QVBoxLayout>
#include <algorithm>

#include "frame/caption_text.h"
#include "frame/command_surface.h"
#include "frame/layout_file.h"
#include "frame/tool_bar.h"
#include "frame/tool_lists.h"

namespace quillmark::frame {
namespace {

const StripRef kMenuBarRef{true, QString::fromUtf16(kMenuBar)};

QString strip_text(const StripRef& ref, const CommandSurface& surface) {
    if (ref == kMenuBarRef) return CustomizeDialog::tr("Menu bar");
    if (ref.is_bar) return CustomizeDialog::tr("%1 bar").arg(ref.name);
    if (ref.name == u"ID_RightClick") return CustomizeDialog::tr("Pop-up menu of image windows");
    return CustomizeDialog::tr("%1 menu").arg(plain_text(surface.caption(ref.name)));
}

/// A combo box keeps the reference as one text: the sort before the name.
QString to_data(const StripRef& ref) { return (ref.is_bar ? u'b' : u'm') + ref.name; }

QPushButton* button(const QString& text, const char* name) {
    auto* made = new QPushButton(text);
    made->setObjectName(QLatin1String(name));
    made->setAutoDefault(false);
    return made;
}

QLabel* label_for(const QString& text, QWidget* buddy) {
    auto* label = new QLabel(text);
    label->setBuddy(buddy);
    buddy->setAccessibleName(plain_text(text).remove(u':'));
    return label;
}

}  // namespace

CustomizeDialog::CustomizeDialog(CommandSurface& surface, QWidget* parent)
    : QDialog(parent), surface_(surface), original_(surface.layout()) {
    setObjectName(QStringLiteral("CustomizeDialog"));
    setWindowTitle(tr("Customize Toolbars"));
    build();
    tools_->show_tools(surface_);
    fill_strips(original_);
    strips_->setCurrentIndex(std::max(0, strips_->findData(to_data({true, QStringLiteral("Standard")}))));
    refresh();
    wire();
    surface_.set_customizing(true);
    // However the dialog ends; and when the frame ends, the surface may be gone first.
    connect(this, &QObject::destroyed, &surface_, [&surface] { surface.set_customizing(false); });
    tools_->setFocus();
}

// ---- building

void CustomizeDialog::build() {
    hint_ = new QLabel(tr("Drag tools between the lists and the bars, or use the buttons."));
    hint_->setObjectName(QStringLiteral("hint"));
    hint_->setWordWrap(true);
    hint_->setMinimumHeight(fontMetrics().height());
    auto* ends = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    for (QAbstractButton* end : ends->buttons()) static_cast<QPushButton*>(end)->setAutoDefault(false);
    connect(ends, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(ends, &QDialogButtonBox::rejected, this, &QDialog::reject);
    reset_ = button(tr("R&eset"), "reset");
    reset_->setToolTip(tr("Bring the designed menus and bars back"));

    auto* grid = new QGridLayout(this);
    grid->setContentsMargins(12, 12, 12, 12);
    grid->setHorizontalSpacing(12);
    grid->setVerticalSpacing(10);
    grid->addWidget(build_tools_side(), 0, 0);
    grid->addWidget(build_buttons(), 0, 1);
    grid->addWidget(build_strip_side(), 0, 2);
    grid->addWidget(hint_, 1, 0, 1, 3);
    auto* bottom = new QHBoxLayout;
    bottom->addWidget(reset_);
    bottom->addStretch();
    bottom->addWidget(ends);
    grid->addLayout(bottom, 2, 0, 1, 3);
    grid->setColumnStretch(0, 1);
    grid->setColumnStretch(2, 1);
    grid->setRowStretch(0, 1);
    resize(740, 560);
}

QWidget* CustomizeDialog::build_tools_side() {
    auto* side = new QWidget;
    tools_ = new ToolTree;
    tools_->setObjectName(QStringLiteral("tools"));
    filter_ = new QLineEdit;
    filter_->setObjectName(QStringLiteral("filter"));
    filter_->setClearButtonEnabled(true);
    filter_->setPlaceholderText(tr("Part of a name"));
    auto* find_row = new QHBoxLayout;
    find_row->addWidget(label_for(tr("&Find:"), filter_));
    find_row->addWidget(filter_);
    auto* column = new QVBoxLayout(side);
    column->setContentsMargins(0, 0, 0, 0);
    column->addWidget(label_for(tr("&Tools:"), tools_));
    column->addWidget(tools_);
    column->addLayout(find_row);
    return side;
}

QWidget* CustomizeDialog::build_buttons() {
    auto* side = new QWidget;
    add_ = button(tr("&Add \u2192"), "add");
    remove_ = button(tr("\u2190 &Remove"), "remove");
    up_ = button(tr("Move &Up"), "up");
    down_ = button(tr("Move &Down"), "down");
    separator_ = button(tr("Add &Separator"), "separator");
    auto* column = new QVBoxLayout(side);
    column->setContentsMargins(0, 0, 0, 0);
    column->addStretch();
    for (QPushButton* each : {add_, remove_}) column->addWidget(each);
    column->addSpacing(12);
    for (QPushButton* each : {up_, down_}) column->addWidget(each);
    column->addSpacing(12);
    column->addWidget(separator_);
    column->addStretch();
    return side;
}

QWidget* CustomizeDialog::build_strip_side() {
    auto* side = new QWidget;
    strips_ = new QComboBox;
    strips_->setObjectName(QStringLiteral("strips"));
    strips_->setMaxVisibleItems(32);
    contents_ = new StripList;
    contents_->setObjectName(QStringLiteral("contents"));
    contents_->setAccessibleName(tr("Contents"));
    shown_ = new QCheckBox(tr("Sho&w this bar"));
    shown_->setObjectName(QStringLiteral("shown"));
    name_ = new QLineEdit;
    name_->setObjectName(QStringLiteral("name"));
    name_->setMaxLength(int(kMaxName));
    new_bar_ = button(tr("&New Bar"), "new_bar");
    delete_bar_ = button(tr("De&lete Bar"), "delete_bar");

    auto* name_row = new QHBoxLayout;
    name_row->addWidget(label_for(tr("Na&me:"), name_));
    name_row->addWidget(name_);
    auto* bar_row = new QHBoxLayout;
    bar_row->addWidget(shown_);
    bar_row->addStretch();
    bar_row->addWidget(new_bar_);
    bar_row->addWidget(delete_bar_);
    auto* column = new QVBoxLayout(side);
    column->setContentsMargins(0, 0, 0, 0);
    column->addWidget(label_for(tr("Menu or &bar:"), strips_));
    column->addWidget(strips_);
    column->addWidget(contents_);
    column->addLayout(name_row);
    column->addLayout(bar_row);
    return side;
}

void CustomizeDialog::wire() {
    connect(filter_, &QLineEdit::textChanged, tools_, &ToolTree::filter);
    connect(tools_, &QTreeWidget::currentItemChanged, this, &CustomizeDialog::update_buttons);
    const auto add_chosen = [this] {
        if (const QString id = tools_->current_id(); !id.isEmpty()) add_current(id);  // else: a separator
    };
    connect(tools_, &QTreeWidget::itemActivated, this, add_chosen);
    connect(tools_, &ToolTree::tool_dropped, this,
            [this](const DraggedTool& dragged) { take_off(*dragged.from, dragged.index); });
    connect(contents_, &QListWidget::currentRowChanged, this, &CustomizeDialog::update_buttons);
    connect(contents_, &StripList::tool_dropped, this,
            [this](const DraggedTool& dragged, int before) { place(dragged, current_strip(), before); });
    connect(&surface_, &CommandSurface::tool_dropped_on_bar, this,
            [this](const DraggedTool& dragged, const QString& bar, int before) {
                place(dragged, {true, bar}, before);
            });
    connect(&surface_, &CommandSurface::tool_dragged_off_bar, this, [this](const QString& bar, int index) {
        take_off({true, bar}, index);
    });
    connect(strips_, &QComboBox::currentIndexChanged, this, &CustomizeDialog::refresh);

    connect(add_, &QPushButton::clicked, this, add_chosen);
    connect(separator_, &QPushButton::clicked, this, [this] { add_current({}); });
    connect(remove_, &QPushButton::clicked, this,
            [this] { take_off(current_strip(), contents_->currentRow()); });
    connect(up_, &QPushButton::clicked, this, [this] { move_current(-1); });
    connect(down_, &QPushButton::clicked, this, [this] { move_current(+1); });
    connect(new_bar_, &QPushButton::clicked, this, &CustomizeDialog::add_own_bar);
    connect(name_, &QLineEdit::editingFinished, this, &CustomizeDialog::rename_own_bar);
    connect(delete_bar_, &QPushButton::clicked, this, [this] {
        Layout layout = surface_.layout();
        if (delete_bar(layout, current_strip().name)) change(layout, 0);
    });
    connect(shown_, &QCheckBox::clicked, this, [this](bool on) {
        Layout layout = surface_.layout();
        for (BarLayout& bar : layout.bars)
            if (StripRef{true, bar.name} == current_strip()) bar.visible = on;
        change(layout, contents_->currentRow());
    });
    connect(reset_, &QPushButton::clicked, this,
            [this] { change(with_arrangement(surface_.layout(), designed_layout()), 0); });
    connect(contents_, &StripList::removal_wanted, remove_, &QPushButton::click);
}

// ---- showing

StripRef CustomizeDialog::current_strip() const {
    const QString coded = strips_->currentData().toString();
    return {coded.startsWith(u'b'), coded.mid(1)};
}

void CustomizeDialog::fill_strips(const Layout& layout) {
    const QSignalBlocker quiet(strips_);
    const QString current = strips_->currentData().toString();
    strips_->clear();
    const auto add = [this](const StripRef& ref) {
        strips_->addItem(strip_text(ref, surface_), to_data(ref));
    };
    for (const Strip& designed : designed_bars())  // in this order wherever the user dragged them
        if (const StripRef ref{true, QString::fromUtf16(designed.name)}; strip(layout, ref)) add(ref);
    for (const BarLayout& bar : layout.bars)
        if (!is_designed_bar(bar.name)) add({true, bar.name});
    strips_->insertSeparator(strips_->count());
    for (const MenuLayout& menu : layout.menus) add({false, menu.id});
    strips_->setCurrentIndex(std::max(0, strips_->findData(current)));
}

/// Shows the current menu or bar as the surface has it.
void CustomizeDialog::refresh() {
    const Layout layout = surface_.layout();
    const StripRef ref = current_strip();
    const int row = contents_->currentRow();
    contents_->show_strip(surface_, layout, ref);
    contents_->setCurrentRow(std::clamp(row, 0, std::max(0, contents_->count() - 1)));
    const auto bar = std::ranges::find(layout.bars, ref.name, &BarLayout::name);
    const bool is_bar = ref.is_bar && bar != layout.bars.end();
    const bool own = is_bar && !is_designed_bar(ref.name);
    shown_->setEnabled(is_bar && ref != kMenuBarRef);
    shown_->setChecked(is_bar && bar->visible);
    name_->setText(is_bar ? ref.name : QString());
    name_->setEnabled(own);
    delete_bar_->setEnabled(own);
    update_buttons();
}

void CustomizeDialog::update_buttons() {
    const int row = contents_->currentRow();
    add_->setEnabled(!tools_->current_id().isEmpty());
    remove_->setEnabled(row >= 0);
    up_->setEnabled(row > 0);
    down_->setEnabled(row >= 0 && row + 1 < contents_->count());
}

void CustomizeDialog::show_hint(const QString& text) { hint_->setText(text); }

// ---- changing

void CustomizeDialog::change(const Layout& layout, int row) {
    surface_.apply(layout);
    fill_strips(layout);
    refresh();
    contents_->setCurrentRow(std::clamp(row, -1, contents_->count() - 1));
    show_hint({});
}

void CustomizeDialog::place(const DraggedTool& dragged, const StripRef& target, int before) {
    Layout layout = surface_.layout();
    if (dragged.from == target) {
        const int row = move_tool(layout, target, dragged.index, before);
        return change(layout, row);
    }
    if (const QString reason = refusal(layout, target, dragged.id); !reason.isEmpty())
        return show_hint(reason);
    const int row = insert_tool(layout, target, before, dragged.id);
    if (dragged.from) remove_tool(layout, *dragged.from, dragged.index);
    change(layout, target == current_strip() ? row : contents_->currentRow());
}

void CustomizeDialog::take_off(const StripRef& from, int index) {
    Layout layout = surface_.layout();
    if (!remove_tool(layout, from, index)) return show_hint(tr("The menu bar keeps at least one entry."));
    change(layout, from == current_strip() ? index : contents_->currentRow());
}

/// Behind the selected row; an empty ID is a separator.
void CustomizeDialog::add_current(const QString& id) {
    place({id, std::nullopt, -1}, current_strip(), contents_->currentRow() + 1);
}

void CustomizeDialog::move_current(int step) {
    Layout layout = surface_.layout();
    const int row = contents_->currentRow();
    const int moved = move_tool(layout, current_strip(), row, step < 0 ? row - 1 : row + 2);
    if (moved >= 0) change(layout, moved);
}

void CustomizeDialog::add_own_bar() {
    Layout layout = surface_.layout();
    const QString name = add_bar(layout);
    if (name.isEmpty()) return show_hint(tr("There cannot be more bars."));
    change(layout, 0);
    strips_->setCurrentIndex(strips_->findData(to_data({true, name})));
    name_->setFocus();
    name_->selectAll();
}

void CustomizeDialog::rename_own_bar() {
    const StripRef ref = current_strip();
    const QString name = name_->text().trimmed();
    Layout layout = surface_.layout();
    if (!ref.is_bar || name == ref.name) return;
    if (!rename_bar(layout, ref.name, name)) {
        name_->setText(ref.name);
        return show_hint(tr("A bar needs a name of its own."));
    }
    strips_->setItemData(strips_->currentIndex(), to_data({true, name}));  // it stays the current one
    change(layout, contents_->currentRow());
}

/// Enter confirms a name or adds a tool; only on a button it ends the dialog.
void CustomizeDialog::keyPressEvent(QKeyEvent* event) {
    const bool enter = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    if (!enter || qobject_cast<QPushButton*>(focusWidget())) QDialog::keyPressEvent(event);
}

void CustomizeDialog::done(int result) {
    Layout layout = with_arrangement(surface_.layout(), result == Accepted ? surface_.layout() : original_);
    if (result == Accepted) tidy(layout);
    surface_.apply(layout);
    surface_.set_customizing(false);
    QDialog::done(result);
}

/// Where the dialog leaves the bars at the top of the frame free for dragging.
static QPoint below_bars(const CommandSurface& surface, const QWidget& frame, const QSize& size) {
    int bottom = 0;
    for (const BarLayout& bar : surface.layout().bars)
        if (const ToolBar* widget = surface.bar(bar.name); widget && bar.dock == Dock::top && bar.visible)
            bottom = std::max(bottom, widget->geometry().bottom());
    const QPoint wanted = frame.mapToGlobal(QPoint(frame.width() - size.width() - 24, bottom + 36));
    const QRect screen =
        frame.screen()->availableGeometry().adjusted(0, 0, -size.width(), -size.height() - 32);
    return {std::clamp(wanted.x(), screen.left(), std::max(screen.left(), screen.right())),
            std::clamp(wanted.y(), screen.top(), std::max(screen.top(), screen.bottom()))};
}

CustomizeDialog* open_customize_dialog(CommandSurface& surface, QWidget* parent) {
    auto* dialog = parent->findChild<CustomizeDialog*>();
    if (!dialog || !dialog->isVisible()) {
        dialog = new CustomizeDialog(surface, parent);
        dialog->setAttribute(Qt::WA_DeleteOnClose);
        dialog->move(below_bars(surface, *parent, dialog->size()));
    }
    dialog->show();
    dialog->raise();
    dialog->activateWindow();
    return dialog;
}

}  // namespace quillmark::frame
