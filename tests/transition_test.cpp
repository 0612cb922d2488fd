// Paint effects: the names, the order in which pixels turn, and the playing in a view.
#include "engine/transition.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QKeyEvent>
#include <QListWidget>
#include <QProxyStyle>
#include <QPushButton>
#include <QSet>
#include <QTest>

#include "engine/image_view.h"
#include "support/desk.h"

namespace quillmark::engine {
namespace {

constexpr QSize kSizes[] = {{1, 1}, {7, 3}, {3, 7}, {2, 2}, {1, 37}, {65, 3}, {40, 32}};

TEST(TransitionNames, CountUpFrom2000) {
    const QStringList names = paint_effect_names();
    ASSERT_EQ(names.size(), 555);
    EXPECT_EQ(QSet<QString>(names.begin(), names.end()).size(), 555);
    const std::pair<int, const char*> known[] = {
        {2000, "WIPE_L_TO_R"},          {2029, "WIPE_INTERH_C_TO_T_AND_B_THEN_T_AND_B_TO_C"},
        {2030, "WIPE2_LT_AND_RB_TO_C"}, {2039, "WIPE2_T_L_TO_R_AND_B_R_TO_L"},
        {2040, "WIPE4_CORNERS_OUT"},    {2043, "WIPE4_L_L_L_L"},
        {2044, "WIPE4_L_L_L_R"},        {2047, "WIPE4_L_L_R_L"},
        {2298, "WIPE4_B_B_B_B"},        {2299, "WIPE4_LT_LT_LT_LT"},
        {2300, "WIPE4_LT_LT_LT_LB"},    {2554, "WIPE4_RB_RB_RB_RB"}};
    for (const auto& [code, name] : known) EXPECT_EQ(names[code - kFirstPaintEffect].toStdString(), name);
}

TEST(Transition, UnknownCodesAndNamesAreNone) {
    for (const int code : {-1, 0, 1999, 2555}) EXPECT_FALSE(Transition::of(code)) << code;
    for (const char* name : {"", "WIPE", "WIPE_L", "WIPE9_L_TO_R", "WIPE2_L", "WIPE4_L_L_L"})
        EXPECT_FALSE(Transition::named(QString::fromLatin1(name))) << name;
}

double shown_share(const Transition& effect, QSize size, double progress) {
    int shown = 0;
    for (int y = 0; y < size.height(); ++y)
        for (int x = 0; x < size.width(); ++x) shown += effect.shows({x, y}, size, progress);
    return static_cast<double>(shown) / (size.width() * size.height());
}

TEST(Transition, EveryEffectGrowsFromNothingToEverything) {
    int effects = 0;
    for (const QString& name : paint_effect_names()) {
        const auto effect = Transition::of(kFirstPaintEffect + effects++);
        ASSERT_TRUE(effect) << name.toStdString();
        for (const QSize size : kSizes) {
            double before = 0;
            for (int step = 0; step <= 16; ++step) {
                const double now = shown_share(*effect, size, step / 16.0);
                ASSERT_GE(now, before) << name.toStdString();
                ASSERT_TRUE(step > 0 || now == 0) << name.toStdString();
                before = now;
            }
            ASSERT_EQ(before, 1) << name.toStdString() << ' ' << size.width() << 'x' << size.height();
        }
        // Neither jumps nor waits on a sheet of some size.
        ASSERT_NEAR(shown_share(*effect, {64, 64}, 0.5), 0.5, 0.27) << name.toStdString();
        ASSERT_GT(shown_share(*effect, {64, 64}, 0.2), 0) << name.toStdString();
        ASSERT_LT(shown_share(*effect, {64, 64}, 0.8), 1) << name.toStdString();
    }
    EXPECT_EQ(effects, 555);
}

struct Picture {
    const char* name;
    double progress;
    std::vector<std::string> rows;
};

// Worked out by hand from the words of the names.
const Picture kPictures[] = {
    {"WIPE_L_TO_R", 0.5, {"###...", "###..."}},
    {"WIPE_R_TO_L", 0.5, {"...###", "...###"}},
    {"WIPE_T_TO_B", 0.5, {"##", "##", "..", ".."}},
    {"WIPE_B_TO_T", 0.25, {"..", "..", "..", "##"}},
    {"WIPE_LT_TO_RB", 0.5, {"####", "###.", "##..", "#..."}},
    {"WIPE_LB_TO_RT", 0.5, {"#...", "##..", "###.", "####"}},
    {"WIPE_INTERH_L_TO_R_THEN_R_TO_L", 0.25, {"##..", "....", "##.."}},
    {"WIPE_INTERH_L_TO_R_THEN_R_TO_L", 0.75, {"####", "..##", "####"}},
    {"WIPE_INTERV_T_TO_B_THEN_B_TO_T", 0.75, {"#.#.#", "#.#.#", "#####", "#####"}},
    {"WIPE_INTERV_L_TO_R_THEN_L_TO_R", 0.25, {"#.#.."}},
    {"WIPE_INTERV_L_TO_R_THEN_L_TO_R", 0.5, {"#.#.#"}},
    {"WIPE_INTERH_B_TO_T_THEN_T_TO_B", 0.25, {".", ".", "#", ".", "#"}},
    {"WIPE_INTERH_L_TO_R_AND_R_TO_L", 0.5, {"##..", "..##", "##.."}},
    {"WIPE_INTERV_L_AND_R_TO_C", 0.25, {"#.....#"}},
    {"WIPE_INTERV_C_TO_L_AND_R", 0.25, {"..#.#.."}},
    {"WIPE_INTERV_L_AND_R_TO_C_THEN_C_TO_L_AND_R", 0.75, {"#.###.#"}},
    {"WIPE2_LT_AND_RB_TO_C", 0.5, {"##..", "#...", "...#", "..##"}},
    {"WIPE2_C_TO_LB_AND_RT", 0.5, {"###.", "####", "####", ".###"}},
    {"WIPE2_LB_AND_RB_TO_T", 0.5, {"#......#", "##....##", "###..###", "########"}},
    {"WIPE2_RT_AND_RB_TO_L", 0.5, {"####", ".###", "..##", "...#", "...#", "..##", ".###", "####"}},
    {"WIPE2_L_T_TO_B_AND_R_B_TO_T", 0.25, {"##..", "....", "....", "..##"}},
    {"WIPE2_T_L_TO_R_AND_B_R_TO_L", 0.25, {"#...", "#...", "...#", "...#"}},
    {"WIPE4_CORNERS_OUT", 0.5, {".##.", "####", "####", ".##."}},
    {"WIPE4_C_TO_L_AND_R_THEN_T_AND_B", 0.25, {"....", ".##.", ".##.", "...."}},
    {"WIPE4_C_TO_L_AND_R_THEN_T_AND_B", 0.5, {"....", "####", "####", "...."}},
    {"WIPE4_T_AND_B_THEN_L_AND_R_TO_C", 0.5, {"####", "....", "....", "####"}},
    {"WIPE4_T_AND_B_THEN_L_AND_R_TO_C", 0.75, {"####", "#..#", "#..#", "####"}},
    {"WIPE4_L_R_T_B", 0.5, {"#..#", "#..#", "##..", "..##"}},
    {"WIPE4_LT_LB_RT_RB", 0.5, {"###.", "#.##", "##.#", ".###"}},
};

TEST(Transition, PicturesOnTheWay) {
    for (const Picture& picture : kPictures) {
        const auto effect = Transition::named(QString::fromLatin1(picture.name));
        ASSERT_TRUE(effect) << picture.name;
        const QSize size(static_cast<int>(picture.rows[0].size()), static_cast<int>(picture.rows.size()));
        std::vector<std::string> rows;
        for (int y = 0; y < size.height(); ++y) {
            rows.emplace_back();
            for (int x = 0; x < size.width(); ++x)
                rows.back() += effect->shows({x, y}, size, picture.progress) ? '#' : '.';
        }
        EXPECT_EQ(rows, picture.rows) << picture.name << " at " << picture.progress;
    }
}

// The name of the effect seen in a mirror: sides change places, and so do the quarters.
QString mirrored(const QString& name, QChar one, QChar other) {
    QStringList words = name.split(u'_');
    for (qsizetype i = 1; i < words.size(); ++i) {
        if (words[i].size() > 2 || words[i] == QStringLiteral("TO")) continue;
        for (QChar& letter : words[i]) letter = letter == one ? other : letter == other ? one : letter;
    }
    const bool quarters = words[0] == QStringLiteral("WIPE4") && words.size() == 5;
    if (quarters && one == u'L') words.swapItemsAt(1, 2), words.swapItemsAt(3, 4);
    if (quarters && one == u'T') words.swapItemsAt(1, 3), words.swapItemsAt(2, 4);
    return words.join(u'_');
}

TEST(Transition, MirroredNamesAreMirrorImages) {
    constexpr QSize kSize{46, 38};
    int compared = 0;
    for (const QString& name : paint_effect_names()) {
        const auto effect = Transition::named(name);
        const auto across = Transition::named(mirrored(name, u'L', u'R')),
                   down = Transition::named(mirrored(name, u'T', u'B'));
        ASSERT_TRUE(effect && across && down) << name.toStdString();
        for (int y = 0; y < kSize.height(); ++y) {
            for (int x = 0; x < kSize.width(); ++x) {
                const double here = effect->arrival({x, y}, kSize);
                ASSERT_NEAR(here, across->arrival({kSize.width() - 1 - x, y}, kSize), 1e-9)
                    << name.toStdString() << ' ' << x << ' ' << y;
                ASSERT_NEAR(here, down->arrival({x, kSize.height() - 1 - y}, kSize), 1e-9)
                    << name.toStdString() << ' ' << x << ' ' << y;
            }
        }
        ++compared;
    }
    EXPECT_EQ(compared, 555);
}

imaging::Bitmap plain(int width, int height, std::uint8_t level) {
    imaging::Bitmap bitmap = *imaging::Bitmap::create(width, height, 24, imaging::Limits{});
    for (int y = 0; y < height; ++y) std::ranges::fill(bitmap.writable_row(y), level);
    return bitmap;
}

class Playing : public testing::Test {
  protected:
    void SetUp() override {
        engine_.SetBitmap(plain(60, 40, 255));
        view_ = std::make_unique<ImageView>(engine_);
        view_->resize(60, 40);
        view_->show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(view_.get()));
        engine_.SetEffectDelay(10);
        QCoreApplication::processEvents();
    }
    QImage shown() { return view_->viewport()->grab().toImage().convertToFormat(QImage::Format_RGB32); }
    int count(QRgb colour) {
        const QImage image = shown();
        int pixels = 0;
        for (int y = 0; y < image.height(); ++y)
            for (int x = 0; x < image.width(); ++x) pixels += image.pixel(x, y) == colour;
        return pixels;
    }
    void play(int code = kFirstPaintEffect) {
        engine_.SetPaintEffect(code);
        engine_.SetAutoRepaint(true);
    }
    bool all_shown() { return count(kNew) == 60 * 40; }

