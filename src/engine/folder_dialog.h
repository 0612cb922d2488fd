// What the engine's file dialogs have in common: a list of folders and files, places, a name.
#pragma once

#include <QFileDialog>
#include <QLineEdit>
#include <QString>

namespace quillmark::engine {

class FolderDialog : public QFileDialog {
    Q_OBJECT

  public:
    /// initial_dir: where it starts; empty or gone: the user's documents.
    FolderDialog(const QString& title, const QString& initial_dir, QWidget* parent);

    /// A part of the base class by its name.
    template <typename T>
    T* part(const char* name) const {
        return findChild<T*>(QLatin1String{name});
    }
    QLineEdit* name_edit() const { return part<QLineEdit>("fileNameEdit"); }

  protected:
    /// Mnemonics, buddies and accessible names for all parts.
    void name_controls();
    void done(int result) override;
};

}  // namespace quillmark::engine
