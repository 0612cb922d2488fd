// The customise dialog: which tools stand in which menu and on which bar. Every change shows at once on the
// real bars, which also take part in dragging; Cancel gives the former arrangement back.
#pragma once

#include <QDialog>

#include "frame/layout.h"
#include "frame/tool_drag.h"

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;

namespace quillmark::frame {

class CommandSurface;
class StripList;
class ToolTree;

/// Non-modal, because tools are dragged to and from the frame's bars; meanwhile tools do not act.
class CustomizeDialog : public QDialog {
    Q_OBJECT

  public:
    explicit CustomizeDialog(CommandSurface& surface, QWidget* parent = nullptr);

    void done(int result) override;

  protected:
    void keyPressEvent(QKeyEvent* event) override;

  private:
    void build();
    QWidget* build_tools_side();
    QWidget* build_strip_side();
    QWidget* build_buttons();
    void wire();
    void refresh();
    void fill_strips(const Layout& layout);
    void update_buttons();
    StripRef current_strip() const;
    void change(const Layout& layout, int row);
    void place(const DraggedTool& dragged, const StripRef& target, int before);
    void take_off(const StripRef& from, int index);
    void add_current(const QString& id);
    void move_current(int step);
    void add_own_bar();
    void rename_own_bar();
    void show_hint(const QString& text);

    CommandSurface& surface_;
    Layout original_;
    ToolTree* tools_ = nullptr;
    StripList* contents_ = nullptr;
    QComboBox* strips_ = nullptr;
    QLineEdit* filter_ = nullptr;
    QLineEdit* name_ = nullptr;
    QCheckBox* shown_ = nullptr;
    QLabel* hint_ = nullptr;
    QPushButton* add_ = nullptr;
    QPushButton* remove_ = nullptr;
    QPushButton* up_ = nullptr;
    QPushButton* down_ = nullptr;
    QPushButton* separator_ = nullptr;
    QPushButton* new_bar_ = nullptr;
    QPushButton* delete_bar_ = nullptr;
    QPushButton* reset_ = nullptr;
};

/// Opens the dialog, or brings the open one to the front.
CustomizeDialog* open_customize_dialog(CommandSurface& surface, QWidget* parent);

}  // namespace quillmark::frame
