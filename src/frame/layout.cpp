#include "frame/layout.h"

#include <QCoreApplication>
#include <QSet>
#include <algorithm>

#include "frame/layout_file.h"

namespace quillmark::frame {
namespace {

constexpr char16_t kPopUp[] = u"ID_RightClick";

QString tr(const char* text) { return QCoreApplication::translate("Layout", text); }

QStringList to_list(std::span<const char16_t* const> ids) {
    QStringList list;
    for (const auto* id : ids) list << QString::fromUtf16(id);
    return list;
}

/// Whether the menu `from` contains the menu `wanted`, itself included, at any depth.
bool reaches(const Layout& layout, const QString& from, QStringView wanted, QSet<QString>& seen) {
    if (from == wanted) return true;
    if (seen.contains(from)) return false;
    seen.insert(from);
    const QStringList* tools = strip(layout, {false, from});
    return tools && std::ranges::any_of(*tools, [&](const QString& id) {
               return !id.isEmpty() && reaches(layout, id, wanted, seen);
           });
}

Kind kind_of(const Layout& layout, QStringView id) {
    const ToolState* tool = layout.tool(id);
    return tool ? tool->kind : Kind::button;
}

}  // namespace

const ToolState* Layout::tool(QStringView id) const {
    const auto found = std::ranges::find(tools, id, &ToolState::id);
    return found == tools.end() ? nullptr : &*found;
}

Layout designed_layout() {
    Layout layout;
    for (const Tool& tool : all_tools()) {
        ToolState state;
        state.id = QString::fromUtf16(tool.id);
        state.caption = QString::fromUtf16(tool.caption);
        state.checked = tool.checked;
        state.kind = tool.kind;
        if (state.id == u"ID_ZoomPercentage") state.text = QStringLiteral("100");
        if (state.id == u"ID_ZoomIncrement") state.text = QStringLiteral("25");
        layout.tools << state;
    }
    for (const Strip& menu : designed_menus())
        layout.menus << MenuLayout{QString::fromUtf16(menu.name), to_list(menu.tools)};
    for (const Strip& bar : designed_bars()) {
        BarLayout shown;
        shown.name = QString::fromUtf16(bar.name);
        shown.tools = to_list(bar.tools);
        shown.new_line = layout.bars.size() > 1;
        layout.bars << shown;
    }
    return layout;
}

Layout with_arrangement(Layout state, const Layout& arrangement) {
    state.menus = arrangement.menus;
    state.bars = arrangement.bars;
    return state;
}

const QStringList* strip(const Layout& layout, const StripRef& ref) {
    if (ref.is_bar) {
        const auto found = std::ranges::find(layout.bars, ref.name, &BarLayout::name);
        return found == layout.bars.end() ? nullptr : &found->tools;
    }
    const auto found = std::ranges::find(layout.menus, ref.name, &MenuLayout::id);
    return found == layout.menus.end() ? nullptr : &found->tools;
}

QStringList* strip(Layout& layout, const StripRef& ref) {
    return const_cast<QStringList*>(strip(std::as_const(layout), ref));
}

QString misfit(const Layout& layout, const StripRef& ref, QStringView id) {
    if (id.isEmpty()) return {};
    if (!layout.tool(id)) return tr("There is no such tool.");
    if (id == kPopUp) return tr("The pop-up menu of the image windows cannot stand on a bar or in a menu.");
    const Kind kind = kind_of(layout, id);
    if (ref.is_bar && ref.name == kMenuBar && kind == Kind::edit)
        return tr("An edit box cannot stand on the menu bar.");
    QSet<QString> seen;
    if (!ref.is_bar && kind == Kind::menu && reaches(layout, id.toString(), ref.name, seen))
        return tr("A menu cannot contain itself.");
    return {};
}

QString refusal(const Layout& layout, const StripRef& ref, QStringView id) {
    const QStringList* tools = strip(layout, ref);
    if (!tools) return tr("There is no such menu or bar.");
    if (tools->size() >= kMaxStripTools) return tr("This menu or bar is full.");
    return misfit(layout, ref, id);
}

int insert_tool(Layout& layout, const StripRef& ref, int index, const QString& id) {
    const QStringList* present = strip(std::as_const(layout), ref);
    if (present && !id.isEmpty())
        if (const auto at = present->indexOf(id); at >= 0) return move_tool(layout, ref, int(at), index);
    if (!refusal(layout, ref, id).isEmpty()) return -1;
    QStringList& tools = *strip(layout, ref);
    index = std::clamp(index, 0, int(tools.size()));
    tools.insert(index, id);
    return index;
}

bool remove_tool(Layout& layout, const StripRef& ref, int index) {
    QStringList* tools = strip(layout, ref);
    if (!tools || index < 0 || index >= tools->size()) return false;
    QStringList left = *tools;
    left.removeAt(index);
    tidy_separators(left);
    if (left.isEmpty() && ref == StripRef{true, QString::fromUtf16(kMenuBar)}) return false;
    *tools = left;
    return true;
}

int move_tool(Layout& layout, const StripRef& ref, int from, int before) {
    QStringList* tools = strip(layout, ref);
    if (!tools || from < 0 || from >= tools->size()) return -1;
    before = std::clamp(before, 0, int(tools->size()));
    const int to = before > from ? before - 1 : before;
    tools->move(from, to);
    return to;
}

void tidy_separators(QStringList& tools) {
    QStringList tidied;
    for (const QString& id : tools)
        if (!id.isEmpty() || (!tidied.isEmpty() && !tidied.last().isEmpty())) tidied << id;
    if (!tidied.isEmpty() && tidied.last().isEmpty()) tidied.removeLast();
    tools = tidied;
}

void tidy(Layout& layout) {
    for (MenuLayout& menu : layout.menus) tidy_separators(menu.tools);
    for (BarLayout& bar : layout.bars) tidy_separators(bar.tools);
}

bool is_designed_bar(QStringView name) {
    return std::ranges::any_of(designed_bars(), [name](const Strip& bar) { return name == bar.name; });
}

QString add_bar(Layout& layout) {
    if (layout.bars.size() >= kMaxBars) return {};
    BarLayout bar;
    for (int number = 1; bar.name.isEmpty() || strip(layout, {true, bar.name}); ++number)
        bar.name = tr("Bar %1").arg(number);
    bar.new_line = true;
    layout.bars << bar;
    return bar.name;
}

bool rename_bar(Layout& layout, const QString& name, const QString& new_name) {
    const auto bar = std::ranges::find(layout.bars, name, &BarLayout::name);
    if (bar == layout.bars.end() || is_designed_bar(name)) return false;
    if (new_name.trimmed().isEmpty() || new_name.size() > kMaxName || strip(layout, {true, new_name}))
        return false;
    bar->name = new_name;
    return true;
}

bool delete_bar(Layout& layout, const QString& name) {
    return !is_designed_bar(name) &&
           layout.bars.removeIf([&](const BarLayout& bar) { return bar.name == name; }) > 0;
}

}  // namespace quillmark::frame
