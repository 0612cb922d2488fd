// What holds for every operation, whatever it does: the table, all depths, odd sizes, regions, parts,
// threads, stops.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <set>
#include <string>
#include <vector>

#include "imaging/ops/levels.h"
#include "imaging/ops/operation.h"
#include "imaging/ops/row_loop.h"
#include "imaging/threads.h"
#include "support/fixtures.h"

namespace quillmark::tests {
namespace {

using namespace imaging;

/// Every form in which an image comes.
enum class Kind {
    bilevel,
    colours16,
    gray8,
    colours256,
    transparent256,
    gray12,
    gray16,
    colour16,
    colour24,
    alpha32
};
constexpr Kind kKinds[] = {Kind::bilevel,        Kind::colours16, Kind::gray8,  Kind::colours256,
                           Kind::transparent256, Kind::gray12,    Kind::gray16, Kind::colour16,
                           Kind::colour24,       Kind::alpha32};
constexpr int kBits[] = {1, 4, 8, 8, 8, 12, 16, 16, 24, 32};

struct Size {
    int width, height;
};
constexpr Size kSizes[] = {{1, 1}, {1, 37}, {65, 3}, {31, 29}};

int bits_of(Kind kind) { return kBits[static_cast<std::size_t>(kind)]; }

Bitmap image(int width, int height, Kind kind) {
    const int bits = bits_of(kind);
    if (kind == Kind::gray12 || kind == Kind::gray16) {
        auto bitmap = Bitmap::create(width, height, bits, Limits{}, true);
        EXPECT_TRUE(bitmap);
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x)
                bitmap->writable_row16(y)[static_cast<std::size_t>(x)] =
                    static_cast<std::uint16_t>((x * 397 + y * 911) & ((1 << bits) - 1));
        }
        return *bitmap;
    }
    Bitmap bitmap = pattern(width, height, bits);
    if (kind == Kind::colours16 || kind == Kind::colours256 || kind == Kind::transparent256) {
        Palette palette;
        for (int i = 0; i < 1 << bits; ++i)
            palette.push_back({static_cast<std::uint8_t>(i * 37), static_cast<std::uint8_t>(255 - i),
                               static_cast<std::uint8_t>(i * 11), 255});
        if (kind == Kind::transparent256) palette[3].a = 0, palette[7].a = 100;
        bitmap.set_palette(std::move(palette));
    }
    return bitmap;
}

void expect_same(const Bitmap& a, const Bitmap& b, const std::string& what) {
    ASSERT_EQ(a.width(), b.width()) << what;
    ASSERT_EQ(a.height(), b.height()) << what;
    for (int y = 0; y < a.height(); ++y) {
        for (int x = 0; x < a.width(); ++x)
            ASSERT_EQ(a.pixel(x, y), b.pixel(x, y)) << what << " at " << x << "," << y;
    }
}

std::string named(const Operation& operation, Kind kind, const Size& size) {
    return std::string{operation.name} + " kind " + std::to_string(static_cast<int>(kind)) + " " +
           std::to_string(size.width) + "x" + std::to_string(size.height);
}

// The initial values; Size and Trim have none that fit every image.
std::vector<int> arguments_for(const Operation& operation, const Size& size) {
    std::vector<int> values;
    for (const Parameter& parameter : operation.parameters) values.push_back(parameter.initial);
    if (operation.name == "Trim") values = {size.width / 2, size.height / 2, 1, 1};
    return values;
}

template <typename Body>
void for_each_case(Body body) {
    int cases = 0;
    for (const Operation* operation : all_operations()) {
        for (const Kind kind : kKinds) {
            for (const Size& size : kSizes) {
                body(*operation, image(size.width, size.height, kind), arguments_for(*operation, size),
                     named(*operation, kind, size));
                ++cases;
            }
        }
    }
    // As many as the engine names.
    ASSERT_GE(cases, 28 * 10 * 4);
}

