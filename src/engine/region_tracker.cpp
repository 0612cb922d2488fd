#include "engine/region_tracker.h"

#include <algorithm>
#include <cmath>

#include "text/numbers.h"

namespace quillmark::engine {
namespace {

using imaging::Point;
using imaging::Region;

int rounded(double value) { return static_cast<int>(text::round_half_even(value)); }

Point corner(QPointF at) { return {rounded(at.x()), rounded(at.y())}; }

QPointF inside(QPointF at, QSize image) {
    return {std::clamp<double>(at.x(), 0, image.width()), std::clamp<double>(at.y(), 0, image.height())};
}

}  // namespace

void RegionTracker::start(int shape, QPointF at, QSize image) {
    shape_ = shape;
    image_ = image;
    first_ = last_ = at;
    trail_.assign(1, corner(at));
}

void RegionTracker::extend(QPointF at) {
    last_ = at;
    if (freehand() && trail_.back() != corner(at)) trail_.push_back(corner(at));
}

// Position and size are rounded each by itself, as cropping does it: the outline is what a crop leaves.
imaging::Rect RegionTracker::rectangle() const {
    const QPointF a = inside(first_, image_), b = inside(last_, image_);
    return {rounded(std::min(a.x(), b.x())), rounded(std::min(a.y(), b.y())),
            rounded(std::abs(a.x() - b.x())), rounded(std::abs(a.y() - b.y()))};
}

Region RegionTracker::region() const {
    const imaging::Rect rect = rectangle();
    const auto shape = [&] {
        switch (shape_) {
            case kTrackRectangle: return Region::rectangle(rect);
            case kTrackRoundedRectangle: {
                const int radius = std::min(rect.width, rect.height) / 4;
                return Region::rounded_rectangle(rect, radius, radius);
            }
            case kTrackEllipse: return Region::ellipse(rect);
            case kTrackFreehand: return Region::polygon(trail_);
            default: return Region{};
        }
    };
    return shape().clipped({0, 0, image_.width(), image_.height()});
}

}  // namespace quillmark::engine
