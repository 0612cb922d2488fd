// Palettes that do not depend on the image.
#pragma once

#include "imaging/bitmap.h"

namespace quillmark::imaging {

/// The fixed palette of 2^bits colours (bits 1 to 8): 1 black and white; 2 four greys; 3 the corners of the
/// colour cube; 4 the sixteen colours of early colour screens; 5 to 8 a cube of 3, 4, 5 or 6 levels a channel
/// (red slowest, blue fastest), the remaining entries being greys between its levels.
Palette fixed_palette(int bits);

}  // namespace quillmark::imaging
