// The command surface: its tables, tool states, the layout file, and customising through the real widgets.
#include <gtest/gtest.h>

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QDropEvent>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QPushButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>
#include <functional>
#include <set>

#include "frame/caption_text.h"
#include "frame/command_surface.h"
#include "frame/customize_dialog.h"
#include "frame/layout_file.h"
#include "frame/picture_icon.h"
#include "frame/tool_bar.h"
#include "frame/tool_lists.h"

using namespace quillmark::frame;

QT_BEGIN_NAMESPACE
// Found by argument-dependent look-up: failures print readable texts.
void PrintTo(const QString& text, std::ostream* out) { *out << '"' << qPrintable(text) << '"'; }
QT_END_NAMESPACE

namespace {

const StripRef kStandard{true, QStringLiteral("Standard")};
const StripRef kHelpMenu{false, QStringLiteral("ID_mnuHelp")};

/// A frame with a surface on it, shown offscreen.
struct Frame {
    explicit Frame(const Layout& layout = designed_layout()) {
        surface = new CommandSurface(window, layout);
        window.resize(1000, 600);
        window.show();
        QApplication::processEvents();
    }
    QStringList tools_of(const StripRef& ref) const { return *strip(surface->layout(), ref); }

    QMainWindow window;
    CommandSurface* surface = nullptr;
};

}  // namespace

// ---- tables

TEST(ToolTable, EveryNameResolvesOnce) {
    std::set<QString> ids, shortcuts;
    for (const Tool& tool : all_tools()) {
        EXPECT_TRUE(ids.insert(QString::fromUtf16(tool.id)).second)
            << qPrintable(QString::fromUtf16(tool.id));
        const QString keys = QString::fromUtf16(tool.shortcut);
        EXPECT_TRUE(keys.isEmpty() || shortcuts.insert(keys).second) << qPrintable(keys);
        EXPECT_EQ(find_tool(tool.id), &tool);
    }
    EXPECT_EQ(ids.size(), 128u);
    EXPECT_EQ(shortcuts.size(), 5u);
    EXPECT_EQ(find_tool(u"ID_ShowProgress"), nullptr) << "layouts name it ID_ShowProgess";

    std::set<QString> placed{QStringLiteral("ID_RightClick")}, menus;
    const auto walk = [&](const Strip& strip) {
        std::set<QString> in_strip;
        for (const char16_t* id : strip.tools) {
            const QString name = QString::fromUtf16(id);
            if (name.isEmpty()) continue;
            EXPECT_TRUE(ids.contains(name)) << qPrintable(name);
            EXPECT_TRUE(in_strip.insert(name).second) << qPrintable(name) << " twice";
            placed.insert(name);
        }
    };
    for (const Strip& menu : designed_menus()) {
        EXPECT_TRUE(menus.insert(QString::fromUtf16(menu.name)).second);
        walk(menu);
    }
    for (const Strip& bar : designed_bars()) walk(bar);
    EXPECT_EQ(placed, ids) << "a tool stands nowhere";
    for (const Tool& tool : all_tools())
        EXPECT_EQ(tool.kind == Kind::menu, menus.contains(QString::fromUtf16(tool.id)));
}

TEST(ToolTable, EveryBarToolHasAPictureAndEveryPictureDraws) {
    int drawn = 0;
    for (const Tool& tool : all_tools()) {
        if (!*tool.picture) continue;
        const QImage image = picture_image(QString::fromUtf16(tool.picture), 16, Qt::black, Qt::blue);
        ASSERT_FALSE(image.isNull()) << qPrintable(QString::fromUtf16(tool.picture));
        int inked = 0;
        for (int y = 0; y < 16; ++y)
            for (int x = 0; x < 16; ++x) inked += qAlpha(image.pixel(x, y)) > 64;
        EXPECT_GT(inked, 12) << qPrintable(QString::fromUtf16(tool.picture));
        ++drawn;
    }
    EXPECT_GT(drawn, 60);
    for (const Strip& bar : designed_bars().subspan(1))
        for (const char16_t* id : bar.tools)
            EXPECT_TRUE(!*id || *find_tool(id)->picture) << qPrintable(QString::fromUtf16(id));
    EXPECT_TRUE(picture_image(QStringLiteral("no-such"), 16, Qt::black, Qt::blue).isNull());
}

TEST(PictureIcon, TakesThePalettesColourAtEveryScale) {
    const QPalette before = QApplication::palette();
    for (const QColor ink : {QColor(Qt::black), QColor(Qt::white)}) {
        QPalette palette = before;
        palette.setColor(QPalette::WindowText, ink);
        QApplication::setPalette(palette);
        const QImage image = picture_icon(QStringLiteral("crop")).pixmap(QSize(24, 24), 2.0).toImage();
        EXPECT_EQ(image.width(), 48);
        EXPECT_EQ(image.pixelColor(14, 20).rgb(), ink.rgb()) << "on the upright stroke";
    }
    QApplication::setPalette(before);
}

