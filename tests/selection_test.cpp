// What selections are made of: shapes that a drag draws, outlines, floating pixels, pasting.
#include <gtest/gtest.h>

#include <map>

#include "engine/floater.h"
#include "engine/outline.h"
#include "engine/region_tracker.h"
#include "imaging/ops/operation.h"

namespace quillmark::engine {
namespace {

using imaging::Bitmap;
using imaging::Point;
using imaging::Rect;
using imaging::Region;

Region spots() {  // touching at corners, with a hole, at the image's edge
    const Region ring = Region::where({0, 0, 40, 30}, [](int x, int y) {
        const bool hole = x >= 14 && x < 19 && y >= 12 && y < 20;
        return ((x / 7 + y / 5) % 2 == 0 && !hole) || (x == 39 && y > 20);
    });
    return ring;
}

// The colour of every device pixel that the dashes cover: 1 dark, 2 light.
std::map<std::pair<int, int>, int> painted(const Dashes& dashes) {
    std::map<std::pair<int, int>, int> pixels;
    int colour = 0;
    for (const auto* bars : {&dashes.dark, &dashes.light}) {
        ++colour;
        for (const QRect& bar : *bars)
            for (int y = bar.top(); y <= bar.bottom(); ++y)
                for (int x = bar.left(); x <= bar.right(); ++x) pixels[{x, y}] = colour;
    }
    return pixels;
}

TEST(Outline, DashesLieOnTheSelectedSideAndInSight) {
    const Outline outline = Region::rectangle({2, 3, 4, 5}).outlines();
    OutlineView view{{10, 20, 40, 40}, {20, 20}, {0, 0, 1000, 1000}};  // 200 %: 14..22 x 26..36
    const auto all = painted(outline_dashes(outline, view));
    int border = 0;
    for (int y = 20; y < 60; ++y) {
        for (int x = 10; x < 50; ++x) {
            const bool inside = x >= 14 && x < 22 && y >= 26 && y < 36;
            const bool inner = x > 14 && x < 21 && y > 26 && y < 35;
            EXPECT_EQ(all.contains({x, y}), inside && !inner) << x << ' ' << y;
            border += inside && !inner;
        }
    }
    EXPECT_EQ(border, static_cast<int>(all.size()));
    view.visible = {16, 28, 3, 3};
    EXPECT_TRUE(painted(outline_dashes(outline, view)).empty());
    view.visible = {0, 0, 18, 30};
    for (const auto& [at, colour] : painted(outline_dashes(outline, view)))
        EXPECT_EQ(colour, all.at(at)) << "what is out of sight moves no dash";
}

TEST(Outline, DashesFollowTheLineAndMoveOn) {
    const Outline outline = Region::rectangle({0, 0, 20, 30}).outlines();
    OutlineView view{{0, 0, 20, 30}, {20, 30}, {0, 0, 100, 100}};
    const auto at_rest = painted(outline_dashes(outline, view));
    for (int x = 1; x < 18; ++x) EXPECT_EQ(at_rest.at({x, 0}), x / 4 % 2 ? 2 : 1) << x;
    for (int y = 1; y < 28; ++y) EXPECT_EQ(at_rest.at({19, y}), (20 + y) / 4 % 2 ? 2 : 1) << y;
    for (int x = 2; x < 18; ++x) EXPECT_EQ(at_rest.at({x, 29}), (50 + 19 - x) / 4 % 2 ? 2 : 1) << x;
    view.phase = 3;
    const auto later = painted(outline_dashes(outline, view));
    for (int x = 1; x < 15; ++x) EXPECT_EQ(later.at({x, 0}), at_rest.at({x + 3, 0}));
}

TEST(Outline, NoPartOfACircleIsOneColour) {
    const Outline circle = Region::ellipse({0, 0, 300, 300}).outlines();
    const auto pixels = painted(outline_dashes(circle, {{0, 0, 300, 300}, {300, 300}, {0, 0, 300, 300}}));
    int blocks = 0;
    for (int top = 0; top < 300; top += 30) {
        for (int left = 0; left < 300; left += 30) {
            std::array<int, 3> count{};
            for (const auto& [at, colour] : pixels)
                count[static_cast<std::size_t>(colour)] +=
                    at.first / 30 * 30 == left && at.second / 30 * 30 == top;
            if (count[1] + count[2] < 20) continue;
            ++blocks;
            EXPECT_GT(std::min(count[1], count[2]) * 4, count[1] + count[2]) << left << ' ' << top;
        }
    }
    EXPECT_GT(blocks, 15);
}

Region drawn(int shape, std::initializer_list<QPointF> points, QSize image = {200, 100}) {
    RegionTracker tracker;
    tracker.start(shape, *points.begin(), image);
    for (const QPointF& point : points) tracker.extend(point);
    return tracker.region();
}

TEST(Tracker, ShapesFillTheRectangleOfTheDragAnyWayRound) {
    const Rect rect{10, 20, 100, 50};
    for (const auto& [from, to] : {std::pair{QPointF{10, 20}, QPointF{110, 70}},
                                   {QPointF{110, 70}, QPointF{10, 20}},
                                   {QPointF{10, 70}, QPointF{110, 20}}}) {
        EXPECT_EQ(drawn(kTrackRectangle, {from, to}), Region::rectangle(rect));
        EXPECT_EQ(drawn(kTrackEllipse, {from, to}), Region::ellipse(rect));
        EXPECT_EQ(drawn(kTrackRoundedRectangle, {from, to}), Region::rounded_rectangle(rect, 12, 12));
    }
}

TEST(Tracker, StaysInsideTheImage) {
    EXPECT_EQ(drawn(kTrackRectangle, {{-50, -10}, {20, 500}}), Region::rectangle({0, 0, 20, 100}));
    EXPECT_EQ(drawn(kTrackEllipse, {{150, 50}, {900, 300}}), Region::ellipse({150, 50, 50, 50}));
    const Region cut = drawn(kTrackFreehand, {{-20, 10}, {30, 10}, {30, 130}, {-20, 130}});
    EXPECT_EQ(cut, Region::rectangle({0, 10, 30, 90}));
}

TEST(Tracker, NothingIsSelectedWithoutAnArea) {
    for (const int shape : {kTrackRectangle, kTrackRoundedRectangle, kTrackEllipse, kTrackFreehand}) {
        EXPECT_TRUE(drawn(shape, {{10, 10}}).empty()) << shape;
        EXPECT_TRUE(drawn(shape, {{10, 10}, {60, 10}}).empty()) << shape;
        EXPECT_TRUE(drawn(shape, {{-10, -10}, {-60, -80}}).empty()) << shape;
    }
    EXPECT_TRUE(drawn(kTrackNone, {{10, 10}, {60, 60}}).empty());
}

TEST(Tracker, AFreehandLineClosesItself) {
    EXPECT_EQ(drawn(kTrackFreehand, {{5, 5}, {25, 5}, {25, 15}, {5, 15}}), Region::rectangle({5, 5, 20, 10}));
}

struct Form {
    int bits;
    bool gray;
};

Bitmap sample(Form form, int width, int height, unsigned seed) {
    Bitmap bitmap = *Bitmap::create(width, height, form.bits, {}, form.gray);
    unsigned state = seed;
    for (int y = 0; y < height; ++y)
        for (auto& byte : bitmap.writable_row(y)) byte = static_cast<std::uint8_t>(state = state * 75 + 74);
    return bitmap;
}

TEST(Pasted, PixelsInsideTheRegionAndNoOthers) {
    const Region region = spots().moved(3, 4);
    int forms = 0;
    for (const Form form :
         {Form{1, false}, {4, false}, {8, false}, {12, true}, {16, true}, {24, false}, {32, false}}) {
        const Bitmap target = sample(form, 37, 29, 5), source = sample(form, 31, 40, 99);
        for (const Point at : {Point{0, 0}, Point{5, -7}, Point{-13, 11}, Point{36, 28}, Point{100, 0}}) {
            const auto result = imaging::pasted(target, source, at, &region, {});
            ASSERT_TRUE(result);
            ASSERT_EQ(result->bits(), target.bits());
            for (int y = 0; y < target.height(); ++y) {
                for (int x = 0; x < target.width(); ++x) {
                    const int sx = x - at.x, sy = y - at.y;
                    const bool put = region.contains(x, y) && sx >= 0 && sy >= 0 && sx < source.width() &&
                                     sy < source.height();
                    ASSERT_EQ(result->pixel(x, y), put ? source.pixel(sx, sy) : target.pixel(x, y))
                        << form.bits << " bits at " << x << ' ' << y;
                }
            }
        }
        ++forms;
    }
    EXPECT_EQ(forms, 7);
    EXPECT_FALSE(imaging::pasted({}, sample({24, false}, 2, 2, 1), {0, 0}, nullptr, {}));
}

TEST(Pasted, ColoursThatThePaletteLacksPromote) {
    Bitmap target = sample({8, false}, 6, 5, 3);
    Bitmap red = *Bitmap::create(2, 2, 24, {});
    for (int y = 0; y < 2; ++y) {
        const auto row = red.writable_row(y);
        row[0] = row[3] = 255;
    }
    const auto result = imaging::pasted(target, red, {1, 1}, nullptr, {});
    ASSERT_TRUE(result);
    EXPECT_EQ(result->bits(), 24);
    EXPECT_EQ(result->pixel(2, 2), (imaging::Rgba{255, 0, 0}));
    EXPECT_EQ(result->pixel(3, 3), target.pixel(3, 3));
}

TEST(Floater, ShowsTheRegionsPixelsAndNothingElse) {
    const Bitmap bitmap = sample({24, false}, 40, 30, 7);
    const Region region = spots();
    for (const double zoom : {1.0, 2.0, 0.5}) {
        const RenderRequest request{{-3, 5, 40 * zoom, 30 * zoom}, {0, 6, 20, 14}};
        const QImage picture = render_region(bitmap, region, request), all = render(bitmap, request);
        int seen = 0;
        for (int y = 0; y < 14; ++y) {
            for (int x = 0; x < 20; ++x) {
                const int sx = static_cast<int>((x + 3.5) / zoom), sy = static_cast<int>((y + 1.5) / zoom);
                const bool inside = region.contains(sx, sy);
                EXPECT_EQ(picture.pixel(x, y), inside ? all.pixel(x, y) : 0U) << x << ' ' << y;
                seen += inside;
            }
        }
        EXPECT_GT(seen, 20);
        EXPECT_LT(seen, 260);
    }
}

TEST(Floater, APictureThatMovesIsTheSamePicture) {
    const Bitmap bitmap = sample({24, false}, 40, 30, 7);
    const Region region = Region::ellipse({5, 6, 21, 13});
    FloaterPicture floater;
    QPoint at;
    const QImage first = floater.picture(bitmap, region, {10, 20, 40, 30}, {0, 0, 500, 500}, {}, at);
    EXPECT_EQ(at, QPoint(15, 26));
    const QImage& moved = floater.picture(bitmap, region, {-7, 33, 40, 30}, {0, 0, 500, 500}, {}, at);
    EXPECT_EQ(at, QPoint(-2, 39));
    EXPECT_EQ(moved.cacheKey(), first.cacheKey()) << "drawn once";
    const QImage& other = floater.picture(bitmap, region, {10, 20, 80, 60}, {0, 0, 500, 500}, {}, at);
    EXPECT_EQ(other.size(), QSize(42, 26));
}

}  // namespace
}  // namespace quillmark::engine
