// Saving from the window: the list of formats, the dialog, the file, what is remembered, and failures.
#include <QComboBox>
#include <QLabel>
#include <QSpinBox>

#include "engine/save_dialog.h"
#include "files/save_table.h"
#include "imaging/codec.h"
#include "support/desk.h"
#include "text/messages.h"

namespace quillmark::test {
namespace {

using engine::SaveChoice;
using engine::SaveDialog;

constexpr int kEntries = 66;

TEST(SaveTable, EntriesAreNumberedThroughTheList) {
    struct {
        std::uint8_t format, bits, entry;
    } const cases[] = {{20, 24, 1}, {20, 8, 2},   {26, 1, 3},   {26, 77, 3},  {10, 8, 5},  {50, 1, 6},
                       {75, 1, 7},  {75, 24, 9},  {80, 8, 13},  {56, 24, 20}, {99, 8, 22}, {14, 1, 24},
                       {1, 24, 31}, {76, 24, 34}, {55, 32, 39}, {4, 8, 40},   {25, 1, 44}, {3, 2, 45},
                       {3, 24, 53}, {6, 32, 60},  {69, 0, 61},  {15, 24, 63}, {54, 8, 66}, {4, 1, 0},
                       {75, 32, 0}, {0, 0, 0},    {11, 24, 0}};
    for (const auto& [format, bits, entry] : cases)
        EXPECT_EQ(files::SaveFormatIndex(format, bits), entry) << int{format} << " " << int{bits};
    int entries = 0;
    for (const files::SaveFormat& row : files::SaveFormatTable()) {
        EXPECT_FALSE(files::save_format_name(row.code).isEmpty()) << int{row.code};
        entries += row.bits.empty() ? 1 : static_cast<int>(row.bits.size());
    }
    EXPECT_EQ(entries, kEntries);
}

class Saving : public Desk {
  protected:
    /// Answers the dialog: types a name, chooses an entry (1-based; 0 leaves it), presses Save.
    void answer(const QString& name, int entry, int quality = 0) {
        prompts_.on_dialog = [=, this](QDialog& shown) {
            auto* dialog = qobject_cast<SaveDialog*>(&shown);
            if (!dialog) return static_cast<int>(QDialog::Rejected);
            auto* formats = dialog->findChild<QComboBox*>(QStringLiteral("fileTypeCombo"));
            offered_ = formats->count();
            preselected_ = formats->currentIndex() + 1;
            if (entry > 0) {
                formats->setCurrentIndex(entry - 1);
                emit formats->activated(entry - 1);
            }
            if (quality > 0) dialog->findChild<QSpinBox*>(QStringLiteral("SaveQuality"))->setValue(quality);
            dialog->name_edit()->setText(name);
            dialog->accept();
            hint_ = dialog->findChild<QLabel*>(QStringLiteral("SaveHint"))->text();
            return dialog->result();
        };
    }
    QString parameter(const char* name) {
        return setting(settings::keys::kFilesParameters, QString::fromLatin1(name));
    }

