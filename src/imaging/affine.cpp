#include "imaging/affine.h"

#include <cmath>
#include <numbers>

namespace quillmark::imaging {
namespace {

constexpr double kSlack = 1e-6;  // what rounding may add to a side without making it a pixel longer

double radians(int angle) { return angle * std::numbers::pi / 18000; }

// Inverse of a turn clockwise (the y axis points down), about the origin.
Affine turn_back(int angle) {
    constexpr int kSines[] = {0, 1, 0, -1};
    const int quarters = ((angle / 9000) % 4 + 4) % 4;
    const bool exact = is_quarter_turn(angle);
    const double sine = exact ? kSines[quarters] : std::sin(radians(angle));
    const double cosine = exact ? kSines[(quarters + 1) % 4] : std::cos(radians(angle));
    return {cosine, sine, 0, -sine, cosine, 0};
}

Affine shear_back(int angle, bool horizontal) {
    const double shift = angle == 0 ? 0 : std::tan(radians(angle));
    return horizontal ? Affine{1, -shift, 0, 0, 1, 0} : Affine{1, 0, 0, -shift, 1, 0};
}

struct Size {
    double width, height;
};

// The sides of the box around what the map gives of width x height.
Size extent(const Affine& back, double width, double height) {
    const double det = back.xx * back.yy - back.xy * back.yx;
    return {(std::abs(back.yy) * width + std::abs(back.xy) * height) / std::abs(det),
            (std::abs(back.yx) * width + std::abs(back.xx) * height) / std::abs(det)};
}

int whole(double side) { return static_cast<int>(std::ceil(side - kSlack)); }

// The map that takes the target's centre to the source's.
Affine centred(Affine back, double from_x, double from_y, double to_x, double to_y) {
    back.x0 = from_x - back.xx * to_x - back.xy * to_y;
    back.y0 = from_y - back.yx * to_x - back.yy * to_y;
    return back;
}

Placement about_centre(const Rect& source, const Affine& back) {
    const double x = source.x + source.width / 2.0, y = source.y + source.height / 2.0;
    const Size size = extent(back, source.width, source.height);
    const auto left = static_cast<int>(std::floor(x - size.width / 2 + kSlack));
    const auto top = static_cast<int>(std::floor(y - size.height / 2 + kSlack));
    const Rect target{left, top, whole(x + size.width / 2) - left, whole(y + size.height / 2) - top};
    return {centred(back, x, y, x, y), target};
}

Placement on_canvas(const Affine& back, int width, int height, int to_width, int to_height) {
    return {centred(back, width / 2.0, height / 2.0, to_width / 2.0, to_height / 2.0),
            {0, 0, to_width, to_height}};
}

}  // namespace

Placement turned_about_centre(const Rect& source, int angle) {
    if (!is_quarter_turn(angle) || angle % 18000 == 0) return about_centre(source, turn_back(angle));
    // Truncated towards zero: what a turn shifts, the next one shifts back.
    const int shift = (source.width - source.height) / 2;
    const Rect target{source.x + shift, source.y - shift, source.height, source.width};
    return {centred(turn_back(angle), source.x + source.width / 2.0, source.y + source.height / 2.0,
                    target.x + target.width / 2.0, target.y + target.height / 2.0),
            target};
}

Placement sheared_about_centre(const Rect& source, int angle, bool horizontal) {
    return about_centre(source, shear_back(angle, horizontal));
}

Placement turned_on_canvas(int width, int height, int angle, bool grow) {
    const Affine back = turn_back(angle);
    if (!grow) return on_canvas(back, width, height, width, height);
    const Size size = extent(back, width, height);
    return on_canvas(back, width, height, whole(size.width), whole(size.height));
}

Placement sheared_on_canvas(int width, int height, int angle, bool horizontal) {
    const Affine back = shear_back(angle, horizontal);
    const Size size = extent(back, width, height);
    return on_canvas(back, width, height, whole(size.width), whole(size.height));
}

}  // namespace quillmark::imaging
