#include "imaging/codecs/pict_draw.h"

#include <algorithm>
#include <cmath>

namespace quillmark::imaging::codecs {
namespace {

class Painter {
  public:
    Painter(const PictShape& shape, std::int64_t& budget, Bitmap& canvas)
        : shape_{shape}, budget_{budget}, canvas_{canvas} {}

    // Pixels whose centres lie in [from, to) of row y.
    void span(int y, double from, double to) {
        if (y < 0 || y >= canvas_.height()) return;
        const auto column = [&](double x) {
            return static_cast<int>(std::ceil(std::clamp(x, 0.0, double(canvas_.width())) - 0.5));
        };
        const int first = column(from), last = std::min(column(to), canvas_.width());
        const auto row = canvas_.writable_row(y);
        for (int x = first; x < last; ++x) {
            const auto at = static_cast<std::size_t>(x) * 3;
            if (shape_.verb == PictShape::Verb::invert) {
                for (std::size_t c = 0; c < 3; ++c) row[at + c] ^= 0xFF;
            } else {
                row[at] = shape_.colour.r, row[at + 1] = shape_.colour.g, row[at + 2] = shape_.colour.b;
            }
        }
        budget_ -= std::max(last - first, 1);
    }

    // Rows of the canvas whose centres lie in [top, bottom).
    template <typename Row>
    void rows(double top, double bottom, Row row) {
        const auto line = [&](double y) {
            return static_cast<int>(std::ceil(std::clamp(y, 0.0, double(canvas_.height())) - 0.5));
        };
        for (int y = line(top); y < std::min(line(bottom), canvas_.height()) && budget_ > 0; ++y) row(y);
    }

    bool spent() const { return budget_ <= 0; }

  private:
    const PictShape& shape_;
    std::int64_t& budget_;
    Bitmap& canvas_;
};

// Even-odd scan of closed edges.
void fill_polygon(const std::vector<PictPoint>& points, Painter& painter) {
    const auto [low, high] = std::ranges::minmax(points, {}, &PictPoint::y);
    std::vector<double> crossings;
    painter.rows(low.y, high.y, [&](int y) {
        const double centre = y + 0.5;
        crossings.clear();
        for (std::size_t i = 0; i < points.size(); ++i) {
            const PictPoint &a = points[i], &b = points[(i + 1) % points.size()];
            if ((a.y <= centre) == (b.y <= centre)) continue;
            crossings.push_back(a.x + (centre - a.y) / (b.y - a.y) * (b.x - a.x));
        }
        std::ranges::sort(crossings);
        for (std::size_t i = 0; i + 1 < crossings.size(); i += 2)
            painter.span(y, crossings[i], crossings[i + 1]);
    });
}

// The pen is a rectangle that hangs right of and below its place: what it sweeps is the hull of both ends.
void stroke(PictPoint a, PictPoint b, double width, double height, Painter& painter) {
    if (a.x > b.x) std::swap(a, b);
    std::vector<PictPoint> hull;
    if (a.y <= b.y) {
        hull = {a,
                {a.x + width, a.y},
                {b.x + width, b.y},
                {b.x + width, b.y + height},
                {b.x, b.y + height},
                {a.x, a.y + height}};
    } else {
        hull = {a,
                b,
                {b.x + width, b.y},
                {b.x + width, b.y + height},
                {a.x + width, a.y + height},
                {a.x, a.y + height}};
    }
    fill_polygon(hull, painter);
}

void fill_oval(PictPoint a, PictPoint b, double pen_width, double pen_height, bool hollow, Painter& painter) {
    const double rx = (b.x - a.x) / 2, ry = (b.y - a.y) / 2, cx = a.x + rx, cy = a.y + ry;
    const auto half = [&](double y, double across, double along) {
        const double t = along > 0 ? (y - cy) / along : 2;
        return std::abs(t) < 1 && across > 0 ? across * std::sqrt(1 - t * t) : 0.0;
    };
    painter.rows(a.y, b.y, [&](int y) {
        const double outer = half(y + 0.5, rx, ry);
        const double inner = hollow ? half(y + 0.5, rx - pen_width, ry - pen_height) : 0;
        if (inner <= 0) return painter.span(y, cx - outer, cx + outer);
        painter.span(y, cx - outer, cx - inner);
        painter.span(y, cx + inner, cx + outer);
    });
}

}  // namespace

bool draw_pict_shape(const PictShape& shape, double left, double top, double scale, std::int64_t& budget,
                     Bitmap& canvas) {
    if (budget <= 0) return false;
    std::vector<PictPoint> points = shape.points;
    for (PictPoint& p : points) p = {(p.x - left) * scale, (p.y - top) * scale};
    const double width = std::max(shape.pen_width * scale, 1.0),
                 height = std::max(shape.pen_height * scale, 1.0);
    const bool hollow = shape.verb == PictShape::Verb::frame;
    Painter painter{shape, budget, canvas};
    if (points.size() < 2) return true;
    if (shape.kind == PictShape::Kind::oval) {
        fill_oval(points[0], points[1], width, height, hollow, painter);
    } else if (hollow) {
        for (std::size_t i = 0; i + 1 < points.size() && !painter.spent(); ++i)
            stroke(points[i], points[i + 1], width, height, painter);
    } else {
        // Edges are visited for every row.
        budget -= static_cast<std::int64_t>(points.size()) * std::min(canvas.height(), 4096) / 8;
        if (budget > 0) fill_polygon(points, painter);
    }
    return budget > 0;
}

}  // namespace quillmark::imaging::codecs