TEST(CaptionText, OnlyTheFirstMarkIsAnAccessKey) {
    EXPECT_EQ(menu_text(QStringLiteral("E&xit")), QStringLiteral("E&xit"));
    EXPECT_EQ(menu_text(QStringLiteral("&1 /a&b/c&d")), QStringLiteral("&1 /a&&b/c&&d"));
    EXPECT_EQ(plain_text(QStringLiteral("&1 /a&b")), QStringLiteral("1 /a&b"));
    EXPECT_EQ(menu_text(QString(500, u'x')).size(), 99);
}

// ---- states

TEST(CommandSurface, StateToolsOfAGroupExcludeEachOther) {
    Frame frame;
    const QList<QStringList> groups{
        {"ID_ViewNormal", "ID_ViewFit", "ID_ViewStretch", "ID_ViewSnap"},
        {"ID_DitheringOrdered", "ID_DitheringErrorDiffusion"},
        {"ID_BSNormal", "ID_BSFavoredBlack", "ID_BSScaleToGray"},
        {"ID_PPFixed", "ID_UseNetscape"},
    };
    for (const QStringList& group : groups)
        for (const QString& chosen : group) {
            for (int click = 0; click < 2; ++click) {  // a second click keeps it checked
                frame.surface->action(chosen)->trigger();
                for (const QString& id : group) {
                    EXPECT_EQ(frame.surface->checked(id), id == chosen) << qPrintable(id);
                    EXPECT_EQ(frame.surface->action(id)->isChecked(), id == chosen) << qPrintable(id);
                }
            }
        }
    frame.surface->set_checked(u"ID_ViewFit", true);
    frame.surface->set_checked(u"ID_ZoomIn", true);
    EXPECT_TRUE(frame.surface->checked(u"ID_ZoomIn"));
    EXPECT_TRUE(frame.surface->checked(u"ID_ViewFit"));
    frame.surface->action(u"ID_PaintWhileLoad")->trigger();
    frame.surface->action(u"ID_ShowProgess")->trigger();
    EXPECT_TRUE(frame.surface->checked(u"ID_PaintWhileLoad") && frame.surface->checked(u"ID_ShowProgess"));
    frame.surface->action(u"ID_PaintWhileLoad")->trigger();
    EXPECT_FALSE(frame.surface->checked(u"ID_PaintWhileLoad"));
    EXPECT_FALSE(frame.surface->checked(u"ID_NoSuch"));
}

TEST(CommandSurface, ARefusedClickGetsItsStateBack) {
    Frame frame;
    QStringList clicks;
    QObject::connect(frame.surface, &CommandSurface::tool_clicked, [&](const QString& id) {
        clicks << id;
        EXPECT_FALSE(frame.surface->checked_before_click(id));
        frame.surface->restore_checked(id);
    });
    frame.surface->action(u"ID_ViewStretch")->trigger();
    frame.surface->action(u"ID_ShowOpenOptions")->trigger();
    EXPECT_EQ(clicks, (QStringList{"ID_ViewStretch", "ID_ShowOpenOptions"}));
    EXPECT_TRUE(frame.surface->checked(u"ID_ViewNormal"));
    EXPECT_TRUE(frame.surface->action(u"ID_ViewNormal")->isChecked());
    EXPECT_FALSE(frame.surface->action(u"ID_ViewStretch")->isChecked());
    EXPECT_FALSE(frame.surface->action(u"ID_ShowOpenOptions")->isChecked());
}

TEST(CommandSurface, OneToolAtAllItsPlaces) {
    Frame frame;
    QAction* normal = frame.surface->action(u"ID_ViewNormal");
    EXPECT_TRUE(frame.surface->menu(u"ID_mnuView")->actions().contains(normal));
    EXPECT_TRUE(frame.surface->menu(u"ID_RightClick")->actions().contains(normal));
    EXPECT_TRUE(frame.surface->bar(u"Standard")->actions().contains(normal));
    QSignalSpy clicks(frame.surface, &CommandSurface::tool_clicked);
    auto* button = qobject_cast<QToolButton*>(frame.surface->bar(u"Standard")->widgetForAction(normal));
    ASSERT_TRUE(button);
    QTest::mouseClick(button, Qt::LeftButton);
    ASSERT_EQ(clicks.size(), 1);
    EXPECT_EQ(clicks[0][0].toString(), QStringLiteral("ID_ViewNormal"));
    frame.surface->set_enabled(u"ID_ViewNormal", false);
    EXPECT_FALSE(button->isEnabled() || frame.surface->enabled(u"ID_ViewNormal"));
    QTest::keyClick(&frame.window, Qt::Key_Z, Qt::ControlModifier);
    EXPECT_EQ(clicks.size(), 2) << "shortcut";
}

