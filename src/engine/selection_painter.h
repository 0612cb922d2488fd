// Draws what belongs to the selection over the displayed image: its moving outline, the shape that is being
// drawn, and the pixels that float.
#pragma once

#include <QPainter>
#include <QRegion>

#include "engine/engine.h"
#include "engine/floater.h"
#include "engine/outline.h"
#include "engine/region_tracker.h"

namespace quillmark::engine {

/// Where the image is displayed; device pixels.
struct Scene {
    QRectF dst;
    QRect visible;
    int thickness = 1;  ///< of lines
    BitonalScale bitonal = BitonalScale::normal;
};

class SelectionPainter {
  public:
    explicit SelectionPainter(const Engine& engine) : engine_{engine} {}

    /// painter works in device pixels.
    void paint(QPainter& painter, const Scene& scene, const RegionTracker& tracker);
    /// The region is another one.
    void region_changed() { outline_known_ = false; }
    void floater_changed();
    /// Whether an outline is shown that moves.
    bool marches() const { return engine_.HasRgn() && engine_.RgnFrameType() == 2; }
    /// The outline takes its next position; gives what was last drawn of it, device pixels.
    QRegion march();

  private:
    void paint_floater(QPainter& painter, const Scene& scene);
    void paint_outline(QPainter& painter, const Scene& scene, const Outline& outline);

    const Engine& engine_;
    Outline outline_;
    bool outline_known_ = false;
    FloaterPicture floater_;
    Dashes dashes_;  // as last drawn
    int phase_ = 0;
};

}  // namespace quillmark::engine
