// Opening: from a file name to an image window.
#pragma once

#include <QString>
#include <QStringList>
#include <cstdint>

#include "program/frame_face.h"

namespace quillmark::files {

/// The open command: file dialog, then OpenFile for each chosen file; remembers folder and filter.
void C_FileOpen(program::FrameFace& frame);

/// Opens one named file. page 0 or 1 is the first; the options form may overwrite it. name is the frame's
/// CurrentFileName. Throws program::RunTimeError when the options form holds a page that is no number.
void OpenFile(program::FrameFace& frame, const QString& name, std::int16_t& page);

/// Opens files that came from elsewhere (dropped on the frame, a second start).
void open_files(program::FrameFace& frame, const QStringList& names);

}  // namespace quillmark::files
