// The engine's file dialogs: a file dialog with the program's filter list, a page choice, and a preview with
// facts.
#pragma once

#include <QString>
#include <QStringList>
#include <memory>
#include <vector>

#include "engine/folder_dialog.h"

namespace quillmark::engine {

/// What the open dialog is given.
struct OpenRequest {
    QString filter;        ///< "description|pattern|description|pattern|...|", patterns separated by ";"
    int filter_index = 1;  ///< 1-based
    QString initial_dir;   ///< empty: the user's documents
    QString title;
    int flags = 0;        ///< the caller's option word, kept for other platforms' dialogs
    bool several = true;  ///< more than one file may be chosen
};

/// The open dialog. Shown modally by program::Prompts; after Accepted read the choice. Accepting moves the
/// process's working directory to the folder of the first file.
class OpenDialog : public FolderDialog {
    Q_OBJECT

  public:
    explicit OpenDialog(const OpenRequest& request, QWidget* parent = nullptr);
    ~OpenDialog() override;

    /// Chosen files, absolute, in the order shown; the first is the one the page belongs to.
    QStringList file_names() const;
    /// 1-based page chosen for the first file (1 when there is only one).
    int page() const;

    void accept() override;

  private:
    struct Private;
    std::unique_ptr<Private> d_;
};

/// One entry of a filter list.
struct FilterEntry {
    QString description;
    QStringList patterns;  ///< as filter_patterns gives them
};

/// The entries of a filter text, in order. Pairs without description and pattern are left out at the end and
/// kept elsewhere, so that an entry's number stays its number.
std::vector<FilterEntry> filter_entries(const QString& filter);

/// The patterns of one filter entry ("*.jpg;*.jff") as a list; "*.*" and empty match everything ("*"). They
/// are meant without regard to letter case.
QStringList filter_patterns(const QString& patterns);

}  // namespace quillmark::engine
