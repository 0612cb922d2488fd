// The selection of the control, and its pixels while they float.
#include <algorithm>
#include <cmath>

#include "engine/engine.h"
#include "imaging/ops/operation.h"
#include "imaging/result_codes.h"

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

imaging::Bitmap Engine::RgnPixels() const {
    if (bitmap_.empty() || region_.empty()) return {};
    const auto pixels = imaging::cropped(bitmap_, region_.bounds(), {});
    return pixels ? *pixels : imaging::Bitmap{};
}

Code Engine::PutPixels(const imaging::Bitmap& pixels, int x, int y) {
    return apply(
        [&](const imaging::Bitmap& bitmap, const imaging::Region* selected, const imaging::Context& context) {
            return imaging::pasted(bitmap, pixels, {x, y}, selected, context.limits);
        });
}

Code Engine::apply_to_region(const RegionOperation& operation) {
    if (bitmap_.empty()) return 20002;
    if (!HasRgn()) return 0;
    const imaging::Bitmap snapshot = bitmap_;
    const imaging::Region selected = region_;
    imaging::Result<imaging::TurnedRegion> turned = imaging::kOutOfMemory;
    run([&](const Report& report) { turned = operation(snapshot, selected, context(report)); });
    if (!turned) return static_cast<Code>(imaging::result_code(turned.error()));
    SetBitmap(turned->bitmap);
    SetRgn(turned->region);
    return 0;
}

Code Engine::RotateRgn(int angle, const QColor& fill) {
    return apply_to_region(
        [&](const imaging::Bitmap& bitmap, const imaging::Region& region, const imaging::Context& context) {
            return imaging::turn_region(bitmap, region, angle, fill.rgb() & 0xFFFFFFU, context);
        });
}

Code Engine::ShearRgn(int angle, bool horizontal, const QColor& fill) {
    const imaging::Parameter& limits = imaging::find_operation("Shear")->parameters[0];
    angle = std::clamp(angle, limits.low, limits.high);
    return apply_to_region(
        [&](const imaging::Bitmap& bitmap, const imaging::Region& region, const imaging::Context& context) {
            return imaging::shear_region(bitmap, region, angle, horizontal, fill.rgb() & 0xFFFFFFU, context);
        });
}

void Engine::SetMousePointer(int pointer) {
    mouse_pointer_ = pointer;
    emit pointer_changed();
}

void Engine::SetFloater(const imaging::Bitmap& source) {
    floater_.source = source;
    floater_.region = region_;
    emit floater_changed();
}

void Engine::SetFloaterVisible(bool visible) {
    if (floater_.visible == visible) return;
    floater_.visible = visible;
    emit floater_changed();
}

void Engine::SetFloaterRect(double left, double top, double width, double height) {
    floater_.rect = {from_scale(left, true), from_scale(top, false), from_scale(width, true),
                     from_scale(height, false)};
    emit floater_changed();
}

void Engine::MoveFloater(double left, double top) {
    SetFloaterRect(left, top, FloaterWidth(), FloaterHeight());
}

Code Engine::DropFloater(int left, int top) {
    const imaging::Bitmap source = floater_.source;
    const imaging::Rect lifted = floater_.region.bounds();
    floater_.source = {};
    floater_.region = {};
    SetFloaterVisible(false);
    if (source.empty() || !HasRgn()) return 0;
    return PutPixels(source, left - lifted.x, top - lifted.y);
}

}  // namespace quillmark::engine
