// Fewer colours: palettes, error diffusion against a plain rendering of its definition, screens.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <random>
#include <set>

#include "imaging/convert_depth.h"
#include "imaging/ops/dither.h"
#include "imaging/ops/nearest_colour.h"
#include "imaging/ops/nearest_rows.h"
#include "imaging/ops/operation.h"
#include "imaging/ops/palettes.h"
#include "imaging/quantize.h"
#include "support/pictures.h"

namespace quillmark::imaging {
namespace {

constexpr std::array kSizes{Size{1, 1},    Size{1, 37},  Size{65, 3},
                            Size{700, 23}, Size{129, 8}, Size{1, 10000}};

// A soft gradient with noise: every neighbourhood has many colours.
Bitmap picture(int width, int height) {
    std::mt19937 random{7};
    Bitmap bitmap = *Bitmap::create(width, height, 24, {});
    for (int y = 0; y < height; ++y) {
        std::uint8_t* at = bitmap.writable_row(y).data();
        for (int x = 0; x < width; ++x) {
            const int noise = static_cast<int>(random() % 60);
            *at++ = static_cast<std::uint8_t>(x * 180 / width + noise);
            *at++ = static_cast<std::uint8_t>(y * 180 / height + noise);
            *at++ =
                static_cast<std::uint8_t>((x + y) * 180 / (width + height) + static_cast<int>(random() % 60));
        }
    }
    return bitmap;
}

Bitmap flat(int width, int height, int level) {
    Bitmap bitmap = *Bitmap::create(width, height, 8, {});
    for (int y = 0; y < height; ++y)
        std::ranges::fill(bitmap.writable_row(y), static_cast<std::uint8_t>(level));
    return bitmap;
}

int index_at(const Bitmap& bitmap, int x, int y) {
    const auto row = bitmap.row(y);
    const auto at = static_cast<std::size_t>(x);
    return bitmap.layout() == Layout::bit1 ? row[at / 8] >> (7 - at % 8) & 1 : row[at];
}

int nearest(const Palette& palette, int r, int g, int b) {
    int best = 0, least = 1 << 30;
    for (int i = 0; i < static_cast<int>(palette.size()); ++i) {
        const Rgba c = palette[static_cast<std::size_t>(i)];
        const int distance = (c.r - r) * (c.r - r) + (c.g - g) * (c.g - g) + (c.b - b) * (c.b - b);
        if (distance < least) least = distance, best = i;
    }
    return best;
}

struct Share {
    int dx, dy, weight;
};
struct Definition {
    Dither dither;
    int divisor;
    std::vector<Share> shares;
};

const std::vector<Definition>& definitions() {
    static const std::vector<Definition> all{
        {Dither::floyd_steinberg, 16, {{1, 0, 7}, {-1, 1, 3}, {0, 1, 5}, {1, 1, 1}}},
        {Dither::stucki,
         42,
         {{1, 0, 8},
          {2, 0, 4},
          {-2, 1, 2},
          {-1, 1, 4},
          {0, 1, 8},
          {1, 1, 4},
          {2, 1, 2},
          {-2, 2, 1},
          {-1, 2, 2},
          {0, 2, 4},
          {1, 2, 2},
          {2, 2, 1}}},
        {Dither::burkes, 32, {{1, 0, 8}, {2, 0, 4}, {-2, 1, 2}, {-1, 1, 4}, {0, 1, 8}, {1, 1, 4}, {2, 1, 2}}},
        {Dither::sierra,
         32,
         {{1, 0, 5},
          {2, 0, 3},
          {-2, 1, 2},
          {-1, 1, 4},
          {0, 1, 5},
          {1, 1, 4},
          {2, 1, 2},
          {-1, 2, 2},
          {0, 2, 3},
          {1, 2, 2}}},
        {Dither::stevenson_arce,
         200,
         {{2, 0, 32},
          {-3, 1, 12},
          {-1, 1, 26},
          {1, 1, 30},
          {3, 1, 16},
          {-2, 2, 12},
          {0, 2, 26},
          {2, 2, 12},
          {-3, 3, 5},
          {-1, 3, 12},
          {1, 3, 12},
          {3, 3, 5}}},
        {Dither::jarvis,
         48,
         {{1, 0, 7},
          {2, 0, 5},
          {-2, 1, 3},
          {-1, 1, 5},
          {0, 1, 7},
          {1, 1, 5},
          {2, 1, 3},
          {-2, 2, 1},
          {-1, 2, 3},
          {0, 2, 5},
          {1, 2, 3},
          {2, 2, 1}}}};
    return all;
}

// Of a cell of 8 levels.
int middle(int level) { return (level & ~7) + 4; }

// Errors are handed on pixel by pixel, in whole units of 1 / divisor.
std::vector<int> diffused(const Bitmap& bitmap, const Palette& palette, const Definition& how, bool grey) {
    const int width = bitmap.width(), height = bitmap.height();
    std::vector<std::array<int, 3>> due(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    std::vector<int> indices;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const Rgba c = bitmap.pixel(x, y);
            std::array<int, 3> want{c.r, c.g, c.b};
            if (grey) want.fill((c.r * 19595 + c.g * 38470 + c.b * 7471 + 32768) >> 16);
            for (std::size_t k = 0; k < 3; ++k) {
                const double exact =
                    want[k] + double(due[static_cast<std::size_t>(y * width + x)][k]) / how.divisor;
                want[k] = std::clamp(static_cast<int>(std::floor(exact + 0.5 + 1e-9)), 0, 255);
            }
            const int index = grey ? nearest(palette, want[0], want[1], want[2])
                                   : nearest(palette, middle(want[0]), middle(want[1]), middle(want[2]));
            indices.push_back(index);
            const Rgba got = palette[static_cast<std::size_t>(index)];
            const std::array<int, 3> off{want[0] - got.r, want[1] - got.g, want[2] - got.b};
            for (const Share& share : how.shares) {
                const int tx = x + share.dx, ty = y + share.dy;
                if (tx < 0 || tx >= width || ty >= height) continue;
                for (std::size_t k = 0; k < 3; ++k)
                    due[static_cast<std::size_t>(ty * width + tx)][k] += off[k] * share.weight;
            }
        }
    }
    return indices;
}

std::vector<int> indices_of(const Bitmap& bitmap) {
    std::vector<int> indices;
    for (int y = 0; y < bitmap.height(); ++y)
        for (int x = 0; x < bitmap.width(); ++x) indices.push_back(index_at(bitmap, x, y));
    return indices;
}

TEST(Diffusion, EqualsItsDefinitionForEveryKernelSizeAndThreadCount) {
    const Palette colours = fixed_palette(4), greys = gray_palette(2), shades = gray_palette(16);
    for (const Size size : kSizes) {
        const Bitmap from = picture(size.width, size.height);
        for (const Definition& how : definitions()) {
            for (const auto& [palette, bits] : {std::pair{colours, 4}, {greys, 1}, {shades, 4}}) {
                const auto want = diffused(from, palette, how, bits == 1 || palette == shades);
                for (const int threads : {1, 2, 7}) {
                    set_thread_count(threads);
                    const auto got = dithered(from, palette, bits, how.dither, {});
                    ASSERT_TRUE(got);
                    ASSERT_EQ(indices_of(*got), want)
                        << static_cast<int>(how.dither) << ' ' << size.width << 'x' << size.height << ' '
                        << bits << " bits, " << threads << " threads";
                }
            }
        }
    }
    set_thread_count(0);
}

TEST(Diffusion, KeepsTheMeanOfAFlatGrey) {
    for (const Definition& how : definitions()) {
        for (const int level : {10, 64, 127, 200, 250}) {
            const auto result = dithered(flat(257, 256, level), gray_palette(2), 1, how.dither, {});
            const auto indices = indices_of(*result);
            const double white =
                static_cast<double>(std::ranges::count(indices, 1)) / static_cast<double>(indices.size());
            EXPECT_NEAR(white, level / 255.0, 0.01) << static_cast<int>(how.dither) << ' ' << level;
        }
    }
}

TEST(Diffusion, StopsWhenTold) {
    Context context;
    context.progress = [](std::int64_t, std::int64_t) { return false; };
    for (const Dither dither : {Dither::none, Dither::jarvis, Dither::ordered})
        EXPECT_EQ(dithered(picture(99, 99), fixed_palette(4), 4, dither, context).error().fault,
                  Fault::cancelled);
}

TEST(Palettes, AreStoppedWhenTold) {
    const Progress stop = [](std::int64_t, std::int64_t) { return false; };
    const Bitmap bitmap = picture(99, 99);
    EXPECT_EQ(exact_palette(bitmap, 256, stop).error().fault, Fault::cancelled);
    EXPECT_EQ(optimised_palette(bitmap, 256, stop).error().fault, Fault::cancelled);
    EXPECT_EQ(map_to_palette(bitmap, fixed_palette(8), 8, true, {}, stop).error().fault, Fault::cancelled);
    for (const int bits : {1, 4, 8, 12, 16, 32})
        EXPECT_EQ(convert_depth(bitmap, bits, {}, stop).error().fault, Fault::cancelled) << bits;
}

// Counting colours, choosing a palette and mapping onto it are one piece of work to the one who waits.
TEST(ColorRes, ProgressNeverFallsBack) {
    set_thread_count(1);
    const Bitmap bitmap = picture(300, 300);
    for (const int dither : {0, 1, 7}) {
        double last = 0;
        int calls = 0;
        Context context;
        context.progress = [&](std::int64_t done, std::int64_t total) {
            const double now = static_cast<double>(done) / static_cast<double>(total);
            EXPECT_GE(now, last);
            last = now, ++calls;
            return true;
        };
        ASSERT_TRUE(apply(*find_operation("ColorRes"), bitmap, std::array{8, 1, dither}, nullptr, context));
        EXPECT_GT(calls, 3);
        EXPECT_EQ(last, 1);
    }
    set_thread_count(0);
}

TEST(NearestColour, IsTheNearestOfAll) {
    std::mt19937 random{11};
    for (const int count : {1, 2, 5, 16, 256}) {
        Palette palette(static_cast<std::size_t>(count));
        for (Rgba& c : palette)
            c = {static_cast<std::uint8_t>(random()), static_cast<std::uint8_t>(random()),
                 static_cast<std::uint8_t>(random()), 255};
        if (count > 4) palette[3] = palette[4] = palette[1];  // of equal ones the first counts
        const NearestColour lookup{palette};
        const NearestRows rows{palette};
        std::vector<std::uint8_t> rgb(20000 * 3), found(20000);
        std::ranges::generate(rgb, [&] { return static_cast<std::uint8_t>(random()); });
        rows.find(rgb.data(), found.size(), found.data());
        for (std::size_t i = 0; i < found.size(); ++i) {
            const int r = rgb[i * 3], g = rgb[i * 3 + 1], b = rgb[i * 3 + 2];
            ASSERT_EQ(lookup.exact(r, g, b), nearest(palette, r, g, b)) << r << ' ' << g << ' ' << b;
            ASSERT_EQ(found[i], lookup.exact(r, g, b)) << r << ' ' << g << ' ' << b;
        }
    }
}

TEST(Palettes, FixedOnesAreFullAndWithoutRepeats) {
    for (int bits = 1; bits <= 8; ++bits) {
        const Palette palette = fixed_palette(bits);
        EXPECT_EQ(palette.size(), std::size_t{1} << bits);
        std::set<std::array<int, 3>> different;
        for (const Rgba& c : palette) different.insert({c.r, c.g, c.b});
        EXPECT_EQ(different.size(), palette.size()) << bits;
        EXPECT_TRUE(different.contains({0, 0, 0}));
        EXPECT_TRUE(different.contains({255, 255, 255}));
    }
}

TEST(Palettes, OptimisedOnesAreCloserThanFixedOnes) {
    const Bitmap from = picture(300, 200);
    const auto error = [&](const Bitmap& to) {
        double sum = 0;
        for (int y = 0; y < 200; ++y)
            for (int x = 0; x < 300; ++x) {
                const Rgba a = from.pixel(x, y), b = to.pixel(x, y);
                sum += (a.r - b.r) * (a.r - b.r) + (a.g - b.g) * (a.g - b.g) + (a.b - b.b) * (a.b - b.b);
            }
        return std::sqrt(sum / (3 * 200 * 300));
    };
    for (const int bits : {3, 4, 6, 8})
        EXPECT_LT(error(done("ColorRes", from, {bits, 1, 0})),
                  0.8 * error(done("ColorRes", from, {bits, 0, 0})))
            << bits;
    EXPECT_LT(error(done("ColorRes", from, {8, 1, 0})), 9);
}

// Four clusters far apart: their means are the palette.
TEST(Palettes, OptimisedFindsClusters) {
    Bitmap bitmap = *Bitmap::create(64, 64, 24, {});
    constexpr std::array<std::array<int, 3>, 4> kCentres{
        {{30, 30, 200}, {220, 40, 40}, {40, 210, 60}, {240, 240, 240}}};
    std::mt19937 random{2};
    for (int y = 0; y < 64; ++y)
        for (std::size_t x = 0; x < 64 * 3; ++x)
            bitmap.writable_row(y)[x] =
                static_cast<std::uint8_t>(kCentres[x / 3 % 4][x % 3] + static_cast<int>(random() % 9) - 4);
    const Palette palette = *optimised_palette(bitmap, 4);
    ASSERT_EQ(palette.size(), 4U);
    for (const auto& centre : kCentres) {
        const Rgba c = palette[static_cast<std::size_t>(nearest(palette, centre[0], centre[1], centre[2]))];
        EXPECT_LE(std::abs(c.r - centre[0]) + std::abs(c.g - centre[1]) + std::abs(c.b - centre[2]), 18);
    }
}

struct Kind {
    int bits;
    bool gray;
};
constexpr std::array kKinds{Kind{1, false}, Kind{4, false},  Kind{8, false},  Kind{12, true},
                            Kind{16, true}, Kind{16, false}, Kind{24, false}, Kind{32, false}};

Bitmap sample(Kind kind, int width, int height) {
    const Bitmap from = picture(width, height);
    if (kind.gray) {
        auto gray = done("Grayscale", from, {kind.bits});
        return gray;
    }
    auto converted = convert_depth(from, kind.bits, {});
    if (!converted) throw std::runtime_error{"sample"};
    return *converted;
}

TEST(ColorRes, EveryDepthToEveryDepthWithEveryPalette) {
    for (const Kind kind : kKinds) {
        const Bitmap from = sample(kind, 37, 5);
        for (const int bits : {1, 2, 3, 4, 5, 6, 7, 8, 16, 24, 32}) {
            for (int palette = 0; palette <= 3; ++palette) {
                for (const int dither : {0, 1, 5, 7}) {
                    const Bitmap to = done("ColorRes", from, {bits, palette, dither});
                    ASSERT_EQ(to.bits(), bits) << kind.bits;
                    ASSERT_EQ(to.width(), 37);
                    if (bits > 8) continue;
                    ASSERT_LE(static_cast<int>(to.palette().size()), 1 << bits);
                    ASSERT_TRUE(palette != 3 || to.is_gray());
                    const auto indices = indices_of(to);
                    ASSERT_LT(std::ranges::max(indices), static_cast<int>(to.palette().size()));
                    // What fits is not changed: more bits than before, in a palette of its own.
                    if (kind.bits > bits || palette == 0 || palette == 3) continue;
                    for (int x = 0; x < 37; ++x)
                        ASSERT_EQ(to.pixel(x, 4), from.pixel(x, 4)) << kind.bits << " to " << bits;
                }
            }
        }
    }
}

TEST(ColorRes, ColoursThatFitAreNotDithered) {
    Bitmap few = *Bitmap::create(100, 20, 24, {});
    constexpr std::array<std::array<std::uint8_t, 3>, 3> kColours{{{7, 7, 7}, {8, 9, 10}, {200, 3, 77}}};
    for (int y = 0; y < 20; ++y)
        for (std::size_t x = 0; x < 300; ++x)
            few.writable_row(y)[x] = kColours[(x / 3 + static_cast<std::size_t>(y)) % 3][x % 3];
    for (const int bits : {2, 4, 8}) {
        const Bitmap to = done("ColorRes", few, {bits, 1, 1});
        EXPECT_EQ(to.palette().size(), 3U);
        for (int y = 0; y < 20; ++y)
            for (int x = 0; x < 100; ++x) ASSERT_EQ(to.pixel(x, y), few.pixel(x, y));
    }
    // Corners of the cube are in every fixed palette of colours.
    Bitmap corners = *Bitmap::create(8, 1, 24, {});
    for (std::size_t i = 0; i < 24; ++i) corners.writable_row(0)[i] = (i / 3 >> (i % 3) & 1) ? 255 : 0;
    for (int bits = 3; bits <= 8; ++bits)
        for (int x = 0; x < 8; ++x)
            EXPECT_EQ(done("ColorRes", corners, {bits, 0, 6}).pixel(x, 0), corners.pixel(x, 0));
    const Bitmap grey = done("Grayscale", few, {8});
    for (int x = 0; x < 100; ++x) EXPECT_EQ(done("ColorRes", few, {8, 3, 1}).pixel(x, 3), grey.pixel(x, 3));
}

TEST(ColorRes, IdentityKeepsTheImagesOwnPalette) {
    Bitmap from = *Bitmap::create(40, 3, 8, {});
    Palette palette = gray_palette(256);
    palette[3] = {1, 200, 30, 255};
    palette[5] = palette[3];  // an equal entry stays one of its own
    from.set_palette(palette);
    for (int y = 0; y < 3; ++y)
        for (std::size_t x = 0; x < 40; ++x) from.writable_row(y)[x] = static_cast<std::uint8_t>(x % 6);
    const Bitmap to = done("ColorRes", from, {4, 2, 1});
    ASSERT_EQ(to.palette().size(), 16U);
    EXPECT_TRUE(std::ranges::equal(to.palette(), std::span{palette}.first(16)));
    EXPECT_TRUE(std::ranges::equal(to.row(1), from.row(1)));
    EXPECT_EQ(done("ColorRes", from, {2, 2, 1}).bits(), 2);  // index 5 does not fit: other colours
}

TEST(ColorRes, OrderedDitherKeepsTheMeanAndFollowsItsMatrix) {
    for (const int level : {0, 30, 128, 201, 255}) {
        const Bitmap to = done("ColorRes", flat(64, 64, level), {1, 0, 7});
        const auto indices = indices_of(to);
        EXPECT_NEAR(static_cast<double>(std::ranges::count(indices, 1)) / 4096, level / 255.0, 1.0 / 64)
            << level;
        for (int i = 0; i < 64; ++i) EXPECT_EQ(index_at(to, i, 9), index_at(to, i % 8, 1)) << "period of 8";
    }
}

TEST(MapToPalette, AnEmptyPaletteGivesBlack) {
    for (const int bits : {1, 8}) {
        const auto to = map_to_palette(picture(20, 4), {}, bits, true, {});
        ASSERT_TRUE(to);
        EXPECT_EQ(to->pixel(19, 3), (Rgba{0, 0, 0, 255}));
    }
}

TEST(Halftone, EveryGreyKeepsItsDarknessAtEveryAngle) {
    for (const int type : {0, 1}) {
        for (const int level : {0, 1, 20, 64, 100, 128, 190, 236, 254, 255}) {
            for (const int angle : {0, 15, 30, 45, 60, 75, 90, -20, 133, 180, 270, 359, -360}) {
                const Bitmap to = done("Halftone", flat(256, 256, level), {type, angle});
                ASSERT_EQ(to.bits(), 1);
                const auto indices = indices_of(to);
                EXPECT_NEAR(static_cast<double>(std::ranges::count(indices, 1)) / 65536, level / 255.0, 0.02)
                    << type << ' ' << level << ' ' << angle;
            }
        }
    }
}

// At 0 degrees the dots stand in rows and columns; darker greys only add to them.
TEST(Halftone, DotsGrowFromTheMiddleOfTheirCells) {
    for (const auto& [type, period] : {std::pair{0, 8}, {1, 4}}) {
        Bitmap lighter = done("Halftone", flat(64, 64, 255), {type, 0});
        for (int level = 254; level >= 0; --level) {
            const Bitmap now = done("Halftone", flat(64, 64, level), {type, 0});
            for (int y = 0; y < 8; ++y)
                for (int x = 0; x < 8; ++x) {
                    ASSERT_LE(index_at(now, x, y), index_at(lighter, x, y)) << "inked places stay inked";
                    ASSERT_EQ(index_at(now, x, y), index_at(now, x + 8, y + 16)) << "period";
                }
            lighter = now;
        }
        const Bitmap quarter = done("Halftone", flat(64, 64, 191), {type, 0});
        EXPECT_EQ(index_at(quarter, period / 2, period / 2), 0) << "the middle is inked";
        EXPECT_EQ(index_at(quarter, 0, 0), 1) << "the corner is not";
    }
    const Bitmap from = picture(61, 9);
    const Bitmap turned = done("Halftone", from, {0, 37});
    EXPECT_EQ(indices_of(done("Halftone", from, {0, 37 - 360})), indices_of(turned));
    EXPECT_NE(indices_of(done("Halftone", from, {0, 0})), indices_of(turned));
    EXPECT_NE(indices_of(done("Halftone", from, {1, 37})), indices_of(turned));
}

}  // namespace
}  // namespace quillmark::imaging
