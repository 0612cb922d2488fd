#include "engine/outline.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <span>
#include <tuple>

namespace quillmark::engine {
namespace {

using imaging::Point;
using imaging::Run;

struct Segment {
    Point from, to;
    bool used = false;
};

// Where exactly one of two rows is selected: between each two neighbouring ends of their runs.
void segments_between(std::span<const Run> above, std::span<const Run> below, int y,
                      std::vector<Segment>& segments) {
    struct End {
        int x;
        bool lower;
    };
    std::vector<End> ends;
    for (const Run& run : above) ends.push_back({run.first, false}), ends.push_back({run.last, false});
    for (const Run& run : below) ends.push_back({run.first, true}), ends.push_back({run.last, true});
    std::ranges::sort(ends, {}, &End::x);
    bool in_upper = false, in_lower = false;
    for (std::size_t i = 0; i + 1 < ends.size(); ++i) {
        bool& side = ends[i].lower ? in_lower : in_upper;
        side = !side;
        if (in_upper == in_lower || ends[i].x == ends[i + 1].x) continue;
        const Point left{ends[i].x, y}, right{ends[i + 1].x, y};
        segments.push_back(in_lower ? Segment{left, right} : Segment{right, left});
    }
}

// Joins the left and right ends of runs that stand below one another.
class Uprights {
  public:
    explicit Uprights(std::vector<Segment>& segments) : segments_{segments} {}

    void row(std::span<const Run> runs, int y) {
        std::map<Key, int> now;
        for (const Run& run : runs) {
            for (const Key& key : {Key{run.first, true}, Key{run.last, false}}) {
                const auto open = open_.extract(key);
                now.emplace(key, open.empty() ? y : open.mapped());
            }
        }
        for (const auto& [key, top] : open_) {
            const Point upper{key.first, top}, lower{key.first, y};
            segments_.push_back(key.second ? Segment{lower, upper} : Segment{upper, lower});
        }
        open_ = std::move(now);
    }

  private:
    using Key = std::pair<int, bool>;  // x, and whether it is a left end
    std::map<Key, int> open_;
    std::vector<Segment>& segments_;
};

std::pair<int, int> start(const Segment& segment) { return {segment.from.y, segment.from.x}; }

Point direction(const Segment& segment) {
    const auto sign = [](int value) { return (value > 0) - (value < 0); };
    return {sign(segment.to.x - segment.from.x), sign(segment.to.y - segment.from.y)};
}

// The segment that goes on where one ends. Where two do, the turn to the right stays with the same pixel.
Segment* next_of(const Segment& segment, std::vector<Segment>& sorted) {
    const std::pair end{segment.to.y, segment.to.x};
    const Point way = direction(segment), right{-way.y, way.x};
    Segment* next = nullptr;
    for (auto it = std::ranges::lower_bound(sorted, end, {}, start); it != sorted.end() && start(*it) == end;
         ++it) {
        if (!it->used && (!next || direction(*it) == right)) next = &*it;
    }
    return next;
}

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

Outline trace_outline(const imaging::Region& region) {
    if (region.empty()) return {};
    std::vector<Segment> segments;
    Uprights uprights{segments};
    const imaging::Rect bounds = region.bounds();
    for (int y = bounds.y; y <= bounds.bottom(); ++y) {
        segments_between(region.row(y - 1), region.row(y), y, segments);
        uprights.row(region.row(y), y);
    }
    std::ranges::sort(segments, {}, start);
    Outline outline;
    for (Segment& first : segments) {
        if (first.used) continue;
        auto& corners = outline.emplace_back();
        for (Segment* at = &first; at; at = next_of(*at, segments)) {
            at->used = true;
            corners.push_back(at->from);
        }
    }
    return outline;
}

Dashes outline_dashes(const Outline& outline, const OutlineView& view) {
    Dashes dashes;
    if (view.image.isEmpty() || view.dst.isEmpty()) return dashes;
    DashWriter writer{view, dashes};
    for (const auto& corners : outline) writer.loop(corners);
    return dashes;
}

}  // namespace quillmark::engine
