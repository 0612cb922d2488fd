// Tone operations: known answers, every form, regions, threads, and the vector kernels against plain ones.
#include <gtest/gtest.h>

#include <cmath>
#include <set>
#include <string>

#include "imaging/ops/histogram.h"
#include "imaging/ops/level_table.h"
#include "imaging/ops/operation.h"
#include "support/pictures.h"

namespace quillmark::imaging {
namespace {

using Arguments = std::vector<int>;

// One row that holds these samples, in every channel that is not alpha.
Bitmap row_of(const std::vector<int>& samples, int bits, bool gray = false) {
    auto bitmap = *Bitmap::create(static_cast<int>(samples.size()), 1, bits, Limits{}, gray);
    const std::size_t step = bits >= 24 && !gray ? static_cast<std::size_t>(bits) / 8 : 1;
    for (std::size_t x = 0; x < samples.size(); ++x) {
        if (gray && bits > 8)
            bitmap.writable_row16(0)[x] = static_cast<std::uint16_t>(samples[x]);
        else
            std::fill_n(bitmap.writable_row(0).begin() + static_cast<std::ptrdiff_t>(x * step), step,
                        static_cast<std::uint8_t>(samples[x]));
    }
    return bitmap;
}

int sample(const Bitmap& bitmap, int x) {
    return bitmap.layout() == Layout::gray16 ? bitmap.row16(0)[static_cast<std::size_t>(x)]
                                             : bitmap.pixel(x, 0).g;
}

struct Known {
    const char* name;
    Arguments arguments;
    int bits;  // 8: in the forms of 8 bits a channel; 12 and 16: greys
    std::vector<int> in, out;
};

const std::vector<Known> kKnown{
    {"Intensity", {100}, 8, {0, 100, 229, 230, 255}, {26, 126, 255, 255, 255}},
    {"Intensity", {-100}, 8, {0, 26, 27, 255}, {0, 0, 1, 229}},
    {"Intensity", {1000}, 8, {0, 255}, {255, 255}},
    {"Intensity", {-1000}, 8, {0, 1, 255}, {0, 0, 0}},
    {"Intensity", {5000}, 8, {0, 255}, {255, 255}},
    {"Intensity", {500}, 12, {0, 100, 2047, 2048, 4095}, {2048, 2148, 4095, 4095, 4095}},
    {"Intensity", {-100}, 16, {6553, 6554, 6555, 65535}, {0, 0, 1, 58981}},
    {"Contrast", {-500}, 8, {0, 127, 128, 255}, {64, 127, 128, 191}},
    {"Contrast", {200}, 8, {0, 26, 100, 127, 128, 200, 255}, {0, 1, 93, 127, 128, 218, 255}},
    {"Contrast", {1000}, 8, {0, 127, 128, 255}, {0, 0, 255, 255}},
    {"Contrast", {999}, 8, {0, 127, 128, 255}, {0, 0, 255, 255}},
    {"Contrast", {-1000}, 8, {0, 127, 128, 255}, {128, 128, 128, 128}},
    {"Contrast", {1000}, 16, {0, 32767, 32768, 65535}, {0, 0, 65535, 65535}},
    {"Contrast", {-500}, 12, {0, 2047, 2048, 4095}, {1024, 2047, 2048, 3071}},
    {"GammaCorrect", {200}, 8, {0, 1, 64, 128, 255}, {0, 16, 128, 181, 255}},
    {"GammaCorrect", {50}, 8, {0, 16, 128, 200, 255}, {0, 1, 64, 157, 255}},
    {"GammaCorrect", {220}, 8, {0, 128, 255}, {0, 186, 255}},
    {"GammaCorrect", {200}, 12, {0, 1024, 4095}, {0, 2048, 4095}},
    {"GammaCorrect", {50}, 16, {0, 256, 32768, 65535}, {0, 1, 16384, 65535}},
    {"Invert", {}, 8, {0, 77, 128, 255}, {255, 178, 127, 0}},
    {"Invert", {}, 12, {0, 1000, 4095}, {4095, 3095, 0}},
    {"Invert", {}, 16, {0, 1000, 65535}, {65535, 64535, 0}},
    {"Posterize", {2}, 8, {0, 127, 128, 255}, {0, 0, 255, 255}},
    {"Posterize", {3}, 8, {63, 64, 191, 192}, {0, 128, 128, 255}},
    {"Posterize", {4}, 8, {42, 43, 127, 128, 212, 213}, {0, 85, 85, 170, 170, 255}},
    {"Posterize", {2}, 12, {0, 2047, 2048, 4095}, {0, 0, 4095, 4095}},
    {"Posterize", {4}, 16, {10922, 10923, 32767, 32768}, {0, 21845, 21845, 43690}},
    {"IntensityDetect", {50, 150}, 8, {49, 50, 150, 151}, {0, 255, 255, 0}},
    {"IntensityDetect", {77, 77}, 8, {76, 77, 78}, {0, 255, 0}},
    {"IntensityDetect", {50, 150}, 12, {799, 800, 2415, 2416}, {0, 4095, 4095, 0}},
    {"IntensityDetect", {50, 255}, 16, {12799, 12800, 65535}, {0, 65535, 65535}},
    {"HistoContrast", {500}, 8, {50, 150, 100, 100}, {0, 200, 100, 100}},
    {"HistoContrast", {1000}, 8, {99, 101, 100, 100}, {0, 255, 100, 100}},
    {"HistoContrast", {-500}, 8, {50, 150}, {75, 125}},
    {"HistoContrast", {500}, 16, {30000, 40000}, {25000, 45000}},
    {"HistoContrast", {1000}, 8, {200, 200, 200}, {200, 200, 200}},
    {"HistoEqualize", {}, 8, {52, 60, 60, 70}, {0, 170, 170, 255}},
    {"HistoEqualize", {}, 8, {9, 9, 9}, {9, 9, 9}},
    {"HistoEqualize", {}, 12, {52, 60, 60, 70}, {0, 2730, 2730, 4095}},
    {"StretchIntensity", {}, 8, {50, 100, 200}, {0, 85, 255}},
    {"StretchIntensity", {}, 8, {9, 9}, {9, 9}},
    {"StretchIntensity", {}, 12, {100, 200, 1100}, {0, 410, 4095}},
    {"StretchIntensity", {}, 16, {1000, 2000, 11000}, {0, 6554, 65535}},
};

TEST(Tone, GivesTheKnownAnswers) {
    std::set<std::string> names;
    for (const Known& known : kKnown) {
        names.insert(known.name);
        const bool wide = known.bits > 8;
        for (const int bits : wide ? std::vector{known.bits} : std::vector{8, 24, 32}) {
            const Bitmap in = row_of(known.in, bits, wide);
            const auto out = run(known.name, in, known.arguments);
            ASSERT_TRUE(out) << known.name;
            EXPECT_EQ(out->bits(), bits);
            for (int x = 0; x < in.width(); ++x) {
                EXPECT_EQ(sample(*out, x), known.out[static_cast<std::size_t>(x)])
                    << known.name << ' ' << bits << " bits, level " << sample(in, x);
                EXPECT_EQ(out->pixel(x, 0).a, in.pixel(x, 0).a) << known.name;
            }
        }
    }
    EXPECT_EQ(names.size(), tone_operations().size()) << "every operation has known answers";
}

// What a test asks of every operation.
struct Case {
    const char* name;
    Arguments arguments;
};
const std::vector<Case> kCases{
    {"Intensity", {170}},           {"Intensity", {-170}},    {"Contrast", {300}},   {"Contrast", {-300}},
    {"GammaCorrect", {180}},        {"HistoContrast", {400}}, {"HistoEqualize", {}}, {"StretchIntensity", {}},
    {"IntensityDetect", {60, 190}}, {"Invert", {}},           {"Posterize", {5}}};

// The picture with every pixel's colour stored on its own.
Bitmap spelled_out(const Bitmap& bitmap) {
    auto result = *Bitmap::create(bitmap.width(), bitmap.height(), 32, Limits{});
    for (int y = 0; y < bitmap.height(); ++y) {
        for (int x = 0; x < bitmap.width(); ++x) {
            const Rgba c = bitmap.pixel(x, y);
            std::copy_n(std::array{c.r, c.g, c.b, c.a}.begin(), 4, result.writable_row(y).begin() + x * 4);
        }
    }
    return result;
}

TEST(Tone, DoesTheSameToEveryFormOfAPicture) {
    int compared = 0;
    for (const Form& form : kForms) {
        if (form.gray && form.bits > 8) continue;  // their levels are finer
        for (const Size size : kOddSizes) {
            const Bitmap in = noise_picture(form, size);
            for (const Case& one : kCases) {
                const auto out = run(one.name, in, one.arguments);
                const auto expected = run(one.name, spelled_out(in), one.arguments);
                ASSERT_TRUE(out && expected);
                ASSERT_TRUE(same_picture(spelled_out(*out), *expected)) << one.name << ' ' << form.name;
                ++compared;
            }
        }
    }
    EXPECT_EQ(compared, 10 * 4 * 11);
}

TEST(Tone, ChangesPalettesAndNotTheirPixels) {
    for (const Form& form : kForms) {
        if (form.bits > 8) continue;
        const Bitmap in = noise_picture(form, {50, 9});
        for (const Case& one : kCases) {
            const auto out = run(one.name, in, one.arguments);
            ASSERT_TRUE(out);
            EXPECT_EQ(out->row(0).data(), in.row(0).data()) << one.name << ' ' << form.name;
            EXPECT_EQ(out->bits(), in.bits());
        }
    }
}

TEST(Tone, IndicesWithoutAnEntryAreBlackAndChangeWithIt) {
    auto in = *Bitmap::create(2, 1, 4, Limits{});
    in.set_palette({{10, 20, 30, 255}});
    in.writable_row(0)[1] = 9;
    EXPECT_EQ(run("Invert", in, {})->pixel(1, 0), (Rgba{255, 255, 255, 255}));
    EXPECT_EQ(run("Posterize", in, {2})->palette().size(), 1U) << "black stays black without an entry";
}

TEST(Tone, InvertTwiceIsNothing) {
    for (const Form& form : kForms) {
        for (const Size size : kOddSizes) {
            const Bitmap in = noise_picture(form, size);
            const auto twice = run("Invert", *run("Invert", in, {}), {});
            EXPECT_TRUE(same_picture(spelled_out(*twice), spelled_out(in))) << form.name;
        }
    }
}

TEST(Tone, EqualisedPicturesStayWithinALevel) {
    for (const Form& form : kForms) {
        const Bitmap once = *run("HistoEqualize", noise_picture(form, {131, 90}), {});
        const Bitmap twice = *run("HistoEqualize", once, {});
        for (int y = 0; y < once.height(); ++y) {
            for (int x = 0; x < once.width(); ++x) {
                if (once.layout() == Layout::gray16) {
                    ASSERT_LE(std::abs(static_cast<int>(pixel_value(once, x, y)) -
                                       static_cast<int>(pixel_value(twice, x, y))),
                              1);
                    continue;
                }
                const Rgba a = once.pixel(x, y), b = twice.pixel(x, y);
                ASSERT_LE(std::max({std::abs(a.r - b.r), std::abs(a.g - b.g), std::abs(a.b - b.b)}), 1)
                    << form.name;
            }
        }
    }
}

TEST(Tone, StretchKeepsTheBalanceAndEqualiseTreatsChannelsAlone) {
    auto in = *Bitmap::create(2, 1, 24, Limits{});
    std::copy_n(std::array<std::uint8_t, 6>{50, 100, 120, 200, 150, 120}.begin(), 6,
                in.writable_row(0).begin());
    const auto stretched = run("StretchIntensity", in, {});
    EXPECT_EQ(stretched->pixel(0, 0), (Rgba{0, 85, 119, 255}));
    EXPECT_EQ(stretched->pixel(1, 0), (Rgba{255, 170, 119, 255}));
    const auto equalised = run("HistoEqualize", in, {});
    EXPECT_EQ(equalised->pixel(0, 0), (Rgba{0, 0, 120, 255}));
    EXPECT_EQ(equalised->pixel(1, 0), (Rgba{255, 255, 120, 255}));
}

TEST(Tone, DetectionGoesByLuminanceAndKeepsAlpha) {
    for (const int bits : {24, 32}) {
        auto in = *Bitmap::create(3, 1, bits, Limits{});  // red, green, blue: 76, 150, 29
        for (std::size_t x = 0; x < 3; ++x) {
            in.writable_row(0)[x * static_cast<std::size_t>(bits / 8) + x] = 255;
            if (bits == 32) in.writable_row(0)[x * 4 + 3] = static_cast<std::uint8_t>(40 + x);
        }
        const auto out = run("IntensityDetect", in, {76, 149});
        for (int x = 0; x < 3; ++x) {
            const std::uint8_t level = x == 0 ? 255 : 0;
            EXPECT_EQ(out->pixel(x, 0), (Rgba{level, level, level, in.pixel(x, 0).a}));
        }
    }
    for (const Form& form : kForms) {
        const auto refused = run("IntensityDetect", noise_picture(form, {3, 3}), {10, 9});
        ASSERT_FALSE(refused);
        EXPECT_EQ(refused.error().fault, Fault::bad_parameter);
    }
}

TEST(Tone, AsksForFittingStatistics) {
    const Bitmap in = noise_picture({"rgb24", 24, false}, {64, 3});
    Statistics other;  // of an image with other levels
    for (auto& levels : other.levels) levels.resize(16);
    Context wrong;
    wrong.statistics = &other;
    for (const char* name : {"HistoContrast", "HistoEqualize", "StretchIntensity"})
        EXPECT_EQ(find_operation(name)->run(in, std::array{100}, wrong).error().fault, Fault::bad_parameter);
}

// --- kernels ---

RgbTables random_tables(unsigned seed) {
    std::mt19937 random{seed};
    RgbTables tables;
    for (auto& table : tables)
        for (auto& value : table) value = static_cast<std::uint8_t>(random());
    return tables;
}

std::vector<std::uint8_t> random_bytes(std::size_t count) {
    const Bitmap noise = noise_picture({"gray8", 8, true}, {static_cast<int>(count) + 1, 1});
    return {noise.row(0).begin(), noise.row(0).begin() + static_cast<std::ptrdiff_t>(count)};
}

TEST(Tables, EveryKernelGivesWhatThePlainLoopGives) {
    const RgbTables tables = random_tables(7);
    for (std::size_t count = 0; count <= 700; count += count < 140 ? 1 : 37) {
        const auto in = random_bytes(count);
        std::vector<std::uint8_t> expected(count), out(count);
        plain::map_levels(in.data(), expected.data(), count, tables[0]);
        map_levels(in.data(), out.data(), count, tables[0]);
        ASSERT_EQ(out, expected) << count;
#if defined(__x86_64__)
        if (!__builtin_cpu_supports("avx2")) continue;
        std::ranges::fill(out, std::uint8_t{0});
        avx2::map_levels(in.data(), out.data(), count, tables[0]);
        ASSERT_EQ(out, expected) << count;
#endif
    }
}

TEST(Tables, EveryLevelOfEveryChannelFindsItsTable) {
    for (const bool equal : {false, true}) {
        RgbTables tables = random_tables(9);
        if (equal) tables[1] = tables[2] = tables[0];
        for (const std::size_t pixels : {0U, 1U, 63U, 64U, 65U, 200U, 1000U}) {
            const auto in = random_bytes(pixels * 4);
            std::vector<std::uint8_t> rgb(pixels * 3), slow(pixels * 3), rgba(pixels * 4);
            map_rgb(in.data(), rgb.data(), pixels, tables);
            plain::map_rgb(in.data(), slow.data(), pixels, tables);
            map_rgba(in.data(), rgba.data(), pixels, tables);
            ASSERT_EQ(rgb, slow);
            for (std::size_t i = 0; i < rgb.size(); ++i) ASSERT_EQ(rgb[i], tables[i % 3][in[i]]);
            for (std::size_t i = 0; i < rgba.size(); ++i)
                ASSERT_EQ(rgba[i], i % 4 == 3 ? in[i] : tables[i % 4][in[i]]);
        }
    }
}

}  // namespace
}  // namespace quillmark::imaging