TEST(OpsTable, rows_are_sound) {
    std::set<std::string_view> names;
    for (const Operation* operation : all_operations()) {
        EXPECT_TRUE(names.insert(operation->name).second) << operation->name;
        EXPECT_FALSE(operation->what.empty()) << operation->name;
        for (const Parameter& parameter : operation->parameters) {
            const std::string what = std::string{operation->name} + " " + std::string{parameter.name};
            EXPECT_LE(parameter.low, parameter.initial) << what;
            EXPECT_LE(parameter.initial, parameter.high) << what;
            EXPECT_LE(parameter.low, parameter.identity.value_or(parameter.low)) << what;
        }
    }
    for (const std::string_view name : {"Intensity",
                                        "Contrast",
                                        "Hue",
                                        "Saturation",
                                        "GammaCorrect",
                                        "HistoContrast",
                                        "HistoEqualize",
                                        "StretchIntensity",
                                        "IntensityDetect",
                                        "Invert",
                                        "Grayscale",
                                        "Posterize",
                                        "Mosaic",
                                        "Average",
                                        "Median",
                                        "Sharpen",
                                        "AddNoise",
                                        "Emboss",
                                        "SpatialFilter",
                                        "EdgeComponent",
                                        "Flip",
                                        "Reverse",
                                        "Rotate",
                                        "Shear",
                                        "Size",
                                        "Trim",
                                        "ColorRes",
                                        "Halftone"})
        EXPECT_TRUE(names.contains(name)) << name;
}

TEST(OpsTable, every_depth_and_size_works_and_the_input_stays) {
    for_each_case([](const Operation& operation, const Bitmap& bitmap, const std::vector<int>& arguments,
                     const std::string& what) {
        auto copy = cropped(bitmap, {0, 0, bitmap.width(), bitmap.height()}, {});
        ASSERT_TRUE(copy) << what;
        const auto result = apply(operation, bitmap, arguments, nullptr, {});
        ASSERT_TRUE(result) << what << ": " << result.error().where.text();
        expect_same(bitmap, *copy, what + " input");
        if (operation.scope == Scope::whole) return;
        EXPECT_EQ(result->width(), bitmap.width()) << what;
        EXPECT_EQ(result->height(), bitmap.height()) << what;
        // Alpha survives.
        for (int x = 0; x < bitmap.width() && operation.scope == Scope::pixels; ++x)
            ASSERT_EQ(result->pixel(x, 0).a, bitmap.pixel(x, 0).a) << what;
    });
}

TEST(OpsTable, threads_do_not_matter) {
    for (const Operation* operation : all_operations()) {
        for (const Kind kind : kKinds) {
            const Size size{203, 301};
            const Bitmap bitmap = image(size.width, size.height, kind);
            const auto arguments = arguments_for(*operation, size);
            std::vector<Bitmap> results;
            for (const int threads : {1, 2, 7}) {
                set_thread_count(threads);
                auto result = apply(*operation, bitmap, arguments, nullptr, {});
                set_thread_count(0);
                ASSERT_TRUE(result) << named(*operation, kind, size);
                results.push_back(std::move(*result));
            }
            expect_same(results[0], results[1], named(*operation, kind, size));
            expect_same(results[0], results[2], named(*operation, kind, size));
        }
    }
}

TEST(OpsTable, identity_values_change_nothing) {
    int tried = 0;
    for (const Operation* operation : all_operations()) {
        const auto has_identity = [](const Parameter& parameter) { return parameter.identity.has_value(); };
        if (std::ranges::none_of(operation->parameters, has_identity)) continue;
        ++tried;
        for (const Kind kind : kKinds) {
            const Bitmap bitmap = image(31, 29, kind);
            std::vector<int> values;
            for (const Parameter& parameter : operation->parameters)
                values.push_back(parameter.identity.value_or(parameter.initial));
            if (operation->name == "EdgeComponent") continue;  // its identity is that of the combination
            const auto result = apply(*operation, bitmap, values, nullptr, {});
            ASSERT_TRUE(result) << operation->name;
            expect_same(bitmap, *result, named(*operation, kind, {31, 29}));
        }
    }
    EXPECT_GE(tried, 10);
}

TEST(OpsTable, a_region_limits_exactly) {
    const Region ellipse = Region::ellipse({5, 4, 20, 17});
    for_each_case([&](const Operation& operation, const Bitmap& bitmap, const std::vector<int>& arguments,
                      const std::string& what) {
        if (operation.scope == Scope::whole) return;
        const auto limited = apply(operation, bitmap, arguments, &ellipse, {});
        ASSERT_TRUE(limited) << what;
        Result<Bitmap> full = apply(operation, bitmap, arguments, nullptr, {});
        ASSERT_TRUE(full) << what;
        for (int y = 0; y < bitmap.height(); ++y) {
            for (int x = 0; x < bitmap.width(); ++x) {
                if (!ellipse.contains(x, y)) {
                    ASSERT_EQ(limited->pixel(x, y), bitmap.pixel(x, y))
                        << what << " outside " << x << "," << y;
                } else if (operation.scope == Scope::pixels && !operation.statistics) {
                    ASSERT_EQ(limited->pixel(x, y), full->pixel(x, y)) << what << " inside " << x << "," << y;
                }
            }
        }
    });
}

