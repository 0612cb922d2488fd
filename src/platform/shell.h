// The desktop shell: documents opened by their own programs.
#pragma once

#include <QString>

namespace quillmark::platform {

/// Opens a document with the program the desktop has for it. False when it does not exist or the desktop
/// cannot open documents; a desktop that looks for a program only afterwards reports its failure itself.
bool open_document(const QString& path);

}  // namespace quillmark::platform
