#include "imaging/region.h"

#include <algorithm>
#include <cmath>

#include "imaging/affine.h"

namespace quillmark::imaging {

Rect Rect::intersected(const Rect& other) const {
    const int left = std::max(x, other.x), top = std::max(y, other.y);
    const int to_right = std::min(right(), other.right()), to_bottom = std::min(bottom(), other.bottom());
    return {left, top, std::max(0, to_right - left), std::max(0, to_bottom - top)};
}

void Region::Builder::add(int first, int last) {
    if (first >= last) return;
    if (runs_.size() > starts_.back() && runs_.back().last >= first)
        runs_.back().last = std::max(runs_.back().last, last);
    else
        runs_.push_back({first, last});
}

Region Region::Builder::finish() {
    Region region;
    if (runs_.empty()) return region;
    const auto rows = static_cast<int>(starts_.size()) - 1;
    int above = 0, used = rows;
    while (starts_[static_cast<std::size_t>(above) + 1] == 0) ++above;
    while (starts_[static_cast<std::size_t>(used) - 1] == runs_.size()) --used;
    int left = runs_.front().first, right = runs_.front().last;
    for (const Run& run : runs_) left = std::min(left, run.first), right = std::max(right, run.last);
    region.bounds_ = {left, top_ + above, right - left, used - above};
    region.starts_.assign(starts_.begin() + above, starts_.begin() + used + 1);
    region.runs_ = std::move(runs_);
    return region;
}

Region Region::rectangle(const Rect& rect) {
    Builder builder{rect.y};
    for (int y = 0; y < rect.height; ++y) builder.add(rect.x, rect.right()), builder.end_row();
    return builder.finish();
}

Region Region::ellipse(const Rect& rect) {
    return rounded_rectangle(rect, (rect.width + 1) / 2, (rect.height + 1) / 2);
}

Region Region::rounded_rectangle(const Rect& rect, int radius_x, int radius_y) {
    if (rect.empty()) return {};
    const double rx = std::clamp<double>(radius_x, 0, rect.width / 2.0);
    const double ry = std::clamp<double>(radius_y, 0, rect.height / 2.0);
    Builder builder{rect.y};
    for (int y = 0; y < rect.height; ++y) {
        // How far the row's centre reaches into the rounded part, above or below.
        const double centre = y + 0.5;
        const double into = std::max({ry - centre, centre - (rect.height - ry), 0.0});
        const double inset = into > 0 ? rx - rx * std::sqrt(std::max(0.0, 1 - into * into / (ry * ry))) : 0;
        const int skipped = static_cast<int>(std::ceil(inset - 0.5));
        builder.add(rect.x + skipped, rect.right() - skipped);
        builder.end_row();
    }
    return builder.finish();
}

Region Region::polygon(std::span<const Point> points) {
    if (points.size() < 3) return {};
    int top = points[0].y, bottom = top;
    for (const Point& p : points) top = std::min(top, p.y), bottom = std::max(bottom, p.y);
    struct Crossing {
        double x;
        int direction;
    };
    // Edges by the rows they cross, so that a long outline costs its length and not length times height.
    std::vector<std::vector<Crossing>> rows(static_cast<std::size_t>(bottom - top));
    for (std::size_t i = 0; i < points.size(); ++i) {
        Point from = points[i], to = points[(i + 1) % points.size()];
        if (from.y == to.y) continue;
        const int direction = from.y < to.y ? 1 : -1;
        if (direction < 0) std::swap(from, to);
        const double slope = static_cast<double>(to.x - from.x) / (to.y - from.y);
        for (int y = from.y; y < to.y; ++y)
            rows[static_cast<std::size_t>(y - top)].push_back(
                {from.x + (y + 0.5 - from.y) * slope, direction});
    }
    Builder builder{top};
    for (auto& crossings : rows) {
        std::ranges::sort(crossings, {}, &Crossing::x);
        int winding = 0;
        double entered = 0;
        for (const Crossing& crossing : crossings) {
            if (winding == 0) entered = crossing.x;
            winding += crossing.direction;
            if (winding == 0)
                builder.add(static_cast<int>(std::ceil(entered - 0.5)),
                            static_cast<int>(std::ceil(crossing.x - 0.5)));
        }
        builder.end_row();
    }
    return builder.finish();
}

std::int64_t Region::area() const {
    std::int64_t pixels = 0;
    for (const Run& run : runs_) pixels += run.last - run.first;
    return pixels;
}

std::span<const Run> Region::row(int y) const {
    if (y < bounds_.y || y >= bounds_.bottom()) return {};
    const auto at = static_cast<std::size_t>(y - bounds_.y);
    return std::span{runs_}.subspan(starts_[at], starts_[at + 1] - starts_[at]);
}

bool Region::contains(int x, int y) const {
    return std::ranges::any_of(row(y), [x](const Run& run) { return x >= run.first && x < run.last; });
}

Region Region::moved(int dx, int dy) const {
    Region region = *this;
    if (region.empty()) return region;
    region.bounds_.x += dx, region.bounds_.y += dy;
    for (Run& run : region.runs_) run.first += dx, run.last += dx;
    return region;
}

Region Region::clipped(const Rect& rect) const {
    const Rect inside = bounds_.intersected(rect);
    Builder builder{inside.y};
    for (int y = inside.y; y < inside.bottom(); ++y) {
        for (const Run& run : row(y))
            builder.add(std::max(run.first, inside.x), std::min(run.last, inside.right()));
        builder.end_row();
    }
    return builder.finish();
}

Region Region::united(const Region& other) const {
    if (empty()) return other;
    if (other.empty()) return *this;
    const int top = std::min(bounds_.y, other.bounds_.y);
    const int bottom = std::max(bounds_.bottom(), other.bounds_.bottom());
    Builder builder{top};
    for (int y = top; y < bottom; ++y) {
        auto a = row(y), b = other.row(y);
        while (!a.empty() || !b.empty()) {
            auto& next = b.empty() || (!a.empty() && a.front().first <= b.front().first) ? a : b;
            builder.add(next.front().first, next.front().last);
            next = next.subspan(1);
        }
        builder.end_row();
    }
    return builder.finish();
}

Region Region::subtracted(const Region& other) const {
    Builder builder{bounds_.y};
    for (int y = bounds_.y; y < bounds_.bottom(); ++y) {
        auto cuts = other.row(y);
        for (const Run& run : row(y)) {
            int first = run.first;
            while (!cuts.empty() && cuts.front().first < run.last) {
                builder.add(first, std::min(cuts.front().first, run.last));
                first = std::max(first, cuts.front().last);
                if (cuts.front().last > run.last) break;  // it may reach into the next run
                cuts = cuts.subspan(1);
            }
            builder.add(first, run.last);
        }
        builder.end_row();
    }
    return builder.finish();
}

namespace {

std::int64_t floor_div(std::int64_t a, std::int64_t b) { return a / b - (a % b != 0 && (a < 0) != (b < 0)); }

// A coordinate along a row, in units of 2^-32 pixels.
struct Slope {
    std::int64_t start, step;

