// Turns and shears as maps of the plane, shared by pixels and selections so that both go the same way.
#pragma once

#include "imaging/region.h"

namespace quillmark::imaging {

/// Where a point (x, y) of the result comes from: (xx x + xy y + x0, yx x + yy y + y0), in pixels, with the
/// first pixel's centre at (0.5, 0.5).
struct Affine {
    double xx = 1, xy = 0, x0 = 0;
    double yx = 0, yy = 1, y0 = 0;
};

/// A map and the pixels that it can fill.
struct Placement {
    Affine back;
    Rect target;
};

/// Whether a turn by angle hundredths of a degree moves whole pixels.
constexpr bool is_quarter_turn(int angle) { return angle % 9000 == 0; }

/// A rectangle turned by angle hundredths of a degree clockwise about its centre. Quarter turns of sides that
/// differ by an odd number shift by half a pixel, so that pixels stay whole; four of them come back.
Placement turned_about_centre(const Rect& source, int angle);
/// A rectangle sheared about its centre: rows move right by tan(angle) per pixel downwards (horizontal), or
/// columns move down by as much per pixel to the right. angle in hundredths of a degree, within +-8900.
Placement sheared_about_centre(const Rect& source, int angle, bool horizontal);
/// The same map, from a source of width x height at the origin to a canvas that just holds the result, or to
/// one of the source's size: centre on centre.
Placement turned_on_canvas(int width, int height, int angle, bool grow);
Placement sheared_on_canvas(int width, int height, int angle, bool horizontal);

}  // namespace quillmark::imaging
