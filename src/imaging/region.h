// A selection: any set of pixels of an image, kept as runs per row, so that its edges are exact and its size
// depends on the outline, not on the area.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace quillmark::imaging {

struct Point {
    int x = 0, y = 0;
    friend bool operator==(const Point&, const Point&) = default;
};

/// Pixels [x, x + width) x [y, y + height).
struct Rect {
    int x = 0, y = 0, width = 0, height = 0;
    int right() const { return x + width; }
    int bottom() const { return y + height; }
    bool empty() const { return width <= 0 || height <= 0; }
    /// The part that lies in both.
    Rect intersected(const Rect& other) const;
    /// Grown by margin pixels on every side.
    Rect grown(int margin) const { return {x - margin, y - margin, width + 2 * margin, height + 2 * margin}; }
    friend bool operator==(const Rect&, const Rect&) = default;
};

/// Pixels [first, last) of a row.
struct Run {
    int first = 0, last = 0;
    friend bool operator==(const Run&, const Run&) = default;
};

class Region {
  public:
    /// No pixel at all.
    Region() = default;
    static Region rectangle(const Rect& rect);
    /// The ellipse inscribed in rect: pixels whose centres lie inside it.
    static Region ellipse(const Rect& rect);
    /// A rectangle whose corners are quarters of an ellipse with the given radii (limited to half of a side).
    static Region rounded_rectangle(const Rect& rect, int radius_x, int radius_y);
    /// The closed outline through points; what the line runs around is inside, however often (non-zero
    /// winding). Pixels whose centres lie inside, the points being pixel corners.
    static Region polygon(std::span<const Point> points);
    /// Pixels for which inside(x, y) holds within bounds.
    template <typename Inside>
    static Region where(const Rect& bounds, Inside inside);

    bool empty() const { return runs_.empty(); }
    /// The smallest rectangle that holds it.
    const Rect& bounds() const { return bounds_; }
    /// Number of pixels.
    std::int64_t area() const;
    bool contains(int x, int y) const;
    /// The runs of row y, from left to right, neither touching nor overlapping; none outside bounds.
    std::span<const Run> row(int y) const;

    Region moved(int dx, int dy) const;
    /// The part inside rect.
    Region clipped(const Rect& rect) const;
    /// The pixels of either.
    Region united(const Region& other) const;
    /// The pixels that other does not have.
    Region subtracted(const Region& other) const;
    /// Turned by angle hundredths of a degree clockwise about the centre of its bounds: the pixels whose
    /// centres come from inside it. Quarter turns keep every pixel (see turned_about_centre).
    Region turned(int angle) const;
    /// Sheared about the centre of its bounds (see sheared_about_centre).
    Region sheared(int angle, bool horizontal) const;

    /// Closed polygons along pixel edges, each point a corner: clockwise around what is inside,
    /// counter-clockwise around holes. Pixels that share a corner only are apart. Costs the outline's length.
    std::vector<std::vector<Point>> outlines() const;

    friend bool operator==(const Region&, const Region&) = default;

  private:
    class Builder;
    Region mapped(const struct Placement& placement) const;

    Rect bounds_;
    std::vector<std::uint32_t> starts_;  // of each row of bounds in runs_, and the end
    std::vector<Run> runs_;
};

/// Collects runs row by row from the top down.
class Region::Builder {
  public:
    explicit Builder(int top) : top_{top} {}
    /// Adds a run to the current row; runs come from left to right. Empty ones are left out, touching ones
    /// joined.
    void add(int first, int last);
    void end_row() { starts_.push_back(static_cast<std::uint32_t>(runs_.size())); }
    Region finish();

  private:
    int top_;
    std::vector<std::uint32_t> starts_{0};
    std::vector<Run> runs_;
};

template <typename Inside>
Region Region::where(const Rect& bounds, Inside inside) {
    Builder builder{bounds.y};
    for (int y = bounds.y; y < bounds.bottom(); ++y) {
        for (int x = bounds.x; x < bounds.right();) {
            if (!inside(x, y)) {
                ++x;
                continue;
            }
            const int first = x;
            while (x < bounds.right() && inside(x, y)) ++x;
            builder.add(first, x);
        }
        builder.end_row();
    }
    return builder.finish();
}

}  // namespace quillmark::imaging