TEST(CommandSurface, AClickMayReplaceTheLayoutUnderItself) {
    Layout layout = designed_layout();
    ASSERT_GE(insert_tool(layout, kStandard, 0, QStringLiteral("ID_DefaultToolbars")), 0);
    Frame frame(layout);
    QObject::connect(frame.surface, &CommandSurface::tool_clicked,
                     [&] { frame.surface->apply(designed_layout()); });
    ToolBar* bar = frame.surface->bar(u"Standard");
    QTest::mouseClick(bar->widgetForAction(frame.surface->action(u"ID_DefaultToolbars")), Qt::LeftButton);
    QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_EQ(frame.surface->layout(), designed_layout());
    EXPECT_FALSE(bar->actions().contains(frame.surface->action(u"ID_DefaultToolbars")));
}

TEST(CommandSurface, RecentCaptionsReadBackUnchanged) {
    Frame frame;
    const QString stored = QStringLiteral("&1 /home/a&b/\u00e9 && c.tif");
    frame.surface->set_caption(u"ID_ImageFile1", stored);
    frame.surface->set_caption(u"ID_ImageFile2", QStringLiteral("&2 "));
    EXPECT_EQ(frame.surface->caption(u"ID_ImageFile1"), stored);
    EXPECT_EQ(frame.surface->action(u"ID_ImageFile1")->text(),
              QStringLiteral("&1 /home/a&&b/\u00e9 &&&& c.tif"));
    EXPECT_TRUE(frame.surface->action(u"ID_ImageFile1")->isVisible());
    EXPECT_FALSE(frame.surface->action(u"ID_ImageFile2")->isVisible());
    EXPECT_EQ(parse_layout(format_layout(frame.surface->layout())).layout->tool(u"ID_ImageFile1")->caption,
              stored);
}

TEST(CommandSurface, EditBoxesShowOneTextAndCommitOnEnterOrFocusLoss) {
    Layout layout = designed_layout();
    ASSERT_GE(insert_tool(layout, kStandard, 0, QStringLiteral("ID_ZoomPercentage")), 0);
    Frame frame(layout);
    auto* on_bar = frame.surface->bar(u"Standard")->findChild<QLineEdit*>();
    auto* in_menu = frame.surface->menu(u"ID_mnuView")->findChild<QLineEdit*>();
    ASSERT_TRUE(on_bar && in_menu && on_bar != in_menu);
    EXPECT_EQ(on_bar->text(), QStringLiteral("100"));
    QSignalSpy commits(frame.surface, &CommandSurface::edit_committed);
    on_bar->setText(QStringLiteral("250"));
    EXPECT_EQ(frame.surface->edit_text(u"ID_ZoomPercentage"), QStringLiteral("100")) << "not confirmed yet";
    QTest::keyClick(on_bar, Qt::Key_Return);
    ASSERT_EQ(commits.size(), 1);
    EXPECT_EQ(commits[0], (QVariantList{"ID_ZoomPercentage", "250"}));
    EXPECT_EQ(in_menu->text(), QStringLiteral("250"));
    on_bar->setText(QStringLiteral("9"));
    QTest::keyClick(on_bar, Qt::Key_Escape);
    EXPECT_EQ(on_bar->text(), QStringLiteral("250"));
    in_menu->setText(QStringLiteral("75"));
    QFocusEvent leave(QEvent::FocusOut);
    QApplication::sendEvent(in_menu, &leave);
    EXPECT_EQ(frame.surface->edit_text(u"ID_ZoomPercentage"), QStringLiteral("75"));
    EXPECT_EQ(on_bar->text(), QStringLiteral("75"));
    EXPECT_EQ(commits.size(), 2);
    frame.surface->show_popup(u"ID_mnuView", {0, 0});
    QTest::keyClick(frame.surface->menu(u"ID_mnuView"), Qt::Key_Z);
    EXPECT_TRUE(frame.surface->menu(u"ID_mnuView")->isVisible()) << "the access key leads into the box";
    auto* focused = qobject_cast<QLineEdit*>(frame.surface->menu(u"ID_mnuView")->focusWidget());
    EXPECT_TRUE(focused && focused->text() == QStringLiteral("25"));
    frame.surface->menu(u"ID_mnuView")->close();
    EXPECT_FALSE(frame.surface->menu(u"ID_mnuView")->focusWidget()) << "opened again, its access keys work";
    frame.surface->set_edit_text(u"ID_ZoomPercentage", QStringLiteral("33"));
    EXPECT_EQ(on_bar->text(), QStringLiteral("33"));
    EXPECT_EQ(commits.size(), 2) << "set by the program is no commit";
}

TEST(CommandSurface, TellsOfAMenuBeforeItOpens) {
    Frame frame;
    QSignalSpy opens(frame.surface, &CommandSurface::drop_down);
    QObject::connect(frame.surface, &CommandSurface::drop_down, [&](const QString& id, int x, int y) {
        frame.surface->show_popup(id, {x, y});
    });
    frame.surface->show_popup(u"ID_mnuEffects", {40, 40});
    ASSERT_EQ(opens.size(), 1) << "asking for the pop-up while it opens does not open it again";
    EXPECT_EQ(opens[0][0].toString(), QStringLiteral("ID_mnuEffects"));
    EXPECT_TRUE(frame.surface->menu(u"ID_mnuEffects")->isVisible());
    frame.surface->menu(u"ID_mnuEffects")->close();
}

