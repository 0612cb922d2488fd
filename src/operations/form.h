// What the forms of this room have in common.
#pragma once

#include <QDialog>
#include <QDialogButtonBox>
#include <QLabel>

namespace quillmark::operations {

/// Places the form in the middle of its screen.
void centre_on_screen(QDialog& form);
/// The buttons, named OK and Cancel; OK accepts, Cancel rejects.
QDialogButtonBox* add_buttons(QDialog& form, QDialogButtonBox::StandardButtons buttons);
/// A quiet line of text that keeps its room while it is empty: what is wrong with a field, what stands under
/// the pointer.
QLabel* make_hint(const QString& name, QWidget* parent);

}  // namespace quillmark::operations