    static constexpr QRgb kNew = 0xFFFFFFFF;
    Engine engine_;
    std::unique_ptr<ImageView> view_;
};

TEST_F(Playing, WipesTheImageOntoAnEmptySheetStepByStep) {
    ASSERT_TRUE(all_shown());
    play();
    int last = 0, between = 0;
    EXPECT_EQ(count(kNew), 0) << "begins with the empty sheet";
    EXPECT_EQ(engine_.PaintEffect(), 0);
    for (int i = 0; i < 3000 && last < 60 * 40; ++i) {
        QTest::qWait(1);
        const QImage image = shown();
        int columns = 0;
        while (columns < 60 && image.pixel(columns, 20) == kNew) ++columns;
        const int now = count(kNew);
        ASSERT_EQ(now, columns * 40) << "from the left, in full height";
        ASSERT_GE(now, last);
        between += now > 0 && now < 60 * 40;
        last = now;
    }
    EXPECT_EQ(last, 60 * 40);
    EXPECT_GT(between, 5);
}

TEST_F(Playing, LeadsFromWhatIsShownWhereThatIsAnotherPicture) {
    engine_.SetAutoRepaint(false);
    engine_.SetBitmap(plain(60, 40, 50));
    engine_.SetEffectDelay(100'000);
    play();
    EXPECT_EQ(count(kNew), 60 * 40);
    QTest::keyClick(view_.get(), Qt::Key_A);
    EXPECT_EQ(count(qRgb(50, 50, 50)), 60 * 40);
}

TEST_F(Playing, ForceRepaintPlaysToo) {
    engine_.SetEffectDelay(100'000);
    engine_.SetPaintEffect(kFirstPaintEffect + 40);
    engine_.ForceRepaint();
    EXPECT_EQ(count(kNew), 0);
    engine_.ForceRepaint();
    EXPECT_EQ(count(kNew), 0) << "a plain repaint leaves it running";
}

TEST_F(Playing, AnyKeyOrClickAnywhereEndsIt) {
    engine_.SetEffectDelay(100'000);
    QPushButton other;
    int clicks = 0;
    QObject::connect(&other, &QPushButton::clicked, [&] { ++clicks; });
    play();
    ASSERT_EQ(count(kNew), 0);
    QTest::mouseClick(&other, Qt::LeftButton);
    EXPECT_TRUE(all_shown());
    EXPECT_EQ(clicks, 1) << "the click does its own work too";
    play();
    ASSERT_EQ(count(kNew), 0);
    QTest::keyClick(&other, Qt::Key_Shift);
    EXPECT_TRUE(all_shown());
}

TEST_F(Playing, AnotherImageOrSizeShowsAtOnce) {
    engine_.SetEffectDelay(100'000);
    play();
    ASSERT_EQ(count(kNew), 0);
    engine_.SetBitmap(plain(60, 40, 9));
    EXPECT_EQ(count(qRgb(9, 9, 9)), 60 * 40);
    play();
    ASSERT_EQ(count(qRgb(9, 9, 9)), 0);
    engine_.SetPaintZoomFactor(50);
    EXPECT_EQ(count(qRgb(9, 9, 9)), 30 * 20);
}

TEST_F(Playing, UnknownEffectsAndStylesWithoutAnimationShowAtOnce) {
    class Still final : public QProxyStyle {
      public:
        int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                      QStyleHintReturn* result) const override {
            if (hint == SH_Widget_Animation_Duration) return 0;
            return QProxyStyle::styleHint(hint, option, widget, result);
        }
    };
    engine_.SetEffectDelay(100'000);
    play(7);
    EXPECT_TRUE(all_shown());
    EXPECT_EQ(engine_.PaintEffect(), 0);
    Still still;
    view_->setStyle(&still);
    play();
    EXPECT_TRUE(all_shown());
    EXPECT_EQ(engine_.PaintEffect(), 0);
    view_->setStyle(nullptr);
    play();
    EXPECT_FALSE(all_shown()) << "the style made the difference";
}

TEST_F(Playing, TheWindowMayCloseInTheMiddle) {
    play();
    ASSERT_EQ(count(kNew), 0);
    view_.reset();
    QTest::qWait(50);
    QKeyEvent key{QEvent::KeyPress, Qt::Key_A, Qt::NoModifier};
    QPushButton other;
    QCoreApplication::sendEvent(&other, &key);
    EXPECT_EQ(engine_.BitmapWidth(), 60);
}

class OnTheDesk : public test::Desk {};

TEST_F(OnTheDesk, TheCommandPlaysTheChosenEffect) {
    start();
    open(make_image(QStringLiteral("one.png"), 120, 90));
    QWidget* view = active().view().viewport();
    view->setFocus();
    QCoreApplication::processEvents();
    const QImage before = view->grab().toImage();
    prompts_.on_dialog = [](QDialog& dialog) {
        auto* list = dialog.findChild<QListWidget*>();
        if (!list || list->count() != 555) return 0;
        list->setCurrentRow(554);
        dialog.accept();
        return 1;
    };
    click(u"ID_PaintEffects");
    EXPECT_EQ(prompts_.dialogs, 1);
    EXPECT_EQ(active().LEAD1().PaintEffect(), 2554);
    const QImage playing = view->grab().toImage();
    EXPECT_EQ(active().LEAD1().PaintEffect(), 0);
    EXPECT_NE(playing, before);
    EXPECT_FALSE(state().ImageChanged);
    EXPECT_TRUE(QTest::qWaitFor([&] { return view->grab().toImage() == before; }, 20'000));
}

}  // namespace
}  // namespace quillmark::engine
