// Selecting with the mouse in a real frame: shapes, dragging pixels, nudging, the status bar.
#include <QLabel>
#include <QProxyStyle>

#include "engine/image_view.h"
#include "engine/pointers.h"
#include "program/status_bar.h"
#include "support/desk.h"

namespace quillmark {
namespace {

using imaging::Bitmap;
using imaging::Rect;
using imaging::Region;

class Selecting : public test::Desk {
  protected:
    static constexpr int kWidth = 240, kHeight = 180;

    void open_one(int width = kWidth, int height = kHeight) {
        start();
        open(make_image(QStringLiteral("a.png"), width, height));
        state().ImageChanged = false;
    }
    void use(std::int16_t tool, const QString& last_tool, bool not_rectangle) {
        active().SetRegionTool(tool);
        state().LastTool = last_tool;
        state().NonRectRegion = not_rectangle;
    }
    void use_rectangle() { use(1, QStringLiteral("ID_Rectangle"), false); }
    void use_ellipse() { use(2, QStringLiteral("ID_Ellipse"), true); }

    QWidget* sheet() { return active().view().viewport(); }
    engine::Engine& image() { return active().LEAD1(); }
    QPoint corner() { return image().display_rectangle().topLeft().toPoint(); }
    /// Where a bitmap pixel's corner is shown.
    QPoint shown(int x, int y) {
        const QRectF dst = image().display_rectangle();
        return (dst.topLeft() +
                QPointF(x * dst.width() / image().BitmapWidth(), y * dst.height() / image().BitmapHeight()))
            .toPoint();
    }
    void press(QPoint at, Qt::KeyboardModifiers keys = {}, Qt::MouseButton button = Qt::LeftButton) {
        QTest::mousePress(sheet(), button, keys, at);
    }
    void move(QPoint at) {
        QMouseEvent event{QEvent::MouseMove, at, sheet()->mapToGlobal(at), Qt::NoButton, Qt::LeftButton, {}};
        QApplication::sendEvent(sheet(), &event);
    }
    void release(QPoint at, Qt::MouseButton button = Qt::LeftButton) {
        QTest::mouseRelease(sheet(), button, {}, at);
    }
    void drag(QPoint from, QPoint to, Qt::KeyboardModifiers keys = {}) {
        press(from, keys);
        move((from + to) / 2);
        move(to);
        release(to);
    }
    /// A drag from one pixel's corner to another's.
    void drag_pixels(int x0, int y0, int x1, int y1) { drag(shown(x0, y0), shown(x1, y1)); }
    QString selection_text() { return frame_->status_bar().selection->text(); }

