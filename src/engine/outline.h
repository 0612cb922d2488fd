// The edge of a selection, for drawing: worked out once per selection, drawn at any zoom.
#pragma once

#include <QRect>
#include <QRectF>
#include <QSize>
#include <vector>

#include "imaging/region.h"

namespace quillmark::engine {

/// A straight piece of edge between pixel corners, as long as it can be. Horizontal: y = at, x from..to;
/// vertical: x = at, y from..to.
struct Edge {
    int at, from, to;
    bool opens;  ///< the selected side is below, or to the right
    friend bool operator==(const Edge&, const Edge&) = default;
};

struct Outline {
    std::vector<Edge> horizontal, vertical;
    bool empty() const { return horizontal.empty(); }
};

/// Every edge between a selected and an unselected pixel, each once. Costs the number of runs.
Outline trace_outline(const imaging::Region& region);

/// The edges inside visible as bars of the given thickness that lie on the selected side. dst is where the
/// whole image (pixels) is displayed; everything in device pixels.
std::vector<QRect> outline_bars(const Outline& outline, const QRectF& dst, QSize image, const QRect& visible,
                                int thickness);

}  // namespace quillmark::engine
