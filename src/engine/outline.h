// The edge of a selection as dashes along its line, at any zoom.
#pragma once

#include <QRect>
#include <QRectF>
#include <QSize>
#include <vector>

#include "imaging/region.h"

namespace quillmark::engine {

/// What Region::outlines gives: closed lines along pixel edges, the selected side on the right.
using Outline = std::vector<std::vector<imaging::Point>>;

/// How an outline is drawn; device pixels.
struct OutlineView {
    QRectF dst;  ///< where the whole image is displayed
    QSize image;
    QRect visible;
    int thickness = 1;
    int dash = 4;   ///< length
    int phase = 0;  ///< by how much the dashes have moved on
};

struct Dashes {
    std::vector<QRect> dark, light;
};

/// The outline as dark and light dashes by turns, on the selected side of the edge, as far as visible.
Dashes outline_dashes(const Outline& outline, const OutlineView& view);

}  // namespace quillmark::engine