TEST(OpsTable, a_part_equals_the_whole_there) {
    const Size size{71, 53};
    const Rect part{13, 7, 40, 33};
    const Region region = Region::ellipse({20, 2, 45, 30});
    for (const Operation* operation : all_operations()) {
        if (operation->scope != Scope::pixels) continue;
        for (const Kind kind : kKinds) {
            for (const Region* selected : {static_cast<const Region*>(nullptr), &region}) {
                const Bitmap bitmap = image(size.width, size.height, kind);
                const auto arguments = arguments_for(*operation, size);
                const auto whole = apply(*operation, bitmap, arguments, selected, {});
                const auto piece = apply_part(*operation, bitmap, arguments, selected, part, {});
                ASSERT_TRUE(whole && piece) << named(*operation, kind, size);
                const auto expected = cropped(*whole, part, {});
                ASSERT_TRUE(expected);
                expect_same(*expected, *piece, named(*operation, kind, size));
            }
        }
    }
}

TEST(OpsTable, rows_are_visited_once_whatever_the_split) {
    for (const int threads : {1, 2, 7}) {
        set_thread_count(threads);
        for (const int count : {1, 15, 16, 17, 1000, 5003}) {
            for (const int grain : {1, 16, 64}) {
                std::vector<std::atomic<int>> visits(static_cast<std::size_t>(count));
                std::atomic<std::int64_t> most{0};
                const Progress progress = [&](std::int64_t done, std::int64_t total) {
                    EXPECT_EQ(total, count);
                    if (done > most) most = done;
                    return true;
                };
                ASSERT_TRUE(parallel_rows(count, grain, progress, [&](int first, int last) {
                    for (int y = first; y < last; ++y) ++visits[static_cast<std::size_t>(y)];
                }));
                EXPECT_TRUE(std::ranges::all_of(visits, [](const auto& v) { return v == 1; })) << count;
                EXPECT_EQ(most, count);
            }
        }
    }
    set_thread_count(0);
}

TEST(OpsTable, parts_are_cut_and_pasted_until_told_to_stop) {
    const Progress stop = [](std::int64_t, std::int64_t) { return false; };
    const Bitmap colour = image(64, 64, Kind::colour24), other = image(64, 64, Kind::colour24);
    EXPECT_EQ(cropped(colour, {1, 1, 60, 60}, {}, stop).error().fault, Fault::cancelled);
    EXPECT_EQ(pasted(colour, other, {3, 4}, nullptr, {}, stop).error().fault, Fault::cancelled);
    EXPECT_EQ(level_image(image(64, 64, Kind::colours256), {}, stop).error().fault, Fault::cancelled);
}

TEST(OpsTable, stops_when_asked_and_refuses_what_it_cannot_do) {
    const Bitmap bitmap = image(640, 640, Kind::colour24);
    for (const Operation* operation : all_operations()) {
        std::atomic<int> calls{0};
        Context context;
        context.progress = [&](std::int64_t, std::int64_t) { return ++calls < 2; };
        const auto result =
            apply(*operation, bitmap, arguments_for(*operation, {640, 640}), nullptr, context);
        if (calls >= 2) {
            ASSERT_FALSE(result) << operation->name;
            EXPECT_EQ(result.error().fault, Fault::cancelled) << operation->name;
        }
        const auto nothing = apply(*operation, {}, {}, nullptr, {});
        ASSERT_FALSE(nothing);
        EXPECT_EQ(nothing.error().fault, Fault::malformed) << operation->name;
        const std::vector<int> too_many(operation->parameters.size() + 1, 0);
        EXPECT_FALSE(apply(*operation, bitmap, too_many, nullptr, {})) << operation->name;
    }
}

TEST(OpsTable, extreme_values_are_sensible) {
    for (const Operation* operation : all_operations()) {
        if (operation->name == "Size") continue;
        for (const bool high : {false, true}) {
            for (const Kind kind : kKinds) {
                std::vector<int> values;
                for (const Parameter& parameter : operation->parameters)
                    values.push_back(high ? parameter.high : parameter.low);
                const auto result = apply(*operation, image(31, 29, kind), values, nullptr, {});
                // A code, a rectangle outside or a crossed range may be refused, with the reason.
                EXPECT_TRUE(result || result.error().fault == Fault::bad_parameter) << operation->name;
            }
        }
    }
}

}  // namespace
}  // namespace quillmark::tests
