// Pixels that hover over the image while a selection is dragged.
#pragma once

#include <QImage>
#include <QRectF>

#include "engine/render.h"
#include "imaging/region.h"

namespace quillmark::engine {

/// The pixels of region of bitmap as they look on the screen, transparent around them
/// (Format_ARGB32_Premultiplied, of the exposed size). request.dst is where the whole bitmap would lie.
QImage render_region(const imaging::Bitmap& bitmap, const imaging::Region& region,
                     const RenderRequest& request);

/// Draws the same pixels again and again at other places: keeps the picture while it is of a fair size.
class FloaterPicture {
  public:
    /// The picture of the part of region that can be seen; at is where its top left pixel belongs, device
    /// pixels. dst and visible as for rendering.
    const QImage& picture(const imaging::Bitmap& bitmap, const imaging::Region& region, const QRectF& dst,
                          const QRect& visible, BitonalScale bitonal, QPoint& at);
    void forget() { picture_ = {}; }

  private:
    QImage picture_;
    RenderRequest rendered_;  // with dst relative to the exposed part's corner
};

}  // namespace quillmark::engine
