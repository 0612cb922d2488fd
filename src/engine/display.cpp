#include "engine/display.h"

#include <algorithm>
#include <cmath>

#include "engine/engine.h"

namespace quillmark::engine {
namespace {

int scaled(int side, int percent) {
    return std::max(1, static_cast<int>(std::llround(side * (percent / 100.0))));
}

}  // namespace

QSize displayed_size(const DisplayRequest& request) {
    if (request.image.isEmpty() || request.view.isEmpty()) return {};
    switch (request.paint_size_mode) {
        case kPaintStretch: return request.view;
        case kPaintFit: {
            const QSize fitted = request.image.scaled(request.view, Qt::KeepAspectRatio);
            return fitted.expandedTo({1, 1});
        }
        default:
            return {scaled(request.image.width(), request.zoom),
                    scaled(request.image.height(), request.zoom)};
    }
}

QRectF display_rectangle(const DisplayRequest& request) {
    const QSize size = displayed_size(request);
    if (size.isEmpty()) return {};
    // Whole device pixels, so that 100 % stays exact.
    const auto place = [](int shown, int view, int scroll) {
        return shown <= view ? (view - shown) / 2 : -scroll;
    };
    return {QPointF(place(size.width(), request.view.width(), request.scroll.x()),
                    place(size.height(), request.view.height(), request.scroll.y())),
            QSizeF(size)};
}

}  // namespace quillmark::engine
