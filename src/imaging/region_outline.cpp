// The outline of a region as closed polygons along pixel edges.
#include <array>

#include "imaging/region.h"

namespace quillmark::imaging {
namespace {

// A corner of the outline. Every corner ends one horizontal and one vertical edge.
struct Corner {
    Point at;
    std::array<std::size_t, 2> next{};  // the corners at the other ends: of the horizontal, the vertical edge
    bool top = false;                   // its horizontal edge has the inside below
    bool used = false;
};

// Walks down between the rows: each step compares the row above with the one below.
class Sweep {
  public:
    explicit Sweep(const Region& region) : region_{region} {}

    std::vector<Corner> corners() {
        const Rect bounds = region_.bounds();
        for (int y = bounds.y; y <= bounds.bottom(); ++y) step(y);
        return std::move(corners_);
    }

  private:
    static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

    // An end of a run that goes on downwards, and the corner where it began.
    struct Side {
        int x;
        bool left;  // the inside is to its right
        std::size_t from;
    };

    std::size_t add(int x, int y) {
        corners_.push_back({{x, y}});
        const std::size_t corner = corners_.size() - 1;
        if (open_ == kNone) {
            open_ = corner;
        } else {
            link(open_, corner, 0);
            corners_[open_].top = corners_[corner].top = inside_below_;
            open_ = kNone;
        }
        return corner;
    }

    void link(std::size_t a, std::size_t b, std::size_t kind) {
        corners_[a].next[kind] = b;
        corners_[b].next[kind] = a;
    }

    void step(int y) {
        std::vector<Side> below;
        for (const Run& run : region_.row(y)) {
            below.push_back({run.first, true, kNone});
            below.push_back({run.last, false, kNone});
        }
        inside_below_ = false;
        std::size_t a = 0, b = 0;
        while (a < above_.size() || b < below.size()) {
            const bool take_above = b == below.size() || (a < above_.size() && above_[a].x <= below[b].x);
            const bool take_below = a == above_.size() || (b < below.size() && below[b].x <= above_[a].x);
            if (take_above && take_below)
                meet(above_[a], below[b], y);
            else if (take_above)
                link(above_[a].from, add(above_[a].x, y), 1);
            else
                below[b].from = add(below[b].x, y);
            if (take_below) inside_below_ = below[b].left;
            a += take_above ? 1 : 0, b += take_below ? 1 : 0;
        }
        above_ = std::move(below);
    }

    // Both rows have a side at the same place: it goes on, or two pixels touch at a corner.
    void meet(const Side& above, Side& below, int y) {
        if (above.left == below.left) {
            below.from = above.from;
        } else if (above.left) {  // inside are lower left and upper right
            below.from = add(below.x, y);
            inside_below_ = below.left;
            link(above.from, add(above.x, y), 1);
        } else {  // upper left and lower right
            link(above.from, add(above.x, y), 1);
            inside_below_ = below.left;
            below.from = add(below.x, y);
        }
    }

    const Region& region_;
    std::vector<Corner> corners_;
    std::vector<Side> above_;
    std::size_t open_ = kNone;   // the corner whose horizontal edge has no other end yet
    bool inside_below_ = false;  // left of the current place
};

}  // namespace

std::vector<std::vector<Point>> Region::outlines() const {
    auto corners = Sweep{*this}.corners();
    std::vector<std::vector<Point>> polygons;
    for (std::size_t start = 0; start < corners.size(); ++start) {
        if (corners[start].used) continue;
        // The first corner of a polygon is its upper left one: with the inside below, right is clockwise.
        std::size_t kind = corners[start].top ? 0 : 1, at = start;
        std::vector<Point>& polygon = polygons.emplace_back();
        do {
            corners[at].used = true;
            polygon.push_back(corners[at].at);
            at = corners[at].next[kind];
            kind = 1 - kind;
        } while (at != start);
    }
    return polygons;
}

}  // namespace quillmark::imaging