TEST(CommandSurface, ListsOpenWindowsOutsideTheLayout) {
    Frame frame;
    QMenu* menu = frame.surface->menu(u"ID_mnuWindow");
    const auto designed = menu->actions().size();
    frame.surface->set_window_list({QStringLiteral("a.bmp"), QStringLiteral("b&c.tif")}, 1);
    const QList<QAction*> shown = menu->actions();
    ASSERT_EQ(shown.size(), designed + 1 + 3 + 1 + 2);
    EXPECT_EQ(shown.last()->text(), QStringLiteral("&2 b&&c.tif"));
    EXPECT_TRUE(shown.last()->isChecked());
    QSignalSpy chosen(frame.surface, &CommandSurface::window_chosen);
    QSignalSpy commands(frame.surface, &CommandSurface::window_command);
    shown[shown.size() - 2]->trigger();
    shown[designed + 1]->trigger();
    ASSERT_EQ(chosen.size(), 1);
    EXPECT_EQ(chosen[0][0].toInt(), 0);
    ASSERT_EQ(commands.size(), 1);
    EXPECT_EQ(commands[0][0].toString(), QStringLiteral("next"));
    Layout layout = designed_layout();
    EXPECT_EQ(frame.tools_of({false, menu->objectName()}), *strip(layout, {false, menu->objectName()}));
    insert_tool(layout, {false, menu->objectName()}, 0, QStringLiteral("ID_Open"));
    frame.surface->apply(layout);  // builds the menu anew
    EXPECT_EQ(menu->actions().size(), shown.size() + 1);
    frame.surface->set_window_list({}, -1);
    EXPECT_EQ(menu->actions().size(), designed + 1);
}

TEST(CommandSurface, BarsCanBeWalkedByKeyboard) {
    Frame frame;
    ToolBar* bar = frame.surface->bar(u"Standard");
    ASSERT_TRUE(bar->focus_first());
    QApplication::setActiveWindow(&frame.window);
    QWidget* open = bar->widgetForAction(frame.surface->action(u"ID_Open"));
    QWidget* save = bar->widgetForAction(frame.surface->action(u"ID_SaveFile"));
    QTest::keyClick(open, Qt::Key_Right);
    EXPECT_EQ(frame.window.focusWidget(), save);
    QTest::keyClick(save, Qt::Key_End);
    EXPECT_EQ(frame.window.focusWidget(), bar->widgetForAction(frame.surface->action(u"ID_Exit")));
    EXPECT_EQ(save->accessibleName(), QStringLiteral("Save File..."));
    for (QAction* top : frame.window.menuBar()->actions()) EXPECT_TRUE(top->text().contains(u'&'));
}

// ---- layout file

TEST(LayoutFile, RoundTripsThroughTextAndSurface) {
    Layout layout = designed_layout();
    EXPECT_EQ(*parse_layout(format_layout(layout)).layout, layout);

    const QString bar = add_bar(layout);
    ASSERT_TRUE(rename_bar(layout, bar, QStringLiteral("My \"own\" \\ bar")));
    const StripRef own{true, QStringLiteral("My \"own\" \\ bar")};
    insert_tool(layout, own, 0, QStringLiteral("ID_ZoomIncrement"));
    insert_tool(layout, own, 1, {});
    insert_tool(layout, own, 2, QStringLiteral("ID_mnuEffects"));
    remove_tool(layout, kStandard, 0);
    layout.bars[2].dock = Dock::left;
    layout.bars[2].new_line = false;
    layout.bars[3].visible = false;
    for (ToolState& tool : layout.tools) {
        if (tool.id == u"ID_ViewNormal") tool.checked = false;
        if (tool.id == u"ID_ViewStretch" || tool.id == u"ID_ZoomIn") tool.checked = true;
        if (tool.id == u"ID_ZoomPercentage") tool.text = QStringLiteral("-1");
        if (tool.id == u"ID_ImageFile2") tool.caption = QStringLiteral("&2 /x\\y \"z\"\n&\u00fc");
    }
    const ParsedLayout parsed = parse_layout(format_layout(layout));
    ASSERT_TRUE(parsed.layout) << parsed.line << qPrintable(parsed.error);
    EXPECT_EQ(*parsed.layout, layout);

    Frame frame;
    frame.surface->apply(layout);
    QApplication::processEvents();
    Layout shown = frame.surface->layout();
    EXPECT_EQ(shown.tools, layout.tools);
    EXPECT_EQ(shown.menus, layout.menus);
    for (const BarLayout& wanted : layout.bars)
        EXPECT_TRUE(shown.bars.contains(wanted)) << qPrintable(wanted.name);
    EXPECT_TRUE(frame.surface->checked(u"ID_ViewStretch"));
    EXPECT_FALSE(frame.surface->checked(u"ID_ViewNormal"));
    frame.surface->apply(designed_layout());
    EXPECT_EQ(frame.surface->layout(), designed_layout());
}

