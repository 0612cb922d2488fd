// Resizing against a slow account in double precision, and the inner loops against their plain twins.
#include "imaging/ops/resize.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <random>

#include "imaging/ops/operation.h"
#include "imaging/ops/resize_rows.h"
#include "support/pictures.h"

namespace quillmark::imaging {
namespace {

constexpr std::array kFilters{ResizeFilter::plain, ResizeFilter::lanczos, ResizeFilter::area};

// How much of source pixel j goes into target pixel i, before the weights are brought to a sum of 1.
double share(ResizeFilter filter, int j, int i, double scale) {
    if (filter == ResizeFilter::area && scale > 1) {
        const double low = std::max<double>(j, i * scale), high = std::min<double>(j + 1, (i + 1) * scale);
        return std::max(0.0, high - low);
    }
    const double x = std::abs((j + 0.5) - (i + 0.5) * scale) / std::max(1.0, scale);
    if (filter == ResizeFilter::area) return std::max(0.0, 1 - x);
    if (x >= 3) return 0;
    const double a = x * std::numbers::pi;
    return x < 1e-9 ? 1 : 3 * std::sin(a) * std::sin(a / 3) / (a * a);
}

// One channel in one direction, beyond the edge the edge's sample.
std::vector<double> resized(const std::vector<double>& in, int target, ResizeFilter filter) {
    const auto source = static_cast<int>(in.size());
    const double scale = static_cast<double>(source) / target;
    const int margin = static_cast<int>(4 * scale) + 8;
    std::vector<double> out;
    for (int i = 0; i < target; ++i) {
        double sum = 0, total = 0;
        for (int j = -margin; j < source + margin; ++j) {
            const double weight = share(filter, j, i, scale);
            sum += weight * in[static_cast<std::size_t>(std::clamp(j, 0, source - 1))];
            total += weight;
        }
        out.push_back(sum / total);
    }
    return out;
}

using Plane = std::vector<std::vector<double>>;

Plane resized(const Plane& in, Size size, ResizeFilter filter) {
    Plane rows;
    for (const auto& row : in) rows.push_back(resized(row, size.width, filter));
    Plane out(static_cast<std::size_t>(size.height));
    for (std::size_t x = 0; x < static_cast<std::size_t>(size.width); ++x) {
        std::vector<double> column;
        for (const auto& row : rows) column.push_back(row[x]);
        const auto done = resized(column, size.height, filter);
        for (std::size_t y = 0; y < out.size(); ++y) out[y].push_back(done[y]);
    }
    return out;
}

double sample_at(const Bitmap& bitmap, int x, int y, int channel) {
    if (bitmap.layout() == Layout::gray16) return bitmap.row16(y)[static_cast<std::size_t>(x)];
    const Rgba c = bitmap.pixel(x, y);
    const std::array<double, 4> samples{double(c.r), double(c.g), double(c.b), double(c.a)};
    return samples[static_cast<std::size_t>(channel)];
}

Plane plane_of(const Bitmap& bitmap, int channel) {
    Plane plane(static_cast<std::size_t>(bitmap.height()));
    for (int y = 0; y < bitmap.height(); ++y) {
        for (int x = 0; x < bitmap.width(); ++x) {
            // Colours weighted by alpha; for opaque pixels that is the colour.
            const double cover = channel < 3 && bitmap.has_alpha() ? sample_at(bitmap, x, y, 3) / 255 : 1;
            plane[static_cast<std::size_t>(y)].push_back(cover * sample_at(bitmap, x, y, channel));
        }
    }
    return plane;
}

TEST(Resize, EqualsTheSlowAccountWithinALevel) {
    for (const Form form : {Form{"gray8", 8, true}, Form{"gray16", 16, true}, Form{"gray12", 12, true},
                            Form{"rgb24", 24, false}, Form{"rgba32", 32, false}}) {
        const Bitmap source = noise_picture(form, {67, 45});
        for (const Size size : {Size{31, 20}, {1, 1}, {67, 7}, {150, 45}, {200, 91}, {22, 100}, {13, 9}}) {
            for (const ResizeFilter filter : {ResizeFilter::lanczos, ResizeFilter::area}) {
                const auto result = resize(source, size.width, size.height, filter, {});
                ASSERT_TRUE(result);
                ASSERT_EQ(result->layout(), source.layout());
                const int channels = source.layout() == Layout::gray16 || form.bits == 8 ? 1 : form.bits / 8;
                const double top = source.layout() == Layout::gray16 ? (1 << form.bits) - 1 : 255;
                const Plane alpha = channels == 4 ? resized(plane_of(source, 3), size, filter) : Plane{};
                for (int c = 0; c < channels; ++c) {
                    const Plane want = resized(plane_of(source, c), size, filter);
                    for (int y = 0; y < size.height; ++y) {
                        for (int x = 0; x < size.width; ++x) {
                            const auto at_x = static_cast<std::size_t>(x), at_y = static_cast<std::size_t>(y);
                            double value = want[at_y][at_x];
                            if (channels == 4 && c < 3) {
                                if (alpha[at_y][at_x] < 1) continue;
                                value = value * 255 / alpha[at_y][at_x];
                            }
                            ASSERT_NEAR(sample_at(*result, x, y, c), std::clamp(value, 0.0, top), 1)
                                << form.name << ' ' << size.width << 'x' << size.height << " filter "
                                << static_cast<int>(filter) << " at " << x << ", " << y;
                        }
                    }
                }
            }
        }
    }
}

TEST(Resize, PlainTakesThePixelUnderTheCentreInEveryForm) {
    for (const Form& form : kForms) {
        const Bitmap source = noise_picture(form, {67, 45});
        for (const Size size : {Size{31, 20}, {1, 1}, {134, 90}, {150, 7}}) {
            const auto result = resize(source, size.width, size.height, ResizeFilter::plain, {});
            ASSERT_TRUE(result);
            ASSERT_EQ(result->bits(), source.bits());
            ASSERT_EQ(result->palette(), source.palette());
            for (int y = 0; y < size.height; ++y) {
                for (int x = 0; x < size.width; ++x) {
                    const int from_x = static_cast<int>((x + 0.5) * 67 / size.width),
                              from_y = static_cast<int>((y + 0.5) * 45 / size.height);
                    ASSERT_EQ(pixel_value(*result, x, y), pixel_value(source, from_x, from_y))
                        << form.name << " at " << x << ", " << y;
                }
            }
        }
    }
}

TEST(Resize, HalfByAreaIsTheMeanOfFourPixels) {
    for (const Form form : {Form{"gray8", 8, true}, Form{"rgb24", 24, false}, Form{"gray16", 16, true}}) {
        const Bitmap source = noise_picture(form, {130, 46});
        const auto half = resize(source, 65, 23, ResizeFilter::area, {});
        ASSERT_TRUE(half);
        for (int y = 0; y < 23; ++y) {
            for (int x = 0; x < 65; ++x) {
                for (int c = 0; c < (form.bits == 24 ? 3 : 1); ++c) {
                    const double sum =
                        sample_at(source, 2 * x, 2 * y, c) + sample_at(source, 2 * x + 1, 2 * y, c) +
                        sample_at(source, 2 * x, 2 * y + 1, c) + sample_at(source, 2 * x + 1, 2 * y + 1, c);
                    ASSERT_EQ(sample_at(*half, x, y, c), std::floor((sum + 2) / 4)) << form.name;
                }
            }
        }
    }
}

TEST(Resize, AConstantStaysConstantInEveryForm) {
    for (const Form& form : kForms) {
        Bitmap source = *Bitmap::create(41, 29, form.bits, {}, form.gray && form.bits > 8);
        const Rgba colour = form.bits <= 8 ? source.palette().back() : Rgba{200, 77, 31, 3};
        for (int y = 0; y < 29; ++y) {
            const auto row = source.writable_row(y);
            if (source.layout() == Layout::gray16)
                std::ranges::fill(source.writable_row16(y), static_cast<std::uint16_t>((1 << form.bits) - 3));
            else if (form.bits <= 8)
                std::ranges::fill(row,
                                  static_cast<std::uint8_t>(form.bits == 1 ? 255 : (1 << form.bits) - 1));
            else
                for (std::size_t i = 0; i < row.size(); ++i)
                    row[i] = std::array{colour.r, colour.g, colour.b, colour.a}[i % (row.size() / 41)];
        }
        for (const ResizeFilter filter : kFilters) {
            for (const Size size : {Size{17, 13}, {97, 5}, {5, 97}, {160, 120}}) {
                const auto result = resize(source, size.width, size.height, filter, {});
                ASSERT_TRUE(result);
                for (int y = 0; y < size.height; ++y)
                    for (int x = 0; x < size.width; ++x)
                        ASSERT_EQ(pixel_value(*result, x, y), pixel_value(source, 0, 0))
                            << form.name << " filter " << static_cast<int>(filter) << " at " << x << ", "
                            << y;
            }
        }
    }
}

TEST(Resize, PalettesBecomeLevelsAndTransparentPixelsLendNoColour) {
    EXPECT_EQ(resize(noise_picture({"", 1, true}, {20, 20}), 9, 9, ResizeFilter::area, {})->bits(), 8);
    EXPECT_EQ(resize(noise_picture({"", 8, false}, {20, 20}), 9, 9, ResizeFilter::lanczos, {})->bits(), 24);
    EXPECT_EQ(resize(noise_picture({"", 16, false}, {20, 20}), 9, 9, ResizeFilter::area, {})->bits(), 24);
    Bitmap source = *Bitmap::create(4, 1, 32, {});
    const std::array<std::uint8_t, 16> row{255, 0, 0, 0, 10, 20, 30, 255, 255, 0, 0, 0, 10, 20, 30, 255};
    std::ranges::copy(row, source.writable_row(0).begin());
    const auto half = resize(source, 2, 1, ResizeFilter::area, {});
    ASSERT_TRUE(half);
    EXPECT_EQ(half->pixel(0, 0), (Rgba{10, 20, 30, 128}));
}

TEST(Resize, ThinImagesAndLimits) {
    for (const Form& form : kForms) {
        const Bitmap line = noise_picture(form, {1, 10000});
        for (const ResizeFilter filter : kFilters) {
            EXPECT_TRUE(resize(line, 3, 7, filter, {})) << form.name;
            EXPECT_TRUE(resize(line, 1, 20000, filter, {})) << form.name;
        }
    }
    const Bitmap source = noise_picture({"rgb24", 24, false}, {300, 400});
    const auto same = resize(source, 300, 400, ResizeFilter::lanczos, {});
    ASSERT_TRUE(same);
    EXPECT_EQ(same->row(0).data(), source.row(0).data());
    for (const ResizeFilter filter : kFilters) {
        EXPECT_EQ(resize(source, 1'000'000, 2, filter, {}).error().fault, Fault::too_large);
        EXPECT_EQ(resize(source, 60'000, 60'000, filter, {}).error().fault, Fault::too_large);
    }
    const Operation* size = find_operation("Size");
    ASSERT_NE(size, nullptr);
    EXPECT_EQ(apply(*size, source, std::array{0, 10, 0}, nullptr, {}).error().fault, Fault::bad_parameter);
    EXPECT_EQ(apply(*size, source, std::array{10, 10, 3}, nullptr, {}).error().fault, Fault::bad_parameter);
    EXPECT_EQ(apply(*size, source, std::array{30, 10}, nullptr, {})->width(), 30);
}

TEST(ResizeRows, EqualTheirPlainTwinsAtAnyLength) {
    std::mt19937 random{5};
    std::vector<std::vector<std::uint8_t>> rows(8, std::vector<std::uint8_t>(6 * 131));
    for (auto& row : rows)
        for (auto& v : row) v = static_cast<std::uint8_t>(random());
    const std::array<std::int16_t, 8> weights{-900, 2000, 7000, 9000, 200, -1200, 284, 0};
    std::vector<const std::uint8_t*> sources;
    for (const auto& row : rows) sources.push_back(row.data());
    std::vector<std::int16_t> fast(400 + kRowSlack), slow(fast.size());
    for (std::size_t samples = 1; samples < 200; ++samples) {
        for (const int count : {2, 6, 8}) {
            blend_rows(sources.data(), weights.data(), count, fast.data(), samples);
            plain::blend_rows(sources.data(), weights.data(), count, slow.data(), samples);
            ASSERT_EQ(fast, slow) << samples;
        }
    }
    for (auto& v : fast) v = static_cast<std::int16_t>(static_cast<int>(random() % 20000) - 2000);
    for (int count = 1; count < 40; ++count) {
        for (const int taps : {4, 8}) {
            std::vector<int> first;
            std::vector<std::int16_t> across;
            for (int i = 0; i < count; ++i) {
                first.push_back(i * 2);
                for (int k = 0; k < taps; ++k) across.push_back(weights[static_cast<std::size_t>(k + i) % 8]);
            }
            std::vector<std::uint8_t> a(3 * 40), b(a.size());
            blend_columns(fast.data(), first.data(), across.data(), taps, 3, a.data(), count);
            plain::blend_columns(fast.data(), first.data(), across.data(), taps, 3, b.data(), count);
            ASSERT_EQ(a, b) << count;
        }
    }
    for (int count = 0; count <= 131; ++count) {
        std::vector<std::uint8_t> a(3 * 131 + 1), b(a.size());
        halve_rgb24(rows[0].data(), rows[1].data(), a.data(), count);
        plain::halve_rgb24(rows[0].data(), rows[1].data(), b.data(), count);
        ASSERT_EQ(a, b) << count;
    }
}

}  // namespace
}  // namespace quillmark::imaging
