// The desktop shell: documents opened by their own programs.
#pragma once

#include <QString>

namespace quillmark::platform {

/// Opens a document with the program the desktop has for it; false when it does not exist or nothing opens it.
bool open_document(const QString& path);

}  // namespace quillmark::platform
