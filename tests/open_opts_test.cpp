// The open-options form over an engine that answers as each test wants.
#include "files/open_opts.h"

#include <gtest/gtest.h>
#include <QApplication>
#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>

#include <map>
#include <set>

#include "engine/engine.h"
#include "platform/screen.h"
#include "program/prompts.h"
#include "program/run_time_error.h"

namespace quillmark {
namespace {

// The file behind the engine below.
struct File {
    int format = 6;
    int pages = 1;
    std::map<int, engine::Code> failures;  // by the page that is asked for
    std::set<int> resolutions;             // Photo CD
    std::vector<int> queries;              // pages asked for, in order
};
File file;

}  // namespace

namespace engine {

// Only what the form calls stands here; the form's own object file is linked against it.
class Loading {};
Engine::Engine(QObject* parent) : QObject{parent} {}
Engine::~Engine() = default;

Code Engine::GetFileInfo(const QString&, int page) {
    file.queries.push_back(page);
    if (const auto failure = file.failures.find(page); failure != file.failures.end()) return failure->second;
    info_ = {};
    info_.format = file.format;
    info_.page = std::min(page, file.pages);
    info_.total_pages = file.pages;
    info_.width = 100 * info_.page;
    info_.height = 50;
    info_.bits = 24;
    info_.size_mem = 15'000 * info_.page;
    info_.size_disk = 1'234'567;
    return 0;
}

bool Engine::HasPCDResolution(const QString&, int index) const { return file.resolutions.contains(index); }

}  // namespace engine

namespace files {
namespace {

class RecordingPrompts final : public program::Prompts {
  public:
    program::Answer message(const QString& text, const QString& title, program::Icon icon,
                            program::Buttons) override {
        messages.append(
            QStringLiteral("%1|%2|%3").arg(text, title).arg(icon == program::Icon::stop ? "stop" : "other"));
        return program::Answer::ok;
    }
    QString input(const QString&, const QString&, const QString&) override { return {}; }
    int show_modal(QDialog&) override { return QDialog::Rejected; }
    engine::Code show_common(engine::CommonDialog&, engine::DialogKind) override {
        return engine::kDialogCancelled;
    }
    bool choose_font(QFont&, QColor&) override { return false; }
    void beep() override {}
    QStringList messages;
};

class OpenOptsTest : public ::testing::Test {
  protected:
    void SetUp() override { file = {}; }

    void start(bool paint_while_load = false) { form.InitTheForm("/pictures/a.tif", paint_while_load, 3); }
    template <typename T>
    T& control(const char* name) {
        auto* found = form.findChild<T*>(name);
        if (!found) ADD_FAILURE() << "no control " << name;
        return *found;
    }
    QRadioButton& bit(int bits) {
        return control<QRadioButton>(qPrintable(QStringLiteral("Bit%1").arg(bits)));
    }
    QString shown(const char* name) { return control<QLabel>(name).text(); }
    void press(const char* name) { control<QPushButton>(name).click(); }
    bool info_view_shown() { return control<QWidget>("FileInfoPic").isVisibleTo(&form); }
    OpenOpts::Options options() {
        OpenOpts::Options chosen;
        form.GetOptions(chosen);
        return chosen;
    }

