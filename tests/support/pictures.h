// Pictures of noise in every form that a bitmap takes, for the tests of operations.
#pragma once

#include <gtest/gtest.h>

#include <random>
#include <string_view>
#include <vector>

#include "imaging/bitmap.h"
#include "imaging/ops/operation.h"
#include "imaging/threads.h"

namespace quillmark::imaging {

struct Form {
    const char* name;
    int bits;
    bool gray;           // 12 and 16 bits; palettes: the plain greys
    bool clear = false;  // palette: with transparent entries
};

inline const std::vector<Form> kForms{{"bit1", 1, true},
                                      {"bit1 colours", 1, false},
                                      {"gray4", 4, true},
                                      {"index5", 5, false},
                                      {"gray8", 8, true},
                                      {"index8", 8, false},
                                      {"index8 clear", 8, false, true},
                                      {"gray12", 12, true},
                                      {"gray16", 16, true},
                                      {"rgb16", 16, false},
                                      {"rgb24", 24, false},
                                      {"rgba32", 32, false}};

struct Size {
    int width, height;
};
inline const std::vector<Size> kOddSizes{{1, 1}, {1, 37}, {65, 3}, {131, 40}};

inline Bitmap noise_picture(const Form& form, Size size, unsigned seed = 1) {
    std::mt19937 random{seed};
    auto bitmap = *Bitmap::create(size.width, size.height, form.bits, Limits{}, form.gray && form.bits > 8);
    if (form.bits <= 8 && !form.gray) {
        Palette palette = bitmap.palette();
        for (Rgba& c : palette) {
            const unsigned v = random();
            c = {static_cast<std::uint8_t>(v), static_cast<std::uint8_t>(v >> 8),
                 static_cast<std::uint8_t>(v >> 16), static_cast<std::uint8_t>(form.clear ? v >> 24 : 255)};
        }
        bitmap.set_palette(palette);
    }
    const unsigned mask = form.bits > 1 && form.bits < 8 ? (1U << form.bits) - 1 : 255;
    for (int y = 0; y < size.height; ++y) {
        if (bitmap.layout() == Layout::gray16)
            for (auto& v : bitmap.writable_row16(y))
                v = static_cast<std::uint16_t>(random() >> (32 - form.bits));
        else
            for (auto& v : bitmap.writable_row(y)) v = static_cast<std::uint8_t>(random() & mask);
    }
    return bitmap;
}

// The machine's threads come back however a test ends.
struct ThreadCount {
    explicit ThreadCount(int count) { set_thread_count(count); }
    ~ThreadCount() { set_thread_count(0); }
    ThreadCount(const ThreadCount&) = delete;
    ThreadCount& operator=(const ThreadCount&) = delete;
};

/// The operation of that name as a converter would run it.
inline Result<Bitmap> run(std::string_view name, const Bitmap& bitmap, const std::vector<int>& arguments,
                          const Region* region = nullptr) {
    const Operation* operation = find_operation(name);
    if (!operation) return Error{Fault::bad_parameter, "no such operation"};
    return apply(*operation, bitmap, arguments, region, {});
}

/// The same where it must go well.
inline Bitmap done(std::string_view name, const Bitmap& bitmap, const std::vector<int>& arguments) {
    auto result = run(name, bitmap, arguments);
    EXPECT_TRUE(result) << name;
    return result ? *result : Bitmap{};
}

// A sample of 16-bit greys, or the colour; what two equal pictures share pixel by pixel.
inline std::uint32_t pixel_value(const Bitmap& bitmap, int x, int y) {
    if (bitmap.layout() == Layout::gray16) return bitmap.row16(y)[static_cast<std::size_t>(x)];
    const Rgba c = bitmap.pixel(x, y);
    return static_cast<std::uint32_t>(c.r) << 24 | c.g << 16U | c.b << 8U | c.a;
}

inline testing::AssertionResult same_picture(const Bitmap& a, const Bitmap& b) {
    if (a.width() != b.width() || a.height() != b.height() || a.bits() != b.bits() ||
        a.layout() != b.layout())
        return testing::AssertionFailure() << "different forms";
    for (int y = 0; y < a.height(); ++y)
        for (int x = 0; x < a.width(); ++x)
            if (pixel_value(a, x, y) != pixel_value(b, x, y))
                return testing::AssertionFailure() << "at " << x << ", " << y;
    return testing::AssertionSuccess();
}

}  // namespace quillmark::imaging
