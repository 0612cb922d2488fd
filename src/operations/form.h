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
/// A quiet line for what is wrong with a field; empty as long as nothing is, and keeps its room.
QLabel* make_hint(const QString& name, QWidget* parent);

}  // namespace quillmark::operations
