// Selections: shapes, set operations, turns and outlines, each against a pixel by pixel account.
#include "imaging/region.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <random>

namespace quillmark::imaging {
namespace {

Region random_region(unsigned seed, const Rect& bounds, unsigned share) {
    std::mt19937 random{seed};
    return Region::where(bounds, [&](int, int) { return random() % 100 < share; });
}

std::vector<Region> samples() {
    std::vector<Region> regions{Region::rectangle({3, -2, 1, 1}), Region::rectangle({-5, 4, 37, 12}),
                                Region::ellipse({2, 3, 40, 25}),
                                Region::rounded_rectangle({0, 0, 31, 17}, 6, 4),
                                Region::polygon(std::array<Point, 4>{{{0, 0}, {30, 5}, {12, 30}, {-9, 11}}})};
    for (unsigned seed = 1; seed <= 12; ++seed)
        regions.push_back(random_region(seed, {-7, 5, 23, 19}, 10 + 7 * seed));
    return regions;
}

TEST(RegionShapes, EllipsesAreSymmetricAndFillTheirBox) {
    for (const auto& [width, height] : {std::pair{1, 1}, {2, 7}, {40, 25}, {25, 40}, {101, 101}}) {
        const Rect box{5, -3, width, height};
        const Region region = Region::ellipse(box);
        EXPECT_EQ(region.bounds(), box);
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                const bool inside = region.contains(box.x + x, box.y + y);
                EXPECT_EQ(inside, region.contains(box.right() - 1 - x, box.y + y));
                EXPECT_EQ(inside, region.contains(box.x + x, box.bottom() - 1 - y));
            }
        }
        if (width == 101) {
            EXPECT_NEAR(static_cast<double>(region.area()), std::numbers::pi * 101 * 101 / 4, 60);
        }
    }
}

TEST(RegionShapes, APolygonAroundARectangleIsTheRectangle) {
    const Rect rect{-4, 7, 30, 11};
    std::array<Point, 4> corners{{{-4, 7}, {26, 7}, {26, 18}, {-4, 18}}};
    EXPECT_EQ(Region::polygon(corners), Region::rectangle(rect));
    std::ranges::reverse(corners);
    EXPECT_EQ(Region::polygon(corners), Region::rectangle(rect));
}

TEST(RegionSets, UnionAndDifferencePixelByPixel) {
    const auto regions = samples();
    for (const Region& a : regions) {
        for (const Region& b : regions) {
            const Region either = a.united(b), rest = a.subtracted(b);
            std::int64_t in_either = 0, in_rest = 0;
            for (int y = -10; y < 40; ++y) {
                for (int x = -10; x < 50; ++x) {
                    const bool in_a = a.contains(x, y), in_b = b.contains(x, y);
                    ASSERT_EQ(either.contains(x, y), in_a || in_b);
                    ASSERT_EQ(rest.contains(x, y), in_a && !in_b);
                    in_either += in_a || in_b, in_rest += in_a && !in_b;
                }
            }
            ASSERT_EQ(either.area(), in_either);  // so that nothing lies elsewhere
            ASSERT_EQ(rest.area(), in_rest);
            ASSERT_EQ(rest.united(b), either);
        }
    }
    EXPECT_TRUE(regions[1].subtracted(regions[1]).empty());
    EXPECT_EQ(Region{}.united(regions[2]), regions[2]);
    EXPECT_EQ(regions[2].subtracted({}), regions[2]);
}

struct Back {
    double x, y;
};

// Compares region's image under a map with what the inverse map says of every pixel; centres that come from
// within a hair of a pixel's edge may fall either way.
template <typename Inverse>
void expect_mapped(const Region& region, const Region& mapped, Inverse inverse) {
    std::int64_t found = 0;
    for (int y = -80; y < 120; ++y) {
        for (int x = -80; x < 120; ++x) {
            const Back from = inverse(x + 0.5, y + 0.5);
            const bool inside = mapped.contains(x, y);
            found += inside;
            if (std::abs(from.x - std::round(from.x)) < 1e-6 || std::abs(from.y - std::round(from.y)) < 1e-6)
                continue;
            const bool want =
                region.contains(static_cast<int>(std::floor(from.x)), static_cast<int>(std::floor(from.y)));
            ASSERT_EQ(inside, want) << x << ", " << y;
        }
    }
    EXPECT_EQ(mapped.area(), found);
}

