// A part of a bitmap as screen pixels, scaled as displayed.
#pragma once

#include <QImage>
#include <QRect>
#include <QRectF>

#include "imaging/bitmap.h"

namespace quillmark::engine {

/// How 1-bit images are reduced.
enum class BitonalScale { normal, favour_black, to_gray };

struct RenderRequest {
    QRectF dst;     ///< where the whole bitmap lies, device pixels
    QRect exposed;  ///< the part to render, device pixels
    BitonalScale bitonal = BitonalScale::normal;
    friend bool operator==(const RenderRequest&, const RenderRequest&) = default;
};

/// Renders rows [first, last) of the exposed part into out (Format_RGB32, of the exposed size). Reduction
/// averages the pixels that fall together (very large ratios sample them), enlargement repeats pixels, alpha
/// shows a chequerboard. Work is shared over the cores; its cost is that of reading the source pixels once.
void render(const imaging::Bitmap& bitmap, const RenderRequest& request, QImage& out, int first, int last);
/// The whole exposed part.
QImage render(const imaging::Bitmap& bitmap, const RenderRequest& request);
/// First exposed row that needs no source row at or beyond source_row: rows before it can be rendered from a
/// bitmap of which only the rows before source_row have arrived.
int rows_covered(const imaging::Bitmap& bitmap, const RenderRequest& request, int source_row);

}  // namespace quillmark::engine
