// The menus and bars of the frame, built from a Layout: one action per tool, the same at every place where
// the tool stands. Clicks leave as tool IDs; what they do is the dispatcher's business.
#pragma once

#include <QAction>
#include <QHash>
#include <QMainWindow>
#include <QMenu>
#include <QObject>
#include <map>

#include "frame/layout.h"
#include "frame/tool_drag.h"
#include "program/tool_face.h"

namespace quillmark::frame {

class EditTool;
class ToolBar;

class CommandSurface : public QObject, public program::ToolFace {
    Q_OBJECT

  public:
    explicit CommandSurface(QMainWindow& window, const Layout& initial = designed_layout());
    ~CommandSurface() override;

    // ---- tools by ID
    bool checked(QStringView id) const override;
    /// A tool that is no state tool only remembers it: neither shown nor part of its group's exclusion.
    void set_checked(QStringView id, bool checked) override;
    void set_enabled(QStringView id, bool enabled) override;
    bool enabled(QStringView id) const override;
    QString caption(QStringView id) const override;
    void set_caption(QStringView id, const QString& caption) override;
    QString edit_text(QStringView id) const override;
    void set_edit_text(QStringView id, const QString& text) override;
    void show_popup(QStringView id, QPoint global) override;
    bool checked_before_click(QStringView id) const;
    /// Gives a clicked state tool, and its group, the state back that it had before the last click: for a
    /// refused command. Does nothing when `id` was not the last tool clicked.
    void restore_checked(QStringView id);
    /// The action of a tool, null for an unknown ID; its object name is the ID.
    QAction* action(QStringView id) const;
    /// The list of a menu tool, else null.
    QMenu* menu(QStringView id) const;
    /// Category of a tool, designed or the layout's own.
    QString category(QStringView id) const;

    // ---- arrangement
    /// What is shown now, with the tools' state and the places where the user dragged the bars.
    Layout layout() const;
    /// Shows a layout; emits no clicks. Enabled flags stay.
    void apply(const Layout& layout);
    ToolBar* bar(QStringView name) const;
    /// While customising, tools do not act and can be dragged from and to the bars.
    void set_customizing(bool customizing);
    bool customizing() const { return customizing_; }

    // ---- open windows, listed at the end of the Window menu and never saved
    void set_window_list(const QStringList& titles, int active);

  signals:
    void tool_clicked(const QString& id);
    /// A menu tool is about to open; the pointer's position in device-independent screen pixels.
    void drop_down(const QString& id, int x, int y);
    /// The user confirmed the text of an edit tool.
    void edit_committed(const QString& id, const QString& text);
    void window_chosen(int index);
    /// "next", "previous" or "close", for the active window.
    void window_command(const QString& command);
    void tool_dropped_on_bar(const DraggedTool& dragged, const QString& bar, int before);
    void tool_dragged_off_bar(const QString& bar, int index);

  private:
    struct Entry {
        ToolState
            state;  ///< kind, texts and checked flag; category to shortcut filled for designed tools too
        QAction* action = nullptr;
        QMenu* menu = nullptr;
        EditTool* edit = nullptr;
    };

    Entry* find(QStringView id);
    const Entry* find(QStringView id) const;
    void add_tool(ToolState state);
    bool remove_gone_tools(const Layout& layout);
    bool take_tools(const Layout& layout);
    void show_caption(const Entry& entry);
    void store_checked(Entry& entry, bool checked);
    void on_triggered(const QString& id);
    void on_about_to_show(const QString& id);
    void fill_menu(const MenuLayout& menu);
    void fill_menu_bar(const QStringList& tools);
    void show_bars(const QList<BarLayout>& bars);
    ToolBar* make_bar(const QString& name);
    void place_bars(const QList<BarLayout>& bars);
    void show_bar_menu(QPoint global);
    void add_window_commands();
    void show_window_list();
    QList<QAction*> actions_of(const QStringList& tools) const;

    QMainWindow& window_;
    std::map<QString, Entry, std::less<>> tools_;
    QStringList order_;  ///< of the tools as the layout has them
    Layout shown_;       ///< menus and bars as last applied
    QHash<QString, ToolBar*> bars_;
    std::map<QString, bool> before_click_;  ///< states of the last clicked tool and its group
    QString last_clicked_;
    QString opening_;  ///< menu tool whose list is about to open
    bool customizing_ = false;
    QList<QAction*> window_commands_, window_entries_;
    QStringList window_titles_;
    int active_window_ = -1;
};

}  // namespace quillmark::frame
