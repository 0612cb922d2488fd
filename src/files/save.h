// Saving: from an image window to a file.
#pragma once

#include "program/frame_face.h"

namespace quillmark::files {

/// The save command: file dialog, the file, the exchange copy where the marker asks for one; remembers
/// folder, format and depth.
void C_FileSave(program::FrameFace& frame);

}  // namespace quillmark::files
