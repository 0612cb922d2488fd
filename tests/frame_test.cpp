// The frame: start and end, dispatch, windows, views, preferences.
#include "frame/dispatch.h"

#include <QCheckBox>
#include <QLabel>
#include <QStyle>
#include <cmath>
#include <map>
#include <set>

#include "engine/image_view.h"
#include "frame/arrange.h"
#include "frame/caption_bar.h"
#include "frame/layout_file.h"
#include "frame/theme.h"
#include "frame/title_style.h"
#include "frame/tool_table.h"
#include "support/desk.h"
#include "text/numbers.h"

namespace quillmark::frame {
namespace {

using settings::keys::kImageProcessing;

class Frame : public test::Desk {
  protected:
    void open_three() {
        for (const char* name : {"one.png", "two.png", "three.png"})
            open(make_image(QString::fromLatin1(name), 40, 30));
    }
    QStringList checked_views() {
        QStringList checked;
        for (const char16_t* id : {u"ID_ViewNormal", u"ID_ViewFit", u"ID_ViewStretch", u"ID_ViewSnap"}) {
            if (frame_->tools().checked(id)) checked += QString::fromUtf16(id);
        }
        return checked;
    }
    QString zoom_box() { return frame_->tools().edit_text(u"ID_ZoomPercentage"); }
    /// Starts with another view tool checked, as a saved layout would have it.
    void start_with_view(const QString& id) {
        Layout layout = designed_layout();
        start();
        for (const char16_t* view : {u"ID_ViewNormal", u"ID_ViewFit", u"ID_ViewStretch", u"ID_ViewSnap"})
            frame_->tools().set_checked(view, false);
        if (!id.isEmpty()) frame_->tools().set_checked(id, true);
        ASSERT_EQ(
            save_layout(program_file(QStringLiteral("Image Processing.atb")), frame_->surface().layout()),
            QString{});
        start();
    }
};

TEST(Dispatch, RowsAreUniqueAndEveryToolIsAccountedFor) {
    std::set<QString> ids;
    for (const Command& command : all_commands()) {
        EXPECT_TRUE(ids.insert(QString::fromUtf16(command.id)).second)
            << QString::fromUtf16(command.id).toStdString();
    }
    const std::set<QString> without_action{QStringLiteral("ID_PPFixed"), QStringLiteral("ID_UseNetscape")};
    int tools = 0;
    for (const Tool& tool : all_tools()) {
        if (tool.kind == Kind::menu || tool.kind == Kind::edit) continue;
        ++tools;
        const QString id = QString::fromUtf16(tool.id);
        EXPECT_NE(ids.contains(id), without_action.contains(id)) << id.toStdString();
    }
    EXPECT_GT(tools, 90);
}

TEST_F(Frame, StartsWithWhatTheDesignedLayoutSays) {
    start();
    EXPECT_EQ(state().DefaultViewMode, 100);
    EXPECT_EQ(state().ZoomPercent, 100);
    EXPECT_EQ(state().ZoomIncrement, 25);
    EXPECT_EQ(state().BrightnessInc, 5);
    EXPECT_EQ(frame_->kids().KidCount, 0);
    EXPECT_EQ(frame_->windowTitle(), u"Image Processing ");
    EXPECT_FALSE(state().LowColorDisplay);
}

TEST_F(Frame, TheCheckedViewToolDecidesTheDefaultMode) {
    struct Case {
        const char16_t* tool;
        int mode;
    };
    for (const Case& c :
         {Case{u"ID_ViewFit", 0}, Case{u"ID_ViewStretch", -1}, Case{u"ID_ViewSnap", -2}, Case{u"", 0}}) {
        start_with_view(QString::fromUtf16(c.tool));
        EXPECT_EQ(state().DefaultViewMode, c.mode) << QString::fromUtf16(c.tool).toStdString();
    }
}

TEST_F(Frame, PlacementLayoutAndListSurviveARestart) {
    start();
    open(make_image(QStringLiteral("kept.png"), 12, 12));
    click(u"ID_PaintWhileLoad");
    frame_->setGeometry(60, 70, 640, 480);
    frame_->tools().set_edit_text(u"ID_ZoomIncrement", QStringLiteral("40"));
    state().ImageChanged = true;
    frame_->close();
    EXPECT_TRUE(prompts_.messages.empty()) << "the frame ends without asking";
    start();
    EXPECT_EQ(frame_->geometry(), QRect(60, 70, 640, 480));
    EXPECT_TRUE(state().PaintWhileLoad);
    EXPECT_EQ(state().ZoomIncrement, 40);
    EXPECT_TRUE(frame_->tools().caption(u"ID_ImageFile1").endsWith(QStringLiteral("kept.png")));
}

TEST_F(Frame, BrokenFilesGiveTheDefaultsAndOneMessage) {
    start();
    frame_->close();
    QFile layout{program_file(QStringLiteral("Image Processing.atb"))};
    ASSERT_TRUE(layout.exists());
    ASSERT_TRUE(layout.open(QIODevice::WriteOnly));
    layout.write("no layout\0\xff at all");
    layout.close();
    start();
    EXPECT_EQ(prompts_.messages.size(), 1U);
    EXPECT_EQ(state().DefaultViewMode, 100);
    EXPECT_TRUE(QFile::exists(layout.fileName() + QStringLiteral(".broken")));
}

TEST_F(Frame, TheCommandLineOpensCapturesOrScans) {
    const QString file = make_image(QStringLiteral("arg one.png"), 7, 7);
    start({file});
    EXPECT_EQ(frame_->kids().KidCount, 1);
    EXPECT_EQ(state().LastFileName, file);
    frame_->MDIForm_Click();
    EXPECT_EQ(frame_->kids().KidCount, 2) << "a click on the empty frame opens the command line again";
    for (const QString& request : {QStringLiteral("0000000000"), QStringLiteral("x0000000001")}) {
        start({request});
        EXPECT_EQ(frame_->kids().KidCount, 0);
        EXPECT_TRUE(prompts_.messages.empty()) << "such a command line is no file name";
    }
}

TEST_F(Frame, TheExchangeMarkerOpensTheExchangeFile) {
    QFile::copy(make_image(QStringLiteral("x.png"), 33, 22), program_file(QStringLiteral("image.pic")));
    QFile marker{program_file(QStringLiteral("dbimfile.txt"))};
    ASSERT_TRUE(marker.open(QIODevice::WriteOnly));
    marker.close();
    start();
    ASSERT_EQ(frame_->kids().KidCount, 1);
    EXPECT_EQ(active().LEAD1().BitmapWidth(), 33);
}

TEST_F(Frame, WithoutAnImageOnlySomeCommandsRun) {
    start();
    click(u"ID_ZoomIn");
    EXPECT_EQ(state().LastTool, QString{}) << "refused commands leave no trace";
    click(u"ID_ShowOpenOptions");
    EXPECT_FALSE(state().ShowOpenOptions);
    EXPECT_FALSE(frame_->tools().checked(u"ID_ShowOpenOptions")) << "a refused tool keeps its former state";
    EXPECT_FALSE(frame_->tools().enabled(u"ID_ZoomIn"));
    EXPECT_TRUE(frame_->tools().enabled(u"ID_Open"));
    click(u"ID_Open");
    EXPECT_EQ(prompts_.dialogs, 1);
    EXPECT_EQ(state().LastTool, u"ID_Open");
}

TEST_F(Frame, CommandsThatThisVersionLacksAreGreyed) {
    start();
    open(make_image(QStringLiteral("a.png"), 4, 4));
    int missing = 0;
    for (const Command& command : all_commands()) {
        const QStringView id{command.id};
        // Unused recent-file entries are greyed by themselves.
        if (!find_tool(command.id) || id.startsWith(u"ID_ImageFile")) continue;
        if (!command.run) {
            ++missing;
            EXPECT_FALSE(frame_->tools().enabled(command.id)) << QString::fromUtf16(command.id).toStdString();
        } else if (id != u"ID_ViewSnap") {
            EXPECT_TRUE(frame_->tools().enabled(command.id)) << QString::fromUtf16(command.id).toStdString();
        }
    }
    EXPECT_GT(missing, 0);
}

TEST_F(Frame, IdsWithoutAnActionStillBecomeTheLastTool) {
    start();
    open(make_image(QStringLiteral("a.png"), 4, 4));
    click(u"ID_PPFixed");
    EXPECT_EQ(state().LastTool, u"ID_PPFixed");
    state().CommandBusy = true;
    click(u"ID_ZoomIn");
    EXPECT_EQ(state().LastTool, u"ID_PPFixed") << "a click while a command runs is dropped";
    state().CommandBusy = false;
}

TEST_F(Frame, ZoomStartsFromTheBox) {
    start();
    open(make_image(QStringLiteral("a.png"), 40, 30));
    struct Case {
        const char* box;
        const char16_t* tool;
        const char* expected_box;
        int factor;
    };
    const Case cases[] = {{"100", u"ID_ZoomIn", "125", 125},    {"125", u"ID_ZoomOut", "100", 100},
                          {"10", u"ID_ZoomOut", "0", 100},      {"25", u"ID_ZoomOut", "0", 1},
                          {"300", u"ID_ZoomIn", "325", 325},    {"abc", u"ID_ZoomIn", "abc", 325},
                          {"32760", u"ID_ZoomIn", "32760", 325}};
    for (const Case& c : cases) {
        frame_->tools().set_edit_text(u"ID_ZoomPercentage", QString::fromLatin1(c.box));
        click(c.tool);
        EXPECT_EQ(zoom_box(), QString::fromLatin1(c.expected_box)) << c.box;
        EXPECT_EQ(active().LEAD1().PaintZoomFactor(), c.factor) << c.box;
        EXPECT_EQ(checked_views(), QStringList{QStringLiteral("ID_ViewNormal")});
    }
}

TEST_F(Frame, ViewModesSetTheirCodesAndTools) {
    start();
    open(make_image(QStringLiteral("a.png"), 40, 30));
    frame_->tools().set_edit_text(u"ID_ZoomPercentage", QStringLiteral("77"));
    struct Case {
        const char16_t* tool;
        int percent;
        int mode;
        const char* box;
    };
    const Case cases[] = {{u"ID_ViewFit", 0, engine::kPaintFit, "77"},
                          {u"ID_ViewStretch", -1, engine::kPaintStretch, "77"},
                          {u"ID_ViewSnap", -2, engine::kPaintStretch, "77"},
                          {u"ID_ViewNormal", 100, engine::kPaintNormal, "100"}};
    for (const Case& c : cases) {
        click(c.tool);
        EXPECT_EQ(state().ZoomPercent, c.percent);
        EXPECT_EQ(active().LEAD1().PaintSizeMode(), c.mode);
        EXPECT_EQ(checked_views(), QStringList{QString::fromUtf16(c.tool)});
        EXPECT_EQ(zoom_box(), QString::fromLatin1(c.box));
    }
}

TEST_F(Frame, SnapFitsTheWindowAndKeepsItsPlace) {
    start();
    open(make_image(QStringLiteral("a.png"), 150, 110));
    QMdiSubWindow* window = frame_->area().currentSubWindow();
    window->setGeometry(30, 20, 400, 300);
    click(u"ID_ViewSnap");
    EXPECT_EQ(active().view().viewport()->size(), QSize(150, 110));
    EXPECT_EQ(window->pos(), QPoint(30, 20));
    window->showMaximized();
    const QSize maximised = window->size();
    state().ZoomPercent = 100;
    active().ViewSnap();
    EXPECT_EQ(window->size(), maximised);
    EXPECT_EQ(state().ZoomPercent, -2);
    EXPECT_FALSE(frame_->tools().enabled(u"ID_ViewSnap"));
}

TEST_F(Frame, AResizeReappliesTheStartUpMode) {
    start_with_view(QStringLiteral("ID_ViewFit"));
    open(make_image(QStringLiteral("a.png"), 150, 110));
    click(u"ID_ViewStretch");
    frame_->area().currentSubWindow()->resize(300, 300);
    EXPECT_EQ(active().LEAD1().PaintSizeMode(), engine::kPaintFit);
    EXPECT_EQ(frame_->status_bar().StatZoom->text(), u"FITTED");
    start_with_view(QStringLiteral("ID_ViewNormal"));
    open(make_image(QStringLiteral("b.png"), 150, 110));
    for (const char* box : {"150", "60", "100"}) {
        frame_->tools().set_edit_text(u"ID_ZoomPercentage", QString::fromLatin1(box));
        QMdiSubWindow* window = frame_->area().currentSubWindow();
        window->resize(window->size() + QSize(3, 3));
        EXPECT_EQ(zoom_box(), QString::fromLatin1(box));
        EXPECT_EQ(active().LEAD1().PaintZoomFactor(), QString::fromLatin1(box).toInt());
    }
}

TEST_F(Frame, LargeImagesScrollOnlyWhenTheyDoNotFit) {
    start();
    open(make_image(QStringLiteral("a.png"), 500, 400));
    engine::ImageView& view = active().view();
    EXPECT_EQ(view.horizontalScrollBar()->maximum(), 0);
    frame_->area().currentSubWindow()->resize(260, 240);
    EXPECT_GT(view.horizontalScrollBar()->maximum(), 0);
    EXPECT_EQ(view.horizontalScrollBar()->maximum() + view.viewport()->width(), 500);
    view.horizontalScrollBar()->setValue(100);
    EXPECT_EQ(active().LEAD1().DstLeft(), -100);
    click(u"ID_ViewFit");
    EXPECT_EQ(view.horizontalScrollBar()->maximum(), 0);
}

TEST_F(Frame, ClosingAsksWhenTheImageChanged) {
    start();
    open_three();
    EXPECT_EQ(frame_->kids().KidCount, 3);
    state().OperationBusy = true;
    active().unload();
    EXPECT_EQ(frame_->kids().KidCount, 3) << "no window closes during an operation";
    state().OperationBusy = false;
    active().unload();
    EXPECT_TRUE(prompts_.messages.empty());
    state().ImageChanged = true;
    active().unload();
    ASSERT_EQ(prompts_.messages.size(), 1U);
    EXPECT_EQ(prompts_.messages[0].text, u"Save changes to current image?");
    EXPECT_EQ(prompts_.messages[0].title, u"Image Processing");
    EXPECT_EQ(prompts_.messages[0].buttons, program::Buttons::yes_no);
    EXPECT_TRUE(state().ImageChanged) << "stays set until the next window loads";
    click(u"ID_CloseAll");
    EXPECT_EQ(frame_->kids().KidCount, 0);
    EXPECT_EQ(frame_->status_bar().StatSize->text(), QString{});
    open(make_image(QStringLiteral("n.png"), 4, 4));
    EXPECT_FALSE(state().ImageChanged);
}

TEST_F(Frame, CaptionsFollowTheSource) {
    start();
    const QString empty = make_file(QStringLiteral("zero"), {});
    struct Case {
        QString source, caption;
    };
    const Case cases[] = {{QStringLiteral("Twain Image 3"), QStringLiteral("Twain Image 3")},
                          {QStringLiteral("The DeskTop"), QStringLiteral("The DeskTop")},
                          {QStringLiteral("Red Plane"), QStringLiteral("Red Plane")},
                          {QStringLiteral("ClipBoard Data: 0"), QStringLiteral("Image from clipboard")},
                          {empty, empty + QStringLiteral(" ( bytes)")},
                          {QStringLiteral("red plane"), QString{}}};
    for (const Case& c : cases) {
        program::ImageWindow* window = frame_->new_image_window();
        EXPECT_EQ(window->InitTheForm(c.source, nullptr), 0);
        EXPECT_EQ(window->windowTitle(), c.caption);
        window->unload();
    }
    EXPECT_EQ(frame_->kids().KidCount, 0);
}

TEST_F(Frame, TheListFollowsActivationAndTheWindowMenu) {
    start();
    open_three();
    const auto handles = frame_->kids().KidList();
    frame_->kids().MakeKidActive(0);
    EXPECT_EQ(active().handle(), handles[0]);
    frame_->kids().MakeKidActive(1);
    EXPECT_EQ(active().handle(), handles[1]);
    EXPECT_EQ(frame_->kids().BuildKidList().count(u';'), 2);
    active().unload();
    EXPECT_EQ(frame_->kids().KidList(), (std::vector<std::int32_t>{handles[0], handles[2], 0}));
}

TEST_F(Frame, IncrementsArePromptedFor) {
    start();
    open(make_image(QStringLiteral("a.png"), 4, 4));
    struct Case {
        const char16_t* tool;
        const char* name;
        std::int16_t program::ProgramState::*value;
        const char* prompt;
    };
    const Case cases[] = {{u"ID_BrightnessIncrement", "BrightnessInc", &program::ProgramState::BrightnessInc,
                           "Enter brightness increment (1-100)|BRIGHTNESS INCREMENT|5"},
                          {u"ID_ContrastIncrement", "ContrastInc", &program::ProgramState::ContrastInc,
                           "Enter contrast increment (1-100)|CONTRAST INCREMENT|5"},
                          {u"ID_HueIncrement", "HueInc", &program::ProgramState::HueInc,
                           "Enter hue increment (1-100)|HUE INCREMENT|5"},
                          {u"ID_GammaIncrement", "GammaInc", &program::ProgramState::GammaInc,
                           "Enter gamma correction increment (1-100)|GAMMA CORRECTION INCREMENT|5"}};
    struct Answer {
        const char* text;
        int expected;
    };
    for (const Case& c : cases) {
        for (const Answer& answer : {Answer{"250", 250}, Answer{"", 250}, Answer{"2.5 steps", 2},
                                     Answer{"none", 0}, Answer{"99999", 32767}}) {
            prompts_.answers = {QString::fromLatin1(answer.text)};
            click(c.tool);
            EXPECT_EQ(state().*c.value, answer.expected) << c.name << ' ' << answer.text;
            EXPECT_EQ(setting(kImageProcessing, QString::fromLatin1(c.name)),
                      QString::number(answer.expected));
        }
        EXPECT_TRUE(prompts_.inputs.contains(QString::fromLatin1(c.prompt))) << c.prompt;
    }
}

TEST_F(Frame, DisplayPreferencesReachEveryWindow) {
    start();
    open_three();
    state().ImageChanged = false;
    click(u"ID_DitheringErrorDiffusion");
    EXPECT_FALSE(state().ImageChanged);
    click(u"ID_BSScaleToGray");
    EXPECT_TRUE(state().ImageChanged) << "the bitonal setting marks the image changed";
    click(u"ID_ShowProgess");
    int windows = 0;
    for (QMdiSubWindow* window : frame_->area().subWindowList()) {
        auto* viewer = qobject_cast<viewer::Viewer*>(window->widget());
        ASSERT_TRUE(viewer);
        ++windows;
        EXPECT_EQ(viewer->LEAD1().BitonalScaling(), 2);
        EXPECT_EQ(viewer->LEAD1().PaintDitherMethod(), 1);
        EXPECT_TRUE(viewer->LEAD1().EnableProgressEvent());
    }
    EXPECT_EQ(windows, 3);
    EXPECT_TRUE(state().ProgressEnabled);
    EXPECT_TRUE(frame_->tools().checked(u"ID_ShowProgess"));
}

TEST_F(Frame, DefaultToolbarsBringTheDesignBackAndEmptyTheList) {
    start();
    open(make_image(QStringLiteral("a.png"), 4, 4));
    click(u"ID_DefaultToolbars");
    for (int i = 1; i <= 4; ++i) {
        EXPECT_EQ(setting(settings::keys::kSettings, QStringLiteral("ImageFile%1").arg(i)),
                  QStringLiteral("&%1").arg(i));
    }
    EXPECT_EQ(frame_->surface().layout().bars.size(), designed_layout().bars.size());
}

TEST_F(Frame, TheBusyBracketSwitchesGaugeAndTexts) {
    start();
    open(make_image(QStringLiteral("a.png"), 64, 48));
    for (const bool progress : {false, true}) {
        state().ProgressEnabled = progress;
        frame_->StatusInit();
        EXPECT_TRUE(state().OperationBusy);
        EXPECT_EQ(frame_->status_bar().StatGauge->isVisible(), progress);
        EXPECT_EQ(frame_->status_bar().StatWidthHeight->text(), progress ? u"Press 'Esc' To Stop" : u"64x48");
        frame_->StatusTerm();
        EXPECT_FALSE(state().OperationBusy);
        EXPECT_TRUE(frame_->status_bar().StatFileName->isVisible());
        EXPECT_EQ(frame_->status_bar().StatWidthHeight->text(), u"64x48");
    }
    EXPECT_EQ(QGuiApplication::overrideCursor(), nullptr);
}

TEST_F(Frame, ArrangementsPlaceEveryWindow) {
    start();
    open_three();
    const auto windows = frame_->area().subWindowList();
    ASSERT_EQ(windows.size(), 3);
    const QRect room = frame_->area().viewport()->rect();
    click(u"ID_TileHorizontally");
    for (QMdiSubWindow* window : windows) EXPECT_EQ(window->width(), room.width());
    click(u"ID_TileVertically");
    int width = 0;
    for (QMdiSubWindow* window : windows) {
        EXPECT_EQ(window->height(), room.height());
        width += window->width();
    }
    EXPECT_EQ(width, room.width());
    click(u"ID_Cascade");
    std::set<std::pair<int, int>> corners;
    for (QMdiSubWindow* window : windows) corners.insert({window->x(), window->y()});
    EXPECT_EQ(corners.size(), 3U);
    for (QMdiSubWindow* window : windows) window->showMinimized();
    windows[1]->move(200, 10);
    click(u"ID_ArrangeIcons");
    for (QMdiSubWindow* window : windows) EXPECT_EQ(window->geometry().bottom() + 1, room.height());
}

TEST_F(Frame, NoTwoCommandsShareAKey) {
    start();
    open_three();
    std::map<QString, int> keys;
    const auto of_image_window = [](const QObject* action) {
        for (; action; action = action->parent())
            if (qobject_cast<const QMdiSubWindow*>(action)) return true;
        return false;
    };
    const auto actions = frame_->findChildren<QAction*>();
    for (const QAction* action : actions)
        if (!action->shortcut().isEmpty() && !of_image_window(action)) ++keys[action->shortcut().toString()];
    EXPECT_GE(keys.size(), 8U);
    for (const char* key : {"Ctrl+F6", "Ctrl+Shift+F6", "Ctrl+F4", "Ctrl+Z"})
        EXPECT_EQ(keys[QLatin1String(key)], 1) << key;
    for (const auto& [key, count] : keys) EXPECT_EQ(count, 1) << key.toStdString();
}

TEST_F(Frame, AMaximisedWindowHandsItsPlaceOnAndTheTitleStays) {
    start();
    for (const char* name : {"one.png", "two.png", "three.png"})
        open(make_image(QString::fromLatin1(name), 300, 200));
    const auto windows = frame_->area().subWindowList();
    const QSize own_size = windows[1]->size();
    windows[2]->showMaximized();
    EXPECT_EQ(frame_->windowTitle(), u"Image Processing ");
    frame_->area().setActiveSubWindow(windows[1]);
    EXPECT_TRUE(windows[1]->isMaximized());
    EXPECT_FALSE(windows[2]->isMaximized());
    open(make_image(QStringLiteral("four.png"), 50, 20));
    EXPECT_TRUE(frame_->area().activeSubWindow()->isMaximized());
    windows[1]->showNormal();
    EXPECT_EQ(windows[1]->size(), own_size);
    EXPECT_EQ(frame_->windowTitle(), u"Image Processing ");
}

TEST_F(Frame, TheStatusBarIsThereBeforeTheFirstImageHasLoaded) {
    start();
    EXPECT_FALSE(frame_->statusBar()->isVisible());
    frame_->new_image_window();
    EXPECT_TRUE(frame_->statusBar()->isVisible());
}

TEST_F(Frame, ArrangingPaintsOnlyOnceEveryWindowHasItsPlace) {
    struct PaintCount : QObject {
        int paints = 0;
        bool eventFilter(QObject*, QEvent* event) override {
            paints += event->type() == QEvent::Paint;
            return false;
        }
    } count;
    start();
    open_three();
    QCoreApplication::processEvents();
    for (auto* view : frame_->area().findChildren<engine::ImageView*>())
        view->viewport()->installEventFilter(&count);
    click(u"ID_TileVertically");
    EXPECT_EQ(count.paints, 0) << "painted among windows that had not moved yet";
    EXPECT_TRUE(QTest::qWaitFor([&] { return count.paints >= 3; }));
}

TEST(Titles, FoldersGiveWayBeforeTheName) {
    const QFontMetrics metrics{QApplication::font()};
    const QString title = QStringLiteral("/home/someone/pictures/cat.png (1,234 bytes)");
    const auto width = [&](const char16_t* text) {
        return metrics.horizontalAdvance(QString::fromUtf16(text));
    };
    EXPECT_EQ(fitting_title(title, metrics, metrics.horizontalAdvance(title)), title);
    EXPECT_EQ(fitting_title(title, metrics, metrics.horizontalAdvance(title) - 1),
              u"\u2026/someone/pictures/cat.png (1,234 bytes)");
    EXPECT_EQ(fitting_title(title, metrics, width(u"\u2026/cat.png (1,234 bytes)")),
              u"\u2026/cat.png (1,234 bytes)");
    EXPECT_TRUE(fitting_title(title, metrics, width(u"cat.png (\u2026")).startsWith(u"cat.png"));
    EXPECT_EQ(fitting_title(QStringLiteral("Image from clipboard"), metrics, 5000), u"Image from clipboard");
    EXPECT_LE(metrics.horizontalAdvance(fitting_title(title, metrics, 20)), 20);
}

TEST(Themes, NamesAreReadAndTextStandsOutInBoth) {
    EXPECT_EQ(theme_named(u" Dark "), Theme::dark);
    EXPECT_EQ(theme_named(u"LIGHT"), Theme::light);
    for (const char16_t* other : {u"", u"system", u"darker"}) EXPECT_EQ(theme_named(other), Theme::system);
    const auto luminance = [](const QColor& c) {
        const auto linear = [](double v) {
            return v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4);
        };
        return 0.2126 * linear(c.redF()) + 0.7152 * linear(c.greenF()) + 0.0722 * linear(c.blueF());
    };
    const auto contrast = [&](const QColor& a, const QColor& b) {
        const double x = luminance(a), y = luminance(b);
        return (std::max(x, y) + 0.05) / (std::min(x, y) + 0.05);
    };
    using P = QPalette;
    const std::pair<P::ColorRole, P::ColorRole> pairs[] = {{P::WindowText, P::Window},
                                                           {P::Text, P::Base},
                                                           {P::ButtonText, P::Button},
                                                           {P::ToolTipText, P::ToolTipBase},
                                                           {P::Link, P::Base}};
    for (const Theme theme : {Theme::light, Theme::dark}) {
        const QPalette palette = palette_of(theme);
        EXPECT_EQ(luminance(palette.color(P::Window)) < 0.5, theme == Theme::dark);
        for (const auto& [text, ground] : pairs)
            EXPECT_GE(contrast(palette.color(text), palette.color(ground)), 4.5) << text << " on " << ground;
        EXPECT_GE(contrast(palette.color(P::HighlightedText), palette.color(P::Highlight)), 4.0);
    }
}

TEST(Theme, MarksToTickHaveAnEdgeInTheDarkAndButtonsNoPictures) {
    QCheckBox box{QStringLiteral("box")};
    const auto edge_contrast = [&](Theme theme) {
        apply_theme(theme);
        box.setPalette(palette_of(theme));
        const QImage image = box.grab().toImage();
        const int ground = qGray(image.pixel(image.width() - 1, 0));
        int farthest = 0;  // in the column that cuts the mark's upper edge
        for (int y = 0; y < image.height() / 3; ++y)
            farthest = std::max(farthest, std::abs(qGray(image.pixel(7, y)) - ground));
        return farthest;
    };
    for (const Theme theme : {Theme::dark, Theme::light}) {
        EXPECT_GT(edge_contrast(theme), 45);
        EXPECT_EQ(QApplication::style()->styleHint(QStyle::SH_DialogButtonBox_ButtonsHaveIcons), 0);
    }
    apply_theme(Theme::system);
    QApplication::setPalette(QPalette{});
}

TEST_F(Frame, DroppedFilesOpen) {
    const QString first = make_image(QStringLiteral("1.png"), 11, 5),
                  second = make_image(QStringLiteral("2.png"), 12, 5);
    start();
    QMimeData data;
    data.setUrls({QUrl::fromLocalFile(first), QUrl::fromLocalFile(second)});
    QDragEnterEvent enter{QPoint(50, 50), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier};
    QCoreApplication::sendEvent(frame_.get(), &enter);
    EXPECT_TRUE(enter.isAccepted());
    QDropEvent drop{QPointF(50, 50), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier};
    QCoreApplication::sendEvent(frame_.get(), &drop);
    EXPECT_TRUE(QTest::qWaitFor([&] { return frame_->kids().KidCount == 2; }));
}

TEST_F(Frame, TheCaptionIsItsOwnUnlessTheSystemsIsPreferred) {
    start();
    EXPECT_TRUE(frame_->windowFlags() & Qt::FramelessWindowHint);
    EXPECT_TRUE(frame_->caption_bar().isVisible());
    frame_->set_system_title_bar(true);
    EXPECT_FALSE(frame_->windowFlags() & Qt::FramelessWindowHint);
    frame_->close();
    start();
    EXPECT_TRUE(frame_->system_title_bar());
    EXPECT_FALSE(frame_->caption_bar().isVisible());
}

TEST(CaptionBar, TheGradientRunsFromTheColourToBlackInBands) {
    QImage image{512, 20, QImage::Format_RGB32};
    image.fill(Qt::magenta);
    QPainter painter{&image};
    CaptionBar::PaintGradientCaption(painter, image.rect(), QStringLiteral(" "), QColor(200, 100, 50),
                                     Qt::white);
    painter.end();
    for (const int band : {0, 1, 64, 127}) {
        const double f = (128 - band) / 128.0;
        const QColor shown = image.pixelColor(band * 4 + 3, 1);  // past the two pixels that bands overlap
        EXPECT_EQ(shown.red(), static_cast<int>(std::nearbyint(200 * f))) << band;
        EXPECT_EQ(shown.blue(), static_cast<int>(std::nearbyint(50 * f))) << band;
    }
    image.fill(Qt::magenta);
    QPainter nothing{&image};
    CaptionBar::PaintGradientCaption(nothing, image.rect(), {}, Qt::red, Qt::white);
    EXPECT_EQ(image.pixelColor(5, 5), QColor(Qt::magenta)) << "an empty text paints nothing";
}

}  // namespace
}  // namespace quillmark::frame
