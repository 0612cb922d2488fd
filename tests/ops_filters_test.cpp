// Filters: smoothing and relief against slow plain twins, known answers, parts, threads and odd sizes.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "imaging/ops/levels.h"
#include "imaging/ops/operation.h"
#include "imaging/ops/relief.h"
#include "support/pictures.h"

namespace quillmark::imaging {
namespace {

const std::vector<Form> kLevels{{"gray8", 8, true},
                                {"gray12", 12, true},
                                {"gray16", 16, true},
                                {"rgb24", 24, false},
                                {"rgba32", 32, false}};

std::uint16_t sample(const Bitmap& bitmap, int x, int y, int channel) {
    const LevelForm form = level_form(bitmap);
    if (form.wide) return bitmap.row16(y)[static_cast<std::size_t>(x)];
    return bitmap.row(y)[static_cast<std::size_t>(x * form.channels + channel)];
}

void set_sample(Bitmap& bitmap, int x, int y, int channel, int value) {
    const LevelForm form = level_form(bitmap);
    if (form.wide)
        bitmap.writable_row16(y)[static_cast<std::size_t>(x)] = static_cast<std::uint16_t>(value);
    else
        bitmap.writable_row(y)[static_cast<std::size_t>(x * form.channels + channel)] =
            static_cast<std::uint8_t>(value);
}

int highest(const Bitmap& bitmap) { return level_form(bitmap).wide ? (1 << bitmap.bits()) - 1 : 255; }

Bitmap blank(int width, int height, Form form) {
    auto made = Bitmap::create(width, height, form.bits, {}, form.gray);
    EXPECT_TRUE(made);
    return *made;
}

// Slopes, hard edges and noise: many levels, and runs of equal ones.
Bitmap picture(int width, int height, Form form, unsigned seed = 1) {
    Bitmap bitmap = blank(width, height, form);
    std::mt19937 random{seed};
    const auto top = static_cast<unsigned>(highest(bitmap));
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            for (int c = 0; c < level_form(bitmap).channels; ++c) {
                const unsigned slope = static_cast<unsigned>(x * 3 + y * 2 + c * 40) * (top / 255 + 1);
                const unsigned edge = (x / 13 + y / 7) % 3 == 0 ? top : 0;
                const unsigned value = (x / 20 + c) % 2 ? random() : random() % 4 ? slope : edge;
                set_sample(bitmap, x, y, c, static_cast<int>(value % (top + 1)));
            }
    return bitmap;
}

// The window's samples, borders repeated.
std::vector<int> window(const Bitmap& in, int x, int y, int channel, int radius) {
    std::vector<int> values;
    for (int dy = -radius; dy <= radius; ++dy)
        for (int dx = -radius; dx <= radius; ++dx)
            values.push_back(sample(in, std::clamp(x + dx, 0, in.width() - 1),
                                    std::clamp(y + dy, 0, in.height() - 1), channel));
    return values;
}

template <typename Rule>
Bitmap slowly(const Bitmap& in, int radius, Rule rule) {
    Bitmap out = in;
    EXPECT_TRUE(out.detach());
    for (int y = 0; y < in.height(); ++y)
        for (int x = 0; x < in.width(); ++x)
            for (int c = 0; c < std::min(level_form(in).channels, 3); ++c)
                set_sample(out, x, y, c, rule(window(in, x, y, c, radius)));
    return out;
}

const std::vector<Size> kSizes{{1, 1}, {1, 37}, {65, 3}, {150, 70}};

class Windows : public testing::TestWithParam<int> {};

TEST_P(Windows, AverageIsTheRoundedMean) {
    const int size = GetParam() | 1;
    for (const Form form : kLevels)
        for (const auto [width, height] : kSizes) {
            const Bitmap in = picture(width, height, form);
            const Bitmap expected = slowly(in, size / 2, [](const std::vector<int>& values) {
                std::int64_t sum = 0;
                for (const int value : values) sum += value;
                const auto count = static_cast<std::int64_t>(values.size());
                return static_cast<int>((2 * sum + count) / (2 * count));
            });
            EXPECT_TRUE(same_picture(done("Average", in, {GetParam()}), expected))
                << form.bits << " bits " << width << "x" << height;
        }
}

TEST_P(Windows, MedianIsExact) {
    const int size = std::min(GetParam() | 1, 127);
    for (const Form form : kLevels)
        for (const auto [width, height] : kSizes) {
            const Bitmap in = picture(width, height, form);
            const Bitmap expected = slowly(in, size / 2, [](std::vector<int> values) {
                std::ranges::nth_element(values,
                                         values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2));
                return values[values.size() / 2];
            });
            EXPECT_TRUE(same_picture(done("Median", in, {size}), expected))
                << form.bits << " bits " << width << "x" << height;
        }
}

INSTANTIATE_TEST_SUITE_P(Sizes, Windows, testing::Values(1, 2, 3, 5, 7, 9, 11, 13, 15, 17, 31, 35));

// Exchange networks are right when they are right for zeros and ones; a 5x5 window has 2^25 of those.
TEST(Median, NetworkOfFiveSortsEveryPatternOfZerosAndOnes) {
    constexpr int kWide = 4096, kTall = 340;
    std::mt19937 random{7};
    // A window's ones are dense near the middle count, where a wrong exchange shows.
    for (int round = 0; round < 3; ++round) {
        Bitmap in = blank(kWide, kTall, {"", 8, true});
        for (int y = 0; y < kTall; ++y)
            for (int x = 0; x < kWide; ++x)
                set_sample(in, x, y, 0, random() % 100 < 44U + 6U * round ? 1 : 0);
        const Bitmap out = done("Median", in, {5});
        for (int y = 2; y < kTall - 2; ++y)
            for (int x = 2; x < kWide - 2; ++x) {
                int ones = 0;
                for (int dy = -2; dy <= 2; ++dy)
                    for (int dx = -2; dx <= 2; ++dx) ones += sample(in, x + dx, y + dy, 0);
                ASSERT_EQ(sample(out, x, y, 0), ones >= 13 ? 1 : 0);
            }
    }
}

TEST(Median, LargestWindowOfExtremeLevels) {
    for (const int bits : {8, 16}) {
        const int top = (1 << bits) - 1;
        Bitmap in = blank(140, 131, {"", bits, true});
        for (int y = 0; y < in.height(); ++y)
            for (int x = 0; x < in.width(); ++x) set_sample(in, x, y, 0, x % 2 || y % 2 ? top : 0);
        EXPECT_EQ(sample(done("Median", in, {127}), 70, 65, 0), top);
    }
}

TEST(Average, LargestWindowOfTheHighestLevelStaysThere) {
    for (const Form form : kLevels) {
        Bitmap in = blank(300, 280, form);
        for (int y = 0; y < in.height(); ++y)
            for (int x = 0; x < in.width(); ++x)
                for (int c = 0; c < level_form(in).channels; ++c) set_sample(in, x, y, c, highest(in));
        EXPECT_TRUE(same_picture(done("Average", in, {255}), in)) << form.bits;
    }
}

TEST(Average, LargestWindowIsTheRoundedMean) {
    const Bitmap in = picture(40, 9, {"", 24, false});
    const Bitmap out = done("Average", in, {255});
    for (const Point at : {Point{0, 0}, Point{20, 4}, Point{39, 8}}) {
        std::int64_t sum = 0;
        for (const int value : window(in, at.x, at.y, 1, 127)) sum += value;
        EXPECT_EQ(sample(out, at.x, at.y, 1), (2 * sum + 65025) / (2 * 65025));
    }
}

TEST(Mosaic, BlocksTakeTheirMean) {
    for (const Form form : kLevels)
        for (const int size : {2, 7, 64, 1000}) {
            const Bitmap in = picture(65, 23, form);
            const Bitmap out = done("Mosaic", in, {size});
            for (int y = 0; y < in.height(); ++y)
                for (int x = 0; x < in.width(); ++x)
                    for (int c = 0; c < std::min(3, level_form(in).channels); ++c) {
                        std::int64_t sum = 0, count = 0;
                        for (int v = y / size * size; v < std::min(in.height(), y / size * size + size); ++v)
                            for (int u = x / size * size; u < std::min(in.width(), x / size * size + size);
                                 ++u, ++count)
                                sum += sample(in, u, v, c);
                        ASSERT_EQ(sample(out, x, y, c), (2 * sum + count) / (2 * count))
                            << form.bits << " bits, size " << size << " at " << x << "," << y;
                    }
        }
}

TEST(AddNoise, IsEvenBoundedAndOwnToItsSeed) {
    for (const Form form : kLevels) {
        Bitmap in = blank(400, 300, form);
        const int middle = highest(in) / 2, bound = (highest(in) + 9) / 10;
        for (int y = 0; y < in.height(); ++y)
            for (int x = 0; x < in.width(); ++x)
                for (int c = 0; c < level_form(in).channels; ++c) set_sample(in, x, y, c, middle);
        const Bitmap out = done("AddNoise", in, {100, 5});
        EXPECT_TRUE(same_picture(out, done("AddNoise", in, {100, 5})));
        EXPECT_FALSE(same_picture(out, done("AddNoise", in, {100, 6})));
        double sum = 0, squares = 0, along = 0;
        int least = 0, greatest = 0;
        for (int y = 0; y < in.height(); ++y)
            for (int x = 0; x < in.width(); ++x) {
                const int change = sample(out, x, y, 0) - middle;
                sum += change, squares += double{1} * change * change;
                if (x > 0) along += double{1} * change * (sample(out, x - 1, y, 0) - middle);
                least = std::min(least, change), greatest = std::max(greatest, change);
            }
        const double count = 120'000, variance = squares / count, amplitude = highest(in) / 10.0;
        EXPECT_LE(greatest, bound);
        EXPECT_GE(least, -bound);
        EXPECT_GT(greatest, 0.95 * amplitude);
        EXPECT_LT(least, -0.95 * amplitude);
        EXPECT_NEAR(sum / count, 0, amplitude / 100);
        EXPECT_NEAR(variance, amplitude * amplitude / 3, amplitude * amplitude / 30);
        EXPECT_NEAR(along / count / variance, 0, 0.02);  // neighbours know nothing of each other
    }
}

TEST(AddNoise, AtFullAmountReachesBothEndsWithoutWrappingAround) {
    for (const Form form : kLevels) {
        Bitmap dark = blank(200, 100, form), light = blank(200, 100, form);
        for (int y = 0; y < 100; ++y)
            for (int x = 0; x < 200; ++x)
                for (int c = 0; c < level_form(light).channels; ++c)
                    set_sample(light, x, y, c, highest(light));
        int least = highest(light), most = 0, unchanged = 0;
        const Bitmap from_dark = done("AddNoise", dark, {1000, 2}),
                     from_light = done("AddNoise", light, {1000, 2});
        for (int y = 0; y < 100; ++y)
            for (int x = 0; x < 200; ++x) {
                most = std::max<int>(most, sample(from_dark, x, y, 0));
                least = std::min<int>(least, sample(from_light, x, y, 0));
                // The same change, limited below or above: one of the two stays where it was.
                unchanged += sample(from_dark, x, y, 0) == 0 || sample(from_light, x, y, 0) == highest(light);
            }
        EXPECT_GT(most, highest(light) * 0.99);
        EXPECT_LT(least, highest(light) * 0.01);
        EXPECT_EQ(unchanged, 20'000);
    }
}

// Weights from the upper left, written down from the textbook definitions.
struct KernelCase {
    int code;
    std::array<int, 9> weights;
    bool absolute;
};
const std::array kKernels{
    KernelCase{0, {1, 1, 1, 1, -2, 1, -1, -1, -1}, false},
    KernelCase{3, {-1, -1, 1, -1, -2, 1, 1, 1, 1}, false},
    KernelCase{6, {1, 1, -1, 1, -2, -1, 1, 1, -1}, false},
    KernelCase{10, {0, 1, 0, 1, -4, 1, 0, 1, 0}, true},
    KernelCase{11, {1, 1, 1, 1, -8, 1, 1, 1, 1}, true},
    KernelCase{12, {1, 0, 1, 0, -4, 0, 1, 0, 1}, true},
    KernelCase{13, {1, -2, 1, -2, 4, -2, 1, -2, 1}, true},
    KernelCase{20, {-1, -2, -1, 0, 0, 0, 1, 2, 1}, true},
    KernelCase{21, {-1, 0, 1, -2, 0, 2, -1, 0, 1}, true},
    KernelCase{30, {-1, -1, -1, 0, 0, 0, 1, 1, 1}, true},
    KernelCase{31, {-1, 0, 1, -1, 0, 1, -1, 0, 1}, true},
    KernelCase{40, {0, 0, 0, 1, -1, 0, 0, 0, 0}, true},
    KernelCase{41, {0, 1, 0, 0, -1, 0, 0, 0, 0}, true},
    KernelCase{42, {1, 0, 0, 0, -1, 0, 0, 0, 0}, true},
    KernelCase{50, {-1, -1, -1, 2, 2, 2, -1, -1, -1}, false},
    KernelCase{51, {-1, 2, -1, -1, 2, -1, -1, 2, -1}, false},
    KernelCase{52, {2, -1, -1, -1, 2, -1, -1, -1, 2}, false},
    KernelCase{53, {-1, -1, 2, -1, 2, -1, 2, -1, -1}, false},
};

std::int64_t weigh(const std::vector<int>& values, const std::array<int, 9>& weights) {
    std::int64_t sum = 0;
    for (std::size_t i = 0; i < 9; ++i) sum += std::int64_t{values[i]} * weights[i];
    return sum;
}

TEST(SpatialFilter, FollowsTheKernels) {
    for (const Form form : kLevels)
        for (const auto [width, height] : kSizes)
            for (const KernelCase& kernel : kKernels) {
                const Bitmap in = picture(width, height, form);
                const Bitmap expected = slowly(in, 1, [&](const std::vector<int>& values) {
                    const std::int64_t sum = weigh(values, kernel.weights);
                    return static_cast<int>(
                        std::clamp<std::int64_t>(kernel.absolute ? std::abs(sum) : sum, 0, highest(in)));
                });
                EXPECT_TRUE(same_picture(done("SpatialFilter", in, {kernel.code}), expected))
                    << kernel.code << ": " << form.bits << " bits " << width << "x" << height;
            }
}

TEST(SpatialFilter, BothDirectionsGiveTheLengthOfTheGradient) {
    for (const Form form : kLevels)
        for (const int centre : {1, 2}) {
            const Bitmap in = picture(65, 31, form);
            const Bitmap expected = slowly(in, 1, [&](const std::vector<int>& values) {
                const auto x = static_cast<double>(weigh(values, {-1, 0, 1, -centre, 0, centre, -1, 0, 1}));
                const auto y = static_cast<double>(weigh(values, {-1, -centre, -1, 0, 0, 0, 1, centre, 1}));
                return static_cast<int>(std::min<long>(std::lround(std::sqrt(x * x + y * y)), highest(in)));
            });
            EXPECT_TRUE(same_picture(done("SpatialFilter", in, {centre == 1 ? 32 : 22}), expected))
                << form.bits;
        }
}

// A bright point answers in the direction that the names say.
TEST(SpatialFilter, GradientsPointWhereTheyAreNamedAfter) {
    constexpr std::array<Point, 8> kDirections{
        {{0, -1}, {1, -1}, {1, 0}, {1, 1}, {0, 1}, {-1, 1}, {-1, 0}, {-1, -1}}};
    for (int code = 0; code < 8; ++code) {
        Bitmap in = blank(5, 5, {"", 8, true});
        const Point to = kDirections[static_cast<std::size_t>(code)];
        for (int y = 0; y < 5; ++y)
            for (int x = 0; x < 5; ++x) set_sample(in, x, y, 0, 100 + 5 * ((x - 2) * to.x + (y - 2) * to.y));
        const int along = sample(done("SpatialFilter", in, {code}), 2, 2, 0);
        const int against = sample(done("SpatialFilter", in, {(code + 4) % 8}), 2, 2, 0);
        EXPECT_GT(along, 20) << code;
        EXPECT_EQ(against, 0) << code;
    }
}

TEST(SpatialFilter, FamiliesHoldEveryCodeOnceInOrder) {
    const Parameter& parameter = find_operation("SpatialFilter")->parameters[0];
    std::vector<int> codes;
    for (const FilterFamily& family : filter_families())
        for (const Choice& choice : family.choices) codes.push_back(choice.value);
    ASSERT_EQ(codes.size(), 25U);
    EXPECT_TRUE(std::ranges::equal(codes, parameter.choices, {}, {}, &Choice::value));
    EXPECT_TRUE(std::ranges::adjacent_find(codes, std::greater_equal{}) == codes.end());
    EXPECT_EQ(filter_families().size(), 6U);
}

TEST(Sharpen, AddsTheDifferenceFromTheBinomialMean) {
    for (const Form form : kLevels)
        for (const int amount : {-1000, -250, 500, 1000}) {
            const Bitmap in = picture(65, 31, form);
            const Bitmap out = done("Sharpen", in, {amount});
            int worst = 0;
            for (int y = 0; y < in.height(); ++y)
                for (int x = 0; x < in.width(); ++x) {
                    const auto values = window(in, x, y, 0, 1);
                    const double mean = static_cast<double>(weigh(values, {1, 2, 1, 2, 4, 2, 1, 2, 1})) / 16;
                    const double exact = std::clamp(values[4] + amount / 1000.0 * (values[4] - mean), 0.0,
                                                    static_cast<double>(highest(in)));
                    worst = std::max(worst, static_cast<int>(std::abs(sample(out, x, y, 0) - exact) + 0.499));
                }
            EXPECT_LE(worst, 0) << form.bits << " bits, amount " << amount;
        }
}

TEST(Emboss, SlopesTowardsTheUpperLeftAreBright) {
    Bitmap in = blank(5, 5, {"", 24, false});
    for (int y = 0; y < 5; ++y)
        for (int x = 0; x < 5; ++x) set_sample(in, x, y, 1, 10 * (x + y));
    const Bitmap out = done("Emboss", in, {100});
    EXPECT_EQ(sample(out, 2, 2, 1), 128 + 40);
    EXPECT_EQ(sample(out, 2, 2, 0), 128);
    EXPECT_EQ(sample(done("Emboss", in, {250}), 2, 2, 1), 228);
    EXPECT_EQ(sample(done("Emboss", in, {1000}), 2, 2, 1), 255);
}

TEST(EdgeComponent, IsTheSignedDifferenceAroundTheMiddle) {
    Bitmap in = blank(3, 3, {"", 16, true});
    set_sample(in, 1, 1, 0, 16'000);
    // The mean is 4/16 of the point: the difference 12000.
    EXPECT_EQ(sample(done("EdgeComponent", in, {16}), 1, 1, 0), 32'768 + 12'000);
    EXPECT_EQ(sample(done("EdgeComponent", in, {8}), 1, 1, 0), 32'768 + 6'000);
    EXPECT_EQ(sample(done("EdgeComponent", in, {16}), 0, 0, 0), 32'768 - 1'000);
    EXPECT_EQ(sample(done("EdgeComponent", in, {0}), 1, 1, 0), 32'768);
}

}  // namespace
}  // namespace quillmark::imaging
