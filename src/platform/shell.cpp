#include "platform/shell.h"

#include <QDesktopServices>
#include <QFileInfo>
#include <QUrl>

namespace quillmark::platform {

bool open_document(const QString& path) {
    const QFileInfo document{path};
    return document.exists() && QDesktopServices::openUrl(QUrl::fromLocalFile(document.absoluteFilePath()));
}

}  // namespace quillmark::platform
