// A selection while it is being drawn: from the first point to the shape.
#pragma once

#include <QPointF>
#include <QSize>
#include <vector>

#include "imaging/region.h"

namespace quillmark::engine {

/// Shapes that a drag can draw.
enum Tracking : int {
    kTrackNone = 0,
    kTrackRectangle = 1,
    kTrackRoundedRectangle = 2,
    kTrackEllipse = 3,
    kTrackFreehand = 4
};

/// Points are in bitmap pixels with fractions, so that zooming or scrolling half-way does no harm.
class RegionTracker {
  public:
    void start(int shape, QPointF at, QSize image);
    void extend(QPointF at);
    void stop() { shape_ = kTrackNone; }
    bool active() const { return shape_ != kTrackNone; }
    bool freehand() const { return shape_ == kTrackFreehand; }
    /// The corners of pixels that a freehand line has passed.
    const std::vector<imaging::Point>& trail() const { return trail_; }
    /// What is selected so far, clipped to the image: rectangle, ellipse and rounded rectangle (corners a
    /// quarter of the shorter side) between the first and the last point, or the closed freehand line.
    /// Empty until the drag encloses a pixel.
    imaging::Region region() const;

  private:
    imaging::Rect rectangle() const;

    int shape_ = kTrackNone;
    QSize image_{0, 0};
    QPointF first_, last_;
    std::vector<imaging::Point> trail_;
};

}  // namespace quillmark::engine
