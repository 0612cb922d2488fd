// The common parameter dialogs: what they begin with, what they take, what they give back, and that their
// preview shows what will be.
#include "engine/parameter_dialog.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDeadlineTimer>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>
#include <QSlider>
#include <QSpinBox>
#include <QTest>
#include <QTimer>
#include <atomic>
#include <mutex>
#include <set>

#include "engine/colour_button.h"
#include "engine/number_box.h"
#include "engine/preview_pair.h"
#include "engine/preview_pane.h"
#include "engine/render.h"
#include "imaging/ops/levels.h"
#include "imaging/ops/relief.h"
#include "program/prompts.h"

namespace quillmark::engine {
namespace {

using imaging::Bitmap;
using imaging::Choice;
using imaging::Context;
using imaging::Operation;
using imaging::Parameter;
using imaging::Rect;
using imaging::Region;
using imaging::Result;

bool wait_for(const std::function<bool()>& condition) {
    for (QDeadlineTimer patience{20'000}; !condition();) {
        if (patience.hasExpired()) return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents, 20);
    }
    return true;
}

// --- Operations of the test ---

constexpr int kEndless = 777;  // a change that lasts until it is told to stop

struct Seen {
    std::atomic<int> runs{0}, without_statistics{0}, endless_started{0}, endless_stopped{0};
    std::mutex mutex;
    std::set<const imaging::Statistics*> statistics;
    std::vector<int> last_arguments;
} seen;

// Every byte plus the change and a pattern of the position, so that a part worked out at the wrong place
// shows.
Result<Bitmap> run_shift(const Bitmap& bitmap, std::span<const int> arguments, const Context& context) {
    ++seen.runs;
    {
        const std::scoped_lock lock{seen.mutex};
        seen.statistics.insert(context.statistics);
        seen.last_arguments.assign(arguments.begin(), arguments.end());
    }
    if (!context.statistics) ++seen.without_statistics;
    if (arguments[0] == kEndless) {
        ++seen.endless_started;
        for (QDeadlineTimer patience{20'000}; !patience.hasExpired();) {
            if (context.progress(0, 1)) continue;
            ++seen.endless_stopped;
            return imaging::Error{imaging::Fault::cancelled, "test"};
        }
    }
    auto result = imaging::blank_like(bitmap, context.limits);
    if (!result) return result;
    for (int y = 0; y < bitmap.height(); ++y) {
        const auto in = bitmap.row(y);
        const auto out = result->writable_row(y);
        for (std::size_t x = 0; x < in.size(); ++x) {
            const int pattern = (static_cast<int>(x / 3) + context.origin_x) * 3 + (y + context.origin_y) * 5;
            out[x] = static_cast<std::uint8_t>(in[x] + arguments[0] + pattern % 7);
        }
    }
    return result;
}

Result<Bitmap> run_turn(const Bitmap& bitmap, std::span<const int> arguments, const Context& context) {
    {
        const std::scoped_lock lock{seen.mutex};
        seen.last_arguments.assign(arguments.begin(), arguments.end());
    }
    auto result = imaging::blank_like(bitmap, bitmap.height(), bitmap.width(), context.limits);
    if (result) std::ranges::fill(result->writable_row(0), std::uint8_t{9});
    return result;
}

constexpr Choice kKinds[] = {{0, "print"}, {1, "view"}};
constexpr Choice kBits[] = {{1, "1"}, {4, "4"}, {8, "8"}, {24, "24"}};
constexpr Choice kPalettes[] = {{0, "fixed"}, {1, "optimised"}};
constexpr Choice kDithers[] = {{0, "none"}, {1, "diffusion"}};
constexpr Parameter kChange[] = {{"change", "tenths of a percent", -1000, 1000, 0, 0}};
constexpr Parameter kSize[] = {{"size", "pixels", 1, 255, 3, 1}};
constexpr Parameter kGammaRow[] = {{"gamma", "hundredths", 10, 1000, 100, 100}};
constexpr Parameter kLevels[] = {{"low", "levels of 255", 0, 255, 0}, {"high", "levels of 255", 0, 255, 255}};
constexpr Parameter kColorRes[] = {{"bits", "", 1, 24, 8, {}, kBits},
                                   {"palette", "", 0, 1, 1, {}, kPalettes},
                                   {"dither", "", 0, 1, 1, {}, kDithers}};
constexpr Parameter kTurn[] = {{"angle", "hundredths of a degree", -36000, 36000, 0, 0},
                               {"resize", "", 0, 1, 1},
                               {"fill", "", 0, 0xFFFFFF, 0xFFFFFF}};
constexpr Parameter kHalftone[] = {{"type", "", 0, 1, 0, {}, kKinds}, {"angle", "degrees", -360, 360, 0}};

using imaging::Scope;
constexpr imaging::Channels kRedCounts = 1U << imaging::kRed;
constexpr Operation kShiftOp{"Shift", "", kChange, Scope::pixels, 0, nullptr, run_shift};
constexpr Operation kCountingOp{"Counting", "", kChange, Scope::pixels, kRedCounts, nullptr, run_shift};
constexpr Operation kSizeOp{"Sized", "", kSize, Scope::pixels, 0, nullptr, run_shift};
constexpr Operation kGammaOp{"GammaCorrect", "", kGammaRow, Scope::pixels, 0, nullptr, run_shift};
constexpr Operation kDetectOp{"IntensityDetect", "", kLevels, Scope::pixels, 0, nullptr, run_shift};
constexpr Operation kColorResOp{"ColorRes", "", kColorRes, Scope::whole, 0, nullptr, run_shift};
constexpr Operation kTurnOp{"Rotate", "", kTurn, Scope::whole, 0, nullptr, run_turn};
constexpr Operation kHalftoneOp{"Halftone", "", kHalftone, Scope::whole, 0, nullptr, run_shift};

Bitmap picture(int width, int height) {
    auto bitmap = *Bitmap::create(width, height, 24, {});
    for (int y = 0; y < height; ++y) {
        const auto row = bitmap.writable_row(y);
        for (std::size_t x = 0; x < row.size(); ++x)
            row[x] = static_cast<std::uint8_t>(x * 7 + static_cast<std::size_t>(y) * 11);
    }
    return bitmap;
}

// --- A dialog that is shown, with its parts by name ---

class ParameterDialogTest : public testing::Test {
  protected:
    void SetUp() override {
        seen.runs = seen.without_statistics = seen.endless_started = seen.endless_stopped = 0;
        const std::scoped_lock lock{seen.mutex};
        seen.statistics.clear();
        seen.last_arguments.clear();
    }

    ParameterDialog& open(DialogKind kind, const Operation& operation) {
        control.Operation = operation.name;
        dialog = std::make_unique<ParameterDialog>(control, kind, operation, nullptr);
        dialog->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(dialog.get()));
        return *dialog;
    }
    template <typename T>
    T& part(const char* name) {
        T* found = dialog->findChild<T*>(name);
        if (!found) throw std::runtime_error{std::string{"no part "} + name};
        return *found;
    }
    NumberBox& box(const char* name) { return part<NumberBox>(name); }
    QString shown(const char* name) { return box(name).findChild<QLineEdit*>()->text(); }
    void type(const char* name, const char* text) {
        auto* edit = box(name).findChild<QLineEdit*>();
        edit->setFocus();
        edit->selectAll();
        QTest::keyClicks(edit, QLatin1String{text});
    }
    bool can_accept() { return part<QPushButton>("OK").isEnabled(); }
    QString note(const char* name) { return part<QLabel>(name).text(); }
    bool settled() {
        auto* pair = dialog->findChild<PreviewPair*>();
        return wait_for([pair] { return pair->settled(); });
    }
    QSize pane_size() {
        return part<PreviewPane>("previewBefore")
            .device_size()
            .boundedTo(part<PreviewPane>("previewAfter").device_size());
    }
    const TrialPicture& after() { return part<PreviewPane>("previewAfter").picture(); }
    const TrialPicture& before() { return part<PreviewPane>("previewBefore").picture(); }

    CommonDialog control;
    std::unique_ptr<ParameterDialog> dialog;
};

// --- Values as people write them ---

TEST(ParameterText, PeoplesUnits) {
    struct Case {
        const char* unit;
        int value;
        const char *shown, *symbol;
    };
    const Case cases[] = {{"tenths of a percent", -505, "-50.5", "%"},
                          {"hundredths", 10, "0.10", ""},
                          {"hundredths", 1000, "10.00", ""},
                          {"hundredths of a degree clockwise", 4512, "45.12", "° clockwise"},
                          {"pixels", 255, "255", "pixels"},
                          {"percent", 100, "100", "%"},
                          {"sixteenths", 3, "3", "sixteenths"}};
    for (const Case& c : cases) {
        Parameter parameter{"x", c.unit, -100000, 100000, 0};
        const Notation notation = notation_of(parameter);
        EXPECT_EQ(value_text(c.value, notation.decimals).toStdString(), c.shown) << c.unit;
        EXPECT_EQ(notation.unit.toStdString(), c.symbol) << c.unit;
        EXPECT_EQ(value_in(QString::fromLatin1(c.shown), notation.decimals), c.value) << c.unit;
    }
}

TEST(ParameterText, WhatIsTyped) {
    EXPECT_EQ(value_in(" 1,5 ", 2), 150);
    EXPECT_EQ(value_in("-.5", 1), -5);
    EXPECT_EQ(value_in("1e30", 2), INT_MAX);
    for (const char* text : {"", "-", "abc", "1.2.3", "nan", "inf", "5 %"})
        EXPECT_FALSE(value_in(text, 1)) << text;
}

// --- What each kind begins with and gives back ---

TEST_F(ParameterDialogTest, EffectValueKeepsAPresetInsideItsRange) {
    open(DialogKind::effect_value, kShiftOp);
    EXPECT_EQ(shown("Value"), "0.0");
    EXPECT_EQ(box("Value").low(), -1000);
    EXPECT_EQ(box("Value").high(), 1000);
    type("Value", "12.5");
    EXPECT_EQ(control.Value, 0);
    dialog->accept();
    EXPECT_EQ(control.Value, 125);
}

TEST_F(ParameterDialogTest, PresetsOutsideTheRangeBeginAtTheInitialValue) {
    open(DialogKind::effect_value, kSizeOp);
    EXPECT_EQ(shown("Value"), "3");
    open(DialogKind::gamma, kGammaOp);
    EXPECT_EQ(shown("Gamma"), "1.00");
    EXPECT_EQ(dialog->windowTitle(), "Gamma Correction");
    type("Gamma", "2,2");
    dialog->accept();
    EXPECT_EQ(control.Gamma, 220);
}

TEST_F(ParameterDialogTest, IntensityDetectKeepsLowBelowHigh) {
    open(DialogKind::intensity_detect, kDetectOp);
    EXPECT_EQ(shown("Low"), "0");
    EXPECT_EQ(shown("High"), "255");
    type("Low", "100");
    type("High", "99");
    EXPECT_FALSE(can_accept());
    EXPECT_EQ(note("HighReason"), "Too small: below \"Low\"");
    type("Low", "40");
    EXPECT_TRUE(can_accept());
    EXPECT_EQ(note("HighReason"), "0 to 255");
    dialog->accept();
    EXPECT_EQ(control.Low, 40);
    EXPECT_EQ(control.High, 99);
}

TEST_F(ParameterDialogTest, ColourResolutionGivesCodes) {
    open(DialogKind::colour_resolution, kColorResOp);
    auto& bits = part<QComboBox>("Bits");
    ASSERT_EQ(bits.count(), 4);
    EXPECT_EQ(bits.currentData(), 8);
    EXPECT_EQ(part<QComboBox>("PaletteOption").currentData(), 1);
    EXPECT_EQ(part<QComboBox>("PaletteOption").currentText(), "Optimised");
    bits.setCurrentIndex(3);
    part<QComboBox>("DitherOption").setCurrentIndex(0);
    dialog->accept();
    EXPECT_EQ(control.Bits, 24);
    EXPECT_EQ(control.PaletteOption, 1);
    EXPECT_EQ(control.DitherOption, 0);
}

TEST_F(ParameterDialogTest, SpatialFilterListsItsFamily) {
    const Operation* operation = imaging::find_operation("SpatialFilter");
    ASSERT_TRUE(operation);
    ASSERT_EQ(imaging::filter_families().size(), 6u);
    for (std::size_t i = 0; i < 6; ++i) {
        const auto& family = imaging::filter_families()[i];
        control.Flags = 0x40000000U | 1U << i;
        open(DialogKind::spatial_filter, *operation);
        EXPECT_EQ(dialog->windowTitle().toStdString(), family.name);
        auto& list = part<QListWidget>("Filter");
        ASSERT_EQ(list.count(), static_cast<int>(family.choices.size()));
        EXPECT_TRUE(list.currentItem());
        list.setCurrentRow(list.count() - 1);
        dialog->accept();
        EXPECT_EQ(control.Filter, family.choices.back().value);
    }
}

TEST_F(ParameterDialogTest, TurnsOfAWholeImageAskForEverything) {
    control.Bitmap = picture(40, 30);
    control.FillColor = QColor{1, 2, 3};
    open(DialogKind::rotate, kTurnOp);
    EXPECT_EQ(shown("Angle"), "0.00");
    EXPECT_TRUE(part<QCheckBox>("Option").isChecked());
    EXPECT_EQ(part<ColourButton>("FillColor").colour(), QColor(1, 2, 3));
    type("Angle", "-12.34");
    part<QCheckBox>("Option").setChecked(false);
    part<ColourButton>("FillColor").set_colour(QColor{200, 100, 50});
    ASSERT_TRUE(settled());
    {
        const std::scoped_lock lock{seen.mutex};
        EXPECT_EQ(seen.last_arguments, (std::vector<int>{-1234, 0, 200 << 16 | 100 << 8 | 50}));
    }
    dialog->accept();
    EXPECT_EQ(control.Angle, -1234);
    EXPECT_FALSE(control.Option);
    EXPECT_EQ(control.FillColor, QColor(200, 100, 50));
}

TEST_F(ParameterDialogTest, TurnsOfARegionHaveNoPreviewAndNoFill) {
    open(DialogKind::rotate, kTurnOp);
    EXPECT_FALSE(dialog->findChild<PreviewPair*>());
    EXPECT_FALSE(dialog->findChild<QCheckBox*>("Option"));
    EXPECT_FALSE(dialog->findChild<ColourButton*>("FillColor"));
    type("Angle", "90");
    dialog->accept();
    EXPECT_EQ(control.Angle, 9000);
    open(DialogKind::shear, kTurnOp);
    EXPECT_TRUE(part<QCheckBox>("Option").isChecked());
    EXPECT_EQ(shown("Angle"), "90.00");
}

TEST_F(ParameterDialogTest, HalftonesTypeComesFromTheCaller) {
    control.Bitmap = picture(40, 30);
    control.Fixed = 1;
    open(DialogKind::effect_value, kHalftoneOp);
    type("Value", "45");
    ASSERT_TRUE(settled());
    const std::scoped_lock lock{seen.mutex};
    EXPECT_EQ(seen.last_arguments, (std::vector<int>{1, 45}));
}

// --- Typing, sliding, keys ---

TEST_F(ParameterDialogTest, RefusesWithTheReasonBesideTheField) {
    open(DialogKind::gamma, kGammaOp);
    EXPECT_EQ(note("GammaReason"), "0.10 to 10.00");
    const std::pair<const char*, const char*> cases[] = {{"0.05", "Too small: the least is 0.10"},
                                                         {"10.01", "Too large: the most is 10.00"},
                                                         {"bright", "Not a number: enter 0.10 to 10.00"}};
    for (const auto& [text, reason] : cases) {
        type("Gamma", text);
        EXPECT_EQ(note("GammaReason"), reason);
        EXPECT_EQ(box("Gamma").accessibleDescription(), reason);
        EXPECT_FALSE(can_accept());
        QTest::keyClick(&box("Gamma"), Qt::Key_Return);
        EXPECT_TRUE(dialog->isVisible());
        EXPECT_EQ(shown("Gamma"), text);  // what was typed stays to be mended
    }
    type("Gamma", "0.5");
    EXPECT_TRUE(can_accept());
    QTest::keyClick(&box("Gamma"), Qt::Key_Return);
    EXPECT_EQ(dialog->result(), QDialog::Accepted);
    EXPECT_EQ(control.Gamma, 50);
}

TEST_F(ParameterDialogTest, SliderAndBoxMoveTogether) {
    for (const Operation* operation : {&kShiftOp, &kSizeOp}) {
        open(DialogKind::effect_value, *operation);
        auto& slider = part<QSlider>("ValueSlider");
        slider.setValue(slider.maximum());
        EXPECT_EQ(box("Value").value(), box("Value").high());
        slider.setValue(slider.minimum());
        EXPECT_EQ(box("Value").value(), box("Value").low());
        const int before = slider.value();
        box("Value").set_value(200);
        EXPECT_GT(slider.value(), before);
        EXPECT_EQ(box("Value").value(), 200);
        QTest::keyClick(&slider, Qt::Key_Right);
        EXPECT_EQ(box("Value").value(), operation == &kShiftOp ? 210 : 201);
        QTest::keyClick(&box("Value"), Qt::Key_Down);
        EXPECT_EQ(box("Value").value(), 200);
        QTest::keyClick(&box("Value"), Qt::Key_PageUp);
        EXPECT_EQ(box("Value").value(), operation == &kShiftOp ? 300 : 210);
    }
}

TEST_F(ParameterDialogTest, EveryValueOfASliderCanBeReached) {
    open(DialogKind::gamma, kGammaOp);
    auto& slider = part<QSlider>("GammaSlider");
    int last = slider.minimum();
    for (int value = 11; value <= 1000; ++value) {
        box("Gamma").set_value(value);
        EXPECT_GT(slider.value(), last);
        last = slider.value();
    }
    EXPECT_EQ(last, slider.maximum());
}

TEST_F(ParameterDialogTest, CancelLeavesTheResultsAndResetTheBeginning) {
    control.Value = 70;
    open(DialogKind::effect_value, kShiftOp);
    type("Value", "99999");
    part<QPushButton>("Reset").click();
    EXPECT_EQ(shown("Value"), "7.0");
    EXPECT_TRUE(can_accept());
    type("Value", "33");
    QTest::keyClick(dialog.get(), Qt::Key_Escape);
    EXPECT_FALSE(dialog->isVisible());
    EXPECT_EQ(dialog->result(), QDialog::Rejected);
    EXPECT_EQ(control.Value, 70);
}

// --- The preview ---

QImage shown_image(const Bitmap& bitmap) {
    const QRect all{0, 0, bitmap.width(), bitmap.height()};
    return render(bitmap, {all, all});
}

TEST_F(ParameterDialogTest, AtFullSizeThePreviewEqualsTheResult) {
    control.Bitmap = picture(1200, 900);
    control.Visible = {700, 500, 300, 200};
    const Region ellipse = Region::ellipse({750, 520, 180, 150});
    control.Rgn = &ellipse;
    open(DialogKind::effect_value, kShiftOp);
    part<QRadioButton>("previewFull").setChecked(true);
    type("Value", "5");
    ASSERT_TRUE(settled());
    const QSize pane = pane_size();
    ASSERT_EQ(after().image.size(), pane);
    const Rect part{850 - pane.width() / 2, 600 - pane.height() / 2, pane.width(), pane.height()};
    const int change[] = {50};
    const auto expected = imaging::apply_part(kShiftOp, control.Bitmap, change, &ellipse, part, {});
    ASSERT_TRUE(expected);
    EXPECT_EQ(after().image, shown_image(*expected));
    EXPECT_EQ(before().image, shown_image(*imaging::cropped(control.Bitmap, part, {})));
    EXPECT_NE(after().image, before().image);
    EXPECT_EQ(note("previewNote"), "");
}

TEST_F(ParameterDialogTest, DraggingMovesBothPanesAndStopsAtTheEdge) {
    control.Bitmap = picture(1200, 900);
    open(DialogKind::effect_value, kShiftOp);
    part<QRadioButton>("previewFull").setChecked(true);
    ASSERT_TRUE(settled());
    auto& pane = part<PreviewPane>("previewBefore");
    const QSize size = pane_size();
    const QPoint start = pane.rect().center();
    QTest::mousePress(&pane, Qt::LeftButton, {}, start);
    QTest::mouseMove(&pane, start + QPoint{30, 20});
    QTest::mouseMove(&pane, start + QPoint{50, -10});
    QTest::mouseRelease(&pane, Qt::LeftButton, {}, start + QPoint{50, -10});
    ASSERT_TRUE(settled());
    const Rect moved{600 - 50 - size.width() / 2, 450 + 10 - size.height() / 2, size.width(), size.height()};
    EXPECT_EQ(before().image, shown_image(*imaging::cropped(control.Bitmap, moved, {})));
    const int change[] = {0};
    EXPECT_EQ(after().image,
              shown_image(*imaging::apply_part(kShiftOp, control.Bitmap, change, nullptr, moved, {})));
    for (int i = 0; i < 100; ++i) QTest::keyClick(&pane, Qt::Key_Left);
    ASSERT_TRUE(settled());
    const Rect edge{0, moved.y, size.width(), size.height()};
    EXPECT_EQ(before().image, shown_image(*imaging::cropped(control.Bitmap, edge, {})));
}

TEST_F(ParameterDialogTest, FittedItShowsTheVisiblePartOfTheResult) {
    control.Bitmap = picture(1600, 1200);
    control.Visible = {100, 200, 1000, 900};
    open(DialogKind::effect_value, kShiftOp);
    EXPECT_TRUE(part<QRadioButton>("previewFit").isChecked());
    type("Value", "5");
    ASSERT_TRUE(settled());
    const int change[] = {50};
    const auto result = imaging::apply_part(kShiftOp, control.Bitmap, change, nullptr, control.Visible, {});
    const QSize size = after().image.size();
    EXPECT_EQ(size, QSize(1000, 900).scaled(size, Qt::KeepAspectRatio));
    EXPECT_EQ(after().image, render(*result, {QRectF{QPointF{}, QSizeF{size}}, {QPoint{}, size}}));
}

TEST_F(ParameterDialogTest, SmallImagesAreShownWholeAndLarger) {
    control.Bitmap = picture(20, 10);
    open(DialogKind::effect_value, kShiftOp);
    ASSERT_TRUE(settled());
    const QSize size = QSize{20, 10}.scaled(pane_size(), Qt::KeepAspectRatio);
    EXPECT_GT(size.width(), 100);
    const int change[] = {0};
    const auto result = imaging::apply(kShiftOp, control.Bitmap, change, nullptr, {});
    EXPECT_EQ(after().image, render(*result, {QRectF{QPointF{}, QSizeF{size}}, {QPoint{}, size}}));
    part<QRadioButton>("previewFull").setChecked(true);
    ASSERT_TRUE(settled());
    EXPECT_EQ(after().image.size(), QSize(20, 10));
}

TEST_F(ParameterDialogTest, StatisticsAreCountedOnce) {
    control.Bitmap = picture(1600, 1200);
    open(DialogKind::effect_value, kCountingOp);
    for (const int value : {10, 20, 30}) {
        box("Value").set_value(value);
        ASSERT_TRUE(settled());
    }
    part<QRadioButton>("previewFull").setChecked(true);
    ASSERT_TRUE(settled());
    EXPECT_GE(seen.runs, 4);
    EXPECT_EQ(seen.without_statistics, 0);
    const std::scoped_lock lock{seen.mutex};
    EXPECT_EQ(seen.statistics.size(), 1u);  // one and the same for every answer
}

TEST_F(ParameterDialogTest, TheNewestQuestionWins) {
    control.Bitmap = picture(200, 150);
    open(DialogKind::effect_value, kShiftOp);
    ASSERT_TRUE(settled());
    box("Value").set_value(kEndless);
    ASSERT_TRUE(wait_for([] { return seen.endless_started > 0; }));
    for (const int value : {1, 2, 3, 4}) box("Value").set_value(value);
    ASSERT_TRUE(settled());
    EXPECT_GE(seen.endless_stopped, 1);
    const int change[] = {4};
    const auto expected = imaging::apply(kShiftOp, control.Bitmap, change, nullptr, {});
    part<QRadioButton>("previewFull").setChecked(true);
    ASSERT_TRUE(settled());
    EXPECT_EQ(after().image, shown_image(*expected));
}

TEST_F(ParameterDialogTest, ClosingStopsTheWorkUnderWay) {
    control.Bitmap = picture(300, 200);
    open(DialogKind::effect_value, kShiftOp);
    box("Value").set_value(kEndless);
    ASSERT_TRUE(wait_for([] { return seen.endless_started > 0; }));
    dialog.reset();
    EXPECT_EQ(seen.endless_stopped, seen.endless_started);
}

TEST_F(ParameterDialogTest, WholeImageOperationsBecomeExact) {
    control.Bitmap = picture(1600, 1200);
    open(DialogKind::colour_resolution, kColorResOp);
    part<QRadioButton>("previewFull").setChecked(true);
    ASSERT_TRUE(wait_for([this] { return note("previewNote") == "Approximate"; }));
    ASSERT_TRUE(settled());
    EXPECT_EQ(note("previewNote"), "");
    const int arguments[] = {8, 1, 1};
    const auto whole = imaging::apply(kColorResOp, control.Bitmap, arguments, nullptr, {});
    const QSize pane = pane_size();
    const Rect part{800 - pane.width() / 2, 600 - pane.height() / 2, pane.width(), pane.height()};
    EXPECT_EQ(after().image, shown_image(*imaging::cropped(*whole, part, {})));
}

TEST_F(ParameterDialogTest, ATurnedImageIsShownWhole) {
    control.Bitmap = picture(1600, 800);
    control.Visible = {0, 0, 200, 200};  // of no use once the image is turned
    open(DialogKind::rotate, kTurnOp);
    ASSERT_TRUE(settled());
    const QSize pane = pane_size();
    EXPECT_EQ(after().image.size(), QSize(800, 1600).scaled(pane, Qt::KeepAspectRatio));
    EXPECT_EQ(before().image.size(), QSize(1600, 800).scaled(pane, Qt::KeepAspectRatio));
}

// --- As the program asks ---

// Runs as soon as a modal dialog is up.
void in_dialog(const std::function<void(QDialog&)>& act) {
    QTimer::singleShot(0, [act] { act(*qobject_cast<QDialog*>(QApplication::activeModalWidget())); });
}

TEST(DesktopPrompts, ShowsTheDialogOfTheOperation) {
    program::DesktopPrompts prompts{nullptr};
    CommonDialog control;
    control.Bitmap = picture(64, 48);
    control.Operation = "GammaCorrect";
    QString title;
    in_dialog([&](QDialog& dialog) {
        title = dialog.windowTitle();
        dialog.findChild<NumberBox*>("Gamma")->set_value(180);
        dialog.findChild<QPushButton*>("OK")->click();
    });
    EXPECT_EQ(prompts.show_common(control, DialogKind::gamma), 0);
    EXPECT_EQ(control.Gamma, 180);
    EXPECT_EQ(title, "Gamma Correction");
    in_dialog([](QDialog& dialog) { dialog.reject(); });
    EXPECT_EQ(prompts.show_common(control, DialogKind::gamma), kDialogCancelled);
    control.Operation = "NoSuchOperation";
    EXPECT_EQ(prompts.show_common(control, DialogKind::gamma), Engine::kNotAvailable);
}

TEST(DesktopPrompts, EveryOperationWithADialogFitsItsForm) {
    const std::pair<const char*, DialogKind> rows[] = {{"Posterize", DialogKind::effect_value},
                                                       {"Mosaic", DialogKind::effect_value},
                                                       {"Average", DialogKind::effect_value},
                                                       {"Median", DialogKind::effect_value},
                                                       {"Sharpen", DialogKind::effect_value},
                                                       {"AddNoise", DialogKind::effect_value},
                                                       {"Emboss", DialogKind::effect_value},
                                                       {"Saturation", DialogKind::effect_value},
                                                       {"HistoContrast", DialogKind::effect_value},
                                                       {"Halftone", DialogKind::effect_value},
                                                       {"GammaCorrect", DialogKind::gamma},
                                                       {"IntensityDetect", DialogKind::intensity_detect},
                                                       {"ColorRes", DialogKind::colour_resolution},
                                                       {"SpatialFilter", DialogKind::spatial_filter},
                                                       {"Rotate", DialogKind::rotate},
                                                       {"Shear", DialogKind::shear}};
    for (const auto& [name, kind] : rows) {
        const Operation* operation = imaging::find_operation(name);
        ASSERT_TRUE(operation) << name;
        for (const int bits : {1, 8, 24, 32}) {
            CommonDialog control;
            control.Bitmap = *Bitmap::create(700, 500, bits, {});
            control.Operation = name;
            control.Flags = 0x40000001;
            ParameterDialog dialog{control, kind, *operation, nullptr};
            dialog.show();
            auto* pair = dialog.findChild<PreviewPair*>();
            ASSERT_TRUE(pair);
            ASSERT_TRUE(wait_for([pair] { return pair->settled(); })) << name;
            const auto* pane = dialog.findChild<PreviewPane*>("previewAfter");
            EXPECT_FALSE(pane->picture().image.isNull()) << name << ' ' << bits;
            EXPECT_TRUE(dialog.findChild<QPushButton*>("OK")->isEnabled()) << name;
        }
    }
}

TEST(DesktopPrompts, AsksForAFont) {
    program::DesktopPrompts prompts{nullptr};
    QFont font{"DejaVu Sans", 12};
    font.setBold(true);
    QColor colour{10, 20, 30};
    const auto change = [](QDialog& dialog) {
        EXPECT_TRUE(dialog.findChild<QCheckBox*>("FontBold")->isChecked());
        EXPECT_EQ(dialog.findChild<QSpinBox*>("FontSize")->value(), 12);
        EXPECT_EQ(dialog.findChild<ColourButton*>("FontColor")->colour(), QColor(10, 20, 30));
        dialog.findChild<QSpinBox*>("FontSize")->setValue(36);
        dialog.findChild<QCheckBox*>("FontBold")->click();
        dialog.findChild<QCheckBox*>("FontItalic")->click();
        dialog.findChild<ColourButton*>("FontColor")->set_colour(Qt::red);
    };
    in_dialog([&](QDialog& dialog) { change(dialog), dialog.reject(); });
    EXPECT_FALSE(prompts.choose_font(font, colour));
    EXPECT_TRUE(font.bold() && !font.italic() && font.pointSize() == 12);
    in_dialog([&](QDialog& dialog) { change(dialog), dialog.accept(); });
    EXPECT_TRUE(prompts.choose_font(font, colour));
    EXPECT_TRUE(!font.bold() && font.italic() && font.pointSize() == 36);
    EXPECT_EQ(colour, QColor(Qt::red));
}

}  // namespace
}  // namespace quillmark::engine
