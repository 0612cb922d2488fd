// What selections are made of: shapes that a drag draws, outlines, floating pixels, pasting.
#include <gtest/gtest.h>

#include <set>
#include <tuple>

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

// Every unit edge between a selected and an unselected pixel: x, y, vertical, selected side behind.
using UnitEdges = std::set<std::tuple<int, int, bool, bool>>;

UnitEdges unit_edges(const Region& region, Rect area) {
    UnitEdges edges;
    for (int y = area.y; y <= area.bottom(); ++y) {
        for (int x = area.x; x <= area.right(); ++x) {
            const bool here = region.contains(x, y);
            if (here != region.contains(x - 1, y)) edges.insert({x, y, true, here});
            if (here != region.contains(x, y - 1)) edges.insert({x, y, false, here});
        }
    }
    return edges;
}

TEST(Outline, HoldsEveryEdgeOnce) {
    for (const Region& region : {spots(), Region::ellipse({3, 2, 31, 17}), Region::rectangle({0, 0, 1, 1}),
                                 Region::rectangle({5, 0, 1, 37})}) {
        UnitEdges traced;
        const Outline outline = trace_outline(region);
        for (const Edge& edge : outline.horizontal)
            for (int x = edge.from; x < edge.to; ++x)
                EXPECT_TRUE(traced.insert({x, edge.at, false, edge.opens}).second);
        for (const Edge& edge : outline.vertical)
            for (int y = edge.from; y < edge.to; ++y)
                EXPECT_TRUE(traced.insert({edge.at, y, true, edge.opens}).second);
        EXPECT_EQ(traced, unit_edges(region, {0, 0, 45, 40}));
    }
    EXPECT_TRUE(trace_outline({}).empty());
}

TEST(Outline, ARectangleIsFourPieces) {
    const Outline outline = trace_outline(Region::rectangle({10, 20, 3000, 4000}));
    EXPECT_EQ(outline.horizontal.size() + outline.vertical.size(), 4U);
}

TEST(Outline, BarsLieOnTheSelectedSideAndInSight) {
    const Outline outline = trace_outline(Region::rectangle({2, 3, 4, 5}));
    const std::vector<QRect> bars =
        outline_bars(outline, {10, 20, 40, 40}, {20, 20}, {0, 0, 1000, 1000}, 1);  // 200 %
    std::set<std::tuple<int, int, int, int>> found;
    for (const QRect& bar : bars) found.insert({bar.x(), bar.y(), bar.width(), bar.height()});
    EXPECT_EQ(found, (std::set<std::tuple<int, int, int, int>>{
                         {14, 26, 8, 1}, {14, 35, 8, 1}, {14, 26, 1, 10}, {21, 26, 1, 10}}));
    EXPECT_TRUE(outline_bars(outline, {10, 20, 40, 40}, {20, 20}, {16, 28, 3, 3}, 1).empty());
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
