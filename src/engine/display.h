// Where an image appears in its control: the display rectangle for a view mode, a zoom and a scroll position.
#pragma once

#include <QPoint>
#include <QRectF>
#include <QSize>

namespace quillmark::engine {

/// Everything in device pixels: at 100 % one image pixel is one device pixel at any scale factor.
struct DisplayRequest {
    QSize image;              ///< pixels of the bitmap
    QSize view;               ///< device pixels of the control
    int paint_size_mode = 0;  ///< PaintSize
    int zoom = 100;           ///< percent, normal mode only
    QPoint scroll;            ///< device pixels, normal mode only
};

/// Size of the displayed image before scrolling and centring.
QSize displayed_size(const DisplayRequest& request);
/// The rectangle in which the whole bitmap is painted; centred where it is smaller than the view. Empty
/// without an image or a view.
QRectF display_rectangle(const DisplayRequest& request);

}  // namespace quillmark::engine
