// Two images into one: each way of joining against its definition, clipping, regions, forms, underlays.
#include "imaging/ops/combine.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "imaging/ops/levels.h"
#include "imaging/ops/operation.h"
#include "support/pictures.h"

namespace quillmark::imaging {
namespace {

Bitmap blank(int width, int height, int bits, bool gray = false) {
    auto made = Bitmap::create(width, height, bits, {}, gray);
    EXPECT_TRUE(made);
    return *made;
}

Bitmap noise(int width, int height, int bits, bool gray, unsigned seed) {
    return noise_picture({"", bits, gray || bits < 8}, {width, height}, seed);
}

int level(const Bitmap& bitmap, int x, int y, int channel) {
    if (bitmap.layout() == Layout::gray16) return bitmap.row16(y)[static_cast<std::size_t>(x)];
    const auto at = static_cast<std::size_t>(x * level_form(bitmap).channels + channel);
    return bitmap.row(y)[at];
}

Bitmap joined(const Bitmap& target, const Bitmap& source, int flags, const Region* region = nullptr) {
    auto result = combine(target, whole(target), source, {0, 0}, flags, region, {});
    EXPECT_TRUE(result);
    return *result;
}

std::int64_t by_definition(int flags, std::int64_t t, std::int64_t s, std::int64_t highest) {
    if (flags & kCombineInvertTarget) t = highest - t;
    if (flags & kCombineInvertSource) s = highest - s;
    std::int64_t value = 0;
    switch (flags & kCombineMask) {
        case kCombineCopy: value = s; break;
        case kCombineAnd: value = t & s; break;
        case kCombineOr: value = t | s; break;
        case kCombineAddSigned: value = t + s - (highest + 1) / 2; break;
        case kCombineAdd: value = t + s; break;
        case kCombineSubtract: value = t - s; break;
        case kCombineXor: value = t ^ s; break;
        case kCombineAverage: value = (t + s + 1) / 2; break;
        case kCombineMultiply: value = (2 * t * s + highest) / (2 * highest); break;
        case kCombineLighter: value = std::max(t, s); break;
        case kCombineDarker: value = std::min(t, s); break;
        default: ADD_FAILURE() << "flags " << flags;
    }
    return std::clamp<std::int64_t>(value, 0, highest);
}

class Joins : public testing::TestWithParam<int> {};

TEST_P(Joins, FollowTheirDefinitionOnEveryForm) {
    int tried = 0;
    for (const Form& form : kForms)
        for (const int inverted : {0, 1, 2, 3}) {
            const int flags = GetParam() << 8 | inverted;
            const Bitmap target = noise(67, 41, form.bits, form.gray, 1);
            if (!is_level_image(target)) continue;
            ++tried;
            const Bitmap source = noise(67, 41, form.bits, form.gray, 2);
            const Bitmap out = joined(target, source, flags);
            ASSERT_EQ(out.bits(), form.bits);
            const int highest = form.bits == 12 || form.bits == 16 ? (1 << form.bits) - 1 : 255;
            for (int y = 0; y < out.height(); ++y)
                for (int x = 0; x < out.width(); ++x)
                    for (int c = 0; c < level_form(out).channels; ++c) {
                        const int t = level(target, x, y, c), s = level(source, x, y, c);
                        ASSERT_EQ(level(out, x, y, c), c == 3 ? t : by_definition(flags, t, s, highest))
                            << "flags " << flags << ", " << form.bits << " bits";
                    }
        }
    EXPECT_EQ(tried, 5 * 4);
}

INSTANTIATE_TEST_SUITE_P(All, Joins, testing::Range(0, 11));

TEST(Combine, ProductsOf16BitsAreRoundedToNearest) {
    const Bitmap target = noise(256, 256, 16, true, 3), source = noise(256, 256, 16, true, 4);
    const Bitmap out = joined(target, source, kCombineMultiply);
    for (int y = 0; y < 256; ++y)
        for (int x = 0; x < 256; ++x)
            ASSERT_EQ(level(out, x, y, 0),
                      by_definition(kCombineMultiply, level(target, x, y, 0), level(source, x, y, 0), 65535));
}

TEST(Combine, EdgesAddedInFullGiveTheSharpenedImage) {
    const Bitmap image = noise(40, 30, 24, false, 5);
    const int amount[] = {16};
    const auto edges = apply(*find_operation("EdgeComponent"), image, amount, nullptr, {});
    ASSERT_TRUE(edges);
    const Bitmap out = joined(image, *edges, 768);
    // Where the edge component was not limited, the sum is the image sharpened by the whole difference.
    const int full[] = {1000};
    const auto sharp = apply(*find_operation("Sharpen"), image, full, nullptr, {});
    ASSERT_TRUE(sharp);
    int compared = 0;
    for (int y = 0; y < 30; ++y)
        for (int x = 0; x < 40; ++x)
            for (int c = 0; c < 3; ++c) {
                if (level(*edges, x, y, c) % 255 == 0) continue;
                ++compared;
                ASSERT_EQ(level(out, x, y, c), level(*sharp, x, y, c));
            }
    EXPECT_GT(compared, 2000);
    const int none[] = {0};
    EXPECT_TRUE(same_picture(
        joined(image, *apply(*find_operation("EdgeComponent"), image, none, nullptr, {}), 768), image));
}

TEST(Combine, ClipsToBothImages) {
    const Bitmap target = noise(20, 10, 24, false, 1), source = noise(8, 9, 24, false, 2);
    struct Case {
        Rect place;
        Point from;
    };
    for (const Case c :
         {Case{{15, 7, 8, 9}, {0, 0}}, Case{{-3, -4, 8, 9}, {0, 0}}, Case{{2, 3, 100, 100}, {5, 6}},
          Case{{4, 4, 3, 2}, {-1, -1}}, Case{{30, 3, 4, 4}, {0, 0}}, Case{{3, 3, 0, 4}, {0, 0}}}) {
        const auto out = combine(target, c.place, source, c.from, kCombineCopy, nullptr, {});
        ASSERT_TRUE(out);
        for (int y = 0; y < 10; ++y)
            for (int x = 0; x < 20; ++x) {
                const int u = x - c.place.x + c.from.x, v = y - c.place.y + c.from.y;
                const bool inside = x >= c.place.x && x < c.place.right() && y >= c.place.y &&
                                    y < c.place.bottom() && u >= 0 && v >= 0 && u < 8 && v < 9;
                ASSERT_EQ(out->pixel(x, y), inside ? source.pixel(u, v) : target.pixel(x, y));
            }
    }
}

TEST(Combine, ActsInsideTheRegionOnly) {
    const Bitmap target = noise(33, 21, 32, false, 1), source = noise(33, 21, 24, false, 2);
    const Region region = Region::ellipse({5, 3, 20, 30});
    const Bitmap all = joined(target, source, kCombineXor),
                 out = joined(target, source, kCombineXor, &region);
    int inside = 0;
    for (int y = 0; y < 21; ++y)
        for (int x = 0; x < 33; ++x) {
            inside += region.contains(x, y);
            ASSERT_EQ(out.pixel(x, y), (region.contains(x, y) ? all : target).pixel(x, y));
        }
    EXPECT_GT(inside, 100);
}

TEST(Combine, PalettesStayWhereTheyHoldTheColours) {
    Bitmap target = noise(16, 16, 4, false, 1), source = noise(9, 9, 4, false, 2);
    Palette reversed = target.palette();
    std::ranges::reverse(reversed);
    source.set_palette(reversed);
    const auto copied = combine(target, {3, 3, 9, 9}, source, {0, 0}, kCombineCopy, nullptr, {});
    ASSERT_TRUE(copied);
    EXPECT_EQ(copied->bits(), 4);
    EXPECT_EQ(copied->pixel(5, 6), source.pixel(2, 3));
    EXPECT_EQ(copied->pixel(2, 3), target.pixel(2, 3));

    source.set_palette({{200, 10, 30}, {1, 2, 3}});
    const auto coloured = combine(target, {3, 3, 9, 9}, source, {0, 0}, kCombineCopy, nullptr, {});
    ASSERT_TRUE(coloured);
    EXPECT_EQ(coloured->bits(), 24);
    EXPECT_EQ(coloured->pixel(5, 6), source.pixel(2, 3));
    EXPECT_EQ(coloured->pixel(2, 3), target.pixel(2, 3));
}

TEST(Combine, PackedImagesStayPacked) {
    const Bitmap target = noise(75, 20, 1, false, 1), source = noise(75, 20, 1, false, 2);
    for (const int flags : {kCombineCopy | 0, kCombineAnd | 0, kCombineOr | 0, kCombineXor | 2}) {
        const Bitmap out = joined(target, source, flags);
        ASSERT_EQ(out.bits(), 1) << flags;
        for (int y = 0; y < 20; ++y)
            for (int x = 0; x < 75; ++x)
                ASSERT_EQ(out.pixel(x, y).r,
                          by_definition(flags, target.pixel(x, y).r, source.pixel(x, y).r, 255));
    }
}

TEST(Combine, SourcesTakeTheFormOfTheTarget) {
    Bitmap colour = blank(2, 1, 24);
    std::ranges::copy(std::array<std::uint8_t, 6>{255, 0, 0, 255, 255, 255}, colour.writable_row(0).begin());
    // Luminance of pure red: 0.299.
    const Bitmap deep = joined(blank(2, 1, 16, true), colour, kCombineCopy);
    EXPECT_EQ(deep.bits(), 16);
    EXPECT_NEAR(level(deep, 0, 0, 0), 0.299 * 65535, 200);
    EXPECT_EQ(level(deep, 1, 0, 0), 65535);
    const Bitmap promoted = joined(blank(2, 1, 8), colour, kCombineAdd);
    EXPECT_EQ(promoted.bits(), 24);
    EXPECT_EQ(promoted.pixel(0, 0), (Rgba{255, 0, 0}));
    const Bitmap light = joined(blank(2, 1, 8), deep, kCombineAdd);
    EXPECT_EQ(light.bits(), 8);
    EXPECT_EQ(light.pixel(1, 0), (Rgba{255, 255, 255}));
    EXPECT_NEAR(light.pixel(0, 0).r, 76, 1);
}

// 12-bit greys may hold samples that the depth does not know.
TEST(Combine, SamplesBeyondWhiteAreWhite) {
    Bitmap image = blank(2, 1, 12, true);
    image.writable_row16(0)[0] = 60'000, image.writable_row16(0)[1] = 4095;
    for (int join = 0; join <= 10; ++join) {
        const Bitmap out = joined(image, image, join << 8);
        EXPECT_EQ(level(out, 0, 0, 0), level(out, 1, 0, 0)) << join;
    }
}

TEST(Combine, RefusesWhatItDoesNotKnow) {
    const Bitmap image = noise(5, 5, 24, false, 1);
    for (const int flags : {0xB00, 0xF00, 0x4, 0x1000, -1}) {
        const auto out = combine(image, whole(image), image, {0, 0}, flags, nullptr, {});
        ASSERT_FALSE(out) << flags;
        EXPECT_EQ(out.error().fault, Fault::bad_parameter);
    }
    EXPECT_EQ(combine({}, {0, 0, 1, 1}, image, {0, 0}, 0, nullptr, {}).error().fault, Fault::malformed);
    EXPECT_EQ(combine(image, {0, 0, 1, 1}, {}, {0, 0}, 0, nullptr, {}).error().fault, Fault::malformed);
}

TEST(Combine, StopsWhenAskedToAndIgnoresTheNumberOfThreads) {
    const Bitmap target = noise(50, 300, 24, false, 1), source = noise(50, 300, 24, false, 2);
    Context context;
    context.progress = [](std::int64_t, std::int64_t) { return false; };
    const auto stopped = combine(target, whole(target), source, {0, 0}, kCombineAdd, nullptr, context);
    ASSERT_FALSE(stopped);
    EXPECT_EQ(stopped.error().fault, Fault::cancelled);
    const Bitmap alone = joined(target, source, kCombineAverage);
    const auto printed = underlay(target, source, kUnderlayStretch, nullptr, {});
    for (const int threads : {1, 7}) {
        const ThreadCount count{threads};
        EXPECT_TRUE(same_picture(joined(target, source, kCombineAverage), alone));
        EXPECT_TRUE(same_picture(*underlay(target, source, kUnderlayStretch, nullptr, {}), *printed));
    }
}

// --- underlay ---

TEST(Underlay, TilesMultiplyFromTheCorner) {
    for (const int bits : {8, 16, 24}) {
        const bool gray = bits != 24;
        const Bitmap image = noise(37, 23, bits, gray, 1), paper = noise(10, 7, bits, gray, 2);
        const auto out = underlay(image, paper, kUnderlayTile, nullptr, {});
        ASSERT_TRUE(out);
        for (int y = 0; y < 23; ++y)
            for (int x = 0; x < 37; ++x)
                for (int c = 0; c < level_form(image).channels; ++c)
                    ASSERT_EQ(level(*out, x, y, c),
                              by_definition(kCombineMultiply, level(image, x, y, c),
                                            level(paper, x % 10, y % 7, c), bits == 16 ? 65535 : 255));
    }
}

TEST(Underlay, ShowsWhereTheImageIsTransparent) {
    Bitmap image = blank(3, 1, 32);
    std::ranges::copy(std::array<std::uint8_t, 12>{9, 9, 9, 0, 128, 128, 128, 255, 0, 0, 0, 128},
                      image.writable_row(0).begin());
    Bitmap paper = blank(1, 1, 24);
    std::ranges::copy(std::array<std::uint8_t, 3>{200, 100, 50}, paper.writable_row(0).begin());
    const auto out = underlay(image, paper, kUnderlayTile, nullptr, {});
    ASSERT_TRUE(out);
    EXPECT_EQ(out->pixel(0, 0), (Rgba{200, 100, 50, 255}));
    EXPECT_EQ(out->pixel(1, 0), (Rgba{100, 50, 25, 255}));
    EXPECT_EQ(out->pixel(2, 0), (Rgba{100, 50, 25, 255}));  // 127 of 255 parts of the paper
}

TEST(Underlay, StretchesOverTheImage) {
    Bitmap white = blank(8, 1, 8);
    std::ranges::fill(white.writable_row(0), std::uint8_t{255});
    Bitmap paper = blank(2, 1, 8);
    paper.writable_row(0)[1] = 200;
    const auto out = underlay(white, paper, kUnderlayStretch, nullptr, {});
    ASSERT_TRUE(out);
    // Centres of the eight pixels at -3/8, -1/8, 1/8 ... of the way from the first to the second.
    const std::array<int, 8> expected{0, 0, 25, 75, 125, 175, 200, 200};
    for (int x = 0; x < 8; ++x) EXPECT_EQ(level(*out, x, 0, 0), expected[static_cast<std::size_t>(x)]) << x;

    const Bitmap image = noise(31, 17, 24, false, 1), same = noise(31, 17, 24, false, 2);
    EXPECT_TRUE(same_picture(*underlay(image, same, kUnderlayStretch, nullptr, {}),
                             joined(image, same, kCombineMultiply)));
}

TEST(Underlay, RegionsCountFromTheImagesCorner) {
    const Bitmap image = noise(31, 17, 24, false, 1), paper = noise(6, 5, 24, false, 2);
    const Region region = Region::rectangle({11, 4, 9, 50});
    for (const auto mode : {kUnderlayTile, kUnderlayStretch}) {
        const auto all = underlay(image, paper, mode, nullptr, {}),
                   out = underlay(image, paper, mode, &region, {});
        ASSERT_TRUE(all && out);
        for (int y = 0; y < 17; ++y)
            for (int x = 0; x < 31; ++x)
                ASSERT_EQ(out->pixel(x, y), (region.contains(x, y) ? *all : image).pixel(x, y));
    }
}

TEST(Underlay, ColoursGreysAndRefusesNothing) {
    const Bitmap image = noise(9, 9, 8, true, 1), paper = noise(3, 3, 24, false, 2);
    const auto out = underlay(image, paper, kUnderlayTile, nullptr, {});
    ASSERT_TRUE(out);
    EXPECT_EQ(out->bits(), 24);
    EXPECT_EQ(underlay(image, {}, kUnderlayTile, nullptr, {}).error().fault, Fault::malformed);
    EXPECT_EQ(underlay(image, paper, static_cast<UnderlayMode>(2), nullptr, {}).error().fault,
              Fault::bad_parameter);
}

}  // namespace
}  // namespace quillmark::imaging