    /// base with the pixels of from that region selects put (dx, dy) further.
    static void expect_moved(const Bitmap& now, const Bitmap& base, const Bitmap& from, const Region& region,
                             int dx, int dy) {
        int wrong = 0, moved = 0;
        for (int y = 0; y < now.height(); ++y) {
            for (int x = 0; x < now.width(); ++x) {
                const bool put = region.contains(x - dx, y - dy);
                moved += put;
                wrong += now.pixel(x, y) != (put ? from.pixel(x - dx, y - dy) : base.pixel(x, y));
            }
        }
        EXPECT_EQ(wrong, 0);
        EXPECT_GT(moved, 0);
    }
    static void expect_equal(const Bitmap& a, const Bitmap& b) {
        ASSERT_EQ(a.bits(), b.bits());
        ASSERT_EQ(a.height(), b.height());
        for (int y = 0; y < a.height(); ++y)
            ASSERT_TRUE(std::ranges::equal(a.row(y), b.row(y))) << "row " << y;
    }
};

TEST_F(Selecting, EachToolDrawsItsShape) {
    open_one();
    const Rect rect{30, 40, 100, 60};
    struct Case {
        std::int16_t tool;
        Region expected;
    };
    for (const Case& c : {Case{1, Region::rectangle(rect)}, Case{2, Region::ellipse(rect)},
                          Case{3, Region::rounded_rectangle(rect, 15, 15)}}) {
        use(c.tool, QStringLiteral("ID_Something"), true);
        active().CancelRegion();
        drag_pixels(30, 40, 130, 100);
        EXPECT_EQ(image().Rgn(), c.expected) << c.tool;
        EXPECT_EQ(image().RgnFrameType(), 2);
    }
    use(4, QStringLiteral("ID_Freehand"), true);
    active().CancelRegion();
    press(shown(20, 20));
    for (const QPoint at : {QPoint{80, 20}, QPoint{80, 70}, QPoint{20, 70}}) move(shown(at.x(), at.y()));
    release(shown(20, 70));
    EXPECT_EQ(image().Rgn(), Region::rectangle({20, 20, 60, 50}));
}

TEST_F(Selecting, IsInImagePixelsAtAnyZoomAndScroll) {
    open_one(400, 300);
    frame_->area().currentSubWindow()->resize(320, 260);
    use_rectangle();
    for (const int percent : {50, 100, 200, 400}) {
        image().SetPaintZoomFactor(percent);
        for (const int scroll : {0, 20}) {
            active().view().horizontalScrollBar()->setValue(scroll);
            active().view().verticalScrollBar()->setValue(scroll);
            active().CancelRegion();
            drag_pixels(12, 20, 52, 46);
            EXPECT_EQ(image().Rgn(), Region::rectangle({12, 20, 40, 26})) << percent << " % at " << scroll;
        }
    }
    for (const int mode : {engine::kPaintFit, engine::kPaintStretch}) {
        image().SetPaintSizeMode(mode);
        active().CancelRegion();
        drag(corner() + QPoint{20, 10}, corner() + QPoint{120, 60});
        const double sx = 400 / image().DstWidth(), sy = 300 / image().DstHeight();
        EXPECT_NEAR(image().Rgn().bounds().x, 20 * sx, 0.5);
        EXPECT_NEAR(image().Rgn().bounds().y, 10 * sy, 0.5);
        EXPECT_NEAR(image().Rgn().bounds().width, 100 * sx, 0.5);
        EXPECT_NEAR(image().Rgn().bounds().height, 50 * sy, 0.5);
    }
}

TEST_F(Selecting, OnlyARectangleIsRecorded) {
    open_one();
    use_rectangle();
    drag({10, 20}, {110, 70});
    const auto recorded = [&] {
        return std::array<int, 4>{state().RectLeft, state().RectTop, state().RectRight, state().RectBottom};
    };
    EXPECT_EQ(recorded(), (std::array<int, 4>{10, 20, 110, 70}));
    EXPECT_EQ(state().LastTool, u"ID_Rectangle");
    EXPECT_FALSE(state().NonRectRegion);
    use_ellipse();
    active().CancelRegion();
    drag({30, 30}, {90, 90});
    EXPECT_EQ(recorded(), (std::array<int, 4>{10, 20, 110, 70}));
    use_rectangle();
    state().LastTool = QStringLiteral("ID_Undo");
    active().CancelRegion();
    drag({30, 30}, {90, 90});
    EXPECT_EQ(recorded(), (std::array<int, 4>{10, 20, 110, 70})) << "another command came between";
}

TEST_F(Selecting, WithoutAToolNothingIsDrawnButTheReleaseCounts) {
    open_one();
    use_rectangle();
    drag_pixels(10, 10, 50, 50);
    active().CancelRegion();
    use(0, QStringLiteral("ID_None"), false);
    state().ImageChanged = false;
    drag_pixels(20, 20, 90, 90);
    EXPECT_FALSE(image().HasRgn());
    EXPECT_EQ(image().RgnTracking(), 0);
    EXPECT_TRUE(state().ImageChanged);
    EXPECT_EQ(active().StartX, shown(20, 20).x());
    for (const Qt::MouseButton button : {Qt::RightButton, Qt::MiddleButton}) {
        state().ImageChanged = false;
        image().SetMousePointer(engine::kPointerText);
        image().SetDisplaySwitch(1, false);
        image().SetDisplaySwitch(4, true);
        release(shown(5, 5), button);
        EXPECT_TRUE(state().ImageChanged);
        EXPECT_EQ(image().MousePointer(), engine::kPointerArrow);
        EXPECT_TRUE(image().DisplaySwitch(1));
        EXPECT_FALSE(image().DisplaySwitch(4));
    }
}

TEST_F(Selecting, AClickMakesNoRegionAndKeepsTheOneThereIs) {
    open_one();
    use_rectangle();
    drag_pixels(10, 10, 60, 60);
    drag(shown(100, 100), shown(100, 100));
    EXPECT_EQ(image().Rgn(), Region::rectangle({10, 10, 50, 50}));
}

TEST_F(Selecting, ShiftAndCtrlStartAnew) {
    open_one();
    use_ellipse();
    for (const Qt::KeyboardModifier key : {Qt::ShiftModifier, Qt::ControlModifier}) {
        image().SetRgn(Region::rectangle({10, 10, 100, 100}));
        drag(shown(20, 20), shown(60, 50), key);
        EXPECT_FALSE(active().RegionDragging);
        EXPECT_EQ(image().Rgn(), Region::ellipse({20, 20, 40, 30}));
    }
}

TEST_F(Selecting, ADragInsideMovesThePixels) {
    for (const bool twice : {false, true}) {
        open_one();
        use_ellipse();
        const Bitmap original = image().Bitmap();
        drag_pixels(20, 20, 80, 60);
        const Region selected = image().Rgn();
        press(shown(50, 40));
        EXPECT_TRUE(active().RegionDragging);
        EXPECT_TRUE(image().FloaterVisible());
        move(shown(60, 90));
        EXPECT_EQ(selection_text(), u"60x40 at 30, 70") << "follows the pixels";
        expect_equal(image().Bitmap(), original);
        EXPECT_TRUE(state().NonRectRegion);
        EXPECT_TRUE(state().LastTool.isEmpty());
        move(shown(120, 110));
        release(shown(120, 110));
        EXPECT_FALSE(active().RegionDragging);
        EXPECT_FALSE(image().FloaterVisible());
        EXPECT_EQ(image().RgnFrameType(), 0);
        EXPECT_EQ(image().Rgn(), selected.moved(70, 70));
        expect_moved(image().Bitmap(), original, original, selected, 70, 70);
        EXPECT_EQ(active().LEAD2().BitmapWidth(), 60);
        EXPECT_EQ(active().LEAD2().BitmapBits(), image().BitmapBits());
        if (twice) {  // what the first drop covered comes back
            drag_pixels(120, 110, 100, 120);
            EXPECT_EQ(image().Rgn(), selected.moved(50, 80));
            expect_moved(image().Bitmap(), original, original, selected, 50, 80);
        }
        active().CancelRegion();
        EXPECT_FALSE(image().HasRgn());
        EXPECT_TRUE(active().LEAD2().Bitmap().empty());
        expect_equal(image().Bitmap(), original);
    }
}

TEST_F(Selecting, PixelsMoveExactlyAtAnyZoom) {
    open_one();
    frame_->area().currentSubWindow()->resize(500, 400);
    use_rectangle();
    for (const int percent : {50, 100, 200, 300}) {
        image().SetPaintZoomFactor(percent);
        active().CancelRegion();
        drag_pixels(10, 10, 32, 28);
        const Bitmap before = image().Bitmap();
        const Region selected = image().Rgn();
        drag_pixels(20, 20, 20, 20);
        expect_equal(image().Bitmap(), before);
        EXPECT_EQ(image().Rgn(), selected) << "a click moves nothing, at " << percent << " %";
        drag_pixels(20, 20, 46, 30);
        EXPECT_EQ(image().Rgn(), selected.moved(26, 10)) << percent << " %";
        expect_moved(image().Bitmap(), before, before, selected, 26, 10);
    }
}

TEST_F(Selecting, PalettesAndBitsMoveToo) {
    struct Case {
        QImage::Format format;
        int bits;
    };
    int cases = 0;
    for (const Case& c : {Case{QImage::Format_Mono, 1}, Case{QImage::Format_Indexed8, 8},
                          Case{QImage::Format_Grayscale16, 16}, Case{QImage::Format_ARGB32, 32}}) {
        start();
        open(make_image(QStringLiteral("p%1.png").arg(c.bits), kWidth, kHeight, c.format));
        const Bitmap original = image().Bitmap();
        ASSERT_EQ(original.bits(), c.bits);
        use_ellipse();
        drag_pixels(21, 20, 80, 61);
        const Region selected = image().Rgn();
        drag_pixels(50, 40, 93, 77);
        EXPECT_EQ(image().BitmapBits(), c.bits);
        expect_moved(image().Bitmap(), original, original, selected, 43, 37);
        active().CancelRegion();
        expect_equal(image().Bitmap(), original);
        ++cases;
    }
    EXPECT_EQ(cases, 4);
}

TEST_F(Selecting, WhatIsDroppedBeyondTheEdgeIsCutOff) {
    open_one();
    const Bitmap original = image().Bitmap();
    use_rectangle();
    drag_pixels(20, 20, 80, 60);
    drag_pixels(50, 40, 0, 30);
    EXPECT_EQ(image().Rgn(), Region::rectangle({0, 10, 30, 40}));
    expect_moved(image().Bitmap(), original, original, Region::rectangle({50, 20, 30, 40}), -50, -10);
    active().CancelRegion();
    expect_equal(image().Bitmap(), original);
}

TEST_F(Selecting, ANewRegionLeavesTheDropForGood) {
    open_one();
    use_rectangle();
    drag_pixels(20, 20, 80, 60);
    drag_pixels(50, 40, 90, 90);
    const Bitmap dropped = image().Bitmap();
    press(shown(200, 10));
    EXPECT_TRUE(active().LEAD2().Bitmap().empty());
    move(shown(220, 30));
    release(shown(220, 30));
    active().CancelRegion();
    expect_equal(image().Bitmap(), dropped);
}

TEST_F(Selecting, TheFloatingPixelsAreSeen) {
    open_one();
    use_rectangle();
    drag_pixels(20, 20, 80, 60);
    press(shown(50, 40));
    move(shown(150, 140));
    const QImage seen = sheet()->grab().toImage();
    for (const QPoint inside : {QPoint{0, 0}, QPoint{59, 39}, QPoint{30, 20}}) {
        const imaging::Rgba there = image().Bitmap().pixel(20 + inside.x(), 20 + inside.y());
        EXPECT_EQ(seen.pixel(shown(120 + inside.x(), 120 + inside.y())), qRgb(there.r, there.g, there.b));
    }
    const imaging::Rgba beside = image().Bitmap().pixel(119, 119);
    EXPECT_EQ(seen.pixel(shown(119, 119)), qRgb(beside.r, beside.g, beside.b));
    QTest::keyClick(&active().view(), Qt::Key_Escape);
    EXPECT_FALSE(active().RegionDragging);
    EXPECT_EQ(image().Rgn(), Region::rectangle({20, 20, 60, 40}));
    release(shown(150, 140));
    EXPECT_EQ(image().Rgn(), Region::rectangle({20, 20, 60, 40}));
}

TEST_F(Selecting, ScrollingUnderADragKeepsThePixelsWhereTheyAre) {
    open_one(500, 400);
    frame_->area().currentSubWindow()->resize(300, 260);
    use_rectangle();
    drag_pixels(20, 20, 80, 60);
    const Region selected = image().Rgn();
    press(shown(50, 40));
    active().view().horizontalScrollBar()->setValue(15);
    release(shown(50, 40));
    EXPECT_EQ(image().Rgn(), selected);
}

TEST_F(Selecting, TheOutlineIsDrawnOnTheSelectedPixelsOnly) {
    open_one();
    use_rectangle();
    drag_pixels(20, 20, 80, 60);
    const auto outlined = [&] {
        const QImage seen = sheet()->grab().toImage();
        int edge = 0, elsewhere = 0;
        for (int y = 0; y < kHeight; ++y) {
            for (int x = 0; x < kWidth; ++x) {
                const imaging::Rgba pixel = image().Bitmap().pixel(x, y);
                if (seen.pixel(shown(x, y)) == qRgb(pixel.r, pixel.g, pixel.b)) continue;
                const bool inside = x >= 20 && x < 80 && y >= 20 && y < 60;
                const bool border = x == 20 || x == 79 || y == 20 || y == 59;
                (inside && border ? edge : elsewhere) += 1;
            }
        }
        return std::pair{edge, elsewhere};
    };
    const auto [edge, elsewhere] = outlined();
    EXPECT_GT(edge, 190) << "of 196 pixels; some may have the line's colour by themselves";
    EXPECT_EQ(elsewhere, 0);
    image().SetRgnFrameType(0);
    EXPECT_EQ(outlined(), (std::pair{0, 0}));
}

TEST_F(Selecting, EscGivesUpADrawing) {
    open_one();
    use_ellipse();
    drag_pixels(20, 20, 80, 60);
    const Region kept = image().Rgn();
    press(shown(100, 100));
    move(shown(150, 150));
    EXPECT_EQ(selection_text(), u"50x50 at 100, 100");
    QTest::keyClick(&active().view(), Qt::Key_Escape);
    EXPECT_EQ(selection_text(), u"60x40 at 20, 20");
    release(shown(150, 150));
    EXPECT_EQ(image().Rgn(), kept);
}

TEST_F(Selecting, ArrowsMoveTheOutlineAlone) {
    open_one();
    const Bitmap original = image().Bitmap();
    use_rectangle();
    drag_pixels(20, 20, 80, 60);
    state().ImageChanged = false;
    QTest::keyClick(&active().view(), Qt::Key_Right);
    QTest::keyClick(&active().view(), Qt::Key_Down, Qt::ShiftModifier);
    EXPECT_EQ(image().Rgn(), Region::rectangle({21, 30, 60, 40}));
    expect_equal(image().Bitmap(), original);
    EXPECT_FALSE(state().ImageChanged);
    EXPECT_EQ(state().RectLeft - corner().x(), 21) << "a crop follows";
    EXPECT_EQ(state().RectBottom - corner().y(), 70);
    for (int i = 0; i < 5; ++i) QTest::keyClick(&active().view(), Qt::Key_Left, Qt::ShiftModifier);
    EXPECT_EQ(image().Rgn(), Region::rectangle({0, 30, 60, 40})) << "stops at the edge, whole";
    EXPECT_EQ(selection_text(), u"60x40 at 0, 30");
}

TEST_F(Selecting, ArrowsTakeDraggedPixelsAlong) {
    open_one();
    const Bitmap original = image().Bitmap();
    use_ellipse();
    drag_pixels(20, 20, 80, 60);
    const Region selected = image().Rgn();
    drag_pixels(50, 40, 90, 70);
    state().LastTool = QStringLiteral("ID_Ellipse");
    QTest::keyClick(&active().view(), Qt::Key_Up, Qt::ShiftModifier);
    QTest::keyClick(&active().view(), Qt::Key_Left);
    EXPECT_EQ(image().Rgn(), selected.moved(39, 20));
    expect_moved(image().Bitmap(), original, original, selected, 39, 20);
    EXPECT_TRUE(state().LastTool.isEmpty());
    active().CancelRegion();
    expect_equal(image().Bitmap(), original);
}

TEST_F(Selecting, ArrowsScrollWhenNothingIsSelected) {
    open_one(800, 600);
    frame_->area().currentSubWindow()->resize(300, 260);
    QTest::keyClick(&active().view(), Qt::Key_Right);
    EXPECT_GT(active().view().horizontalScrollBar()->value(), 0);
}

TEST_F(Selecting, TheStatusBarTellsTheActiveWindowsSelection) {
    open_one();
    QLabel* field = frame_->status_bar().selection;
    EXPECT_FALSE(field->isVisible());
    use_rectangle();
    press(shown(10, 20));
    move(shown(60, 50));
    EXPECT_EQ(field->text(), u"50x30 at 10, 20");
    release(shown(130, 100));
    EXPECT_EQ(field->text(), u"120x80 at 10, 20");
    EXPECT_EQ(field->accessibleDescription(), field->text());
    EXPECT_TRUE(field->isVisible());
    const QMdiSubWindow* first = frame_->area().currentSubWindow();
    open(make_image(QStringLiteral("b.png"), 50, 50));
    EXPECT_FALSE(field->isVisible());
    frame_->area().setActiveSubWindow(const_cast<QMdiSubWindow*>(first));
    EXPECT_EQ(field->text(), u"120x80 at 10, 20");
    active().CancelRegion();
    EXPECT_FALSE(field->isVisible());
}

TEST_F(Selecting, AnotherSizeOfImageEndsASelectionInFlight) {
    open_one();
    use_rectangle();
    drag_pixels(20, 20, 80, 60);
    press(shown(50, 40));
    move(shown(70, 60));
    const Bitmap small = *Bitmap::create(30, 20, 24, {});
    image().SetBitmap(small);
    EXPECT_FALSE(image().HasRgn());
    release(shown(10, 10));
    expect_equal(image().Bitmap(), small);
    EXPECT_FALSE(active().RegionDragging);
}

TEST_F(Selecting, AReleaseThatWasLostIsMadeUpFor) {
    open_one();
    use_rectangle();
    drag_pixels(20, 20, 80, 60);
    press(shown(50, 40));
    move(shown(70, 60));
    QMouseEvent hover{QEvent::MouseMove, QPointF{5, 5}, sheet()->mapToGlobal(QPointF{5, 5}),
                      Qt::NoButton,      Qt::NoButton,  {}};
    QApplication::sendEvent(sheet(), &hover);
    EXPECT_FALSE(active().RegionDragging);
    EXPECT_EQ(image().Rgn(), Region::rectangle({40, 40, 60, 40}));
}

TEST_F(Selecting, RegionsTurnAndShear) {
    open_one();
    const Bitmap original = image().Bitmap();
    use_rectangle();
    drag_pixels(40, 50, 100, 90);
    EXPECT_EQ(active().RotateRegion(9000, false), 0);
    const Region turned = Region::rectangle({40, 50, 60, 40}).turned(9000);
    EXPECT_EQ(image().Rgn(), turned);
    const Rect box = turned.bounds();
    EXPECT_EQ(box.width, 40);
    EXPECT_EQ(image().Bitmap().pixel(41, 70), (imaging::Rgba{255, 255, 255})) << "what it leaves is white";
    EXPECT_EQ(image().Bitmap().pixel(39, 70), original.pixel(39, 70));
    // The first column, read upwards, is now the first row.
    EXPECT_EQ(image().Bitmap().pixel(box.x, box.y), original.pixel(40, 89));
    EXPECT_EQ(image().Bitmap().pixel(box.right() - 1, box.y), original.pixel(40, 50));
    const int height = image().Rgn().bounds().height;
    EXPECT_EQ(active().ShearRegion(2000, true), 0);
    EXPECT_GT(image().Rgn().bounds().width, 45);
    EXPECT_EQ(image().Rgn().bounds().height, height);
    active().CancelRegion();
    const Bitmap kept = image().Bitmap();
    EXPECT_EQ(active().RotateRegion(4500, false), 0);
    expect_equal(image().Bitmap(), kept);
}

TEST_F(Selecting, ACropLeavesWhatTheOutlineShowed) {
    for (const int percent : {50, 100, 200}) {
        for (const bool nudged : {false, true}) {
            open_one();
            image().SetPaintZoomFactor(percent);
            click(u"ID_Rectangle");
            drag_pixels(20, 30, 61, 73);
            if (nudged) QTest::keyClick(&active().view(), Qt::Key_Down, Qt::ShiftModifier);
            const Rect outlined = image().Rgn().bounds();
            const Bitmap before = image().Bitmap();
            click(u"ID_Crop");
            EXPECT_EQ(state().LastTool, u"ID_Crop");
            ASSERT_EQ(image().BitmapWidth(), outlined.width) << percent << " %";
            ASSERT_EQ(image().BitmapHeight(), outlined.height);
            EXPECT_EQ(image().Bitmap().pixel(0, 0), before.pixel(outlined.x, outlined.y));
            EXPECT_FALSE(image().HasRgn());
        }
    }
}

TEST_F(Selecting, ATurnedRegionForgetsWhatItsDropCovered) {
    open_one();
    use_rectangle();
    drag_pixels(20, 20, 80, 60);
    drag_pixels(50, 40, 90, 90);
    EXPECT_EQ(active().RotateRegion(18000, false), 0);
    const Bitmap turned = image().Bitmap();
    active().CancelRegion();
    expect_equal(image().Bitmap(), turned);
}

class Movement final : public QProxyStyle {
  public:
    int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                  QStyleHintReturn* data) const override {
        return hint == SH_Widget_Animation_Duration ? duration
                                                    : QProxyStyle::styleHint(hint, option, widget, data);
    }
    int duration = 200;
};

TEST_F(Selecting, TheOutlineMovesUnlessNothingShall) {
    open_one();
    Movement style;
    active().view().setStyle(&style);
    use_rectangle();
    const auto changes = [&] {
        const QImage before = sheet()->grab().toImage();
        return QTest::qWaitFor([&] { return sheet()->grab().toImage() != before; }, 500);
    };
    style.duration = 0;
    drag_pixels(20, 20, 80, 60);
    EXPECT_FALSE(changes());
    style.duration = 200;
    image().SetRgnFrameType(2);
    EXPECT_TRUE(changes());
    active().CancelRegion();
    EXPECT_FALSE(changes());
    active().view().setStyle(nullptr);
}

TEST_F(Selecting, TheClipRectangleIsInTheUnitInForce) {
    open_one();
    use_rectangle();
    drag({10, 20}, {110, 70});
    for (const int unit : {engine::kPixels, engine::kTwips}) {
        image().SetScaleMode(unit);
        const int per_pixel = static_cast<int>(std::lround(image().DstWidth() / kWidth));
        EXPECT_EQ(per_pixel == 1, unit == engine::kPixels);
        image().SetDstClipRect(state().RectLeft * per_pixel, state().RectTop * per_pixel, 100 * per_pixel,
                               50 * per_pixel);
        EXPECT_DOUBLE_EQ(image().DstClipLeft(), 10.0 * per_pixel);
        EXPECT_DOUBLE_EQ(image().DstClipHeight(), 50.0 * per_pixel);
        image().SetScaleMode(engine::kPixels);
        EXPECT_DOUBLE_EQ(image().DstClipTop(), 20);
        EXPECT_DOUBLE_EQ(image().DstClipWidth(), 100);
    }
}

TEST_F(Selecting, TheTextPointerComesAndGoes) {
    open_one();
    active().show_text_pointer(true);
    EXPECT_EQ(image().MousePointer(), 99);
    EXPECT_EQ(sheet()->cursor().shape(), Qt::BitmapCursor);
    active().show_text_pointer(false);
    EXPECT_EQ(sheet()->cursor().shape(), Qt::ArrowCursor);
    active().show_text_pointer(true);
    QTest::mouseClick(sheet(), Qt::LeftButton, {}, shown(5, 5));
    EXPECT_EQ(sheet()->cursor().shape(), Qt::ArrowCursor) << "a release restores it";
}

TEST_F(Selecting, TheVisiblePartIsInImagePixels) {
    open_one(400, 300);
    EXPECT_EQ(active().visible_part(), (Rect{0, 0, 400, 300}));
    frame_->area().currentSubWindow()->resize(260, 240);
    image().SetPaintZoomFactor(200);
    active().view().horizontalScrollBar()->setValue(101);
    const Rect part = active().visible_part();
    EXPECT_EQ(part.x, 50);
    EXPECT_EQ(part.y, 0);
    EXPECT_EQ(part.width, (sheet()->width() + 101 + 1) / 2 - 50);
    image().SetPaintSizeMode(engine::kPaintFit);
    EXPECT_EQ(active().visible_part(), (Rect{0, 0, 400, 300}));
}

}  // namespace
}  // namespace quillmark
