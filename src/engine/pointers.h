// The mouse pointers of the control, by their codes.
#pragma once

#include <QCursor>

namespace quillmark::engine {

enum Pointer : int { kPointerDefault = 0, kPointerArrow = 1, kPointerSize = 5, kPointerText = 99 };

/// The text pointer (kPointerText) is our own drawing, readable on any picture; unknown codes show an arrow.
QCursor pointer_cursor(int pointer, double device_pixel_ratio);

}  // namespace quillmark::engine