TEST(RegionTurns, EveryPixelComesFromWhereTheInverseMapSays) {
    for (const Region& region : samples()) {
        const Rect box = region.bounds();
        const double cx = box.x + box.width / 2.0, cy = box.y + box.height / 2.0;
        for (const int angle : {1, 750, -3000, 4500, 8999, 12345, 18000, -20000, 35999}) {
            const double a = angle * std::numbers::pi / 18000;
            expect_mapped(region, region.turned(angle), [&](double x, double y) {
                return Back{cx + (x - cx) * std::cos(a) + (y - cy) * std::sin(a),
                            cy - (x - cx) * std::sin(a) + (y - cy) * std::cos(a)};
            });
        }
        for (const int angle : {100, 3000, -4500}) {
            const double t = std::tan(angle * std::numbers::pi / 18000);
            expect_mapped(region, region.sheared(angle, true), [&](double x, double y) {
                return Back{x - (y - cy) * t, y};
            });
            expect_mapped(region, region.sheared(angle, false), [&](double x, double y) {
                return Back{x, y - (x - cx) * t};
            });
        }
    }
}

TEST(RegionTurns, QuartersKeepEveryPixelAndFourComeBack) {
    for (const Region& region : samples()) {
        const Region quarter = region.turned(9000);
        EXPECT_EQ(quarter.area(), region.area());
        EXPECT_EQ(quarter.bounds().width, region.bounds().height);
        for (int y = region.bounds().y; y < region.bounds().bottom(); ++y) {
            for (int x = region.bounds().x; x < region.bounds().right(); ++x) {
                const int to_x = quarter.bounds().right() - 1 - (y - region.bounds().y);
                const int to_y = quarter.bounds().y + x - region.bounds().x;
                ASSERT_EQ(region.contains(x, y), quarter.contains(to_x, to_y));
            }
        }
        EXPECT_EQ(quarter.turned(9000).turned(9000).turned(9000), region);
        EXPECT_EQ(quarter.turned(-9000), region);
        EXPECT_EQ(region.turned(18000).turned(18000), region);
    }
}

// Twice the signed area: positive clockwise, as the y axis points down.
std::int64_t doubled_area(const std::vector<Point>& polygon) {
    std::int64_t sum = 0;
    for (std::size_t i = 0; i < polygon.size(); ++i) {
        const Point a = polygon[i], b = polygon[(i + 1) % polygon.size()];
        sum += std::int64_t{a.x} * b.y - std::int64_t{b.x} * a.y;
    }
    return sum;
}

TEST(RegionOutlines, EncloseExactlyTheRegion) {
    for (const Region& region : samples()) {
        const auto polygons = region.outlines();
        std::int64_t area = 0;
        for (const auto& polygon : polygons) {
            area += doubled_area(polygon);
            ASSERT_GE(polygon.size(), 4U);
            for (std::size_t i = 0; i < polygon.size(); ++i) {
                const Point a = polygon[i], b = polygon[(i + 1) % polygon.size()],
                            c = polygon[(i + 2) % polygon.size()];
                ASSERT_NE(a.x == b.x, a.y == b.y);  // an edge along the grid
                ASSERT_NE(a.x == b.x, b.x == c.x);  // and a corner after it
            }
        }
        EXPECT_EQ(area, 2 * region.area());
        // A ray to the left crosses vertical edges an odd number of times from inside only.
        for (int y = -4; y < 35; ++y) {
            for (int x = -12; x < 45; ++x) {
                int crossed = 0;
                for (const auto& polygon : polygons) {
                    for (std::size_t i = 0; i < polygon.size(); ++i) {
                        const Point a = polygon[i], b = polygon[(i + 1) % polygon.size()];
                        crossed +=
                            a.x == b.x && a.x <= x && std::min(a.y, b.y) <= y && y < std::max(a.y, b.y);
                    }
                }
                ASSERT_EQ(crossed % 2 == 1, region.contains(x, y)) << x << ", " << y;
            }
        }
    }
    EXPECT_TRUE(Region{}.outlines().empty());
}

TEST(RegionOutlines, HolesRunTheOtherWayAndTouchingCornersStayApart) {
    const Region ring = Region::rectangle({0, 0, 5, 5}).subtracted(Region::rectangle({1, 1, 3, 3}));
    const auto polygons = ring.outlines();
    ASSERT_EQ(polygons.size(), 2U);
    EXPECT_EQ(polygons[0], (std::vector<Point>{{0, 0}, {5, 0}, {5, 5}, {0, 5}}));
    EXPECT_EQ(polygons[1], (std::vector<Point>{{1, 1}, {1, 4}, {4, 4}, {4, 1}}));
    const Region falling = Region::rectangle({0, 0, 1, 1}).united(Region::rectangle({1, 1, 1, 1}));
    const Region rising = Region::rectangle({1, 0, 1, 1}).united(Region::rectangle({0, 1, 1, 1}));
    for (const Region& region : {falling, rising}) {
        ASSERT_EQ(region.outlines().size(), 2U);
        for (const auto& polygon : region.outlines()) EXPECT_EQ(doubled_area(polygon), 2);
    }
}

}  // namespace
}  // namespace quillmark::imaging
