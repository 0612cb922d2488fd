// What the rooms may ask of the menus and toolbars: tools by their ID.
#pragma once

#include <QPoint>
#include <QString>
#include <QStringView>

namespace quillmark::program {

class ToolFace {
  public:
    virtual ~ToolFace() = default;
    /// Unknown IDs read as unchecked and empty; setting them does nothing.
    virtual bool checked(QStringView id) const = 0;
    /// Checking a tool of an exclusive group unchecks the others of the group.
    virtual void set_checked(QStringView id, bool checked) = 0;
    virtual void set_enabled(QStringView id, bool enabled) = 0;
    virtual bool enabled(QStringView id) const = 0;
    virtual QString caption(QStringView id) const = 0;
    virtual void set_caption(QStringView id, const QString& caption) = 0;
    virtual QString edit_text(QStringView id) const = 0;
    virtual void set_edit_text(QStringView id, const QString& text) = 0;
    /// Opens a menu tool as a pop-up at a position in device-independent screen pixels.
    virtual void show_popup(QStringView id, QPoint global) = 0;
};

}  // namespace quillmark::program