TEST(LayoutFile, DefinesToolsOfItsOwn) {
    QByteArray text = format_layout(designed_layout());
    text.replace("menu ID_mnuHelp\n", "menu ID_mnuHelp\n  ID_None\n  ID_InsertText\n");
    EXPECT_FALSE(parse_layout(text).layout) << "an entry nobody defines";
    text.replace("\nend\n",
                 "\ntool ID_None kind=button caption=\"&None\" category=\"Edit\" tip=\"Select nothing\"\n"
                 "tool ID_InsertText kind=button caption=\"Insert Text\" shortcut=\"Ctrl+T\"\nend\n");
    const ParsedLayout parsed = parse_layout(text);
    ASSERT_TRUE(parsed.layout) << parsed.line << qPrintable(parsed.error);
    EXPECT_EQ(parse_layout(format_layout(*parsed.layout)).layout, parsed.layout);

    Frame frame(*parsed.layout);
    QSignalSpy clicks(frame.surface, &CommandSurface::tool_clicked);
    frame.surface->menu(u"ID_mnuHelp")->actions().first()->trigger();
    ASSERT_EQ(clicks.size(), 1);
    EXPECT_EQ(clicks[0][0].toString(), QStringLiteral("ID_None"));
    EXPECT_EQ(frame.surface->category(u"ID_InsertText"), QStringLiteral("General"));
    QByteArray as_state = format_layout(*parsed.layout);
    as_state.replace("ID_None kind=button", "ID_None kind=state");
    frame.surface->apply(*parse_layout(as_state).layout);
    EXPECT_TRUE(frame.surface->action(u"ID_None")->isCheckable());
    EXPECT_EQ(frame.surface->menu(u"ID_mnuHelp")->actions().first(), frame.surface->action(u"ID_None"));
    frame.surface->apply(designed_layout());
    EXPECT_EQ(frame.surface->action(u"ID_None"), nullptr);
    EXPECT_EQ(frame.surface->menu(u"ID_mnuHelp")->actions().size(), 2);
}

TEST(LayoutFile, RefusesWhatIsNotSound) {
    const QByteArray good = format_layout(designed_layout());
    struct Case {
        const char* what;
        QByteArray text;
    };
    const auto changed = [&](const QByteArray& from, const QByteArray& to) {
        QByteArray text = good;
        EXPECT_TRUE(text.contains(from)) << from.constData();
        return text.replace(from, to);
    };
    const QByteArray end = "\nend\n";
    QByteArray many_bars, many_tools;
    for (int i = 0; i < kMaxBars; ++i) many_bars += "\nbar \"b" + QByteArray::number(i) + "\"";
    for (int i = 0; i <= kMaxOwnTools; ++i)
        many_tools += "\ntool ID_X" + QByteArray::number(i) + " kind=button caption=\"x\"";
    const Case cases[] = {
        {"empty", ""},
        {"foreign text", "[Desktop Entry]\nName=x\n"},
        {"foreign bytes", QByteArray("\x89PNG\r\n\x1a\n\0\0\0\rIHDR", 16)},
        {"bad UTF-8", changed("Preferences", "\xff\xfe")},
        {"another version", changed("layout 1", "layout 2")},
        {"text after the end", good + "menu ID_mnuHelp\n"},
        {"unknown key", changed("tool ID_Open", "tool ID_Open colour=\"red\"")},
        {"key twice", changed("tool ID_Open", "tool ID_Open caption=\"x\"")},
        {"open quote", changed("caption=\"&Open...\"", "caption=\"&Open...")},
        {"bad escape", changed("caption=\"&Open...\"", "caption=\"\\x\"")},
        {"bad flag", changed("checked=1", "checked=yes")},
        {"two of a group", changed("checked=0", "checked=1")},
        {"tool twice", changed(end, "\ntool ID_Open caption=\"x\"" + end)},
        {"designed tool defined anew", changed("tool ID_Open", "tool ID_Open kind=menu")},
        {"undefined tool", changed(end, "\ntool ID_None caption=\"None\"" + end)},
        {"no caption", changed(end, "\ntool ID_None kind=button" + end)},
        {"menu of its own", changed(end, "\ntool ID_M kind=menu caption=\"M\"" + end)},
        {"taken shortcut",
         changed(end, "\ntool ID_None kind=button caption=\"N\" shortcut=\"Ctrl+Z\"" + end)},
        {"no tool name", changed(end, "\ntool Open kind=button caption=\"x\"" + end)},
        {"unknown menu", changed(end, "\nmenu ID_mnuNone" + end)},
        {"menu twice", changed(end, "\nmenu ID_mnuHelp" + end)},
        {"bar twice", changed(end, "\nbar \"Standard\"" + end)},
        {"no menu bar", changed("bar \"Menu\"", "bar \"Other\"")},
        {"bad dock", changed("dock=top", "dock=middle")},
        {"bad place", changed("visible=1", "visible=1 x=99999999999")},
        {"entry twice", changed("  ID_About\n", "  ID_About\n  ID_About\n")},
        {"menu in itself", changed("menu ID_mnuEffects\n", "menu ID_mnuEffects\n  ID_mnuEffects\n")},
        {"menus in a ring", changed("menu ID_mnuEffects\n", "menu ID_mnuEffects\n  ID_mnuImage\n")},
        {"pop-up on a bar", changed("bar \"Standard\"", "bar \"P\"\n  ID_RightClick\nbar \"Standard\"")},
        {"edit box on the menu bar", changed("  ID_mnuHelp\n", "  ID_mnuHelp\n  ID_ZoomIncrement\n")},
        {"too many bars", changed(end, many_bars + end)},
        {"too many tools", changed(end, many_tools + end)},
        {"too long a strip", changed("  ID_About\n", QByteArray("  -\n").repeated(kMaxStripTools))},
        {"too long a text", changed("&Open...", QByteArray(kMaxText + 1, 'x'))},
        {"huge", good + QByteArray("#\n").repeated(kMaxLayoutBytes / 2)},
    };
    for (const Case& bad : cases) {
        const ParsedLayout parsed = parse_layout(bad.text);
        EXPECT_FALSE(parsed.layout) << bad.what;
        EXPECT_FALSE(parsed.error.isEmpty()) << bad.what;
    }
    for (qsizetype length = 0; length + 1 < good.size(); length += 7)
        EXPECT_FALSE(parse_layout(good.left(length)).layout) << "cut at " << length;
    EXPECT_TRUE(parse_layout("# x\n" + good).layout == std::nullopt) << "the first line tells what it is";
    EXPECT_TRUE(parse_layout(QByteArray(good).replace("\n", "\r\n")).layout) << "edited elsewhere";
}

