// Opening files into windows: what appears, what is remembered, what bad files say.
#include <QCloseEvent>
#include <QLabel>
#include <QMouseEvent>
#include <QRadioButton>
#include <QTimer>
#include <QToolButton>

#include "engine/file_dialog.h"
#include "files/filter_table.h"
#include "files/open.h"
#include "files/recent_files.h"
#include "frame/caption_bar.h"
#include "imaging/codec.h"
#include "support/desk.h"
#include "text/paths.h"

namespace quillmark {
namespace {

using settings::keys::kDirectories;
using settings::keys::kFilesParameters;
using settings::keys::kSettings;

class Opening : public test::Desk {
  protected:
    QStringList recent() {
        QStringList entries;
        for (int i = 1; i <= 4; ++i) entries += setting(kSettings, QStringLiteral("ImageFile%1").arg(i));
        return entries;
    }
};

TEST_F(Opening, AFileGetsAWindowOfItsSizeAndFillsTheStatusBar) {
    const QString file = make_image(QStringLiteral("Photo One.PNG"), 320, 200);
    start();
    EXPECT_FALSE(frame_->statusBar()->isVisible());
    QDir::setCurrent(folder_.path());
    open(file);
    ASSERT_EQ(frame_->kids().KidCount, 1);
    EXPECT_TRUE(frame_->statusBar()->isVisible());
    EXPECT_EQ(active().LEAD1().BitmapWidth(), 320);
    EXPECT_EQ(active().view().viewport()->size(), QSize(320, 200));
    EXPECT_EQ(active().windowTitle(),
              QStringLiteral("%1 (%2 bytes)").arg(file, QLocale::c().toString(QFileInfo{file}.size())));
    const program::StatusBar& bar = frame_->status_bar();
    EXPECT_EQ(bar.StatFileName->text(), u"Portable Network Graphics");
    EXPECT_EQ(bar.StatWidthHeight->text(), u"320x200");
    EXPECT_EQ(bar.StatBPP->text(), u"24 BPP");
    EXPECT_EQ(bar.StatSize->text(), u"192,000 bytes");
    EXPECT_EQ(setting(kDirectories, QStringLiteral("ImageOpenDir")), (QDir::currentPath() + u'/').toLower());
    EXPECT_EQ(recent(), (QStringList{QStringLiteral("&1 ") + file.toLower(), QStringLiteral("&2 "),
                                     QStringLiteral("&3 "), QStringLiteral("&4 ")}));
    EXPECT_TRUE(prompts_.messages.empty());
    EXPECT_FALSE(state().ImageChanged);
}

TEST_F(Opening, ShownPixelsAreTheFilesPixels) {
    const QString file = make_image(QStringLiteral("a.png"), 64, 48);
    start();
    open(file);
    const QImage shown = active().view().viewport()->grab().toImage().convertToFormat(QImage::Format_RGB32);
    EXPECT_EQ(shown, QImage{file}.convertToFormat(QImage::Format_RGB32));
}

TEST_F(Opening, BadFilesSayWhyAndLeaveNothingBehind) {
    // A bitmap header that declares 65535 x 65535 pixels of 24 bits, and nothing behind it.
    const QByteArray bomb = QByteArray::fromHex(
                                "424d3600000000000000360000002800000"
                                "0ffff0000ffff00000100180000000000000000000000000000000000")
                                .leftJustified(200, '\0');
    ASSERT_TRUE(QDir{folder_.path()}.mkpath(QStringLiteral("folder.png")));
    struct Case {
        QString file;
        QString text;
    };
    const Case cases[] = {
        {path(QStringLiteral("missing.png")), QStringLiteral("Error Code = 20010")},
        {make_file(QStringLiteral("empty.png"), {}), QStringLiteral("Error Code = 20007")},
        {make_file(QStringLiteral("text.bmp"), "Dear diary, this is no picture at all."),
         QStringLiteral("Error Code = 20009")},
        {path(QStringLiteral("folder.png")), QStringLiteral("Error Code = 20014")},
        {QStringLiteral("/dev/zero"), QStringLiteral("Error Code = 20014")},
        {make_file(QStringLiteral("bomb.bmp"), bomb), QStringLiteral("Error Code = 20011")},
        {path(QString(250, u'n')), QStringLiteral("Error Code = 20010")},
    };
    start();
    open(make_image(QStringLiteral("good.png"), 10, 10));
    const auto before = frame_->kids().KidList();
    for (const Case& c : cases) {
        prompts_.messages.clear();
        open(c.file);
        ASSERT_EQ(prompts_.messages.size(), 1U) << c.file.toStdString();
        EXPECT_EQ(prompts_.messages[0].text, c.text) << c.file.toStdString();
        EXPECT_EQ(prompts_.messages[0].title, u"UNEXPECTED ERROR! (Viewer: InitTheForm)");
        EXPECT_EQ(prompts_.messages[0].icon, program::Icon::stop);
        EXPECT_EQ(frame_->kids().KidList(), before) << c.file.toStdString();
        const QString entry = QStringLiteral("&1 ") + c.file.toLower();
        EXPECT_EQ(recent()[0], entry.size() > settings::kLongestValue ? QString{} : entry)
            << "a failed file is listed all the same";
    }
}

TEST_F(Opening, ADamagedFileShowsWhatIsThereWithANotice) {
    QFile whole{make_image(QStringLiteral("whole.png"), 200, 200)};
    ASSERT_TRUE(whole.open(QIODevice::ReadOnly));
    const QString half = make_file(QStringLiteral("half.png"), whole.read(whole.size() / 2));
    start();
    open(half);
    ASSERT_EQ(frame_->kids().KidCount, 1);
    ASSERT_EQ(prompts_.messages.size(), 1U);
    EXPECT_TRUE(prompts_.messages[0].text.contains(QStringLiteral("of 200 rows")))
        << prompts_.messages[0].text.toStdString();
    EXPECT_EQ(prompts_.messages[0].icon, program::Icon::information);
}

TEST_F(Opening, ALoadThatFailsClosesItsWindowWithTheEnginesWords) {
    // The header is sound, so that the window appears; the pixels never come.
    QFile whole{make_image(QStringLiteral("whole.png"), 50, 50)};
    ASSERT_TRUE(whole.open(QIODevice::ReadOnly));
    start();
    open(make_file(QStringLiteral("header only.png"), whole.read(66)));
    EXPECT_EQ(frame_->kids().KidCount, 0);
    ASSERT_FALSE(prompts_.messages.empty());
    EXPECT_EQ(prompts_.messages.back().text, u"Error reading file");
    EXPECT_EQ(prompts_.messages.back().title, u"ERROR");
    EXPECT_FALSE(frame_->statusBar()->isVisible());
}

// A load that takes long enough for events to come in between, on the slowest machine as on the fastest:
// noise, so that no coder can be quick about it.
class LongLoad : public Opening {
  protected:
    void SetUp() override {
        Opening::SetUp();
        QImage noise{3000, 2500, QImage::Format_RGB32};
        quint32 state = 1;
        for (int y = 0; y < noise.height(); ++y) {
            auto* row = reinterpret_cast<quint32*>(noise.scanLine(y));
            for (int x = 0; x < noise.width(); ++x)
                row[x] = 0xFF000000U | ((state = state * 1664525U + 1013904223U) >> 8);
        }
        file_ = path(QStringLiteral("noise.png"));
        ASSERT_TRUE(noise.save(file_, "PNG", 80));
    }
    /// Does something as soon as the load has begun to let events in.
    void during_load(std::function<void()> action) {
        QObject::connect(&timer_, &QTimer::timeout, [this, action] {
            if (!state().OperationBusy) return;
            timer_.stop();
            loading_seen_ = true;
            action();
        });
        timer_.start(1);
    }
    QTimer timer_;
    QString file_;
    bool loading_seen_ = false;
};

TEST_F(LongLoad, EscStopsItAndClosesTheHalfMadeWindow) {
    start();
    during_load([this] { QTest::keyClick(frame_->windowHandle(), Qt::Key_Escape); });
    open(file_);
    EXPECT_TRUE(loading_seen_);
    EXPECT_EQ(frame_->kids().KidCount, 0);
    ASSERT_EQ(prompts_.messages.size(), 1U);
    EXPECT_EQ(prompts_.messages[0].text, u"Escape key pressed");
    EXPECT_FALSE(state().OperationBusy);
    EXPECT_EQ(QGuiApplication::overrideCursor(), nullptr);
}

TEST_F(LongLoad, ClicksMeanwhileAreRefusedAndProgressIsShown) {
    start();
    state().ShowProgress = state().ProgressEnabled = true;
    int highest = 0;
    QString hint;
    QObject::connect(frame_->status_bar().StatGauge, &QProgressBar::valueChanged,
                     [&](int value) { highest = std::max(highest, value); });
    during_load([&] {
        hint = frame_->status_bar().StatWidthHeight->text();
        click(u"ID_CloseAll");
        QTest::mouseClick(frame_->windowHandle(), Qt::LeftButton, {}, QPoint(30, 40));
    });
    open(file_);
    EXPECT_TRUE(loading_seen_);
    EXPECT_EQ(hint, u"Press 'Esc' To Stop");
    EXPECT_GT(highest, 0);
    EXPECT_EQ(frame_->kids().KidCount, 1);
    EXPECT_EQ(active().LEAD1().BitmapWidth(), 3000);
}

TEST_F(LongLoad, RowsArePaintedWhileTheyArrive) {
    start();
    state().PaintWhileLoad = true;
    int times = 0;
    // The window exists, and lets events in, before its load begins.
    QTimer::singleShot(0, frame_.get(), [&] {
        QObject::connect(&frame_->active_window()->LEAD1(), &engine::Engine::partly_loaded, frame_.get(),
                         [&] { ++times; });
    });
    open(file_);
    EXPECT_GT(times, 0);
    const QImage shown =
        active().view().viewport()->grab(QRect(0, 0, 50, 50)).toImage().convertToFormat(QImage::Format_RGB32);
    EXPECT_EQ(shown, QImage{file_}.copy(0, 0, 50, 50).convertToFormat(QImage::Format_RGB32))
        << "in the end all is there";
}

TEST_F(LongLoad, ClosingTheFrameStopsItAndEndsTheProgram) {
    start();
    bool ended = false;
    QObject::connect(frame_.get(), &frame::ImageProcess::ended, [&] { ended = true; });
    during_load([this] {
        QCloseEvent close;
        QCoreApplication::sendEvent(frame_->windowHandle(), &close);
    });
    open(file_);
    EXPECT_TRUE(loading_seen_);
    EXPECT_TRUE(QTest::qWaitFor([&] { return ended; }));
}

TEST_F(LongLoad, SoDoesTheCaptionsOwnCloseButtonAndNoOther) {
    start();
    bool ended = false;
    QObject::connect(frame_.get(), &frame::ImageProcess::ended, [&] { ended = true; });
    const auto release_on = [this](const QString& name) {
        for (const QToolButton* button : frame_->caption_bar().findChildren<QToolButton*>()) {
            if (button->accessibleName() != name) continue;
            const QPointF global = button->mapToGlobal(button->rect().center());
            QMouseEvent release{QEvent::MouseButtonRelease,
                                frame_->mapFromGlobal(global),
                                global,
                                Qt::LeftButton,
                                Qt::NoButton,
                                Qt::NoModifier};
            QCoreApplication::sendEvent(frame_->windowHandle(), &release);
            return;
        }
        FAIL() << "no button " << name.toStdString();
    };
    during_load([&] { release_on(QStringLiteral("Minimize")); });
    open(file_);
    EXPECT_EQ(frame_->kids().KidCount, 1) << "the other buttons wait";
    loading_seen_ = false;
    during_load([&] { release_on(QStringLiteral("Close")); });
    open(file_);
    EXPECT_TRUE(loading_seen_);
    EXPECT_TRUE(QTest::qWaitFor([&] { return ended; }));
}

TEST_F(Opening, NamesThatMeanNothingOpenNothing) {
    start();
    for (const QString& name : {QString{}, QStringLiteral("ge File 3")}) open(name);
    EXPECT_EQ(prompts_.messages.size(), 0U);
    EXPECT_EQ(recent(), (QStringList{{}, {}, {}, {}}));
}

TEST_F(Opening, NonAsciiAndLongNamesOpen) {
    start();
    for (const QString& name :
         {QStringLiteral("Grüße aus Köln – 画像.png"), QString(246, u'x') + QStringLiteral(".png")}) {
        open(make_image(name, 5, 4));
        EXPECT_EQ(active().LEAD1().BitmapWidth(), 5) << name.toStdString();
    }
    EXPECT_EQ(frame_->kids().KidCount, 2);
    EXPECT_TRUE(prompts_.messages.empty());
}

TEST_F(Opening, TheRecentListMovesOpenedFilesToTheTop) {
    start();
    struct Case {
        const char* open;
        QStringList expected;  // paths, first to fourth
    };
    const Case cases[] =
        {
            {"/a", {"/a", "", "", ""}},       {"/b", {"/b", "/a", "", ""}},
            {"/c", {"/c", "/b", "/a", ""}},   {"/d", {"/d", "/c", "/b", "/a"}},
            {"/D", {"/d", "/c", "/b", "/a"}},  // the case of letters does not count
            {"/c", {"/c", "/d", "/b", "/a"}}, {"/b", {"/b", "/c", "/d", "/a"}},
            {"/a", {"/a", "/b", "/c", "/d"}}, {"/e", {"/e", "/a", "/b", "/c"}},
        };
    for (const Case& c : cases) {
        state().LastFileName = QString::fromLatin1(c.open);
        files::UpdateOpenFiles(*frame_);
        QStringList paths;
        for (const QString& entry : recent()) paths += entry.mid(3);
        EXPECT_EQ(paths, c.expected) << c.open;
        EXPECT_EQ(frame_->tools().caption(u"ID_ImageFile1"), recent()[0]);
    }
}

TEST_F(Opening, ARecentFileIsFoundByItsLowerCaseName) {
    const QString file = make_image(QStringLiteral("MiXed.png"), 9, 9);
    start();
    open(file);
    click(u"ID_CloseAll");
    click(u"ID_ImageFile1");
    ASSERT_EQ(frame_->kids().KidCount, 1);
    EXPECT_EQ(active().LEAD1().BitmapWidth(), 9);
    QFile::remove(file);
    click(u"ID_ImageFile1");
    ASSERT_EQ(prompts_.messages.size(), 1U);
    EXPECT_EQ(prompts_.messages[0].text, u"Error Code = 20010");
}

TEST_F(Opening, TheOpenCommandRemembersFolderAndFilter) {
    make_image(QStringLiteral("photo.png"), 8, 8);
    make_image(QStringLiteral("photo.PNG"), 8, 8);
    start();
    struct Case {
        const char* name;
        const char* stored;
    };
    for (const Case& c : {Case{"photo.png", "26"}, Case{"photo.PNG", "0"}}) {
        prompts_.on_dialog = [&](QDialog& dialog) {
            auto* open_dialog = qobject_cast<engine::OpenDialog*>(&dialog);
            EXPECT_TRUE(open_dialog);
            EXPECT_EQ(dialog.windowTitle(), u"Open File");
            return QDialog::Rejected;
        };
        click(u"ID_Open");
        EXPECT_EQ(prompts_.messages.size(), 0U);
        EXPECT_EQ(files::remembered_filter(QString::fromLatin1(c.name)),
                  QString::fromLatin1(c.stored).toInt());
    }
    EXPECT_EQ(setting(kFilesParameters, QStringLiteral("ImageOpenFormat")), QString{})
        << "a cancelled dialog stores nothing";
}

TEST_F(Opening, TheOptionsFormChoosesTheDepthAndCancelStillLists) {
    const QString file = make_image(QStringLiteral("a.png"), 30, 20);
    start();
    click(u"ID_ShowOpenOptions");
    open(file);  // no image yet: the tool was refused, and no form appears
    EXPECT_EQ(prompts_.dialogs, 0);
    click(u"ID_ShowOpenOptions");
    prompts_.on_dialog = [](QDialog& dialog) {
        for (QRadioButton* button : dialog.findChildren<QRadioButton*>()) {
            if (button->text() == u"&8 Bit") button->click();
        }
        dialog.accept();
        return QDialog::Accepted;
    };
    open(file);
    ASSERT_EQ(prompts_.dialogs, 1);
    EXPECT_EQ(active().LEAD1().BitmapBits(), 8);
    prompts_.on_dialog = {};
    const QString other = make_image(QStringLiteral("b.png"), 30, 20);
    open(other);
    EXPECT_EQ(frame_->kids().KidCount, 2);
    EXPECT_EQ(recent()[0], QStringLiteral("&1 ") + other.toLower());
}

TEST_F(Opening, EveryFilterEntryHasItsMemory) {
    const auto table = files::OpenFilterTable();
    ASSERT_EQ(table.size(), 28U);
    EXPECT_TRUE(files::open_filter_text().endsWith(QStringLiteral("*.png|||")));
    EXPECT_EQ(files::remembered_filter(QStringLiteral("x.wfx")), 18);
    EXPECT_EQ(files::remembered_filter(QStringLiteral("x.fxs")), 0);
    EXPECT_EQ(files::remembered_filter(QStringLiteral("x.jpeg")), 0);
    // The formats of this version are reached through their entries' patterns.
    int reached = 0;
    for (const imaging::Codec* codec : imaging::all_codecs()) {
        for (const auto& entry : table) {
            reached += QString::fromLatin1(entry.pattern)
                           .split(u';')
                           .contains(QStringLiteral("*.") +
                                     QString::fromUtf8(codec->extensions[0].data(),
                                                       static_cast<qsizetype>(codec->extensions[0].size())));
        }
    }
    EXPECT_GE(reached, 9);
}

}  // namespace
}  // namespace quillmark