    // The first x from which on the coordinate is at least limit (rising), or below it (falling).
    std::int64_t passes(std::int64_t limit) const {
        return step > 0 ? -floor_div(start - limit, step) : floor_div(start - limit, -step) + 1;
    }
    std::int64_t at(std::int64_t x) const { return start + step * x; }
    static Slope of(double start, double step) {
        return {std::llround(start * 4294967296.0), std::llround(step * 4294967296.0)};
    }
};

// The x in `within` whose coordinates lie in the pixels of run.
Run crossing(const Slope& slope, const Run& run, const Run& within) {
    const std::int64_t low = std::int64_t{run.first} << 32, high = std::int64_t{run.last} << 32;
    if (slope.step == 0) return slope.start >= low && slope.start < high ? within : Run{};
    const bool rising = slope.step > 0;
    const auto limited = [&](std::int64_t x) {
        return static_cast<int>(std::clamp<std::int64_t>(x, within.first, within.last));
    };
    return {limited(slope.passes(rising ? low : high)), limited(slope.passes(rising ? high : low))};
}

}  // namespace

// Row by row of the target: along it the source row changes seldom, and in between whole runs are taken over.
Region Region::mapped(const Placement& placement) const {
    const Rect target = placement.target;
    const Affine& back = placement.back;
    Builder builder{target.y};
    for (int y = target.y; y < target.bottom(); ++y) {
        const double x0 = target.x + 0.5, y0 = y + 0.5;
        const Slope across = Slope::of(back.xx * x0 + back.xy * y0 + back.x0, back.xx);
        const Slope down = Slope::of(back.yx * x0 + back.yy * y0 + back.y0, back.yx);
        for (int x = 0; x < target.width;) {
            const std::int64_t line = down.at(x) >> 32;
            std::int64_t to = target.width;
            if (down.step != 0) to = std::min(to, down.passes((line + (down.step > 0)) << 32));
            const Run within{x, static_cast<int>(to)};
            const auto runs = row(static_cast<int>(line));
            for (std::size_t i = 0; i < runs.size(); ++i) {
                const Run part = crossing(across, runs[across.step < 0 ? runs.size() - 1 - i : i], within);
                builder.add(target.x + part.first, target.x + part.last);
            }
            x = within.last;
        }
        builder.end_row();
    }
    return builder.finish();
}

Region Region::turned(int angle) const {
    return empty() || angle % 36000 == 0 ? *this : mapped(turned_about_centre(bounds_, angle));
}

Region Region::sheared(int angle, bool horizontal) const {
    return empty() || angle == 0 ? *this : mapped(sheared_about_centre(bounds_, angle, horizontal));
}

}  // namespace quillmark::imaging
