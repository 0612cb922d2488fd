// Counting levels and colours, against counting pixel by pixel.
#include "imaging/ops/histogram.h"

#include <gtest/gtest.h>

#include <set>

#include "imaging/ops/luminance.h"
#include "support/pictures.h"

namespace quillmark::imaging {
namespace {

constexpr Channels kAll = 15;

std::vector<std::optional<Region>> regions_of(Size size) {
    return {std::nullopt, Region::rectangle({size.width / 3, 0, size.width, size.height}),
            Region::ellipse({-3, -2, size.width + 4, size.height + 2}), Region{}};
}

template <typename Each>
void for_pixels(const Bitmap& bitmap, const std::optional<Region>& region, Each each) {
    for (int y = 0; y < bitmap.height(); ++y)
        for (int x = 0; x < bitmap.width(); ++x)
            if (!region || region->contains(x, y)) each(x, y);
}

Statistics counted_slowly(const Bitmap& bitmap, const std::optional<Region>& region) {
    const bool wide = bitmap.layout() == Layout::gray16;
    Statistics statistics;
    for (auto& levels : statistics.levels) levels.resize(wide ? std::size_t{1} << bitmap.bits() : 256);
    for_pixels(bitmap, region, [&](int x, int y) {
        const Rgba c = bitmap.pixel(x, y);
        const unsigned sample = wide ? pixel_value(bitmap, x, y) : 0;
        const unsigned values[] = {luminance(c.r, c.g, c.b), c.r, c.g, c.b};
        for (std::size_t i = 0; i < 4; ++i) ++statistics.levels[i][wide ? sample : values[i]];
    });
    return statistics;
}

TEST(Histogram, CountsEveryPixelOfImageAndRegionInEveryForm) {
    int checked = 0;
    for (const Form& form : kForms) {
        for (const Size size : {Size{1, 1}, {1, 37}, {65, 3}, {53, 700}}) {
            const Bitmap bitmap = noise_picture(form, size);
            for (const auto& region : regions_of(size)) {
                const Statistics slow = counted_slowly(bitmap, region);
                for (const int threads : {1, 2, 7}) {
                    const ThreadCount set{threads};
                    const auto fast = gather_statistics(bitmap, region ? &*region : nullptr, kAll, Context{});
                    ASSERT_TRUE(fast);
                    ASSERT_EQ(fast->levels, slow.levels) << form.name << ' ' << size.width;
                    ++checked;
                }
            }
        }
    }
    EXPECT_EQ(checked, 12 * 4 * 4 * 3);
}

TEST(Histogram, FillsTheChannelsAskedForOnly) {
    for (const Form& form : kForms) {
        const auto counted =
            gather_statistics(noise_picture(form, {40, 20}), nullptr, 1U << kGreen, Context{});
        ASSERT_TRUE(counted);
        for (const int channel : {kMaster, kRed, kGreen, kBlue})
            EXPECT_EQ(counted->levels[static_cast<std::size_t>(channel)].empty(), channel != kGreen)
                << form.name;
    }
}

TEST(Histogram, IndicesWithoutAnEntryCountAsBlack) {
    auto bitmap = *Bitmap::create(3, 1, 8, Limits{});
    bitmap.set_palette({{10, 20, 30, 255}, {10, 20, 30, 255}});
    bitmap.writable_row(0)[1] = 1, bitmap.writable_row(0)[2] = 200;
    const auto counted = gather_statistics(bitmap, nullptr, kAll, Context{});
    EXPECT_EQ(counted->levels[kBlue][0], 1);
    EXPECT_EQ(counted->levels[kBlue][30], 2);
    EXPECT_EQ(*count_colours(bitmap, nullptr, Context{}), 2) << "two equal entries are one colour";
}

TEST(Histogram, SamplesBeyondTwelveBitsCountAsWhite) {
    auto bitmap = *Bitmap::create(2, 1, 12, Limits{}, true);
    bitmap.writable_row16(0)[0] = 60'000;
    EXPECT_EQ(gather_statistics(bitmap, nullptr, 1, Context{})->levels[kMaster][4095], 1);
}

TEST(Colours, AreCountedInImageAndRegionInEveryForm) {
    for (const Form& form : kForms) {
        for (const Size size : kOddSizes) {
            const Bitmap bitmap = noise_picture(form, size, 3);
            for (const auto& region : regions_of(size)) {
                std::set<std::uint32_t> colours;
                for_pixels(bitmap, region, [&](int x, int y) {
                    const std::uint32_t value = pixel_value(bitmap, x, y);
                    colours.insert(bitmap.layout() == Layout::gray16 ? value : value >> 8);
                });
                for (const int threads : {1, 2, 7}) {
                    const ThreadCount set{threads};
                    const auto count = count_colours(bitmap, region ? &*region : nullptr, Context{});
                    ASSERT_TRUE(count);
                    ASSERT_EQ(*count, static_cast<std::int64_t>(colours.size()))
                        << form.name << ' ' << size.width;
                }
            }
        }
    }
}

TEST(Colours, OfSeveralThreadsAreJoined) {
    // Every row holds the same 256 colours, and one of its own.
    auto bitmap = *Bitmap::create(257, 900, 24, Limits{});
    for (int y = 0; y < 900; ++y) {
        const auto row = bitmap.writable_row(y);
        for (std::size_t x = 0; x < 256; ++x) row[x * 3] = static_cast<std::uint8_t>(x);
        row[256 * 3 + 1] = static_cast<std::uint8_t>(1 + y % 250);
        row[256 * 3 + 2] = static_cast<std::uint8_t>(1 + y / 250);
    }
    for (const int threads : {1, 2, 7}) {
        const ThreadCount set{threads};
        EXPECT_EQ(*count_colours(bitmap, nullptr, Context{}), 256 + 900);
    }
}

TEST(Counting, StopsAndRefuses) {
    Context stop;
    stop.progress = [](std::int64_t, std::int64_t) { return false; };
    for (const Form& form : kForms) {
        const Bitmap bitmap = noise_picture(form, {64, 300});
        EXPECT_EQ(gather_statistics(bitmap, nullptr, kAll, stop).error().fault, Fault::cancelled);
        EXPECT_EQ(count_colours(bitmap, nullptr, stop).error().fault, Fault::cancelled);
    }
    EXPECT_EQ(gather_statistics({}, nullptr, kAll, {}).error().fault, Fault::malformed);
    EXPECT_EQ(count_colours({}, nullptr, {}).error().fault, Fault::malformed);
}

TEST(Luminance, WeighsTheChannelsAsThePublicFormulaDoes) {
    for (int r = 0; r < 256; r += 5)
        for (int g = 0; g < 256; g += 5)
            for (int b = 0; b < 256; b += 5)
                ASSERT_NEAR(luminance(static_cast<std::uint8_t>(r), static_cast<std::uint8_t>(g),
                                      static_cast<std::uint8_t>(b)),
                            0.299 * r + 0.587 * g + 0.114 * b, 0.502);
    for (int v = 0; v < 256; ++v) {
        const auto level = static_cast<std::uint8_t>(v);
        ASSERT_EQ(luminance(level, level, level), v);
    }
}

TEST(Luminance, VectorAndPlainRowsAgree) {
    const Bitmap noise = noise_picture({"rgba32", 32, false}, {300, 1}, 5);
    auto white = noise;
    ASSERT_TRUE(white.detach());
    std::ranges::fill(white.writable_row(0), std::uint8_t{255});
    for (const Bitmap& bitmap : {noise, white}) {
        for (const std::size_t step : {3U, 4U}) {
            for (std::size_t count = 0; count <= 300; ++count) {
                // Exactly as many bytes as there are pixels: reading on would be seen.
                const std::vector<std::uint8_t> in{bitmap.row(0).begin(),
                                                   bitmap.row(0).begin() + static_cast<int>(count * step)};
                std::vector<std::uint8_t> fast(count + 1, 7), slow(count + 1, 7);
                luminance_row(in.data(), fast.data(), count, step);
                plain::luminance_row(in.data(), slow.data(), count, step);
                ASSERT_EQ(fast, slow) << count << ' ' << step;
            }
        }
    }
}

}  // namespace
}  // namespace quillmark::imaging
