#include "program/prompts.h"

#include <QApplication>
#include <QInputDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <algorithm>

#include "engine/parameter_dialog.h"
#include "program/font_dialog.h"
#include "program/frame_face.h"

namespace quillmark::program {
namespace {

constexpr int kWidestDetail = 520;
constexpr int kInputColumns = 56;   // a line of text and most paths are seen whole
constexpr int kTitleButtons = 160;  // room for a window manager's own things beside a title

QMessageBox::Icon box_icon(Icon icon) {
    switch (icon) {
        case Icon::none: return QMessageBox::NoIcon;
        case Icon::stop: return QMessageBox::Critical;
        case Icon::information: return QMessageBox::Information;
        case Icon::exclamation: return QMessageBox::Warning;
        case Icon::question: return QMessageBox::Question;
    }
    return QMessageBox::NoIcon;
}

// The texts' line ends are carriage returns; labels break lines at line feeds only.
QString with_line_feeds(QString text) { return text.replace(u'\r', u'\n'); }

}  // namespace

Answer DesktopPrompts::message(const QString& text, const QString& title, Icon icon, Buttons buttons) {
    return show(text, {}, title, icon, buttons);
}

Answer DesktopPrompts::message_with_detail(const QString& text, const QString& detail, const QString& title,
                                           Icon icon) {
    return show(text, detail, title, icon, Buttons::ok);
}

Answer DesktopPrompts::show(const QString& text, const QString& detail, const QString& title, Icon icon,
                            Buttons buttons) {
    QMessageBox box{box_icon(icon), title, with_line_feeds(text),
                    buttons == Buttons::ok ? QMessageBox::Ok : QMessageBox::Yes | QMessageBox::No, owner_};
    box.setTextFormat(Qt::PlainText);  // file names are shown as they are, never as markup
    box.setInformativeText(
        detail.toHtmlEscaped());  // this line is rich text whatever the format of the first
    if (buttons == Buttons::yes_no) box.setEscapeButton(QMessageBox::No);
    // By itself a box takes its width from the first line: it cuts its title and breaks the names of files.
    if (auto* label = box.findChild<QLabel*>(QStringLiteral("qt_msgbox_informativelabel"))) {
        const QFontMetrics metrics = label->fontMetrics();
        label->setMinimumWidth(
            std::min(std::max(metrics.horizontalAdvance(detail), metrics.horizontalAdvance(title)) + 8,
                     kWidestDetail));
    }
    const int answer = box.exec();
    if (buttons == Buttons::ok) return Answer::ok;
    return answer == QMessageBox::Yes ? Answer::yes : Answer::no;
}

QString DesktopPrompts::input(const QString& prompt, const QString& title, const QString& initial) {
    QInputDialog dialog{owner_};
    dialog.setWindowTitle(title);
    dialog.setLabelText(with_line_feeds(prompt));
    dialog.setTextValue(initial);
    // The dialog's layout rules its size: room comes from the field.
    const QFontMetrics metrics = dialog.fontMetrics();
    if (auto* field = dialog.findChild<QLineEdit*>())
        field->setMinimumWidth(std::max(metrics.horizontalAdvance(title) + kTitleButtons,
                                        metrics.averageCharWidth() * kInputColumns));
    return dialog.exec() == QDialog::Accepted ? dialog.textValue() : QString{};
}

int DesktopPrompts::show_modal(QDialog& dialog) {
    // Above the frame and with it, not a window of its own on the desktop.
    if (!dialog.parentWidget() && owner_) dialog.setParent(owner_, dialog.windowFlags());
    return dialog.exec();
}

engine::Code DesktopPrompts::show_common(engine::CommonDialog& dialog, engine::DialogKind kind) {
    const imaging::Operation* operation = imaging::find_operation(dialog.Operation);
    if (!operation) return engine::Engine::kNotAvailable;
    engine::ParameterDialog window{dialog, kind, *operation, owner_};
    return window.exec() == QDialog::Accepted ? engine::Code{0} : engine::kDialogCancelled;
}

bool DesktopPrompts::choose_font(QFont& font, QColor& colour) {
    FontDialog dialog{font, colour, owner_};
    if (dialog.exec() != QDialog::Accepted) return false;
    font = dialog.chosen_font();
    colour = dialog.chosen_colour();
    return true;
}

void DesktopPrompts::beep() { QApplication::beep(); }

WaitPointer::WaitPointer() { QApplication::setOverrideCursor(Qt::WaitCursor); }
WaitPointer::~WaitPointer() { QApplication::restoreOverrideCursor(); }

}  // namespace quillmark::program
