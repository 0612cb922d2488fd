#include "frame/command_surface.h"

#include <QActionGroup>
#include <QCursor>
#include <QGuiApplication>
#include <QMenuBar>
#include <QScreen>
#include <QShortcut>
#include <algorithm>
#include <tuple>
#include <utility>

#include "frame/caption_text.h"
#include "frame/edit_tool.h"
#include "frame/picture_icon.h"
#include "frame/tool_bar.h"

namespace quillmark::frame {
namespace {

constexpr char16_t kWindowMenu[] = u"ID_mnuWindow";
constexpr char16_t kCustomize[] = u"ID_CustomizeToolbars";
constexpr char16_t kRecentFile[] = u"ID_ImageFile";
constexpr int kRecentPrefix = 3;  // "&1 " before the path

/// Texts of a designed tool filled in, so that both sorts of tools read alike.
ToolState completed(ToolState state) {
    const Tool* designed = find_tool(state.id);
    if (!designed) return state;
    state.own = false;
    state.kind = designed->kind;
    state.category = QString::fromUtf16(designed->category);
    state.group = QString::fromUtf16(designed->group);
    state.tip = QString::fromUtf16(designed->tip);
    state.shortcut = QString::fromUtf16(designed->shortcut);
    return state;
}

/// The state as a layout carries it: a designed tool's fixed texts are not the layout's.
ToolState stored(ToolState state) {
    if (!state.own) state.category = state.group = state.tip = state.shortcut = QString();
    return state;
}

bool exclusive(const ToolState& state) { return state.kind == Kind::state && !state.group.isEmpty(); }

Qt::ToolBarArea area_of(Dock dock) {
    switch (dock) {
        case Dock::left: return Qt::LeftToolBarArea;
        case Dock::right: return Qt::RightToolBarArea;
        case Dock::bottom: return Qt::BottomToolBarArea;
        case Dock::top:
        case Dock::floating: break;
    }
    return Qt::TopToolBarArea;
}

Dock dock_of(Qt::ToolBarArea area) {
    switch (area) {
        case Qt::LeftToolBarArea: return Dock::left;
        case Qt::RightToolBarArea: return Dock::right;
        case Qt::BottomToolBarArea: return Dock::bottom;
        default: return Dock::top;
    }
}

/// The flags that a tool bar gives itself when the user drags it off its area; Qt has no call for it.
void float_bar(ToolBar& bar, QPoint position) {
    bar.setWindowFlags(Qt::Tool | Qt::FramelessWindowHint);
    bar.adjustSize();
    // The screen where it stood may be gone.
    const bool reachable = QGuiApplication::screenAt(position + QPoint(8, 8)) != nullptr;
    bar.move(reachable ? position : QGuiApplication::primaryScreen()->availableGeometry().topLeft());
}

bool same_place(const BarLayout& a, const BarLayout& b) {
    return a.name == b.name && a.dock == b.dock && a.new_line == b.new_line && a.visible == b.visible &&
           (a.dock != Dock::floating || a.position == b.position);
}

/// Order of two bars as they lie in the window: by area, then line, then along the line.
bool lies_before(const QToolBar* a, const QToolBar* b, const QMainWindow& window) {
    const auto key = [&window](const QToolBar* bar) {
        const Qt::ToolBarArea area = window.toolBarArea(bar);
        const bool across = area == Qt::TopToolBarArea || area == Qt::BottomToolBarArea;
        return std::tuple(int(area), across ? bar->y() : bar->x(), across ? bar->x() : bar->y());
    };
    return key(a) < key(b);
}

}  // namespace

CommandSurface::CommandSurface(QMainWindow& window, const Layout& initial)
    : QObject(&window), window_(window) {
    add_window_commands();
    apply(initial);
    auto* to_bars = new QShortcut(QKeySequence(Qt::Key_F6), &window_);
    connect(to_bars, &QShortcut::activated, this, [this] {
        for (const BarLayout& bar : std::as_const(shown_.bars))
            if (ToolBar* widget = bars_.value(bar.name);
                widget && widget->isVisible() && widget->focus_first())
                return;
    });
}

CommandSurface::~CommandSurface() {
    // Menus are no children of ours: a QMenu wants a widget as parent.
    for (auto& [id, entry] : tools_) delete entry.menu;
}

// ---- tools

const CommandSurface::Entry* CommandSurface::find(QStringView id) const {
    const auto found = tools_.find(id);
    return found == tools_.end() ? nullptr : &found->second;
}

CommandSurface::Entry* CommandSurface::find(QStringView id) {
    const auto found = tools_.find(id);
    return found == tools_.end() ? nullptr : &found->second;
}

void CommandSurface::add_tool(ToolState state) {
    const QString id = state.id;
    Entry entry;
    entry.state = completed(std::move(state));
    if (entry.state.kind == Kind::menu) {
        entry.menu = new QMenu;
        entry.menu->setObjectName(id);
        entry.action = entry.menu->menuAction();
        connect(entry.menu, &QMenu::aboutToShow, this, [this, id] { on_about_to_show(id); });
    } else if (entry.state.kind == Kind::edit) {
        entry.edit = new EditTool(this);
        entry.action = entry.edit;
        connect(entry.edit, &EditTool::committed, this, [this, id](const QString& text) {
            find(id)->state.text = text;
            emit edit_committed(id, text);
        });
    } else {
        entry.action = new QAction(this);
        entry.action->setCheckable(entry.state.kind == Kind::state);
        connect(entry.action, &QAction::triggered, this, [this, id] { on_triggered(id); });
    }
    entry.action->setObjectName(id);
    if (const Tool* designed = find_tool(id))
        entry.action->setIcon(picture_icon(QString::fromUtf16(designed->picture)));
    if (!entry.state.shortcut.isEmpty()) {
        entry.action->setShortcut(QKeySequence(entry.state.shortcut));
        window_.addAction(entry.action);  // the keys work wherever the tool stands, or nowhere
    }
    tools_.emplace(id, std::move(entry));
}

/// Drops the tools of an earlier layout file that this one does not have, or has as another sort of tool.
bool CommandSurface::remove_gone_tools(const Layout& layout) {
    const auto gone = std::erase_if(tools_, [&](auto& item) {
        const ToolState& had = item.second.state;
        const ToolState* wanted = layout.tool(item.first);
        if (!had.own || (wanted && wanted->kind == had.kind && wanted->shortcut == had.shortcut))
            return false;
        delete item.second.action;  // leaves all menus and bars by itself
        return true;
    });
    return gone > 0;
}

/// Returns whether a tool came or went.
bool CommandSurface::take_tools(const Layout& layout) {
    bool changed = remove_gone_tools(layout);
    order_.clear();
    for (const ToolState& state : layout.tools) {
        order_ << state.id;
        if (!find(state.id)) {
            add_tool(state);
            changed = true;
        }
        Entry& entry = *find(state.id);
        entry.state = completed(state);
        show_caption(entry);
        store_checked(entry, state.checked);
        if (entry.edit && entry.edit->edit_text() != state.text) entry.edit->set_edit_text(state.text);
    }
    return changed;
}

void CommandSurface::show_caption(const Entry& entry) {
    const ToolState& state = entry.state;
    const QString plain = plain_text(state.caption);
    entry.action->setText(menu_text(state.caption));
    entry.action->setIconText(plain);
    QString tip = state.tip.isEmpty() ? plain : plain_text(state.tip);
    if (!state.shortcut.isEmpty())
        tip += QStringLiteral(" (%1)").arg(entry.action->shortcut().toString(QKeySequence::NativeText));
    entry.action->setToolTip(tip);
    if (entry.menu) entry.menu->setAccessibleName(plain);
    if (state.id.startsWith(kRecentFile))
        entry.action->setVisible(!state.caption.mid(kRecentPrefix).trimmed().isEmpty());
}

bool CommandSurface::checked(QStringView id) const {
    const Entry* entry = find(id);
    return entry && entry->state.checked;
}

void CommandSurface::store_checked(Entry& entry, bool checked) {
    entry.state.checked = checked;
    if (entry.state.kind == Kind::state) entry.action->setChecked(checked);
}

void CommandSurface::set_checked(QStringView id, bool checked) {
    Entry* entry = find(id);
    if (!entry) return;
    if (checked && exclusive(entry->state))
        for (auto& [other_id, other] : tools_)
            if (exclusive(other.state) && other.state.group == entry->state.group)
                store_checked(other, false);
    store_checked(*entry, checked);
}

void CommandSurface::set_enabled(QStringView id, bool enabled) {
    if (Entry* entry = find(id)) entry->action->setEnabled(enabled);
}

bool CommandSurface::enabled(QStringView id) const {
    const Entry* entry = find(id);
    return entry && entry->action->isEnabled();
}

QString CommandSurface::caption(QStringView id) const {
    const Entry* entry = find(id);
    return entry ? entry->state.caption : QString();
}

void CommandSurface::set_caption(QStringView id, const QString& caption) {
    Entry* entry = find(id);
    if (!entry) return;
    entry->state.caption = caption;
    show_caption(*entry);
}

QString CommandSurface::edit_text(QStringView id) const {
    const Entry* entry = find(id);
    return entry ? entry->state.text : QString();
}

void CommandSurface::set_edit_text(QStringView id, const QString& text) {
    Entry* entry = find(id);
    if (!entry || !entry->edit) return;
    entry->state.text = text;
    entry->edit->set_edit_text(text);
}

void CommandSurface::show_popup(QStringView id, QPoint global) {
    QMenu* list = menu(id);
    // A list that is already opening in its own place needs no second opening.
    if (list && opening_ != id && !list->isVisible()) list->popup(global);
}

QAction* CommandSurface::action(QStringView id) const {
    const Entry* entry = find(id);
    return entry ? entry->action : nullptr;
}

QMenu* CommandSurface::menu(QStringView id) const {
    const Entry* entry = find(id);
    return entry ? entry->menu : nullptr;
}

QString CommandSurface::category(QStringView id) const {
    const Entry* entry = find(id);
    return entry ? entry->state.category : QString();
}

void CommandSurface::on_triggered(const QString& id) {
    Entry& entry = *find(id);
    if (customizing_) {
        store_checked(entry, entry.state.checked);  // the action has toggled itself
        return;
    }
    last_clicked_ = id;
    before_click_.clear();
    if (entry.state.kind == Kind::state) {
        before_click_[id] = entry.state.checked;
        if (exclusive(entry.state))
            for (const auto& [other_id, other] : tools_)
                if (exclusive(other.state) && other.state.group == entry.state.group)
                    before_click_[other_id] = other.state.checked;
        set_checked(id, exclusive(entry.state) || !entry.state.checked);
    }
    emit tool_clicked(id);
}

bool CommandSurface::checked_before_click(QStringView id) const {
    const auto found = before_click_.find(id.toString());
    return found == before_click_.end() ? checked(id) : found->second;
}

void CommandSurface::restore_checked(QStringView id) {
    if (id != last_clicked_) return;
    for (const auto& [state_id, was_checked] : before_click_)
        if (Entry* entry = find(state_id)) store_checked(*entry, was_checked);
}

void CommandSurface::on_about_to_show(const QString& id) {
    if (customizing_) return;
    opening_ = id;
    const QPoint at = QCursor::pos();
    emit drop_down(id, at.x(), at.y());
    opening_.clear();
}

// ---- arrangement

QList<QAction*> CommandSurface::actions_of(const QStringList& tools) const {
    QList<QAction*> found;
    for (const QString& id : tools)
        if (id.isEmpty())
            found << nullptr;
        else if (QAction* tool = action(id))
            found << tool;
    return found;
}

void CommandSurface::apply(const Layout& layout) {
    const bool tools_changed = take_tools(layout);
    const Layout before = std::exchange(shown_, layout);
    for (const MenuLayout& menu : layout.menus)
        if (tools_changed || !before.menus.contains(menu)) fill_menu(menu);
    if (!layout.bars.isEmpty()) fill_menu_bar(layout.bars.first().tools);
    show_bars(layout.bars.mid(1));
}

void CommandSurface::fill_menu(const MenuLayout& menu) {
    QMenu* list = this->menu(menu.id);
    if (!list) return;
    if (menu.id == kWindowMenu)
        qDeleteAll(std::exchange(window_entries_, {}));  // clear() would delete them under us
    list->clear();
    for (QAction* tool : actions_of(menu.tools))
        if (tool)
            list->addAction(tool);
        else
            list->addSeparator();
    if (menu.id == kWindowMenu) show_window_list();
}

void CommandSurface::fill_menu_bar(const QStringList& tools) {
    QMenuBar* bar = window_.menuBar();
    const QList<QAction*> wanted = actions_of(tools);
    if (bar->actions() == wanted) return;
    bar->clear();
    for (QAction* tool : wanted)
        if (tool)
            bar->addAction(tool);
        else
            bar->addSeparator();
}

ToolBar* CommandSurface::make_bar(const QString& name) {
    auto* bar = new ToolBar(name, &window_);
    bar->set_customizing(customizing_);
    connect(bar, &ToolBar::context_menu_wanted, this, &CommandSurface::show_bar_menu);
    connect(bar, &ToolBar::tool_dropped, this, [this, name](const DraggedTool& dragged, int before) {
        emit tool_dropped_on_bar(dragged, name, before);
    });
    connect(bar, &ToolBar::tool_dragged_off, this,
            [this, name](int index) { emit tool_dragged_off_bar(name, index); });
    return bar;
}

void CommandSurface::show_bars(const QList<BarLayout>& bars) {
    const QStringList present = bars_.keys();
    for (const QString& name : present)
        if (std::ranges::none_of(bars, [&](const BarLayout& bar) { return bar.name == name; })) {
            ToolBar* gone = bars_.take(name);
            window_.removeToolBar(gone);
            gone->deleteLater();
        }
    bool all_there = true;
    for (const BarLayout& bar : bars) {
        ToolBar*& widget = bars_[bar.name];
        if (!widget) {
            widget = make_bar(bar.name);
            all_there = false;
        }
        QList<QAction*> shown = widget->actions();
        for (QAction*& each : shown)
            if (each->isSeparator()) each = nullptr;
        if (const QList<QAction*> wanted = actions_of(bar.tools); shown != wanted)
            widget->show_actions(wanted);
    }
    // Placing makes the window lay itself out anew: only when a place differs from where the bars are.
    const QList<BarLayout> now = layout().bars.mid(1);
    if (!all_there || !std::ranges::equal(bars, now, same_place)) place_bars(bars);
}

void CommandSurface::place_bars(const QList<BarLayout>& bars) {
    for (const BarLayout& bar : bars) {
        ToolBar* widget = bars_.value(bar.name);
        window_.removeToolBarBreak(widget);
        window_.removeToolBar(widget);
    }
    for (const BarLayout& bar : bars) {
        ToolBar* widget = bars_.value(bar.name);
        if (widget->isWindow()) widget->setWindowFlags(Qt::Widget);
        window_.addToolBar(area_of(bar.dock), widget);
        if (bar.new_line) window_.insertToolBarBreak(widget);
        if (bar.dock == Dock::floating) float_bar(*widget, bar.position);
        widget->setVisible(bar.visible);
    }
}

Layout CommandSurface::layout() const {
    Layout now = shown_;
    now.tools.clear();
    for (const QString& id : order_) now.tools << stored(find(id)->state);
    for (BarLayout& bar : now.bars) {
        const ToolBar* widget = bars_.value(bar.name);
        if (!widget) continue;
        bar.visible = !widget->isHidden();
        bar.dock = widget->isFloating() ? Dock::floating : dock_of(window_.toolBarArea(widget));
        bar.new_line = window_.toolBarBreak(const_cast<ToolBar*>(widget));
        bar.position = widget->isFloating() ? widget->pos() : QPoint();
    }
    if (window_.isVisible())  // before that, the bars have no places to compare
        std::stable_sort(now.bars.begin() + std::min<qsizetype>(1, now.bars.size()), now.bars.end(),
                         [this](const BarLayout& a, const BarLayout& b) {
                             return lies_before(bars_.value(a.name), bars_.value(b.name), window_);
                         });
    return now;
}

ToolBar* CommandSurface::bar(QStringView name) const { return bars_.value(name.toString()); }

void CommandSurface::set_customizing(bool customizing) {
    customizing_ = customizing;
    for (ToolBar* each : std::as_const(bars_)) each->set_customizing(customizing);
}

/// Which bars are shown, and the way to the customise dialog also when no menu leads there any more.
void CommandSurface::show_bar_menu(QPoint global) {
    if (customizing_) return;
    auto* list = new QMenu(&window_);
    list->setAttribute(Qt::WA_DeleteOnClose);
    for (const BarLayout& bar : std::as_const(shown_.bars))
        if (ToolBar* widget = bars_.value(bar.name)) list->addAction(widget->toggleViewAction());
    list->addSeparator();
    if (QAction* customize = action(kCustomize)) list->addAction(customize);
    list->popup(global);
}

// ---- open windows

void CommandSurface::add_window_commands() {
    const auto add = [this](const QString& text, const QString& command, const QKeySequence& keys) {
        auto* entry = new QAction(text, this);
        entry->setShortcut(keys);
        entry->setEnabled(false);
        window_.addAction(entry);
        connect(entry, &QAction::triggered, this, [this, command] {
            if (!customizing_) emit window_command(command);
        });
        window_commands_ << entry;
    };
    add(tr("&Next"), QStringLiteral("next"), QKeySequence(Qt::CTRL | Qt::Key_F6));
    add(tr("&Previous"), QStringLiteral("previous"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_F6));
    add(tr("C&lose"), QStringLiteral("close"), QKeySequence(Qt::CTRL | Qt::Key_F4));
}

void CommandSurface::set_window_list(const QStringList& titles, int active) {
    window_titles_ = titles;
    active_window_ = active;
    show_window_list();
}

void CommandSurface::show_window_list() {
    QMenu* list = menu(kWindowMenu);
    if (!list) return;
    for (QAction* entry : std::as_const(window_commands_)) {
        list->removeAction(entry);
        entry->setEnabled(!window_titles_.isEmpty());
    }
    qDeleteAll(std::exchange(window_entries_, {}));
    if (window_titles_.isEmpty()) return;
    window_entries_ << list->addSeparator();
    list->addActions(window_commands_);
    auto* separator = list->addSeparator();
    window_entries_ << separator;
    auto* one_of_them = new QActionGroup(separator);
    for (int i = 0; i < window_titles_.size(); ++i) {
        const QString number = i < 9 ? QStringLiteral("&%1 ").arg(i + 1) : QStringLiteral("%1 ").arg(i + 1);
        QString title = window_titles_[i];
        auto* entry = new QAction(number + title.replace(u'&', QStringLiteral("&&")), list);
        entry->setCheckable(true);
        entry->setActionGroup(one_of_them);
        entry->setChecked(i == active_window_);
        connect(entry, &QAction::triggered, this, [this, i] {
            if (!customizing_) emit window_chosen(i);
        });
        list->addAction(entry);
        window_entries_ << entry;
    }
}

}  // namespace quillmark::frame
