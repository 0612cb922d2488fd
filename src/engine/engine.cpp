#include "engine/engine.h"

#include <QThread>
#include <algorithm>
#include <new>

#include "engine/loading.h"
#include "engine/wait.h"
#include "imaging/result_codes.h"

namespace quillmark::engine {

Engine::Engine(QObject* parent) : QObject{parent} {}
Engine::~Engine() = default;

void Engine::SetBitmap(const imaging::Bitmap& bitmap) {
    const bool same_size = bitmap.width() == bitmap_.width() && bitmap.height() == bitmap_.height();
    bitmap_ = bitmap;
    info_.width = bitmap.width();
    info_.height = bitmap.height();
    info_.bits = bitmap.bits();
    info_.size_mem = bytes_in_memory(info_.width, info_.height, info_.bits);
    if (!same_size) {
        SetFloaterVisible(false);
        floater_.source = {};
        if (HasRgn()) FreeRgn();
    }
    emit bitmap_changed();
}

void Engine::SetAutoRepaint(bool on) {
    const bool turned_on = on && !auto_repaint_;
    auto_repaint_ = on;
    if (turned_on || (on && paint_effect_ != 0)) emit repaint_requested();
}

void Engine::SetAutoScroll(bool on) {
    auto_scroll_ = on;
    emit display_changed();
}

void Engine::SetPaintSizeMode(int mode) {
    paint_size_mode_ = mode;
    if (mode == kPaintNormal) zoom_ = 100;
    emit display_changed();
}

void Engine::SetPaintZoomFactor(int percent) {
    zoom_ = std::max(percent, 1);
    paint_size_mode_ = kPaintNormal;
    emit display_changed();
}

void Engine::SetPaintDitherMethod(int method) {
    if (dither_method_ == method) return;
    dither_method_ = method;
    emit display_changed();
}

void Engine::SetBitonalScaling(int method) {
    if (bitonal_scaling_ == method) return;
    bitonal_scaling_ = method;
    emit display_changed();
}

void Engine::SetDstClipRect(int left, int top, int width, int height) {
    clip_ = QRectF{from_scale(left, true), from_scale(top, false), from_scale(width, true),
                   from_scale(height, false)}
                .intersected(dst_);
}

void Engine::ForceRepaint() { emit repaint_requested(); }

double Engine::in_scale(double pixels, bool horizontal) const {
    return scale_mode_ == kTwips ? pixels * (horizontal ? twips_x_ : twips_y_) : pixels;
}

double Engine::from_scale(double value, bool horizontal) const {
    return scale_mode_ == kTwips ? value / (horizontal ? twips_x_ : twips_y_) : value;
}

QPointF Engine::bitmap_point(QPointF device) const {
    if (dst_.isEmpty()) return {};
    return {(device.x() - dst_.left()) * bitmap_.width() / dst_.width(),
            (device.y() - dst_.top()) * bitmap_.height() / dst_.height()};
}

// What floats stays over the same pixels when the view scrolls or zooms under it.
void Engine::SetDisplayRectangles(const QRectF& dst, const QRectF& clip) {
    if (floater_.visible && !dst_.isEmpty() && dst != dst_) {
        const double scale_x = dst.width() / dst_.width(), scale_y = dst.height() / dst_.height();
        const QPointF from_corner = floater_.rect.topLeft() - dst_.topLeft();
        floater_.rect = {dst.left() + from_corner.x() * scale_x, dst.top() + from_corner.y() * scale_y,
                         floater_.rect.width() * scale_x, floater_.rect.height() * scale_y};
    }
    dst_ = dst;
    clip_ = clip;
}

void Engine::run(const std::function<void(const Report&)>& work) {
    abort_ = false;
    std::atomic<int> percent{0};
    int shown = -1;
    const auto show = [&](int value) {
        if (!progress_events_ || value == shown) return;
        shown = value;
        emit ProgressStatus(value);
    };
    const Report report = [&](std::int64_t done, std::int64_t total) {
        if (total > 0) percent = static_cast<int>(std::clamp<std::int64_t>(done * 100 / total, 0, 100));
        return !abort_.load();
    };
    show(0);
    // Where memory runs out the work ends early; its result is kOutOfMemory from the start.
    const auto guarded = [&] {
        try {
            work(report);
        } catch (const std::bad_alloc&) {
        }
    };
    run_and_wait(
        guarded, [&] { show(std::max(percent.load(), shown)); },
        [&] {
            emit EscapePressed();
            abort_ = true;
        });
    show(100);
}

imaging::Context Engine::context(const Report& report) const {
    imaging::Context context;
    context.progress = report;
    return context;
}

Code Engine::apply(const Operation& operation) {
    if (bitmap_.empty()) return 20002;
    // The work sees a snapshot: the image stays as it is until the result is there.
    const imaging::Bitmap snapshot = bitmap_;
    const imaging::Region selected = region_;
    imaging::Result<imaging::Bitmap> result = imaging::kOutOfMemory;
    run([&](const Report& report) {
        result = operation(snapshot, selected.empty() ? nullptr : &selected, context(report));
    });
    if (!result) return static_cast<Code>(imaging::result_code(result.error()));
    SetBitmap(*result);
    return 0;
}

}  // namespace quillmark::engine
