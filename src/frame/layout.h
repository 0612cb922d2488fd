// The arrangement of the command surface as a value: tools' run-time state, menus and bars. Pure data and
// edits; CommandSurface shows it, layout_file stores it, the customise dialog changes it.
#pragma once

#include <QList>
#include <QPoint>
#include <QString>
#include <QStringList>
#include <optional>

#include "frame/tool_table.h"

namespace quillmark::frame {

inline constexpr char16_t kMenuBar[] = u"Menu";

/// A tool as it stands at run time: a designed one, or one that a layout file defines.
struct ToolState {
    QString id;
    QString caption;  ///< as set, "&" marks the access key
    QString text;     ///< edit boxes only
    bool checked = false;
    bool own = false;  ///< not designed: defined by the layout, the fields below count
    Kind kind = Kind::button;
    QString category, group, tip, shortcut;

    bool operator==(const ToolState&) const = default;
};

struct MenuLayout {
    QString id;         ///< the menu tool
    QStringList tools;  ///< an empty ID is a separator

    bool operator==(const MenuLayout&) const = default;
};

enum class Dock { top, left, right, bottom, floating };

/// Bars stand in the order in which they fill their dock area.
struct BarLayout {
    QString name;
    QStringList tools;
    Dock dock = Dock::top;
    bool new_line = false;  ///< starts a new row (or column) of its dock area
    bool visible = true;
    QPoint position;  ///< floating bars: top left on the screen, device-independent pixels

    bool operator==(const BarLayout&) const = default;
};

struct Layout {
    QList<ToolState> tools;
    QList<MenuLayout> menus;
    QList<BarLayout> bars;  ///< the first is the menu bar

    const ToolState* tool(QStringView id) const;
    bool operator==(const Layout&) const = default;
};

/// A menu or bar within a layout.
struct StripRef {
    bool is_bar = true;
    QString name;  ///< bar name or ID of the menu tool

    bool operator==(const StripRef&) const = default;
};

/// The designed layout with the first-run texts of the zoom boxes ("100" and "25").
Layout designed_layout();

/// `arrangement`'s menus and bars with the tools and their state of `state`.
Layout with_arrangement(Layout state, const Layout& arrangement);

QStringList* strip(Layout& layout, const StripRef& ref);
const QStringList* strip(const Layout& layout, const StripRef& ref);

/// Why a tool may not stand in this strip whatever else is there, as a sentence for the user; empty when it
/// may. An empty `id` is a separator.
QString misfit(const Layout& layout, const StripRef& ref, QStringView id);
/// The same, also when the strip is full.
QString refusal(const Layout& layout, const StripRef& ref, QStringView id);

/// Inserts before `index` (clamped). A tool stands once in a strip: one that is there already moves.
/// Returns where it stands now, -1 when refused.
int insert_tool(Layout& layout, const StripRef& ref, int index, const QString& id);
/// Also tidies the strip's separators. False when there is no such place, or it holds the menu bar's last
/// entry.
bool remove_tool(Layout& layout, const StripRef& ref, int index);
/// Moves within a strip so that it stands before what was at `before`; returns the new index.
int move_tool(Layout& layout, const StripRef& ref, int from, int before);
/// Drops leading, trailing and doubled separators.
void tidy_separators(QStringList& tools);
/// The same for all strips.
void tidy(Layout& layout);

bool is_designed_bar(QStringView name);
/// Adds an empty bar with a free name ("Bar 1" ...) and returns the name.
QString add_bar(Layout& layout);
/// False when the name is empty, taken or too long, or the bar is a designed one.
bool rename_bar(Layout& layout, const QString& name, const QString& new_name);
/// Own bars only.
bool delete_bar(Layout& layout, const QString& name);

}  // namespace quillmark::frame
