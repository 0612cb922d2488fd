#include "engine/outline.h"

#include <algorithm>
#include <cmath>

namespace quillmark::engine {
namespace {

using imaging::Point;

// One straight piece of outline on the screen: where it runs, and how it is dashed.
class DashWriter {
  public:
    DashWriter(const OutlineView& view, Dashes& dashes) : view_{view}, dashes_{dashes} {
        scale_x_ = view.dst.width() / view.image.width();
        scale_y_ = view.dst.height() / view.image.height();
    }

    void loop(const std::vector<Point>& corners) {
        gone_ = view_.phase;
        for (std::size_t i = 0; i < corners.size(); ++i) piece(corners[i], corners[(i + 1) % corners.size()]);
    }

  private:
    int column(int x) const { return static_cast<int>(std::lround(view_.dst.left() + x * scale_x_)); }
    int line(int y) const { return static_cast<int>(std::lround(view_.dst.top() + y * scale_y_)); }

    void piece(Point from, Point to) {
        const bool level = from.y == to.y;
        const int begin = level ? column(from.x) : line(from.y), end = level ? column(to.x) : line(to.y);
        const bool forward = level ? to.x > from.x : to.y > from.y;
        // The selected side is below what goes right, to the left of what goes down.
        const int edge = level ? line(from.y) : column(from.x);
        const int across = level == forward ? edge : edge - view_.thickness;
        const int length = std::max(std::abs(end - begin), 1);
        const int low = forward ? begin : begin - length;
        const QRect whole =
            level ? QRect{low, across, length, view_.thickness} : QRect{across, low, view_.thickness, length};
        if (whole.intersects(view_.visible)) dash(low, length, across, level, forward);
        gone_ += std::abs(end - begin);
    }

    void dash(int low, int length, int across, bool level, bool forward) {
        const QRect& seen = view_.visible;
        const int first_seen = (level ? seen.left() : seen.top()) - low;
        const int last_seen = (level ? seen.right() : seen.bottom()) + 1 - low;
        // Counted from where the piece begins, which is its far end when it runs backwards.
        int at = std::max(forward ? first_seen : length - last_seen, 0);
        const int end = std::min(forward ? last_seen : length - first_seen, length);
        while (at < end) {
            const std::int64_t cell = (gone_ + at) / view_.dash;
            const int to = static_cast<int>(std::min<std::int64_t>(end, (cell + 1) * view_.dash - gone_));
            const int from = low + (forward ? at : length - to);
            const QRect bar = level ? QRect{from, across, to - at, view_.thickness}
                                    : QRect{across, from, view_.thickness, to - at};
            (cell % 2 ? dashes_.light : dashes_.dark).push_back(bar.intersected(seen));
            at = to;
        }
    }

    const OutlineView& view_;
    Dashes& dashes_;
    double scale_x_ = 1, scale_y_ = 1;
    std::int64_t gone_ = 0;  // length of the loop so far
};

}  // namespace

Dashes outline_dashes(const Outline& outline, const OutlineView& view) {
    Dashes dashes;
    if (view.image.isEmpty() || view.dst.isEmpty()) return dashes;
    DashWriter writer{view, dashes};
    for (const auto& corners : outline) writer.loop(corners);
    return dashes;
}

}  // namespace quillmark::engine
