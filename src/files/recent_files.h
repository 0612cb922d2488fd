// The four recently used files at the end of the File menu.
#pragma once

#include <QString>

#include "program/frame_face.h"

namespace quillmark::files {

/// Puts LastFileName at the top of the list, in the settings and in the menu.
void UpdateOpenFiles(program::FrameFace& frame);

/// Sets the menu entries from the settings, without adding a file.
void show_recent_files(program::FrameFace& frame);

/// Writes the bare prefixes: the list is empty afterwards.
void empty_recent_files(program::FrameFace& frame);

/// Opens the file of a recent-file tool ("ID_ImageFile1" ...); one that vanished says so.
void open_recent_file(program::FrameFace& frame, const QString& tool_id);

}  // namespace quillmark::files