TEST(LayoutFile, KeepsABrokenFileAsideAndWritesWhole) {
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("Image Processing.atb"));
    EXPECT_FALSE(load_layout(path).layout);
    EXPECT_TRUE(QDir(dir.path()).isEmpty()) << "a missing file leaves nothing behind";
    ASSERT_EQ(save_layout(path, designed_layout()), QString());
    EXPECT_EQ(load_layout(path).layout, designed_layout());

    const auto write = [&](const QByteArray& bytes) {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
    };
    for (const QByteArray& bytes : {QByteArray("nonsense"), QByteArray(kMaxLayoutBytes + 5, 'x')}) {
        write(bytes);
        EXPECT_FALSE(load_layout(path).layout);
        QFile aside(path + QStringLiteral(".broken"));
        ASSERT_TRUE(aside.open(QIODevice::ReadOnly));
        EXPECT_EQ(aside.readAll(), bytes);
    }
    EXPECT_NE(save_layout(dir.filePath(QStringLiteral("none/there.atb")), designed_layout()), QString());
    EXPECT_FALSE(load_layout(dir.path()).layout) << "a folder";
}

// ---- edits

TEST(LayoutEdit, TidiesSeparatorsAndKeepsMenusSound) {
    QStringList tools{"", "", "a", "", "", "b", ""};
    tidy_separators(tools);
    EXPECT_EQ(tools, (QStringList{"a", "", "b"}));

    Layout layout = designed_layout();
    EXPECT_EQ(insert_tool(layout, {false, QStringLiteral("ID_mnuEffects")}, 0, QStringLiteral("ID_mnuImage")),
              -1);
    EXPECT_EQ(
        insert_tool(layout, {true, QString::fromUtf16(kMenuBar)}, 0, QStringLiteral("ID_ZoomIncrement")), -1);
    EXPECT_EQ(insert_tool(layout, kStandard, 0, QStringLiteral("ID_RightClick")), -1);
    EXPECT_EQ(layout, designed_layout());
    const auto size = strip(layout, kStandard)->size();
    EXPECT_EQ(insert_tool(layout, kStandard, 999, QStringLiteral("ID_Open")), size - 1)
        << "there already: it moves";
    EXPECT_EQ(strip(layout, kStandard)->size(), size);
    EXPECT_FALSE(delete_bar(layout, QStringLiteral("Standard")));
    const StripRef menu_bar{true, QString::fromUtf16(kMenuBar)};
    while (strip(layout, menu_bar)->size() > 1) ASSERT_TRUE(remove_tool(layout, menu_bar, 0));
    EXPECT_FALSE(remove_tool(layout, menu_bar, 0)) << "the last way into the menus";
}

// ---- customising

