#include "engine/render.h"

#include <gtest/gtest.h>

#include "engine/display.h"
#include "engine/engine.h"

namespace quillmark::engine {
namespace {

using imaging::Bitmap;
using imaging::Limits;

struct Kind {
    const char* name;
    int bits;
    bool gray;
};

// A small picture with different pixels in every layout.
Bitmap picture(const Kind& kind, int width, int height) {
    Bitmap bitmap = *Bitmap::create(width, height, kind.bits, Limits{}, kind.gray);
    for (int y = 0; y < height; ++y) {
        for (std::size_t i = 0; auto& byte : bitmap.writable_row(y))
            byte = static_cast<std::uint8_t>(i++ * 37 + static_cast<std::size_t>(y) * 91 + 5);
        if (kind.bits == 32) {
            for (std::size_t i = 3; i < bitmap.row_bytes(); i += 4) bitmap.writable_row(y)[i] = 255;
        }
        if (kind.bits == 4) {
            for (auto& byte : bitmap.writable_row(y)) byte &= 15;
        }
        if (kind.gray && kind.bits == 12) {
            for (auto& level : bitmap.writable_row16(y)) level &= 4095;
        }
    }
    return bitmap;
}

constexpr Kind kKinds[] = {{"bit1", 1, false},   {"index4", 4, false}, {"index8", 8, false},
                           {"gray12", 12, true}, {"gray16", 16, true}, {"rgb", 24, false},
                           {"rgba", 32, false}};

QRgb rgb(const imaging::Rgba& c) { return qRgb(c.r, c.g, c.b); }

TEST(Render, OneToOneAndEnlargedPixelsAreThoseOfTheImage) {
    for (const Kind& kind : kKinds) {
        const Bitmap bitmap = picture(kind, 19, 7);
        for (const int factor : {1, 3}) {
            const QImage shown = render(
                bitmap, {QRectF(0, 0, 19 * factor, 7 * factor), QRect(2, 1, 11 * factor, 5 * factor), {}});
            for (int y = 0; y < shown.height(); ++y) {
                for (int x = 0; x < shown.width(); ++x) {
                    ASSERT_EQ(shown.pixel(x, y), rgb(bitmap.pixel((x + 2) / factor, (y + 1) / factor)))
                        << kind.name << ' ' << factor << ' ' << x << ' ' << y;
                }
            }
        }
    }
}

TEST(Render, ReductionAveragesWhatFallsTogether) {
    Bitmap bitmap = *Bitmap::create(4, 2, 24, Limits{});
    const int levels[2][4] = {{0, 10, 100, 200}, {20, 30, 100, 200}};
    for (int y = 0; y < 2; ++y) {
        for (std::size_t i = 0; i < 12; ++i)
            bitmap.writable_row(y)[i] = static_cast<std::uint8_t>(levels[y][i / 3]);
    }
    const QImage shown = render(bitmap, {QRectF(0, 0, 2, 1), QRect(0, 0, 2, 1), {}});
    EXPECT_EQ(shown.pixel(0, 0), qRgb(15, 15, 15));
    EXPECT_EQ(shown.pixel(1, 0), qRgb(150, 150, 150));
}

TEST(Render, TransparentPixelsShowTheChequerboardAndDoNotBleed) {
    Bitmap bitmap = *Bitmap::create(2, 1, 32, Limits{});
    const std::uint8_t pixels[] = {255, 0, 0, 255, 0, 255, 0, 0};
    std::copy(std::begin(pixels), std::end(pixels), bitmap.writable_row(0).begin());
    const QImage exact = render(bitmap, {QRectF(0, 0, 2, 1), QRect(0, 0, 2, 1), {}});
    EXPECT_EQ(exact.pixel(0, 0), qRgb(255, 0, 0));
    EXPECT_EQ(exact.pixel(1, 0), qRgb(255, 255, 255));
    const QImage half = render(bitmap, {QRectF(0, 0, 1, 1), QRect(0, 0, 1, 1), {}});
    EXPECT_EQ(qGreen(half.pixel(0, 0)), qBlue(half.pixel(0, 0))) << "the hidden green must not show";
    EXPECT_EQ(qRed(half.pixel(0, 0)), 255);
}

TEST(Render, BitonalReductionFollowsItsMode) {
    Bitmap bitmap = *Bitmap::create(40, 4, 1, Limits{});  // palette black, white: 0 is black
    for (int y = 0; y < 4; ++y) std::ranges::fill(bitmap.writable_row(y), std::uint8_t{0xFF});
    bitmap.writable_row(3)[0] = 0x7F;  // one black pixel in the first 10 x 4
    const auto shade = [&](BitonalScale scale) {
        return qRed(render(bitmap, {QRectF(0, 0, 4, 1), QRect(0, 0, 4, 1), scale}).pixel(0, 0));
    };
    EXPECT_EQ(shade(BitonalScale::normal), 255);
    EXPECT_EQ(shade(BitonalScale::favour_black), 0);
    EXPECT_EQ(shade(BitonalScale::to_gray), (255 * 39 + 20) / 40);
}

TEST(Render, PartsEqualTheWhole) {
    for (const Kind& kind : kKinds) {
        const Bitmap bitmap = picture(kind, 301, 203);
        for (const double scale : {0.23, 0.5, 1.0, 1.7}) {
            const QRectF dst(0, 0, 301 * scale, 203 * scale);
            const QRect all = dst.toAlignedRect();
            const RenderRequest whole{dst, all, BitonalScale::to_gray};
            QImage parts{all.size(), QImage::Format_RGB32};
            const int covered = rows_covered(bitmap, whole, 100);
            ASSERT_GT(covered, 0);
            ASSERT_LT(covered, parts.height());
            render(bitmap, whole, parts, 0, covered);
            render(bitmap, whole, parts, covered, parts.height());
            EXPECT_EQ(parts, render(bitmap, whole)) << kind.name << ' ' << scale;
        }
    }
}

TEST(Display, RectanglesOfTheViewModes) {
    struct Case {
        DisplayRequest request;
        QRectF expected;
    };
    const Case cases[] = {
        {{{40, 20}, {100, 100}, kPaintNormal, 100, {}}, {30, 40, 40, 20}},
        {{{400, 200}, {100, 100}, kPaintNormal, 100, {7, 9}}, {-7, -9, 400, 200}},
        {{{40, 20}, {100, 100}, kPaintNormal, 150, {}}, {20, 35, 60, 30}},
        {{{40, 20}, {100, 100}, kPaintFit, 100, {}}, {0, 25, 100, 50}},
        {{{40, 20}, {100, 90}, kPaintStretch, 100, {}}, {0, 0, 100, 90}},
        {{{65000, 1}, {100, 100}, kPaintFit, 100, {}}, {0, 49, 100, 1}},
        {{{40, 20}, {100, 100}, kPaintNormal, 1, {}}, {49, 49, 1, 1}},
        {{{}, {100, 100}, kPaintFit, 100, {}}, {}},
    };
    for (const Case& c : cases)
        EXPECT_EQ(display_rectangle(c.request), c.expected)
            << c.request.paint_size_mode << ' ' << c.request.zoom;
}

}  // namespace
}  // namespace quillmark::engine
