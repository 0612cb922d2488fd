// The engine's file dialogs: a file dialog with the program's filter list, a page choice, and a preview with facts.
#pragma once

#include <QDialog>
#include <QString>
#include <QStringList>
#include <memory>

namespace quillmark::engine {

/// What the open dialog is given.
struct OpenRequest {
    QString filter;         ///< "description|pattern|description|pattern|...|", patterns separated by ";"
    int filter_index = 1;   ///< 1-based
    QString initial_dir;    ///< empty: the user's documents
    QString title;
    int flags = 0;          ///< the caller's option word, kept for other platforms' dialogs
    bool several = true;    ///< more than one file may be chosen
};

/// The open dialog. Shown modally by program::Prompts; after Accepted read the choice.
class OpenDialog : public QDialog {
    Q_OBJECT

  public:
    explicit OpenDialog(const OpenRequest& request, QWidget* parent = nullptr);
    ~OpenDialog() override;

    /// Chosen files, absolute, in the order shown; the first is the one the page belongs to.
    QStringList file_names() const;
    /// 1-based page chosen for the first file (1 when there is only one).
    int page() const;

  private:
    struct Private;
    std::unique_ptr<Private> d_;
};

/// The patterns of one filter entry ("*.jpg;*.jff") as a list; "*.*" and empty match everything.
QStringList filter_patterns(const QString& patterns);

}  // namespace quillmark::engine