    int offered_ = 0, preselected_ = 0;
    QString hint_;
};

TEST_F(Saving, WritesTheFileAndRemembersHow) {
    start();
    open(make_image(QStringLiteral("a.png"), 40, 30));
    const imaging::Bitmap before = active().LEAD1().Bitmap();
    ASSERT_TRUE(QDir{folder_.path()}.mkpath(QStringLiteral("Out")));
    answer(path(QStringLiteral("Out/b.tif")), 53);
    click(u"ID_SaveFile");
    ASSERT_TRUE(prompts_.messages.empty()) << qPrintable(prompts_.messages[0].text);
    EXPECT_EQ(offered_, kEntries);
    EXPECT_EQ(parameter("ImageSaveFormat"), u"3");
    EXPECT_EQ(parameter("ImageSaveBits"), u"24");
    EXPECT_EQ(setting(settings::keys::kDirectories, QStringLiteral("ImageSaveDir")),
              path(QStringLiteral("Out")));
    EXPECT_EQ(state().LastFileName, path(QStringLiteral("Out/b.tif")));
    open(path(QStringLiteral("Out/b.tif")));
    const imaging::Bitmap& after = active().LEAD1().Bitmap();
    ASSERT_EQ(after.width(), 40);
    for (int y = 0; y < 30; ++y) {
        for (int x = 0; x < 40; ++x) ASSERT_EQ(after.pixel(x, y), before.pixel(x, y));
    }
    answer(path(QStringLiteral("Out/c.tif")), 0);
    click(u"ID_SaveFile");
    EXPECT_EQ(preselected_, 53) << "what was chosen last is offered first";
}

TEST_F(Saving, EveryEntryThatIsOfferedCanBeSavedAndOpened) {
    start();
    open(make_image(QStringLiteral("a.png"), 33, 17));
    int saved = 0;
    int entry = 0;
    for (const files::SaveFormat& row : files::SaveFormatTable()) {
        for (std::size_t i = 0; i < std::max<std::size_t>(row.bits.size(), 1); ++i) {
            ++entry;
            const imaging::FormatCode* format = imaging::find_format(row.code);
            const bool writes =
                format && !format->write_depths.empty() &&
                (row.bits.empty() ||
                 std::ranges::find(format->write_depths, int{row.bits[i]}) != format->write_depths.end());
            if (!writes) continue;
            const QString name = path(QStringLiteral("entry%1").arg(entry));
            answer(name, entry);
            click(u"ID_SaveFile");
            ASSERT_TRUE(prompts_.messages.empty()) << entry << ": " << qPrintable(prompts_.messages[0].text);
            EXPECT_TRUE(QFileInfo::exists(state().LastFileName))
                << entry << " " << qPrintable(state().LastFileName);
            EXPECT_NE(QFileInfo{state().LastFileName}.suffix(), QString{})
                << "the extension follows the format";
            engine::Engine reader;
            EXPECT_EQ(reader.Load(state().LastFileName, 0, 1, 1), 0) << entry;
            // A MacPaint page has one size.
            EXPECT_EQ(reader.BitmapWidth(), row.code == 51 ? 576 : 33) << entry;
            ++saved;
        }
    }
    EXPECT_EQ(entry, kEntries);
    EXPECT_GE(saved, 35);
}

TEST_F(Saving, CancelTouchesNothing) {
    start();
    open(make_image(QStringLiteral("a.png"), 20, 20));
    const QString last = state().LastFileName;
    click(u"ID_SaveFile");
    EXPECT_EQ(state().LastFileName, last);
    EXPECT_TRUE(parameter("ImageSaveFormat").isEmpty());
}

TEST_F(Saving, TheNameAndTheFormatAgree) {
    start();
    open(make_image(QStringLiteral("a.png"), 20, 20));
    answer(path(QStringLiteral("typed.bmp")), 53);  // a bitmap's name while TIFF is chosen
    click(u"ID_SaveFile");
    EXPECT_EQ(parameter("ImageSaveFormat"), u"6");
    answer(path(QStringLiteral("icon.ico")), 9);  // read, but not written
    click(u"ID_SaveFile");
    EXPECT_TRUE(hint_.contains(u"cannot be written")) << qPrintable(hint_);
    EXPECT_TRUE(hint_.contains(u"png")) << qPrintable(hint_);
    EXPECT_FALSE(QFileInfo::exists(path(QStringLiteral("icon.ico"))));
    answer(path(QStringLiteral("photo")), 4, 100);
    click(u"ID_SaveFile");
    const qint64 best = QFileInfo{path(QStringLiteral("photo.jpg"))}.size();
    answer(path(QStringLiteral("small")), 4, 5);
    click(u"ID_SaveFile");
    EXPECT_LT(QFileInfo{path(QStringLiteral("small.jpg"))}.size(), best);
}

TEST_F(Saving, WhatWouldBeLostIsSaid) {
    engine::SaveRequest request;
    request.entries = {
        {6, 8, QStringLiteral("8")}, {6, 24, QStringLiteral("24")}, {6, 32, QStringLiteral("32")}};
    auto bitmap = imaging::Bitmap::create(4, 4, 32, {});
    ASSERT_TRUE(bitmap);
    request.bitmap = *bitmap;
    request.entry = 1;
    const auto hint = [&] {
        const SaveDialog dialog{request};
        return dialog.findChild<QLabel*>(QStringLiteral("SaveHint"))->text();
    };
    EXPECT_TRUE(hint().contains(u"32 bits per pixel become 8")) << qPrintable(hint());
    EXPECT_TRUE(hint().contains(u"transparency"));
    request.entry = 3;
    EXPECT_TRUE(hint().isEmpty()) << qPrintable(hint());
}

TEST_F(Saving, TheExchangeCopyReplacesTheResult) {
    start();
    open(make_image(QStringLiteral("a.png"), 20, 20));
    make_file(QStringLiteral("program/dbimfile.txt"), {});
    answer(path(QStringLiteral("b.bmp")), 59);
    click(u"ID_SaveFile");
    EXPECT_TRUE(QFileInfo::exists(program_file(QStringLiteral("image.pic"))));
    // Only the first save fails: its folder cannot hold the file.
    answer(path(QStringLiteral("a.png/under.bmp")), 59);
    click(u"ID_SaveFile");
    EXPECT_TRUE(prompts_.messages.empty());
}

TEST_F(Saving, AFailureIsSaidOnceAndTheOldFileStays) {
    start();
    open(make_image(QStringLiteral("a.png"), 20, 20));
    answer(path(QStringLiteral("a.png/under.bmp")), 59);
    click(u"ID_SaveFile");
    ASSERT_EQ(prompts_.messages.size(), 1U);
    EXPECT_EQ(prompts_.messages[0].title, u"ERROR");
    EXPECT_EQ(prompts_.messages[0].icon, program::Icon::stop);
    EXPECT_FALSE(frame_->state().OperationBusy);
    EXPECT_EQ(active().LEAD1().Save(path(QStringLiteral("a.png")), 3, 24, 85, 1),
              engine::Engine::kNotAvailable)
        << "no writer adds pages";
    EXPECT_TRUE(QImage{path(QStringLiteral("a.png"))}.width() == 20) << "the old file is whole";
}

TEST_F(Saving, AClosingWindowSavesWhenAsked) {
    start();
    open(make_image(QStringLiteral("a.png"), 20, 20));
    click(u"ID_Invert");
    prompts_.yes_no = program::Answer::yes;
    answer(path(QStringLiteral("kept.png")), 9);
    active().unload();
    EXPECT_TRUE(QFileInfo::exists(path(QStringLiteral("kept.png"))));
}

}  // namespace
}  // namespace quillmark::test
