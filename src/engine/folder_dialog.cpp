#include "engine/folder_dialog.h"

#include <QAbstractItemView>
#include <QCompleter>
#include <QFileInfo>
#include <QLabel>
#include <QStandardPaths>
#include <QToolButton>
#include <QUrl>

namespace quillmark::engine {
namespace {

QString starting_folder(const QString& wanted) {
    if (!wanted.isEmpty() && QFileInfo{wanted}.isDir()) return wanted;
    const QString documents = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    return QFileInfo{documents}.isDir() ? documents : QDir::homePath();
}

// The user's own bookmarks, then the usual places that exist and are not among them.
QList<QUrl> places(QList<QUrl> urls) {
    using Paths = QStandardPaths;
    for (const auto place : {Paths::HomeLocation, Paths::DesktopLocation, Paths::DocumentsLocation,
                             Paths::PicturesLocation, Paths::DownloadLocation}) {
        const QString folder = Paths::writableLocation(place);
        const QUrl url = QUrl::fromLocalFile(folder);
        if (QFileInfo{folder}.isDir() && !urls.contains(url)) urls.append(url);
    }
    return urls;
}

}  // namespace

FolderDialog::FolderDialog(const QString& title, const QString& initial_dir, QWidget* parent)
    : QFileDialog{parent, title} {
    setOption(DontUseNativeDialog);
    setOption(DontUseCustomDirectoryIcons);
    setDirectory(starting_folder(initial_dir));
    setSidebarUrls(places(sidebarUrls()));
}

void FolderDialog::name_controls() {
    setLabelText(QFileDialog::LookIn, tr("&Look in:"));
    const std::pair<const char*, const char*> buddies[] = {{"lookInLabel", "lookInCombo"},
                                                           {"fileNameLabel", "fileNameEdit"},
                                                           {"fileTypeLabel", "fileTypeCombo"}};
    for (const auto& [label, buddy] : buddies) part<QLabel>(label)->setBuddy(part<QWidget>(buddy));
    part<QWidget>("sidebar")->setAccessibleName(tr("Places"));
    part<QWidget>("listView")->setAccessibleName(tr("Files"));
    part<QWidget>("treeView")->setAccessibleName(tr("Files"));
    part<QWidget>("lookInCombo")->setAccessibleName(tr("Look in"));
    name_edit()->setAccessibleName(tr("File name"));
    part<QWidget>("fileTypeCombo")->setAccessibleName(tr("Files of type"));
    for (QToolButton* button : findChildren<QToolButton*>()) {
        if (button->accessibleName().isEmpty()) button->setAccessibleName(button->toolTip());
    }
    if (QCompleter* completer = name_edit()->completer()) completer->setCaseSensitivity(Qt::CaseInsensitive);
}

// A list of completions that comes up late, over the closed dialog, would keep the next window from becoming
// the active one.
void FolderDialog::done(int result) {
    if (QCompleter* completer = name_edit()->completer()) {
        completer->popup()->hide();
        name_edit()->setCompleter(nullptr);
    }
    QFileDialog::done(result);
}

}  // namespace quillmark::engine
