// A line of text as a coverage mask in an image's own pixels.
#pragma once

#include <QFont>
#include <QPointF>
#include <QString>

#include "imaging/bitmap.h"
#include "imaging/region.h"

namespace quillmark::engine {

struct TextPlacement {
    QPointF at;             ///< top left corner of the line, image pixels
    double points_x = 1.0;  ///< image pixels per typographic point across ...
    double points_y = 1.0;  ///< ... and down: they differ where the image is shown stretched
    double angle = 0;       ///< degrees, clockwise on the screen, about that corner
};

struct TextMask {
    imaging::Bitmap coverage;  ///< 8 bits a pixel, 0 not covered to 255 covered; empty: nothing on the image
    imaging::Point place;      ///< of its top left pixel in the image
};

/// The part of the line that lies on an image of width x height pixels, drawn smoothly with Qt's font engine.
/// Faults: too_large, out_of_memory.
imaging::Result<TextMask> draw_text(const QString& text, const QFont& font, const TextPlacement& placement,
                                    int width, int height, const imaging::Limits& limits);

}  // namespace quillmark::engine