namespace {

/// The dialog open over a frame, driven as a user would: by keys and by drops on the real widgets.
struct Customizing : Frame {
    Customizing() {
        dialog = open_customize_dialog(*surface, &window);
        QApplication::processEvents();
        contents = part<StripList>("contents");
        tools = part<ToolTree>("tools");
    }
    template <typename Part>
    Part* part(const char* name) const {
        return dialog->findChild<Part*>(QLatin1String(name));
    }
    void show_strip(const QString& text) { part<QComboBox>("strips")->setCurrentText(text); }
    void choose_tool(const QString& text) {
        part<QLineEdit>("filter")->setText(text);
        const auto found = tools->findItems(text, Qt::MatchExactly | Qt::MatchRecursive);
        ASSERT_FALSE(found.isEmpty());
        tools->setCurrentItem(found.last());
    }
    /// Presses a button by keyboard; a disabled one does nothing.
    void press(const char* name) { QTest::keyClick(part<QPushButton>(name), Qt::Key_Space); }
    void drop(QWidget* target, QPoint at, const DraggedTool& dragged) {
        const std::unique_ptr<QMimeData> data(to_mime(dragged));
        QDragEnterEvent enter(at, Qt::MoveAction, data.get(), Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(target, &enter);
        QDropEvent event(at, Qt::MoveAction, data.get(), Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(target, &event);
        QApplication::processEvents();
    }

    CustomizeDialog* dialog = nullptr;
    StripList* contents = nullptr;
    ToolTree* tools = nullptr;
};

}  // namespace

TEST(CustomizeDialog, WhatIsFoundCanBeAddedAtOnce) {
    Customizing frame;
    frame.tools->setCurrentItem(frame.tools->topLevelItem(0)->child(0));
    frame.part<QLineEdit>("filter")->setText(QStringLiteral("zoom perc"));
    EXPECT_EQ(frame.tools->current_id(), QStringLiteral("ID_ZoomPercentage"));
    EXPECT_TRUE(frame.part<QPushButton>("add")->isEnabled());
    frame.part<QLineEdit>("filter")->setText(QStringLiteral("no such tool"));
    EXPECT_FALSE(frame.part<QPushButton>("add")->isEnabled());
    frame.part<QLineEdit>("filter")->clear();
    EXPECT_FALSE(frame.tools->current_id().isEmpty());
}

TEST(CustomizeDialog, AddsMovesRemovesAndResetsByKeyboard) {
    Customizing frame;
    const QStringList before = frame.tools_of(kStandard);
    frame.contents->setCurrentRow(0);
    frame.choose_tool(QStringLiteral("Saturation"));
    frame.press("add");
    EXPECT_EQ(frame.tools_of(kStandard).at(1), QStringLiteral("ID_Saturation"));
    EXPECT_TRUE(frame.surface->bar(u"Standard")->actions().contains(frame.surface->action(u"ID_Saturation")));
    EXPECT_EQ(frame.contents->currentRow(), 1);
    frame.press("up");
    EXPECT_EQ(frame.tools_of(kStandard).first(), QStringLiteral("ID_Saturation"));
    frame.press("up");
    frame.press("down");
    frame.press("down");
    EXPECT_EQ(frame.tools_of(kStandard).at(2), QStringLiteral("ID_Saturation"));
    frame.press("separator");
    EXPECT_EQ(frame.tools_of(kStandard).mid(2, 3), (QStringList{"ID_Saturation", "", ""}));
    frame.contents->setCurrentRow(2);
    QTest::keyClick(frame.contents, Qt::Key_Delete);
    EXPECT_EQ(frame.tools_of(kStandard), before) << "the stray separator went too";
    frame.contents->setCurrentRow(0);
    frame.press("remove");
    frame.press("remove");
    EXPECT_EQ(frame.tools_of(kStandard), before.mid(3));
    frame.press("reset");
    EXPECT_EQ(frame.tools_of(kStandard), before);
}

TEST(CustomizeDialog, RefusesWithAReason) {
    Customizing frame;
    frame.show_strip(QStringLiteral("Effects menu"));
    frame.choose_tool(QStringLiteral("Image  \u25b8"));
    frame.press("add");
    EXPECT_EQ(frame.surface->layout(), designed_layout());
    EXPECT_TRUE(frame.part<QLabel>("hint")->text().contains(QStringLiteral("itself")));
}

TEST(CustomizeDialog, MakesRenamesHidesAndDeletesBars) {
    Customizing frame;
    frame.press("new_bar");
    ASSERT_TRUE(frame.surface->bar(u"Bar 1"));
    auto* name = frame.part<QLineEdit>("name");
    name->setText(QStringLiteral("Standard"));
    QTest::keyClick(name, Qt::Key_Return);
    EXPECT_EQ(name->text(), QStringLiteral("Bar 1")) << "the name is taken";
    name->setText(QStringLiteral("Mine"));
    QTest::keyClick(name, Qt::Key_Return);
    ASSERT_TRUE(frame.surface->bar(u"Mine"));
    EXPECT_TRUE(frame.dialog->isVisible()) << "Enter in the name does not end the dialog";
    frame.choose_tool(QStringLiteral("Invert"));
    frame.press("add");
    EXPECT_EQ(frame.tools_of({true, QStringLiteral("Mine")}), QStringList{"ID_Invert"});
    QTest::keyClick(frame.part<QCheckBox>("shown"), Qt::Key_Space);
    EXPECT_TRUE(frame.surface->bar(u"Mine")->isHidden());
    frame.press("delete_bar");
    EXPECT_EQ(frame.surface->bar(u"Mine"), nullptr);
    EXPECT_EQ(frame.surface->layout(), designed_layout());
    frame.show_strip(QStringLiteral("Standard bar"));
    frame.press("delete_bar");
    EXPECT_TRUE(frame.surface->bar(u"Standard"));
}

TEST(CustomizeDialog, TakesDropsOnBarsAndLists) {
    Customizing frame;
    ToolBar* standard = frame.surface->bar(u"Standard");
    ToolBar* processing = frame.surface->bar(u"Image Processing");
    const auto left_of = [](const ToolBar* bar, int index) {
        return bar->widgetForAction(bar->actions().at(index))->geometry().topLeft() + QPoint(2, 8);
    };
    frame.drop(standard, left_of(standard, 1), {QStringLiteral("ID_Invert"), std::nullopt, -1});
    EXPECT_EQ(frame.tools_of(kStandard).at(1), QStringLiteral("ID_Invert")) << "list to bar";
    frame.drop(standard, left_of(standard, 0), {QStringLiteral("ID_Invert"), kStandard, 1});
    EXPECT_EQ(frame.tools_of(kStandard).first(), QStringLiteral("ID_Invert")) << "within a bar";
    frame.drop(processing, left_of(processing, 0), {QStringLiteral("ID_Invert"), kStandard, 0});
    EXPECT_EQ(frame.tools_of(kStandard).first(), QStringLiteral("ID_Open")) << "bar to bar";
    const StripRef second{true, QStringLiteral("Image Processing")};
    EXPECT_EQ(frame.tools_of(second).first(), QStringLiteral("ID_Invert"));
    frame.drop(frame.tools->viewport(), {5, 5}, {QStringLiteral("ID_Invert"), second, 0});
    EXPECT_EQ(frame.surface->layout(), designed_layout()) << "bar to list of tools";
    frame.drop(frame.contents->viewport(), frame.contents->visualItemRect(frame.contents->item(3)).topLeft(),
               {QStringLiteral("ID_Exit"), std::nullopt, -1});
    EXPECT_EQ(frame.tools_of(kStandard).at(3), QStringLiteral("ID_Exit")) << "list to contents";
    emit standard->tool_dragged_off(3);
    EXPECT_FALSE(frame.tools_of(kStandard).contains(QStringLiteral("ID_Exit"))) << "off the bar";

    QMimeData foreign;
    foreign.setText(QStringLiteral("ID_Open"));
    EXPECT_FALSE(from_mime(&foreign));
    foreign.setData(QStringLiteral("application/x-quillmark-tool"), QByteArray("xx"));
    EXPECT_FALSE(from_mime(&foreign));
    EXPECT_FALSE(from_mime(nullptr));
}

TEST(CustomizeDialog, CancelGivesTheArrangementBackAndToolsRest) {
    Customizing frame;
    QSignalSpy clicks(frame.surface, &CommandSurface::tool_clicked);
    frame.surface->action(u"ID_ViewFit")->trigger();
    frame.surface->action(u"ID_Open")->trigger();
    EXPECT_EQ(clicks.size(), 0);
    EXPECT_TRUE(frame.surface->action(u"ID_ViewNormal")->isChecked());
    EXPECT_FALSE(frame.surface->action(u"ID_ViewFit")->isChecked());
    frame.contents->setCurrentRow(0);
    frame.press("remove");
    frame.press("new_bar");
    frame.dialog->reject();
    EXPECT_EQ(frame.surface->layout(), designed_layout());
    frame.surface->action(u"ID_Open")->trigger();
    EXPECT_EQ(clicks.size(), 1);
}

TEST(CustomizeDialog, OkKeepsAndTidies) {
    Customizing frame;
    frame.show_strip(QStringLiteral("Help menu"));
    frame.contents->setCurrentRow(1);
    frame.press("separator");
    EXPECT_EQ(frame.tools_of(kHelpMenu).size(), 3);
    frame.choose_tool(QStringLiteral("Customize Toolbars"));
    frame.press("add");
    frame.press("separator");
    frame.dialog->accept();
    EXPECT_EQ(frame.tools_of(kHelpMenu),
              (QStringList{"ID_Contents", "ID_About", "", "ID_CustomizeToolbars"}));
    EXPECT_FALSE(frame.surface->customizing());
}
