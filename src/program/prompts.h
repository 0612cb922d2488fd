// Every question to the user goes through this one interface, so that a test can answer and record them.
#pragma once

#include <QDialog>
#include <QString>
#include <QStringList>
#include <QWidget>

#include "engine/common_dialog.h"

namespace quillmark::program {

enum class Icon { none, stop, information, exclamation, question };
enum class Buttons { ok, yes_no };
enum class Answer { ok, yes, no };

class Prompts {
  public:
    virtual ~Prompts() = default;
    /// A message box. Closing it without a button counts as OK, or as No where there is one.
    virtual Answer message(const QString& text, const QString& title, Icon icon,
                           Buttons buttons = Buttons::ok) = 0;
    /// A message with a second, quieter line that says more (a file name, a reason in words).
    virtual Answer message_with_detail(const QString& text, const QString& detail, const QString& title,
                                       Icon icon) {
        return message(text, title, icon);
    }
    /// A one-line input box; empty when cancelled.
    virtual QString input(const QString& prompt, const QString& title, const QString& initial) = 0;
    /// Shows one of the program's own dialogs modally; returns QDialog::Accepted or QDialog::Rejected.
    virtual int show_modal(QDialog& dialog) = 0;
    /// Shows a parameter dialog over the frame. 0 when accepted (the results are in dialog), kDialogCancelled
    /// when not.
    virtual engine::Code show_common(engine::CommonDialog& dialog, engine::DialogKind kind) = 0;
    /// The font dialog; false when cancelled.
    virtual bool choose_font(QFont& font, QColor& colour) = 0;
    virtual void beep() = 0;
};

/// The real one: Qt's message boxes and dialogs over the given window.
class DesktopPrompts final : public Prompts {
  public:
    explicit DesktopPrompts(QWidget* owner) : owner_{owner} {}
    Answer message(const QString& text, const QString& title, Icon icon, Buttons buttons) override;
    Answer message_with_detail(const QString& text, const QString& detail, const QString& title,
                               Icon icon) override;
    QString input(const QString& prompt, const QString& title, const QString& initial) override;
    int show_modal(QDialog& dialog) override;
    engine::Code show_common(engine::CommonDialog& dialog, engine::DialogKind kind) override;
    bool choose_font(QFont& font, QColor& colour) override;
    void beep() override;

  private:
    Answer show(const QString& text, const QString& detail, const QString& title, Icon icon, Buttons buttons);
    QWidget* owner_;
};

}  // namespace quillmark::program
