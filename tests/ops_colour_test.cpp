// Hue, saturation, luminance and the planes of the colour models, against the formulas in double precision.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <random>

#include "imaging/ops/levels.h"
#include "imaging/ops/operation.h"
#include "imaging/ops/planar.h"
#include "imaging/ops/separation.h"
#include "support/pictures.h"

namespace quillmark::imaging {
namespace {

Bitmap sample(const Form& form, int width, int height) { return noise_picture(form, {width, height}); }

// Every colour of a grid of n levels a channel, always with 0 and 255, as one image.
Bitmap colour_grid(int n) {
    Bitmap bitmap = *Bitmap::create(n * n, n, 24, {});
    const auto level = [n](int i) { return static_cast<std::uint8_t>(i * 255 / (n - 1)); };
    for (int r = 0; r < n; ++r) {
        std::uint8_t* at = bitmap.writable_row(r).data();
        for (int i = 0; i < n * n; ++i) *at++ = level(r), *at++ = level(i / n), *at++ = level(i % n);
    }
    return bitmap;
}

struct Hsv {
    double h, s, v;  // degrees, 0 to 1, 0 to 255
};

// The textbook hexcone.
Hsv to_hsv(const Rgba& c) {
    const double high = std::max({c.r, c.g, c.b}), low = std::min({c.r, c.g, c.b}), delta = high - low;
    double h = 0;
    if (delta > 0) {
        if (high == c.r)
            h = (c.g - c.b) / delta;
        else if (high == c.g)
            h = 2 + (c.b - c.r) / delta;
        else
            h = 4 + (c.r - c.g) / delta;
    }
    return {std::fmod(h * 60 + 360, 360), high > 0 ? delta / high : 0, high};
}

std::array<double, 3> from_hsv(const Hsv& c) {
    const int sector = static_cast<int>(c.h / 60) % 6;
    const double f = c.h / 60 - std::floor(c.h / 60);
    const double p = c.v * (1 - c.s), q = c.v * (1 - c.s * f), t = c.v * (1 - c.s * (1 - f));
    switch (sector) {
        case 0: return {c.v, t, p};
        case 1: return {q, c.v, p};
        case 2: return {p, c.v, t};
        case 3: return {p, q, c.v};
        case 4: return {t, p, c.v};
        default: return {c.v, p, q};
    }
}

double largest_difference(const Rgba& got, const std::array<double, 3>& want) {
    return std::max({std::abs(got.r - want[0]), std::abs(got.g - want[1]), std::abs(got.b - want[2])});
}

TEST(Planar, SplittingEqualsItsPlainTwin) {
    std::mt19937 random{3};
    std::vector<std::uint8_t> rgb(3 * 70 + 5);
    for (auto& b : rgb) b = static_cast<std::uint8_t>(random());
    for (std::size_t count = 0; count <= 70; ++count) {
        std::array<std::vector<std::uint8_t>, 6> rows;
        for (auto& row : rows) row.assign(75, 0xEE);
        split_rgb(rgb.data() + 1, rows[0].data(), rows[1].data(), rows[2].data(), count);
        plain::split_rgb(rgb.data() + 1, rows[3].data(), rows[4].data(), rows[5].data(), count);
        for (std::size_t c = 0; c < 3; ++c) ASSERT_EQ(rows[c], rows[c + 3]) << count;
    }
}

TEST(Hue, StaysWithinOneLevelOfTheHexcone) {
    const Bitmap grid = colour_grid(35);
    for (const int change : {1, 7, 100, 333, 500, 599, 600, 601, 1200, 1799, 1800, 1801, 2400, 3599, -1, -50,
                             -900, -1800, -2750}) {
        const Bitmap turned = done("Hue", grid, {change});
        double worst = 0;
        for (int y = 0; y < grid.height(); ++y) {
            for (int x = 0; x < grid.width(); ++x) {
                const Rgba before = grid.pixel(x, y), after = turned.pixel(x, y);
                Hsv hsv = to_hsv(before);
                hsv.h = std::fmod(hsv.h + change / 10.0 + 720, 360);
                worst = std::max(worst, largest_difference(after, from_hsv(hsv)));
                ASSERT_EQ(std::max({after.r, after.g, after.b}), std::max({before.r, before.g, before.b}));
                ASSERT_EQ(std::min({after.r, after.g, after.b}), std::min({before.r, before.g, before.b}));
            }
        }
        EXPECT_LE(worst, 0.6) << change;
    }
}

TEST(Hue, KnownTurns) {
    Bitmap red = *Bitmap::create(1, 1, 24, {});
    red.writable_row(0)[0] = 255;
    EXPECT_EQ(done("Hue", red, {1200}).pixel(0, 0), (Rgba{0, 255, 0, 255}));
    EXPECT_EQ(done("Hue", red, {-1200}).pixel(0, 0), (Rgba{0, 0, 255, 255}));
    EXPECT_EQ(done("Hue", red, {1800}).pixel(0, 0), (Rgba{0, 255, 255, 255}));
    EXPECT_EQ(done("Hue", red, {300}).pixel(0, 0), (Rgba{255, 128, 0, 255}));
    EXPECT_EQ(done("Hue", red, {3600}).pixel(0, 0), (Rgba{255, 0, 0, 255}));
}

TEST(Saturation, FollowsTheFormula) {
    const Bitmap grid = colour_grid(35);
    for (const int change : {-1000, -999, -500, -3, 5, 250, 500, 1000}) {
        const Bitmap changed = done("Saturation", grid, {change});
        double worst = 0;
        for (int y = 0; y < grid.height(); ++y) {
            for (int x = 0; x < grid.width(); ++x) {
                Hsv hsv = to_hsv(grid.pixel(x, y));
                hsv.s = std::min(1.0, hsv.s * (1000 + change) / 1000);
                worst = std::max(worst, largest_difference(changed.pixel(x, y), from_hsv(hsv)));
            }
        }
        EXPECT_LE(worst, 0.501) << change;
    }
}

// Every depth goes the way that 24 bits go, and keeps what it has beside the colours.
TEST(HueAndSaturation, ActAlikeAtEveryDepthAndKeepAlpha) {
    for (const auto& [name, change] : {std::pair{"Hue", 777}, std::pair{"Saturation", -400}}) {
        for (const Form& kind : kForms) {
            for (const auto& [width, height] : {std::pair{1, 1}, {1, 37}, {65, 3}, {1100, 2}}) {
                const Bitmap from = sample(kind, width, height);
                Bitmap rgb = *Bitmap::create(width, height, 24, {});
                for (int y = 0; y < height; ++y)
                    for (int x = 0; x < width; ++x) {
                        const Rgba c = from.pixel(x, y);
                        std::uint8_t* at = rgb.writable_row(y).data() + x * 3;
                        at[0] = c.r, at[1] = c.g, at[2] = c.b;
                    }
                const Bitmap want = done(name, rgb, {change}), got = done(name, from, {change});
                for (int y = 0; y < height; ++y)
                    for (int x = 0; x < width; ++x) {
                        Rgba expected = want.pixel(x, y);
                        expected.a = from.pixel(x, y).a;
                        ASSERT_EQ(got.pixel(x, y), expected) << name << kind.bits << ' ' << x << ',' << y;
                    }
                EXPECT_EQ(got.row(0).data() == from.row(0).data(), from.is_gray() || kind.bits <= 8)
                    << "shared";
            }
        }
    }
}

TEST(Grayscale, IsTheStatedLuminance) {
    const Bitmap grid = colour_grid(33);
    const Bitmap gray8 = done("Grayscale", grid, {8}), gray12 = done("Grayscale", grid, {12}),
                 gray16 = done("Grayscale", grid, {16});
    EXPECT_TRUE(is_level_image(gray8));
    EXPECT_EQ(gray12.bits(), 12);
    EXPECT_EQ(gray16.bits(), 16);
    for (int y = 0; y < grid.height(); ++y) {
        for (int x = 0; x < grid.width(); ++x) {
            const Rgba c = grid.pixel(x, y);
            const auto at = static_cast<std::size_t>(x);
            ASSERT_EQ(gray8.row(y)[at], (c.r * 19595 + c.g * 38470 + c.b * 7471 + 32768) >> 16);
            const double exact = 0.299 * c.r + 0.587 * c.g + 0.114 * c.b;
            ASSERT_NEAR(gray16.row16(y)[at], exact * 257, 1.5);
            ASSERT_NEAR(gray12.row16(y)[at], exact * 257 / 16, 1.1);
        }
    }
    EXPECT_EQ(gray12.row16(32).back(), 4095);
    EXPECT_EQ(gray16.row16(32).back(), 65535);
    EXPECT_EQ(gray16.row16(0)[0], 0);
}

TEST(Grayscale, WideGreysLoseOnlyTheBitsThatGo) {
    const Bitmap gray16 = sample({"", 16, true}, 65, 3), gray12 = sample({"", 12, true}, 65, 3);
    for (std::size_t x = 0; x < 65; ++x) {
        EXPECT_EQ(done("Grayscale", gray16, {12}).row16(2)[x], gray16.row16(2)[x] >> 4);
        EXPECT_EQ(done("Grayscale", gray16, {8}).row(2)[x], gray16.row16(2)[x] >> 8);
        EXPECT_EQ(done("Grayscale", gray12, {8}).row(2)[x], gray12.row16(2)[x] >> 4);
        EXPECT_EQ(done("Grayscale", gray12, {16}).row16(2)[x] >> 4, gray12.row16(2)[x]);
    }
    for (const int bits : {12, 16}) {  // up and down again
        const Bitmap gray8 = done("Grayscale", sample({"", 24, false}, 65, 3), {8});
        EXPECT_TRUE(same_picture(done("Grayscale", done("Grayscale", gray8, {bits}), {8}), gray8));
    }
}

TEST(Grayscale, AgreesAtEveryDepth) {
    for (const Form& kind : kForms) {
        if (kind.gray && kind.bits > 8) continue;
        for (const int width : {1, 7, 9, 1025}) {
            const Bitmap from = sample(kind, width, 2), gray = done("Grayscale", from, {8});
            for (int x = 0; x < width; ++x) {
                const Rgba c = from.pixel(x, 1);
                ASSERT_EQ(gray.row(1)[static_cast<std::size_t>(x)],
                          (c.r * 19595 + c.g * 38470 + c.b * 7471 + 32768) >> 16)
                    << kind.bits;
            }
        }
    }
    EXPECT_EQ(apply(*find_operation("Grayscale"), sample({"", 24, false}, 2, 2), std::array{9}, nullptr, {})
                  .error()
                  .fault,
              Fault::bad_parameter);
}

constexpr std::array kSeparations{Separation::rgb, Separation::cmyk, Separation::hsv, Separation::hls,
                                  Separation::cmy};

std::vector<Bitmap> planes_of(const Bitmap& bitmap, Separation kind) {
    auto planes = separate(bitmap, kind, {});
    if (!planes) throw std::runtime_error{"separate"};
    return *planes;
}

// What each plane of a colour has to hold, from the definitions.
std::vector<double> plane_values(const Rgba& c, Separation kind) {
    const double high = std::max({c.r, c.g, c.b}), low = std::min({c.r, c.g, c.b});
    const Hsv hsv = to_hsv(c);
    const double hue = hsv.h * 256 / 360;
    const double lightness = (high + low) / 2;
    const double room = std::min(high + low, 510 - high - low);
    switch (kind) {
        case Separation::rgb: return {double(c.b), double(c.g), double(c.r)};
        case Separation::cmy: return {255.0 - c.r, 255.0 - c.g, 255.0 - c.b};
        case Separation::cmyk: return {high - c.r, high - c.g, high - c.b, 255 - high};
        case Separation::hsv: return {hue, hsv.s * 255, high};
        case Separation::hls: return {hue, lightness, room > 0 ? (high - low) / room * 255 : 0};
    }
    return {};
}

TEST(Separation, PlanesHoldWhatTheirDefinitionsSay) {
    const Bitmap grid = colour_grid(28);
    for (const Separation kind : kSeparations) {
        const auto planes = planes_of(grid, kind);
        ASSERT_EQ(static_cast<int>(planes.size()), plane_count(kind));
        for (std::size_t i = 0; i < planes.size(); ++i) {
            ASSERT_TRUE(is_level_image(planes[i]));
            const bool circular = i == 0 && (kind == Separation::hsv || kind == Separation::hls);
            for (int y = 0; y < grid.height(); ++y)
                for (int x = 0; x < grid.width(); ++x) {
                    double off = std::abs(planes[i].row(y)[static_cast<std::size_t>(x)] -
                                          plane_values(grid.pixel(x, y), kind)[i]);
                    if (circular) off = std::min(off, 256 - off);
                    ASSERT_LE(off, 0.501) << static_cast<int>(kind) << " plane " << i;
                }
        }
    }
}

TEST(Separation, PlanesRecombine) {
    const Bitmap grid = colour_grid(28);
    for (const Separation kind : kSeparations) {
        const auto back = recombine(planes_of(grid, kind), kind, {});
        ASSERT_TRUE(back);
        int worst = 0;
        for (int y = 0; y < grid.height(); ++y)
            for (int x = 0; x < grid.width(); ++x) {
                const Rgba c = grid.pixel(x, y);
                worst = std::max(worst, static_cast<int>(largest_difference(
                                            back->pixel(x, y), {double(c.r), double(c.g), double(c.b)})));
            }
        // Half a step of hue is 6 / 512 of the chroma, half a step of lightness and saturation one level.
        EXPECT_LE(worst, kind == Separation::hsv || kind == Separation::hls ? 5 : 0)
            << static_cast<int>(kind);
    }
    auto planes = planes_of(grid, Separation::rgb);
    EXPECT_EQ(recombine(planes, Separation::cmyk, {}).error().fault, Fault::bad_parameter);
    planes[1] = *Bitmap::create(2, 2, 8, {});
    EXPECT_EQ(recombine(planes, Separation::rgb, {}).error().fault, Fault::bad_parameter);
}

TEST(Separation, EveryDepthSeparatesAsItsColours) {
    for (const Separation kind : kSeparations) {
        for (const Form& source : kForms) {
            for (const auto& [width, height] : {std::pair{1, 1}, {65, 3}, {1, 10000}}) {
                const Bitmap from = sample(source, width, height);
                const auto planes = planes_of(from, kind);
                for (int y = 0; y < height; ++y) {
                    const auto want = plane_values(from.pixel(width - 1, y), kind);
                    for (std::size_t i = 0; i < planes.size(); ++i) {
                        const double off = std::abs(planes[i].row(y).back() - want[i]);
                        ASSERT_LE(std::min(off, 256 - off), 0.501) << source.bits << " plane " << i;
                    }
                }
            }
        }
    }
}

TEST(Separation, StopsAndDoesNotDependOnTheNumberOfThreads) {
    const Bitmap from = sample({"", 24, false}, 333, 211);
    Context context;
    context.progress = [](std::int64_t, std::int64_t) { return false; };
    for (const Separation kind : kSeparations) {
        const auto want = planes_of(from, kind);
        for (const int threads : {1, 7}) {
            const ThreadCount count{threads};
            const auto got = planes_of(from, kind);
            for (std::size_t i = 0; i < want.size(); ++i) EXPECT_TRUE(same_picture(want[i], got[i])) << i;
        }
        EXPECT_EQ(separate(from, kind, context).error().fault, Fault::cancelled);
        EXPECT_EQ(separate(Bitmap{}, kind, {}).error().fault, Fault::malformed);
    }
}

}  // namespace
}  // namespace quillmark::imaging
