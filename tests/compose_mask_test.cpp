// Composition through a mask: against hand-worked values and a plain reckoning in doubles.
#include "imaging/ops/compose_mask.h"

#include <gtest/gtest.h>

#include <cmath>

#include "imaging/convert_depth.h"
#include "support/pictures.h"

namespace quillmark::imaging {
namespace {

constexpr Rgba kRed{255, 0, 0}, kBlack{0, 0, 0}, kGrey{80, 80, 80};

Bitmap blank(int width, int height, int bits, bool gray = false) {
    return *Bitmap::create(width, height, bits, Limits{}, gray);
}

Bitmap noisy(int width, int height, int bits, bool gray = false, unsigned seed = 1) {
    return noise_picture({"", bits, gray || bits <= 8}, {width, height}, seed);
}

Bitmap mask_of(std::initializer_list<std::uint8_t> coverage) {
    Bitmap mask = blank(static_cast<int>(coverage.size()), 1, 8);
    std::ranges::copy(coverage, mask.writable_row(0).begin());
    return mask;
}

Bitmap compose(const Bitmap& bitmap, const Bitmap& mask, Point place, Rgba colour,
               const Region* region = nullptr) {
    const auto result = compose_mask(bitmap, mask, place, colour, region, Context{});
    EXPECT_TRUE(result);
    return result ? *result : Bitmap{};
}

double blend(double below, double above, double cover) {
    return std::floor((below * (255 - cover) + above * cover) / 255 + 0.5);
}

TEST(ComposeMask, ColoursBlendByTheCoverage) {
    Bitmap bitmap = blank(4, 1, 24);
    std::ranges::fill(bitmap.writable_row(0), std::uint8_t{100});
    const Bitmap result = compose(bitmap, mask_of({0, 51, 255}), {1, 0}, kRed);
    EXPECT_EQ(result.pixel(0, 0), (Rgba{100, 100, 100}));
    EXPECT_EQ(result.pixel(1, 0), (Rgba{100, 100, 100}));
    EXPECT_EQ(result.pixel(2, 0), (Rgba{131, 80, 80}));  // a fifth red
    EXPECT_EQ(result.pixel(3, 0), kRed);
    EXPECT_EQ(bitmap.pixel(3, 0), (Rgba{100, 100, 100})) << "the input stays";
}

TEST(ComposeMask, AlphaGrowsToHoldTheDrawing) {
    Bitmap bitmap = blank(3, 1, 32);
    const std::uint8_t pixels[] = {9, 9, 9, 0, 0, 0, 200, 128, 0, 0, 200, 255};
    std::ranges::copy(pixels, bitmap.writable_row(0).begin());
    const Bitmap result = compose(bitmap, mask_of({102, 255, 102}), {0, 0}, kRed);
    EXPECT_EQ(result.pixel(0, 0), (Rgba{255, 0, 0, 102})) << "nothing of what was invisible";
    EXPECT_EQ(result.pixel(1, 0), (Rgba{255, 0, 0, 255}));
    EXPECT_EQ(result.pixel(2, 0), (Rgba{102, 0, 120, 255}));
    const Bitmap half = compose(bitmap, mask_of({0, 51}), {0, 0}, kRed);
    EXPECT_EQ(half.pixel(0, 0), (Rgba{9, 9, 9, 0}));
    // 0.2 above, 0.8 * 128 / 255 below: alpha 0.6016, red 0.2 of it, blue 200 * 0.4016 of it.
    EXPECT_EQ(half.pixel(1, 0), (Rgba{85, 0, 134, 153}));
}

TEST(ComposeMask, WideGreysTakeTheGreyOfTheColour) {
    Bitmap bitmap = blank(2, 1, 16, true);
    bitmap.writable_row16(0)[0] = 10000;
    const Bitmap white = compose(bitmap, mask_of({51, 255}), {0, 0}, {255, 255, 255});
    EXPECT_EQ(white.row16(0)[0], 21107);
    EXPECT_EQ(white.row16(0)[1], 65535);
    const Bitmap red = compose(bitmap, mask_of({0, 255}), {0, 0}, kRed);
    EXPECT_NEAR(red.row16(0)[1], 0.299 * 65535, 140);
    EXPECT_EQ(compose(blank(1, 1, 12, true), mask_of({255}), {0, 0}, {255, 255, 255}).row16(0)[0], 4095);
}

TEST(ComposeMask, APaletteThatHoldsTheColourIsKept) {
    const Bitmap bits =
        compose(noisy(21, 2, 1), mask_of({127, 128, 0, 255, 200, 255, 255, 255, 255, 255}), {6, 1}, kBlack);
    const Bitmap before = noisy(21, 2, 1);
    ASSERT_EQ(bits.bits(), 1);
    for (int x = 0; x < 21; ++x) {
        EXPECT_EQ(bits.pixel(x, 0), before.pixel(x, 0)) << x;
        const bool drawn = x == 7 || (x >= 9 && x < 16);
        EXPECT_EQ(bits.pixel(x, 1), drawn ? kBlack : before.pixel(x, 1)) << x;
    }
    Bitmap indexed = blank(3, 1, 4);
    Palette palette(16, Rgba{1, 2, 3});
    palette[5] = kRed;
    indexed.set_palette(palette);
    const Bitmap result = compose(indexed, mask_of({127, 128, 255}), {0, 0}, kRed);
    EXPECT_EQ(result.palette(), palette);
    EXPECT_EQ(std::vector<std::uint8_t>(result.row(0).begin(), result.row(0).end()),
              (std::vector<std::uint8_t>{0, 5, 5}));
}

TEST(ComposeMask, OthersArePromotedToWhatHoldsTheColour) {
    struct Case {
        Bitmap bitmap;
        Rgba colour;
        int bits;
    };
    const Case cases[] = {{noisy(9, 4, 1), kRed, 24},       {noisy(9, 4, 1), kGrey, 8},
                          {noisy(9, 4, 4), kRed, 24},       {noisy(9, 4, 8), kRed, 24},
                          {noisy(9, 4, 8), kGrey, 8},       {noisy(9, 4, 24), kRed, 24},
                          {noisy(9, 4, 16, true), kRed, 16}};
    const Bitmap mask = mask_of({0, 60, 255});
    for (const Case& c : cases) {
        const Bitmap result = compose(c.bitmap, mask, {3, 2}, c.colour);
        ASSERT_EQ(result.bits(), c.bits);
        for (int x = 0; x < 9; ++x) {
            if (x == 4 || x == 5) continue;
            EXPECT_EQ(result.pixel(x, 2), c.bitmap.pixel(x, 2)) << c.bitmap.bits() << ' ' << x;
        }
        if (c.bits != 16) {
            EXPECT_EQ(result.pixel(5, 2), c.colour);
        }
        EXPECT_EQ(result.pixel(4, 2).g,
                  c.bits == 16 ? result.pixel(4, 2).r : blend(c.bitmap.pixel(4, 2).g, c.colour.g, 60));
    }
}

TEST(ComposeMask, WhereNothingIsCoveredNothingChanges) {
    const Bitmap bitmap = noisy(9, 4, 1);
    const Region away = Region::rectangle({0, 0, 2, 2});
    EXPECT_TRUE(same_picture(compose(bitmap, mask_of({0, 0}), {0, 0}, kRed), bitmap));
    EXPECT_TRUE(same_picture(compose(bitmap, mask_of({255}), {9, 0}, kRed), bitmap));
    EXPECT_TRUE(same_picture(compose(bitmap, mask_of({255}), {-1, 0}, kRed), bitmap));
    EXPECT_TRUE(same_picture(compose(bitmap, mask_of({255}), {2, 0}, kRed, &away), bitmap));
    EXPECT_FALSE(compose_mask({}, mask_of({255}), {0, 0}, kRed, nullptr, Context{}));
    EXPECT_FALSE(compose_mask(bitmap, blank(1, 1, 24), {0, 0}, kRed, nullptr, Context{}));
    EXPECT_EQ(bitmap.bits(), 1);
}

TEST(ComposeMask, AgreesWithAPlainReckoningAtAnySizePlaceAndThreadCount) {
    const Rgba colour{200, 30, 90};
    int compared = 0;
    for (const int bits : {24, 32}) {
        for (const auto& [width, height] : {std::pair{1, 1}, {1, 37}, {65, 3}, {70, 90}}) {
            const Bitmap bitmap = noisy(width, height, bits);
            const Bitmap mask = noisy(40, 60, 8, false, 3);
            const Region ellipse = Region::ellipse({-5, 2, 50, 70});
            for (const Region* region : {static_cast<const Region*>(nullptr), &ellipse}) {
                for (const Point place : {Point{0, 0}, {-13, -7}, {31, 1}}) {
                    const Bitmap result = compose(bitmap, mask, place, colour, region);
                    for (const int threads : {1, 7}) {
                        const ThreadCount count{threads};
                        ASSERT_TRUE(same_picture(compose(bitmap, mask, place, colour, region), result));
                    }
                    for (int y = 0; y < height; ++y) {
                        for (int x = 0; x < width; ++x, ++compared) {
                            const int mx = x - place.x, my = y - place.y;
                            const bool inside = mx >= 0 && my >= 0 && mx < 40 && my < 60 &&
                                                (!region || region->contains(x, y));
                            const double cover =
                                inside ? mask.row(my)[static_cast<std::size_t>(mx)] / 255.0 : 0;
                            const Rgba was = bitmap.pixel(x, y), is = result.pixel(x, y);
                            const double below = was.a / 255.0 * (1 - cover), alpha = cover + below;
                            const auto expected = [&](double under, double over) {
                                return cover > 0 ? (under * below + over * cover) / alpha : under;
                            };
                            ASSERT_NEAR(is.r, expected(was.r, colour.r), 0.5001) << x << ' ' << y;
                            ASSERT_NEAR(is.g, expected(was.g, colour.g), 0.5001);
                            ASSERT_NEAR(is.b, expected(was.b, colour.b), 0.5001);
                            ASSERT_NEAR(is.a, alpha * 255, 0.5001);
                        }
                    }
                }
            }
        }
    }
    EXPECT_GT(compared, 10000);
}

TEST(ComposeMask, AStopGivesCancelled) {
    Context context;
    context.progress = [](std::int64_t, std::int64_t) { return false; };
    const auto result = compose_mask(blank(40, 400, 24), noisy(40, 400, 8), {0, 0}, kRed, nullptr, context);
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error().fault, Fault::cancelled);
}

}  // namespace
}  // namespace quillmark::imaging
