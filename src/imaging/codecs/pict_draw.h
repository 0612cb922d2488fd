// The drawing commands of Macintosh pictures that are simple enough to be drawn without a graphics library:
// lines, rectangles, ovals, arcs, polygons. Round corners become corners, patterns the mean of their colours.
#pragma once

#include <cstdint>
#include <vector>

#include "imaging/bitmap.h"

namespace quillmark::imaging::codecs {

struct PictPoint {
    double x = 0, y = 0;
};

struct PictShape {
    enum class Kind : std::uint8_t { polygon, oval };
    enum class Verb : std::uint8_t { frame, fill, invert };
    Kind kind = Kind::polygon;
    Verb verb = Verb::frame;
    Rgba colour;
    double pen_width = 1, pen_height = 1;
    std::vector<PictPoint> points;  ///< corners in units of the frame; an oval has those of its rectangle (2)
    std::size_t before = 0;         ///< rasters that come first
};

/// Draws the shape, its points moved by (-left, -top) and multiplied by scale. budget is the number of pixels
/// that may still be touched; false when it is used up.
bool draw_pict_shape(const PictShape& shape, double left, double top, double scale, std::int64_t& budget,
                     Bitmap& canvas);

}  // namespace quillmark::imaging::codecs