    RecordingPrompts prompts;
    OpenOpts form{prompts};
};

TEST_F(OpenOptsTest, StartsWithTheDefaults) {
    start(true);
    EXPECT_EQ(file.queries, std::vector<int>{1});
    EXPECT_EQ(form.windowTitle(), "File Open Options");
    const auto chosen = options();
    EXPECT_FALSE(chosen.ok);
    EXPECT_TRUE(chosen.paint_while_load);
    EXPECT_EQ(chosen.bits, 0);
    EXPECT_EQ(chosen.page, 1);
    EXPECT_FALSE(chosen.load_stamp);
    EXPECT_EQ(chosen.pcd_resolution, 1);
    EXPECT_FALSE(control<QComboBox>("PCDResBox").isEnabled());
    EXPECT_FALSE(control<QLabel>("PCDLabel").isEnabled());
}

TEST_F(OpenOptsTest, OnlyOkAccepts) {
    start();
    press("Cancel");
    EXPECT_FALSE(options().ok);
    press("OK");
    EXPECT_TRUE(options().ok);
    start();
    EXPECT_FALSE(options().ok);
}

TEST_F(OpenOptsTest, EveryBitButtonGivesItsDepth) {
    start();
    const auto buttons = control<QButtonGroup>("Bit").buttons();
    ASSERT_EQ(buttons.size(), 7);
    for (const int bits : {32, 24, 16, 8, 4, 1, 0}) {
        bit(bits).click();
        EXPECT_EQ(options().bits, bits);
    }
}

TEST_F(OpenOptsTest, StampForcesTheDefaultDepthAndGivesItBack) {
    start();
    for (const int before : {8, 0}) {
        bit(before).click();
        control<QCheckBox>("LoadStampCheck").click();
        EXPECT_EQ(options().bits, 0);
        EXPECT_TRUE(options().load_stamp);
        EXPECT_TRUE(bit(0).isChecked());
        EXPECT_TRUE(bit(0).isEnabled());
        for (const int bits : {1, 4, 8, 16, 24, 32}) EXPECT_FALSE(bit(bits).isEnabled()) << bits;
        control<QCheckBox>("LoadStampCheck").click();
        EXPECT_EQ(options().bits, before);
        EXPECT_TRUE(bit(before).isChecked());
        for (const int bits : {1, 4, 8, 16, 24, 32}) EXPECT_TRUE(bit(bits).isEnabled()) << bits;
    }
}

TEST_F(OpenOptsTest, PhotoCdListsOnlyWhatTheFileHolds) {
    file.format = 57;
    file.resolutions = {3, 4, 5};
    start();
    auto& list = control<QComboBox>("PCDResBox");
    auto& lead1 = control<engine::Engine>("LEAD1");
    EXPECT_TRUE(list.isEnabled());
    ASSERT_EQ(list.count(), 3);
    EXPECT_EQ(list.itemText(0), "512 x 768");
    EXPECT_EQ(list.itemText(2), "2048 x 3072");
    EXPECT_EQ(lead1.PCDResolution(), 3);
    EXPECT_EQ(options().pcd_resolution, 3);
    list.setCurrentIndex(1);
    EXPECT_EQ(lead1.PCDResolution(), 4);
    EXPECT_EQ(options().pcd_resolution, 4);
}

TEST_F(OpenOptsTest, PhotoCdWithoutResolutionsKeepsTheOldOne) {
    file.format = 57;
    start();
    OpenOpts::Options chosen;
    chosen.pcd_resolution = 5;
    form.GetOptions(chosen);
    EXPECT_EQ(chosen.pcd_resolution, 5);
}

TEST_F(OpenOptsTest, PageTextIsANumberOf16Bits) {
    start();
    const std::pair<const char*, int> numbers[] = {{"7", 7},           {" 12 ", 12},        {"2.5", 2},
                                                   {"3.5", 4},         {"-3", -3},          {"1e2", 100},
                                                   {"32767.4", 32767}, {"-32768.5", -32768}};
    for (const auto& [text, page] : numbers) {
        control<QLineEdit>("PageNumberBox").setText(text);
        EXPECT_EQ(options().page, page) << text;
    }
    const std::pair<const char*, int> errors[] = {{"", 13},    {"two", 13},  {"3 of 4", 13}, {"nan", 13},
                                                  {"inf", 13}, {"40000", 6}, {"32767.5", 6}, {"1e300", 6}};
    for (const auto& [text, number] : errors) {
        control<QLineEdit>("PageNumberBox").setText(text);
        try {
            options();
            ADD_FAILURE() << text;
        } catch (const program::RunTimeError& error) {
            EXPECT_EQ(error.number(), number) << text;
            EXPECT_EQ(error.description(), number == 13 ? "Type mismatch" : "Overflow");
        }
    }
}

TEST_F(OpenOptsTest, InfoShowsTheFactsAndWalksThePages) {
    file.pages = 3;
    start();
    control<QLineEdit>("PageNumberBox").setText("2");
    const QSize normal = form.sizeHint();
    press("Info");
    EXPECT_EQ(file.queries, (std::vector<int>{1, 32000, 2}));
    ASSERT_TRUE(info_view_shown());
    EXPECT_GE(form.sizeHint().width(), qRound(3930 / platform::twips_per_pixel_x(form.screen())));
    EXPECT_GE(form.sizeHint().height(), qRound(3105 / platform::twips_per_pixel_y(form.screen())));
    EXPECT_EQ(shown("InfoName"), "/pictures/a.tif");
    EXPECT_EQ(shown("InfoFormat"), "6");
    EXPECT_EQ(shown("InfoWidth"), "200");
    EXPECT_EQ(shown("InfoHeight"), "50");
    EXPECT_EQ(shown("InfoBPP"), "24");
    EXPECT_EQ(shown("InfoSizeMem"), "30000, Bytes");
    EXPECT_EQ(shown("InfoSizeDisk"), "1234567, Bytes");
    auto& pages = control<QComboBox>("PageDropBox");
    ASSERT_EQ(pages.count(), 3);
    EXPECT_EQ(pages.currentText(), "2");
    pages.setCurrentIndex(2);
    EXPECT_EQ(file.queries.back(), 3);
    EXPECT_EQ(shown("InfoWidth"), "300");
    press("InfoOK");
    EXPECT_FALSE(info_view_shown());
    EXPECT_EQ(form.sizeHint(), normal);
    EXPECT_EQ(options().page, 3);
    press("Info");
    EXPECT_EQ(pages.count(), 3);
    EXPECT_TRUE(prompts.messages.isEmpty());
}

TEST_F(OpenOptsTest, PageBeyondTheLastBecomesTheLast) {
    file.pages = 4;
    start();
    control<QLineEdit>("PageNumberBox").setText("99");
    press("Info");
    EXPECT_EQ(file.queries, (std::vector<int>{1, 32000}));
    EXPECT_EQ(control<QComboBox>("PageDropBox").currentText(), "4");
    press("InfoOK");
    EXPECT_EQ(control<QLineEdit>("PageNumberBox").text(), "4");
}

TEST_F(OpenOptsTest, InfoReportsAFailedQuery) {
    struct Case {
        int failing_page;
        const char* page_text;
        std::vector<int> queries;
    };
    const Case cases[] = {{32000, "1", {1, 32000}}, {2, "2", {1, 32000, 2}}};
    for (const Case& c : cases) {
        file = {};
        file.pages = 3;
        file.failures[c.failing_page] = 20007;
        prompts.messages.clear();
        start();
        control<QLineEdit>("PageNumberBox").setText(c.page_text);
        press("Info");
        EXPECT_EQ(file.queries, c.queries);
        EXPECT_EQ(prompts.messages,
                  QStringList{"Error Code = 20007|UNEXPECTED ERROR! (OPENOPTS: Info_Click)|stop"});
        EXPECT_FALSE(info_view_shown());
    }
}

TEST_F(OpenOptsTest, FailedPageClosesTheInfoView) {
    file.pages = 3;
    file.failures[3] = 20009;
    start();
    press("Info");
    control<QComboBox>("PageDropBox").setCurrentIndex(2);
    EXPECT_EQ(prompts.messages,
              QStringList{"Error Code = 20009|UNEXPECTED ERROR! (OPENOPTS: PageDropBox_Click)|stop"});
    EXPECT_FALSE(info_view_shown());
    EXPECT_EQ(options().page, 3);
}

TEST_F(OpenOptsTest, EscapeLeavesTheInfoViewFirst) {
    start();
    form.show();
    press("Info");
    form.reject();
    EXPECT_FALSE(info_view_shown());
    EXPECT_TRUE(form.isVisible());
    form.reject();
    EXPECT_FALSE(form.isVisible());
}

}  // namespace
}  // namespace files
}  // namespace quillmark

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application{argc, argv};
    return RUN_ALL_TESTS();
}
