// Text in the image: where it lands, at which size and angle, and in which depths.
#include <gtest/gtest.h>

#include <QFontMetricsF>
#include <cmath>

#include "engine/engine.h"
#include "engine/text_drawing.h"
#include "imaging/threads.h"

namespace quillmark::engine {
namespace {

using imaging::Bitmap;
using imaging::Limits;
using imaging::Rgba;

const QString kText = QStringLiteral("HIJ");

Bitmap white(int width, int height, int bits, bool gray = false) {
    Bitmap bitmap = *Bitmap::create(width, height, bits, Limits{}, gray);
    for (int y = 0; y < height; ++y) {
        std::ranges::fill(bitmap.writable_row(y), std::uint8_t{255});
        if (bits == 4) std::ranges::fill(bitmap.writable_row(y), std::uint8_t{15});
        if (bits == 12) std::ranges::fill(bitmap.writable_row16(y), std::uint16_t{4095});
    }
    return bitmap;
}

// The smallest rectangle that holds all pixels of other colours than white.
QRect ink(const Bitmap& bitmap) {
    QRect box;
    for (int y = 0; y < bitmap.height(); ++y) {
        for (int x = 0; x < bitmap.width(); ++x)
            if (bitmap.pixel(x, y) != Rgba{255, 255, 255}) box |= QRect(x, y, 1, 1);
    }
    return box;
}

class DrawText : public testing::Test {
  protected:
    void SetUp() override {
        engine_.Font() = QFont{QStringLiteral("DejaVu Sans")};
        engine_.Font().setPointSizeF(24);  // 32 display pixels
        engine_.SetDrawFontColor(Qt::black);
    }
    QRect draw(const Bitmap& onto, int left, int top, const QString& text = kText) {
        engine_.SetBitmap(onto);
        engine_.SetTextBox(left, top, 100, 50);
        EXPECT_EQ(engine_.DrawText(text, 0), 0);
        return ink(engine_.Bitmap());
    }
    Engine engine_;
};

TEST_F(DrawText, LandsAtTheTopLeftOfItsBoxAtTheFontsSize) {
    const QRect box = draw(white(300, 200, 24), 40, 30);
    ASSERT_FALSE(box.isEmpty());
    // Capitals fill about 0.73 of the size and begin about 0.2 of it below the line's top.
    EXPECT_NEAR(box.left(), 40, 5);
    EXPECT_GE(box.top(), 30);
    EXPECT_LE(box.top(), 42);
    EXPECT_NEAR(box.height(), 0.73 * 32, 8);
    EXPECT_GT(box.width(), 32);
    EXPECT_LT(box.width(), 75);
    EXPECT_EQ(draw(white(300, 200, 24), 47, 41), box.translated(7, 11)) << "moves with its box";
}

TEST_F(DrawText, KeepsItsPlaceAndSizeOnTheScreenAtAnyZoom) {
    const QRect plain = draw(white(400, 300, 24), 60, 50);
    // The image four times as large, shown at a quarter from (20, 10) on: the same spot, four times the ink.
    engine_.SetDisplayRectangles({20, 10, 400, 300}, {20, 10, 400, 300});
    const QRect reduced = draw(white(1600, 1200, 24), 80, 60);
    EXPECT_NEAR(reduced.left() / 4.0, plain.left(), 1.5);
    EXPECT_NEAR(reduced.top() / 4.0, plain.top(), 1.5);
    EXPECT_NEAR(reduced.width() / 4.0, plain.width(), 2.5);
    EXPECT_NEAR(reduced.height() / 4.0, plain.height(), 2.5);
    // Shown stretched, the image's pixels are stretched the other way.
    engine_.SetDisplayRectangles({0, 0, 400, 300}, {0, 0, 400, 300});
    const QRect stretched = draw(white(800, 300, 24), 60, 50);
    EXPECT_NEAR(stretched.width() / 2.0, plain.width(), 2.5);
    EXPECT_NEAR(stretched.height(), plain.height(), 2.5);
    // Twips: 15 to the pixel here.
    engine_.SetDisplayRectangles({}, {});
    engine_.SetScaleMode(kTwips);
    EXPECT_EQ(draw(white(400, 300, 24), 900, 750), plain);
}

TEST_F(DrawText, TurnsClockwiseAboutTheCornerOfItsBox) {
    const QRect level = draw(white(300, 300, 24), 150, 150);
    engine_.SetTextAngle(900);
    const QRect down = draw(white(300, 300, 24), 150, 150);
    EXPECT_NEAR(down.height(), level.width(), 2);
    EXPECT_NEAR(down.width(), level.height(), 2);
    EXPECT_NEAR(down.top() - 150, level.left() - 150, 2);
    EXPECT_NEAR(150 - down.right(), level.top() - 150, 3);
    engine_.SetTextAngle(1800);
    const QRect over = draw(white(300, 300, 24), 150, 150);
    EXPECT_NEAR(300 - over.right(), level.left(), 3);
    EXPECT_NEAR(300 - over.bottom(), level.top(), 3);
    engine_.SetTextAngle(3600);
    EXPECT_NEAR(draw(white(300, 300, 24), 150, 150).left(), level.left(), 1);
}

TEST_F(DrawText, EveryDepthHoldsTheText) {
    struct Kind {
        int bits;
        bool gray;
        QColor colour;
        int result;  // bits
        bool smooth;
    };
    const Kind kinds[] = {
        {1, false, Qt::black, 1, false}, {1, false, Qt::red, 24, true},  {4, false, Qt::black, 4, false},
        {8, false, Qt::black, 8, true},  {8, false, Qt::red, 24, true},  {12, true, Qt::black, 12, true},
        {16, true, Qt::black, 16, true}, {24, false, Qt::red, 24, true}, {32, false, Qt::red, 32, true}};
    const QRect box = draw(white(120, 80, 24), 10, 10);
    for (const Kind& kind : kinds) {
        engine_.SetDrawFontColor(kind.colour);
        const QRect drawn = draw(white(120, 80, kind.bits, kind.gray), 10, 10);
        const Bitmap& result = engine_.Bitmap();
        EXPECT_EQ(result.bits(), kind.result);
        EXPECT_TRUE(box.contains(drawn)) << kind.bits;
        EXPECT_NEAR(drawn.width(), box.width(), 3) << kind.bits;
        const Rgba pure{static_cast<std::uint8_t>(kind.colour.red()), 0, 0};
        int full = 0, between = 0;
        for (int y = drawn.top(); y <= drawn.bottom(); ++y) {
            for (int x = drawn.left(); x <= drawn.right(); ++x) {
                const Rgba pixel = result.pixel(x, y);
                full += pixel == pure;
                between += pixel != pure && pixel != Rgba{255, 255, 255};
            }
        }
        EXPECT_GT(full, 50) << kind.bits;
        EXPECT_EQ(between > 0, kind.smooth) << kind.bits;
    }
}

TEST_F(DrawText, StaysInsideTheRegionAndTheImage) {
    const Bitmap whole = white(200, 100, 24);
    const QRect free = draw(whole, 20, 20);
    engine_.SetBitmap(whole);
    const imaging::Rect part{free.x() + 5, free.y() + 3, 20, 9};
    engine_.SetRgn(imaging::Region::rectangle(part));
    EXPECT_TRUE(QRect(part.x, part.y, part.width, part.height).contains(draw(whole, 20, 20)));
    EXPECT_FALSE(ink(engine_.Bitmap()).isEmpty());
    EXPECT_TRUE(engine_.HasRgn()) << "drawing keeps the selection";
    engine_.FreeRgn();
    EXPECT_EQ(draw(whole, 180, -20).right(), 199) << "cut at the edges";
    EXPECT_TRUE(draw(whole, 400, 20).isEmpty());
    EXPECT_TRUE(draw(white(1, 1, 24), 500, 500).isEmpty());
}

TEST_F(DrawText, NoTextNoImageOrNoPersistenceDrawsNothing) {
    EXPECT_TRUE(draw(white(50, 50, 1), 5, 5, {}).isEmpty());
    EXPECT_TRUE(draw(white(50, 50, 1), 5, 5, QStringLiteral("   ")).isEmpty());
    EXPECT_EQ(engine_.Bitmap().bits(), 1);
    engine_.SetDrawPersistence(false);
    EXPECT_TRUE(draw(white(50, 50, 24), 5, 5).isEmpty());
    engine_.SetDrawPersistence(true);
    engine_.SetBitmap({});
    EXPECT_EQ(engine_.DrawText(kText, 0), 20002);
}

TEST_F(DrawText, LeavesCopiesOfTheImageAlone) {
    Engine undo;
    engine_.SetBitmap(white(90, 60, 24));
    undo.SetBitmap(engine_.Bitmap());
    EXPECT_FALSE(draw(engine_.Bitmap(), 5, 5).isEmpty());
    EXPECT_TRUE(ink(undo.Bitmap()).isEmpty());
}

// Drawn in pieces where the painter's own coordinates would end.
TEST_F(DrawText, ReachesAcrossVeryWideImages) {
    const QRect box = draw(white(40000, 40, 1), 39900, 0);
    EXPECT_NEAR(box.left(), 39900, 5);
    const TextPlacement large{{0, 0}, 300, 300, 0};
    const auto mask = draw_text(QString(6, u'H'), engine_.Font(), large, 60000, 40, Limits{});
    ASSERT_TRUE(mask);
    ASSERT_FALSE(mask->coverage.empty());
    EXPECT_GT(mask->coverage.width(), 30000);
}

}  // namespace
}  // namespace quillmark::engine
