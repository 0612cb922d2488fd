// The selection of the control.
#include <cmath>

#include "engine/engine.h"

namespace quillmark::engine {

void Engine::SetRgn(const imaging::Region& region) {
    region_ = region.clipped({0, 0, bitmap_.width(), bitmap_.height()});
    emit region_changed();
}

bool Engine::IsPtInRgn(double x, double y) const {
    return region_.contains(static_cast<int>(std::floor(x)), static_cast<int>(std::floor(y)));
}

void Engine::SetRgnFrameType(int type) {
    region_frame_ = type;
    emit region_changed();
}

}  // namespace quillmark::engine
