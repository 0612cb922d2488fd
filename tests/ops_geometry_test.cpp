// Mirrors, turns, shears and cuts against pixel by pixel accounts of where everything comes from.
#include "imaging/ops/geometry.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <numbers>
#include <random>

#include "imaging/ops/bilinear.h"
#include "imaging/ops/levels.h"
#include "imaging/ops/operation.h"
#include "imaging/ops/transpose.h"
#include "imaging/ops/turning.h"
#include "imaging/swizzle.h"
#include "support/pictures.h"

namespace quillmark::imaging {
namespace {

constexpr std::uint32_t kWhite = 0xFFFFFF;

// Sizes that end inside, at and beyond every block of the vector code.
const std::vector<Size> kSizes{{1, 1},   {1, 37},  {65, 3},    {4, 16},    {16, 4},
                               {64, 64}, {70, 33}, {131, 529}, {530, 129}, {1, 1000}};

using Source = std::function<Point(int x, int y)>;

// Whether every pixel of result is the pixel of bitmap that from names.
testing::AssertionResult moved(const Bitmap& bitmap, const Result<Bitmap>& result, Size size,
                               const Source& from) {
    if (!result) return testing::AssertionFailure() << fault_name(result.error().fault);
    if (result->width() != size.width || result->height() != size.height || result->bits() != bitmap.bits() ||
        result->palette() != bitmap.palette())
        return testing::AssertionFailure() << "another form";
    for (int y = 0; y < size.height; ++y) {
        for (int x = 0; x < size.width; ++x) {
            const Point p = from(x, y);
            if (pixel_value(*result, x, y) != pixel_value(bitmap, p.x, p.y))
                return testing::AssertionFailure() << "at " << x << ", " << y << " of " << size.width << 'x'
                                                   << size.height << ", " << bitmap.bits() << " bits";
        }
    }
    return testing::AssertionSuccess();
}

TEST(Moves, EveryPixelComesFromItsPlaceInEveryFormAndByAnyThreads) {
    for (const Form& form : kForms) {
        for (const auto& [w, h] : kSizes) {
            const Bitmap b = noise_picture(form, {w, h});
            for (const int threads : {1, 2, 7}) {
                const ThreadCount count{threads};
                EXPECT_TRUE(moved(b, flip(b, {}), {w, h}, [&](int x, int y) { return Point{x, h - 1 - y}; }));
                EXPECT_TRUE(moved(b, reverse(b, {}), {w, h}, [&](int x, int y) {
                    return Point{w - 1 - x, y};
                }));
                EXPECT_TRUE(moved(b, rotate_quarters(b, 5, {}), {h, w}, [&](int x, int y) {
                    return Point{y, h - 1 - x};
                }));
                EXPECT_TRUE(moved(b, rotate_quarters(b, 2, {}), {w, h}, [&](int x, int y) {
                    return Point{w - 1 - x, h - 1 - y};
                }));
                EXPECT_TRUE(moved(b, rotate_quarters(b, -1, {}), {h, w}, [&](int x, int y) {
                    return Point{w - 1 - y, x};
                }));
            }
        }
    }
}

TEST(Moves, ShufflesEqualTheirPlainTwins) {
    std::mt19937 random{3};
    std::vector<std::uint8_t> in(4 * 300);
    for (auto& v : in) v = static_cast<std::uint8_t>(random());
    for (std::size_t count = 1; count < 300; ++count) {
        std::vector<std::uint8_t> fast(in.size()), slow(in.size());
        for (const int size : {1, 2, 3, 4}) {
            reverse_pixels(in.data(), fast.data(), count, size);
            plain::reverse_pixels(in.data(), slow.data(), count, size);
            ASSERT_EQ(fast, slow) << count << " of " << size;
        }
        reverse_bits(in.data(), fast.data(), count);
        plain::reverse_bits(in.data(), slow.data(), count);
        ASSERT_EQ(fast, slow) << count << " bits";
    }
}

// out as job's target, compared for both ways of doing it; rows and columns as given, mirrored or not.
template <typename Fast, typename Slow>
void expect_same_transposition(Size in_size, std::size_t in_stride, std::size_t out_stride, Fast fast,
                               Slow slow) {
    std::mt19937 random{4};
    std::vector<std::uint8_t> in(in_stride * static_cast<std::size_t>(in_size.height));
    for (auto& v : in) v = static_cast<std::uint8_t>(random());
    for (const bool up : {false, true}) {
        for (const bool back : {false, true}) {
            std::vector<std::uint8_t> results[2];
            for (const bool is_fast : {false, true}) {
                auto& out = results[is_fast];
                out.resize(out_stride * static_cast<std::size_t>(in_size.width));
                const auto in_step = static_cast<std::ptrdiff_t>(in_stride),
                           out_step = static_cast<std::ptrdiff_t>(out_stride);
                const Transposition job{in.data() + (up ? in_step * (in_size.height - 1) : 0),
                                        up ? -in_step : in_step,
                                        out.data() + (back ? out_step * (in_size.width - 1) : 0),
                                        back ? -out_step : out_step, in_size.height};
                is_fast ? fast(job, in_size.width) : slow(job, in_size.width);
            }
            ASSERT_EQ(results[0], results[1]) << in_size.width << 'x' << in_size.height;
        }
    }
}

TEST(Moves, TranspositionsEqualTheirPlainTwins) {
    for (const Size size : kSizes) {
        for (const int bytes : {1, 2, 3, 4}) {
            expect_same_transposition(
                size, static_cast<std::size_t>(size.width * bytes),
                static_cast<std::size_t>(size.height * bytes),
                [&](const Transposition& job, int rows) { transpose_pixels(job, bytes, 0, rows); },
                [&](const Transposition& job, int rows) { plain::transpose_pixels(job, bytes, 0, rows); });
        }
        const auto padded = [](int bits) { return static_cast<std::size_t>((bits + 255) / 256 * 32); };
        expect_same_transposition(
            size, padded(size.width), padded(size.height),
            [&](const Transposition& job, int rows) { transpose_bits(job, 0, rows); },
            [&](const Transposition& job, int rows) { plain::transpose_bits(job, 0, rows); });
    }
}

TEST(Trim, CutsAndClipsInEveryForm) {
    for (const Form& form : kForms) {
        const Bitmap b = noise_picture(form, {70, 33});
        EXPECT_TRUE(moved(b, run("Trim", b, {13, 5, 40, 20}), {40, 20}, [](int x, int y) {
            return Point{x + 13, y + 5};
        }));
        EXPECT_TRUE(moved(b, run("Trim", b, {-7, 30, 30, 900}), {23, 3}, [](int x, int y) {
            return Point{x, y + 30};
        }));
    }
    const Bitmap b = noise_picture(kForms.back(), {70, 33});
    EXPECT_EQ(run("Trim", b, {70, 0, 5, 5}).error().fault, Fault::bad_parameter);
    EXPECT_EQ(run("Trim", b, {-5, 0, 5, 5}).error().fault, Fault::bad_parameter);
    EXPECT_EQ(run("Trim", b, {0, 0, 0, 5}).error().fault, Fault::bad_parameter);
}

TEST(Moves, MirrorsActInsideTheRegionsBox) {
    const Region region = Region::ellipse({10, 6, 31, 17});
    for (const Form& form : kForms) {
        const Bitmap b = noise_picture(form, {70, 33});
        EXPECT_TRUE(moved(b, run("Reverse", b, {}, &region), {70, 33}, [&](int x, int y) {
            return region.contains(x, y) ? Point{50 - x, y} : Point{x, y};
        })) << form.name;
        EXPECT_TRUE(moved(b, run("Flip", b, {}, &region), {70, 33}, [&](int x, int y) {
            return region.contains(x, y) ? Point{x, 28 - y} : Point{x, y};
        })) << form.name;
    }
}

// --- free turns ---

TEST(Rotate, QuartersMoveWholePixelsAndSwapTheResolution) {
    for (const Form& form : kForms) {
        Bitmap b = noise_picture(form, {70, 34});
        b.metadata().resolution = {300, 150};
        const auto right = run("Rotate", b, {9000, 1, 0xFFFFFF});
        EXPECT_TRUE(moved(b, right, {34, 70}, [](int x, int y) { return Point{y, 33 - x}; }));
        EXPECT_EQ(right->metadata().resolution, (Resolution{150, 300}));
        EXPECT_TRUE(moved(b, run("Rotate", b, {27000, 1, 0xFFFFFF}), {34, 70}, [](int x, int y) {
            return Point{69 - y, x};
        }));
        EXPECT_TRUE(same_picture(*run("Rotate", b, {18000, 0, 0}), *rotate_quarters(b, 2, {})));
        EXPECT_TRUE(same_picture(*run("Rotate", b, {36000, 0, 0}), b));
    }
}

TEST(Rotate, QuartersOnTheSameCanvasStayExactAroundTheCentre) {
    for (const Form& form : kForms) {
        for (const auto& [w, h] : {Size{70, 34}, {34, 70}, {33, 34}, {5, 5}}) {
            const Bitmap b = noise_picture(form, {w, h});
            const auto turned = rotate(b, 9000, false, kWhite, {});
            ASSERT_TRUE(turned);
            ASSERT_EQ(turned->width(), w);
            ASSERT_EQ(turned->height(), h);
            const Bitmap levels = *level_image(b, {});
            const bool promoted = turned->bits() != b.bits();
            EXPECT_FALSE(promoted && (form.bits > 8 || is_level_image(b)));
            // An odd difference leaves half a pixel, which is cut off towards the corner.
            const int left = (w - h) / 2, top = (h - w) / 2;
            for (int y = 0; y < h; ++y) {
                for (int x = 0; x < w; ++x) {
                    const int from_x = y - top, from_y = h - 1 - (x - left);
                    const bool inside = from_x >= 0 && from_x < w && from_y >= 0 && from_y < h;
                    const Bitmap& source = promoted ? levels : b;
                    if (inside) {
                        ASSERT_EQ(pixel_value(*turned, x, y), pixel_value(source, from_x, from_y))
                            << form.name;
                    } else {
                        ASSERT_EQ(turned->pixel(x, y), (Rgba{255, 255, 255, 255})) << form.name;
                    }
                }
            }
        }
    }
}

double channel_of(const Bitmap& bitmap, int x, int y, int channel) {
    if (bitmap.layout() == Layout::gray16) return bitmap.row16(y)[static_cast<std::size_t>(x)];
    const Rgba c = bitmap.pixel(x, y);
    return std::array{c.r, c.g, c.b, c.a}[static_cast<std::size_t>(channel)];
}

struct Place {
    double x, y;  // pixels, the first pixel's centre at (0.5, 0.5)
};

// Bilinear samples in double precision, white beyond the edge, colours weighted by alpha.
std::array<double, 4> slow_sample(const Bitmap& bitmap, Place place) {
    const double white = bitmap.layout() == Layout::gray16 ? (1 << bitmap.bits()) - 1 : 255;
    const double u = place.x - 0.5, v = place.y - 0.5;
    std::array<double, 4> sum{};
    for (const int dy : {0, 1}) {
        for (const int dx : {0, 1}) {
            const int x = static_cast<int>(std::floor(u)) + dx, y = static_cast<int>(std::floor(v)) + dy;
            const double weight = (1 - std::abs(u - x)) * (1 - std::abs(v - y));
            const bool inside = x >= 0 && y >= 0 && x < bitmap.width() && y < bitmap.height();
            const double alpha = inside && bitmap.has_alpha() ? channel_of(bitmap, x, y, 3) : 255;
            for (int c = 0; c < 3; ++c)
                sum[static_cast<std::size_t>(c)] +=
                    weight * alpha * (inside ? channel_of(bitmap, x, y, c) : white);
            sum[3] += weight * alpha;
        }
    }
    for (int c = 0; c < 3; ++c) sum[static_cast<std::size_t>(c)] /= std::max(sum[3], 1e-9);
    return sum;
}

// How far result is from what back says at most, in levels (of 256) of any channel.
double worst(const Bitmap& level_source, const Bitmap& result,
             const std::function<Place(double, double)>& back) {
    const double unit = level_source.layout() == Layout::gray16
                            ? static_cast<double>((1 << level_source.bits()) - 1) / 255
                            : 1;
    double most = 0;
    for (int y = 0; y < result.height(); ++y) {
        for (int x = 0; x < result.width(); ++x) {
            const auto want = slow_sample(level_source, back(x + 0.5, y + 0.5));
            const int channels = level_source.layout() == Layout::rgba32 ? 4 : 3;
            for (int c = channels - 1; c >= 0; --c) {
                if (c < 3 && want[3] < 64) continue;  // dividing by little alpha magnifies every rounding
                most =
                    std::max(most, std::abs(channel_of(result, x, y, c) - want[static_cast<std::size_t>(c)]));
            }
        }
    }
    return most / unit;
}

std::function<Place(double, double)> turn_back(Size from, Size to, int angle) {
    const double a = angle * std::numbers::pi / 18000;
    return [=](double x, double y) {
        const double dx = x - to.width / 2.0, dy = y - to.height / 2.0;
        return Place{from.width / 2.0 + dx * std::cos(a) + dy * std::sin(a),
                     from.height / 2.0 - dx * std::sin(a) + dy * std::cos(a)};
    };
}

TEST(Rotate, FreeAnglesEqualTheSlowAccountWithinALevel) {
    for (const Form& form : kForms) {
        for (const Size size : {Size{1, 1}, {1, 37}, {65, 3}, {131, 90}}) {
            const Bitmap b = noise_picture(form, size);
            const Bitmap levels = *level_image(b, {});
            for (const int angle : {750, -3000, 4500, 8999, 20000, 31415}) {
                for (const bool grow : {true, false}) {
                    const auto turned = rotate(b, angle, grow, kWhite, {});
                    ASSERT_TRUE(turned);
                    ASSERT_EQ(turned->layout(), levels.layout());
                    const Size to{turned->width(), turned->height()};
                    ASSERT_LE(worst(levels, *turned, turn_back(size, to, angle)), 1.0)
                        << form.name << ' ' << size.width << 'x' << size.height << " by " << angle;
                }
            }
        }
    }
}

TEST(Rotate, CanvasJustHoldsTheResultAndTheFillCoversTheRest) {
    const Bitmap b = noise_picture({"", 24, false}, {100, 100});
    EXPECT_EQ(rotate(b, 4500, true, kWhite, {})->width(), 142);  // 100 times the root of 2
    const Bitmap wide = noise_picture({"", 24, false}, {400, 300});
    const auto turned = rotate(wide, 3000, true, 0x102030, {});
    EXPECT_EQ(turned->width(), 497);   // 400 cos 30 + 300 sin 30 = 496.41
    EXPECT_EQ(turned->height(), 460);  // 400 sin 30 + 300 cos 30 = 459.81
    EXPECT_EQ(turned->pixel(0, 0), (Rgba{0x10, 0x20, 0x30, 255}));
    EXPECT_EQ(rotate(wide, 3000, false, kWhite, {})->width(), 400);
    const Bitmap grey = noise_picture({"", 8, true}, {50, 40});
    EXPECT_EQ(rotate(grey, 3000, true, 0xFF0000, {})->pixel(0, 0), (Rgba{76, 76, 76, 255}));
    const Bitmap clear = noise_picture({"", 32, false}, {50, 40});
    EXPECT_EQ(rotate(clear, 3000, true, 0x010203, {})->pixel(0, 0), (Rgba{1, 2, 3, 255}));
    EXPECT_EQ(rotate(noise_picture({"", 1, true}, {50, 40}), 100, true, kWhite, {})->bits(), 8);
    EXPECT_EQ(rotate(noise_picture({"", 8, false}, {50, 40}), 100, true, kWhite, {})->bits(), 24);
}

TEST(Shear, EqualsTheSlowAccountWithinALevel) {
    for (const Form& form : kForms) {
        for (const Size size : {Size{1, 1}, {1, 37}, {65, 3}, {131, 90}}) {
            const Bitmap b = noise_picture(form, size);
            const Bitmap levels = *level_image(b, {});
            for (const int angle : {500, -3000, 6000}) {
                const double t = std::tan(angle * std::numbers::pi / 18000);
                for (const bool horizontal : {true, false}) {
                    const auto result = shear(b, angle, horizontal, kWhite, {});
                    ASSERT_TRUE(result);
                    const Size to{result->width(), result->height()};
                    const double grown = horizontal ? size.width + size.height * std::abs(t)
                                                    : size.height + size.width * std::abs(t);
                    EXPECT_EQ(horizontal ? to.width : to.height, static_cast<int>(std::ceil(grown)));
                    const double most = worst(levels, *result, [&](double x, double y) {
                        const double dx = x - to.width / 2.0, dy = y - to.height / 2.0;
                        return Place{size.width / 2.0 + dx - (horizontal ? dy * t : 0),
                                     size.height / 2.0 + dy - (horizontal ? 0 : dx * t)};
                    });
                    ASSERT_LE(most, 1.0)
                        << form.name << ' ' << size.width << 'x' << size.height << " by " << angle;
                }
            }
        }
    }
    const Bitmap b = noise_picture({"", 1, false}, {20, 10});
    EXPECT_TRUE(same_picture(*run("Shear", b, {0}), b));
}

TEST(Rotate, TooLargeResultsAreRefusedAndThinOnesWork) {
    Limits small;
    small.max_side = 500;
    Context context;
    context.limits = small;
    const Bitmap b = noise_picture({"", 8, false}, {480, 300});
    EXPECT_EQ(rotate(b, 4500, true, kWhite, context).error().fault, Fault::too_large);
    EXPECT_EQ(shear(b, 4500, true, kWhite, context).error().fault, Fault::too_large);
    EXPECT_TRUE(rotate(b, 4500, false, kWhite, context));
    for (const Form& form : kForms) {
        const Bitmap line = noise_picture(form, {1, 10000});
        const auto turned = rotate(line, 5, true, kWhite, {});
        ASSERT_TRUE(turned) << form.name;
        EXPECT_EQ(turned->width(), 10);  // 1 + 10000 sin 0.05 = 9.73
    }
}

TEST(Rotate, WalksEqualTheirPlainTwins) {
    std::mt19937 random{9};
    for (const Samples form : {Samples::gray8, Samples::rgb24, Samples::rgba32}) {
        const int bits = form == Samples::gray8 ? 8 : form == Samples::rgb24 ? 24 : 32;
        Bitmap b = noise_picture({"", bits, bits == 8}, {300, 200});
        const int size = pixel_bytes(b.layout());
        for (int y = 60; y < 90; ++y) std::ranges::fill(b.writable_row(y), std::uint8_t{0});
        for (int i = 0; i < 500; ++i) {
            const auto step = [&] { return static_cast<std::int32_t>(random() % 131072) - 65536; };
            const Walk walk{b.row(100).data() + 150 * size,
                            static_cast<std::ptrdiff_t>(b.stride()),
                            step(),
                            step(),
                            step(),
                            step()};
            std::array<std::uint8_t, 256> fast{}, slow{};
            const int count = static_cast<int>(random() % 65);
            sample_walk(form, walk, fast.data(), count);
            plain::sample_walk(form, walk, slow.data(), count);
            ASSERT_EQ(fast, slow) << count << " of " << size << " bytes";
        }
    }
}

// --- regions ---

TEST(TurnedRegions, QuartersMoveThePixelsAndLeaveTheFill) {
    const Region region = Region::ellipse({20, 12, 30, 16}).united(Region::rectangle({60, 20, 20, 4}));
    for (const Form& form : kForms) {
        Bitmap b = noise_picture(form, {90, 70});
        if (form.bits <= 8) {  // a palette that has the fill colour stays
            Palette palette = b.palette();
            palette.back() = {255, 255, 255, 255};
            b.set_palette(palette);
        }
        const auto turned = turn_region(b, region, 9000, kWhite, {});
        ASSERT_TRUE(turned);
        EXPECT_EQ(turned->bitmap.bits(), b.bits()) << form.name;
        EXPECT_EQ(turned->region, region.turned(9000).clipped({0, 0, 90, 70}));
        const Rect from = region.bounds(), to = region.turned(9000).bounds();
        for (int y = 0; y < 70; ++y) {
            for (int x = 0; x < 90; ++x) {
                if (turned->region.contains(x, y)) {
                    ASSERT_EQ(pixel_value(turned->bitmap, x, y),
                              pixel_value(b, from.x + y - to.y, from.bottom() - 1 - (x - to.x)))
                        << form.name << " at " << x << ", " << y;
                } else if (region.contains(x, y)) {
                    ASSERT_EQ(turned->bitmap.pixel(x, y), (Rgba{255, 255, 255, 255})) << form.name;
                } else {
                    ASSERT_EQ(pixel_value(turned->bitmap, x, y), pixel_value(b, x, y)) << form.name;
                }
            }
        }
    }
}

TEST(TurnedRegions, FreeTurnsAndShearsBlendInsideAndTouchNothingElse) {
    const Region region = Region::ellipse({20, 12, 30, 16});
    const auto about = [](auto map) {
        return [map](double x, double y) {
            const Place p = map(x - 35, y - 20);
            return Place{p.x + 35, p.y + 20};
        };
    };
    const double a = 12 * std::numbers::pi / 180, t = std::tan(a);
    for (const Form form : {Form{"gray8", 8, true}, Form{"rgb24", 24, false}, Form{"index8", 8, false}}) {
        const Bitmap b = noise_picture(form, {90, 70});
        const Bitmap levels = *level_image(b, {});
        const auto check = [&](const Result<TurnedRegion>& result, const Region& want,
                               const std::function<Place(double, double)>& back) {
            ASSERT_TRUE(result);
            ASSERT_EQ(result->region, want);
            for (int y = 0; y < 70; ++y) {
                for (int x = 0; x < 90; ++x) {
                    if (want.contains(x, y)) {
                        const auto sample = slow_sample(levels, back(x + 0.5, y + 0.5));
                        ASSERT_NEAR(result->bitmap.pixel(x, y).g, sample[1], 1) << x << ", " << y;
                    } else if (region.contains(x, y)) {
                        ASSERT_EQ(result->bitmap.pixel(x, y), (Rgba{0, 0, 0, 255}));
                    } else {
                        ASSERT_EQ(pixel_value(result->bitmap, x, y), pixel_value(levels, x, y));
                    }
                }
            }
        };
        check(turn_region(b, region, 1200, 0, {}), region.turned(1200), about([&](double x, double y) {
                  return Place{x * std::cos(a) + y * std::sin(a), -x * std::sin(a) + y * std::cos(a)};
              }));
        check(shear_region(b, region, 1200, true, 0, {}), region.sheared(1200, true),
              about([&](double x, double y) {
                  return Place{x - y * t, y};
              }));
        check(shear_region(b, region, 1200, false, 0, {}), region.sheared(1200, false),
              about([&](double x, double y) {
                  return Place{x, y - x * t};
              }));
    }
}

TEST(TurnedRegions, AtTheEdgeBeyondItAndOutside) {
    const Bitmap b = noise_picture({"", 24, false}, {90, 20});
    const auto clipped = turn_region(b, Region::rectangle({10, 5, 60, 10}), 9000, kWhite, {});
    ASSERT_TRUE(clipped);
    EXPECT_EQ(clipped->region, Region::rectangle({35, 0, 10, 20}));
    const auto outside = turn_region(b, Region::rectangle({100, 5, 60, 10}), 4500, kWhite, {});
    ASSERT_TRUE(outside);
    EXPECT_TRUE(outside->region.empty());
    EXPECT_TRUE(same_picture(outside->bitmap, b));
    EXPECT_EQ(turn_region(Bitmap{}, Region::rectangle({0, 0, 1, 1}), 1, 0, {}).error().fault,
              Fault::malformed);
}

}  // namespace
}  // namespace quillmark::imaging
