// What holds for every operation, whatever it does: the table, all depths, odd sizes, regions, parts,
// threads, stops.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "imaging/ops/histogram.h"
#include "imaging/ops/levels.h"
#include "imaging/ops/operation.h"
#include "imaging/ops/row_loop.h"
#include "support/pictures.h"

namespace quillmark::imaging {
namespace {

const std::vector<Size> kSizes{{1, 1}, {1, 37}, {65, 3}, {31, 29}, {1, 10'000}, {10'000, 1}};

std::string named(const Operation& operation, const std::vector<int>& arguments, const Form& form,
                  const Size& size) {
    std::ostringstream text;
    text << operation.name;
    for (const int argument : arguments) text << ' ' << argument;
    text << ", " << form.name << ' ' << size.width << 'x' << size.height;
    return text.str();
}

// The initial values first; then with others of the first parameter: each of its codes, or its ends and some
// between, where other algorithms may begin.
std::vector<std::vector<int>> arguments_for(const Operation& operation, const Size& size) {
    if (operation.name == "Trim") return {{size.width / 2, size.height / 2, 1, 1}};
    if (operation.name == "Size") return {{1, 1, 0}, {40, 31, 0}, {40, 31, 1}, {40, 31, 2}};
    std::vector<int> initial;
    for (const Parameter& parameter : operation.parameters) initial.push_back(parameter.initial);
    std::vector<std::vector<int>> all{initial};
    if (initial.empty()) return all;
    const Parameter& first = operation.parameters[0];
    const auto with = [&](int value) {
        all.push_back(initial);
        all.back()[0] = value;
    };
    for (const Choice& choice : first.choices) with(choice.value);
    if (!first.choices.empty()) return all;
    for (const int value : {5, 15, 170})
        if (value >= first.low && value <= first.high) with(value);
    if (operation.scope == Scope::pixels) with(first.low), with(first.high);  // a full shear is a huge image
    return all;
}

template <typename Body>
void for_each_case(const std::vector<Size>& sizes, Body body) {
    std::size_t cases = 0;
    for (const Operation* operation : all_operations()) {
        for (const Form& form : kForms) {
            for (const Size& size : sizes) {
                const Bitmap bitmap = noise_picture(form, size);
                for (const auto& arguments : arguments_for(*operation, size)) {
                    body(*operation, bitmap, arguments, named(*operation, arguments, form, size));
                    ++cases;
                }
            }
        }
    }
    ASSERT_GE(cases, 28 * kForms.size() * sizes.size());  // as many operations as the engine names
}

// The level images of both are compared where one of them had to be promoted.
testing::AssertionResult same_colours(const Bitmap& a, const Bitmap& b, const Region& where) {
    const bool wide = a.layout() == Layout::gray16 && b.layout() == Layout::gray16;
    for (int y = where.bounds().y; y < where.bounds().bottom(); ++y)
        for (const Run& run : where.row(y))
            for (int x = run.first; x < run.last; ++x)
                if (wide ? pixel_value(a, x, y) != pixel_value(b, x, y) : a.pixel(x, y) != b.pixel(x, y))
                    return testing::AssertionFailure() << "at " << x << ", " << y;
    return testing::AssertionSuccess();
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
    std::istringstream named_by_engine{
        "Intensity Contrast Hue Saturation GammaCorrect HistoContrast HistoEqualize StretchIntensity "
        "IntensityDetect Invert Grayscale Posterize Mosaic Average Median Sharpen AddNoise Emboss "
        "SpatialFilter EdgeComponent Flip Reverse Rotate Shear Size Trim ColorRes Halftone"};
    for (std::string name; named_by_engine >> name;) EXPECT_TRUE(names.contains(name)) << name;
}

TEST(OpsTable, every_depth_and_size_works_and_the_input_stays) {
    for_each_case(kSizes, [](const Operation& operation, const Bitmap& bitmap,
                             const std::vector<int>& arguments, const std::string& what) {
        const auto copy = cropped(bitmap, whole(bitmap), {});
        ASSERT_TRUE(copy) << what;
        const auto result = apply(operation, bitmap, arguments, nullptr, {});
        ASSERT_TRUE(result) << what << ": " << result.error().where.text();
        ASSERT_TRUE(same_picture(bitmap, *copy)) << what << " input";
        if (operation.scope == Scope::whole) return;
        ASSERT_EQ(whole(*result), whole(bitmap)) << what;
        for (int x = 0; x < bitmap.width() && operation.scope == Scope::pixels; ++x)
            ASSERT_EQ(result->pixel(x, 0).a, bitmap.pixel(x, 0).a) << what << " alpha";
    });
}

TEST(OpsTable, threads_do_not_matter) {
    for_each_case({{93, 231}}, [](const Operation& operation, const Bitmap& bitmap,
                                  const std::vector<int>& arguments, const std::string& what) {
        std::vector<Bitmap> results;
        for (const int threads : {1, 2, 7}) {
            const ThreadCount count{threads};
            auto result = apply(operation, bitmap, arguments, nullptr, {});
            ASSERT_TRUE(result) << what;
            results.push_back(std::move(*result));
        }
        ASSERT_TRUE(same_picture(results[0], results[1])) << what;
        ASSERT_TRUE(same_picture(results[0], results[2])) << what;
    });
}

TEST(OpsTable, identity_values_change_nothing) {
    int tried = 0;
    for (const Operation* operation : all_operations()) {
        const auto has_identity = [](const Parameter& parameter) { return parameter.identity.has_value(); };
        if (std::ranges::none_of(operation->parameters, has_identity)) continue;
        if (operation->name == "EdgeComponent") continue;  // its identity is that of the combination
        ++tried;
        for (const Form& form : kForms) {
            const Bitmap bitmap = noise_picture(form, {31, 29});
            std::vector<int> values;
            for (const Parameter& parameter : operation->parameters)
                values.push_back(parameter.identity.value_or(parameter.initial));
            const auto result = apply(*operation, bitmap, values, nullptr, {});
            ASSERT_TRUE(result) << operation->name;
            EXPECT_TRUE(same_picture(bitmap, *result)) << operation->name << ' ' << form.name;
        }
    }
    EXPECT_GE(tried, 10);
}

// Inside as the operation gives it with the region's own statistics, outside as it was.
TEST(OpsTable, a_region_limits_exactly) {
    const Region region = Region::ellipse({5, 4, 20, 17}).united(Region::rectangle({20, -5, 100, 9}));
    for_each_case(kOddSizes, [&](const Operation& operation, const Bitmap& bitmap,
                                 const std::vector<int>& arguments, const std::string& what) {
        if (operation.scope == Scope::whole) return;
        const auto limited = apply(operation, bitmap, arguments, &region, {});
        ASSERT_TRUE(limited) << what;
        const Region inside = region.clipped(whole(bitmap));
        ASSERT_TRUE(same_colours(*limited, bitmap, Region::rectangle(whole(bitmap)).subtracted(inside)))
            << what << " outside";
        if (operation.scope != Scope::pixels || inside.empty()) return;
        const auto statistics = gather_statistics(bitmap, &inside, operation.statistics, {});
        ASSERT_TRUE(statistics);
        Context context;
        context.statistics = &*statistics;
        const auto full = operation.run(bitmap, arguments, context);
        ASSERT_TRUE(full) << what;
        ASSERT_TRUE(same_colours(*limited, *full, inside)) << what << " inside";
    });
}

TEST(OpsTable, a_part_equals_the_whole_there) {
    const Region region = Region::ellipse({20, 2, 45, 30});
    for_each_case({{71, 53}}, [&](const Operation& operation, const Bitmap& bitmap,
                                  const std::vector<int>& arguments, const std::string& what) {
        if (operation.scope != Scope::pixels) return;
        for (const Region* selected : {static_cast<const Region*>(nullptr), &region}) {
            const auto all = apply(operation, bitmap, arguments, selected, {});
            ASSERT_TRUE(all) << what;
            for (const Rect part : {Rect{13, 7, 40, 33}, Rect{0, 48, 71, 5}, Rect{70, 0, 1, 1}}) {
                const auto piece = apply_part(operation, bitmap, arguments, selected, part, {});
                const auto expected = cropped(*all, part, {});
                ASSERT_TRUE(piece && expected) << what;
                ASSERT_TRUE(
                    same_colours(*expected, *piece, Region::rectangle({0, 0, part.width, part.height})))
                    << what;
            }
        }
    });
}

TEST(OpsTable, rows_are_visited_once_whatever_the_split) {
    for (const int threads : {1, 2, 7}) {
        const ThreadCount set{threads};
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
}

TEST(OpsTable, parts_are_cut_and_pasted_until_told_to_stop) {
    const Progress stop = [](std::int64_t, std::int64_t) { return false; };
    const Bitmap colour = noise_picture({"", 24, false}, {64, 64}),
                 other = noise_picture({"", 24, false}, {64, 64}, 2);
    EXPECT_EQ(cropped(colour, {1, 1, 60, 60}, {}, stop).error().fault, Fault::cancelled);
    EXPECT_EQ(pasted(colour, other, {3, 4}, nullptr, {}, stop).error().fault, Fault::cancelled);
    EXPECT_EQ(level_image(noise_picture({"", 8, false}, {64, 64}), {}, stop).error().fault, Fault::cancelled);
}

TEST(OpsTable, stops_when_asked_and_refuses_what_it_cannot_do) {
    std::set<std::string_view> stopped;
    for (const Form& form : {Form{"rgb24", 24, false}, Form{"gray16", 16, true}}) {
        const Bitmap bitmap = noise_picture(form, {160, 400});
        for (const Operation* operation : all_operations()) {
            for (const auto& arguments : arguments_for(*operation, {160, 400})) {
                std::atomic<int> calls{0};
                Context context;
                context.progress = [&](std::int64_t, std::int64_t) { return ++calls < 2; };
                const auto result = apply(*operation, bitmap, arguments, nullptr, context);
                if (calls < 2) continue;
                stopped.insert(operation->name);
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
    EXPECT_GE(stopped.size(), all_operations().size() - 2);  // Trim and Size leave almost nothing to do
}

TEST(OpsTable, extreme_values_are_sensible) {
    for (const Operation* operation : all_operations()) {
        if (operation->name == "Size") continue;
        for (const bool high : {false, true}) {
            for (const Form& form : kForms) {
                std::vector<int> values;
                for (const Parameter& parameter : operation->parameters)
                    values.push_back(high ? parameter.high : parameter.low);
                const auto result = apply(*operation, noise_picture(form, {31, 29}), values, nullptr, {});
                // A code, a rectangle outside or a crossed range may be refused, with the reason.
                EXPECT_TRUE(result || result.error().fault == Fault::bad_parameter) << operation->name;
            }
        }
    }
}

}  // namespace
}  // namespace quillmark::imaging
