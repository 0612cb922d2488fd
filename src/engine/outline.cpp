#include "engine/outline.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <span>

namespace quillmark::engine {
namespace {

using imaging::Run;

// Where exactly one of two rows is selected: between each two neighbouring ends of their runs.
void edges_between(std::span<const Run> above, std::span<const Run> below, int y, std::vector<Edge>& edges) {
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
        edges.push_back({y, ends[i].x, ends[i + 1].x, in_lower});
    }
}

// Joins the left and right ends of runs that stand below one another.
class Uprights {
  public:
    void row(std::span<const Run> runs, int y) {
        std::map<Key, int> now;
        for (const Run& run : runs) {
            for (const Key& key : {Key{run.first, true}, Key{run.last, false}}) {
                const auto open = open_.extract(key);
                now.emplace(key, open.empty() ? y : open.mapped());
            }
        }
        close(y);
        open_ = std::move(now);
    }
    /// Ends what did not go on in row y.
    void close(int y) {
        for (const auto& [key, from] : open_) edges_.push_back({key.first, from, y, key.second});
        open_.clear();
    }
    std::vector<Edge> take() { return std::move(edges_); }

  private:
    using Key = std::pair<int, bool>;  // x and whether the selected side is to the right
    std::map<Key, int> open_;
    std::vector<Edge> edges_;
};

}  // namespace

Outline trace_outline(const imaging::Region& region) {
    Outline outline;
    if (region.empty()) return outline;
    Uprights uprights;
    const imaging::Rect bounds = region.bounds();
    for (int y = bounds.y; y <= bounds.bottom(); ++y) {
        edges_between(region.row(y - 1), region.row(y), y, outline.horizontal);
        uprights.row(region.row(y), y);
    }
    outline.vertical = uprights.take();
    return outline;
}

std::vector<QRect> outline_bars(const Outline& outline, const QRectF& dst, QSize image, const QRect& visible,
                                int thickness) {
    std::vector<QRect> bars;
    if (image.isEmpty() || dst.isEmpty()) return bars;
    const double scale_x = dst.width() / image.width(), scale_y = dst.height() / image.height();
    const auto column = [&](int x) { return static_cast<int>(std::lround(dst.left() + x * scale_x)); };
    const auto line = [&](int y) { return static_cast<int>(std::lround(dst.top() + y * scale_y)); };
    const auto add = [&](int x, int y, int width, int height) {
        const QRect bar = QRect{x, y, width, height}.intersected(visible);
        if (!bar.isEmpty()) bars.push_back(bar);
    };
    for (const Edge& edge : outline.horizontal) {
        const int from = column(edge.from), to = std::max(column(edge.to), from + 1), y = line(edge.at);
        add(from, edge.opens ? y : y - thickness, to - from, thickness);
    }
    for (const Edge& edge : outline.vertical) {
        const int from = line(edge.from), to = std::max(line(edge.to), from + 1), x = column(edge.at);
        add(edge.opens ? x : x - thickness, from, thickness, to - from);
    }
    return bars;
}

}  // namespace quillmark::engine
