#include "operations/command.h"

#include <QCoreApplication>

#include "program/prompts.h"
#include "program/status_bar.h"
#include "text/messages.h"

namespace quillmark::operations {

EngineError::EngineError(engine::Code code, const char* member)
    : RunTimeError{code, QString::fromStdString(text::error_message(code))},
      source_{QString::fromLatin1(member)} {}

void check(engine::Code code, const char* member) {
    if (code != 0) throw EngineError{code, member};
}

void copy_for_undo(ImageWindow& window) { window.LEAD3().SetBitmap(window.LEAD1().Bitmap()); }

void begin_undoable(FrameFace& frame, ImageWindow& window) {
    copy_for_undo(window);
    frame.state().UndoPending = true;
}

void BusyBracket::close() {
    if (!open_) return;
    open_ = false;
    frame_.StatusTerm();
    if (ImageWindow* window = frame_.active_window()) refresh_status(frame_, *window);
}

void refresh_status(FrameFace& frame, ImageWindow& window) {
    QLabel* zoom = frame.status_bar().StatZoom;
    const QString shown = zoom->text();
    window.DisplayStatusBar(window.windowTitle());
    zoom->setText(shown);
}

void report(FrameFace& frame, const EngineError& error) {
    if (error.number() == engine::kDialogCancelled || error.stopped()) return;
    frame.prompts().message(
        error.source() + u' ' + QString::number(error.number()) + u'\r' + error.description(),
        QCoreApplication::applicationName(), program::Icon::none);
}

void show_dialog(FrameFace& frame, ImageWindow& window, engine::DialogKind kind, const char* operation) {
    engine::CommonDialog& dialog = frame.LEADDlg1();
    engine::Engine& image = window.LEAD1();
    dialog.Bitmap = image.Bitmap();
    dialog.Operation = operation;
    dialog.Rgn = image.HasRgn() ? &image.Rgn() : nullptr;
    dialog.Visible = window.visible_part();
    const engine::Code code = frame.prompts().show_common(dialog, kind);
    dialog.Bitmap = {};
    dialog.Rgn = nullptr;
    check(code, operation);
}

}  // namespace quillmark::operations
