// Screen measures in the program's own unit, the twip (1/1440 inch at the screen's logical resolution).
#pragma once

#include <QRect>
#include <QScreen>

namespace quillmark::platform {

/// Twips per device-independent pixel of the screen (15 at 96 dots per inch, and without a screen).
double twips_per_pixel_x(const QScreen* screen);
double twips_per_pixel_y(const QScreen* screen);
/// Bits per pixel times planes; 24 without a screen.
int screen_bits_per_pixel(const QScreen* screen);

}  // namespace quillmark::platform
