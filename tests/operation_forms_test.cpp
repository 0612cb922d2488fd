// The forms that ask for a size, an image, an effect: the rules between their controls.
#include <gtest/gtest.h>

#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QScrollBar>
#include <QTest>
#include <map>

#include "operations/get_effect.h"
#include "operations/get_filter.h"
#include "operations/resize_form.h"
#include "support/form_parts.h"

namespace quillmark::operations {
namespace {

using test::part;

// --- Resize ---

struct ResizeCase {
    int width, height, highest;
};

TEST(ResizeForm, TheHeightBarEndsWhereTheWidestImageWould) {
    for (const ResizeCase& c : {ResizeCase{640, 480, 12288}, ResizeCase{100, 400, 32767},
                                ResizeCase{3, 2, 10923}, ResizeCase{16384, 16383, 16383},
                                ResizeCase{40000, 1, 1}, ResizeCase{1, 1, 16384}, ResizeCase{0, 0, 16384}}) {
        Resize form{c.width, c.height};
        form.InitTheForm(0);
        auto& bar = part<QScrollBar>(form, "Value2Bar");
        EXPECT_EQ(bar.maximum(), c.highest) << c.width << "x" << c.height;
        EXPECT_EQ(bar.minimum(), 1);
        EXPECT_EQ(part<QLineEdit>(form, "Value2Box").text(), QString::number(bar.value()));
        EXPECT_EQ(part<QScrollBar>(form, "Value1Bar").maximum(), 16384);
        EXPECT_EQ(part<QLabel>(form, "Value1Hint").text().isEmpty(), c.width <= 16384)
            << "what is lost is said";
    }
}

class ResizeOf640x480 : public testing::Test {
  protected:
    void SetUp() override { form.InitTheForm(0); }
    Resize form{640, 480};
    QScrollBar& width_bar = part<QScrollBar>(form, "Value1Bar");
    QScrollBar& height_bar = part<QScrollBar>(form, "Value2Bar");
    QLineEdit& width_box = part<QLineEdit>(form, "Value1Box");
    QLineEdit& height_box = part<QLineEdit>(form, "Value2Box");
    QCheckBox& aspect = part<QCheckBox>(form, "AspectRatioBox");
};

TEST_F(ResizeOf640x480, BeginsWithTheImage) {
    EXPECT_EQ(form.windowTitle(), u"Resize");
    EXPECT_EQ(width_box.text(), u"640");
    EXPECT_EQ(height_box.text(), u"480");
    EXPECT_EQ(width_bar.singleStep(), 10);
    EXPECT_EQ(width_bar.pageStep(), 100);
    EXPECT_TRUE(aspect.isChecked());
    form.reject();
    EXPECT_FALSE(form.GetResults().ok);
    EXPECT_FALSE(form.GetResults().resample);
}

TEST_F(ResizeOf640x480, BarsKeepTheProportions) {
    width_bar.setValue(320);
    EXPECT_EQ(height_bar.value(), 240);
    EXPECT_EQ(height_box.text(), u"240");
    height_bar.setValue(120);
    EXPECT_EQ(width_box.text(), u"160");
    aspect.setChecked(false);
    width_bar.setValue(500);
    EXPECT_EQ(height_bar.value(), 120);
}

TEST_F(ResizeOf640x480, TypingMovesItsOwnBarOnly) {
    width_box.setText(QStringLiteral("0320"));
    EXPECT_EQ(width_bar.value(), 320);
    EXPECT_EQ(width_box.text(), u"0320") << "the text is not rewritten";
    EXPECT_EQ(height_bar.value(), 480);
    width_box.setText(QStringLiteral("320"));  // the bar does not move: no guard may stay set
    width_bar.setValue(400);
    EXPECT_EQ(width_box.text(), u"400");
    EXPECT_EQ(height_bar.value(), 300);
    height_bar.setValue(301);
    height_box.setText(QStringLiteral("77"));
    EXPECT_EQ(height_bar.value(), 77) << "and typing works after a bar has written";
}

TEST_F(ResizeOf640x480, ValuesOutOfRangeAreNotTaken) {
    auto& hint = part<QLabel>(form, "Value1Hint");
    for (const char16_t* bad : {u"0", u"16385", u"", u"abc", u"-5"}) {
        width_box.setText(QString::fromUtf16(bad));
        EXPECT_EQ(width_bar.value(), 640);
        EXPECT_TRUE(hint.text().contains(u"16384"));
        form.show();
        part<QPushButton>(form, "OK").click();
        EXPECT_TRUE(form.isVisible());
        EXPECT_FALSE(form.GetResults().ok);
    }
    width_box.setText(QStringLiteral("16384"));
    part<QCheckBox>(form, "ResampleBox").setChecked(true);
    EXPECT_EQ(hint.text(), QString{});
    part<QPushButton>(form, "OK").click();
    EXPECT_FALSE(form.isVisible());
    const Resize::Results results = form.GetResults();
    EXPECT_TRUE(results.ok && results.resample);
    EXPECT_EQ(results.width, 16384);
    EXPECT_EQ(results.height, 480);
}

TEST_F(ResizeOf640x480, TheAspectBoxRecomputesTheHeightEitherWay) {
    width_box.setText(QStringLiteral("320"));
    aspect.click();  // now unchecked
    EXPECT_EQ(height_box.text(), u"240");
    width_box.setText(QStringLiteral("64"));
    aspect.click();
    EXPECT_EQ(height_box.text(), u"48");
}

// --- Lists ---

TEST(GetFilterForm, SplitsSelectsAndTellsTheRow) {
    GetFilter form;
    form.InitTheForm(QStringLiteral("Underlay Image"), QStringLiteral("one;two;;last"));
    auto& list = part<QListWidget>(form, "FilterBox");
    EXPECT_EQ(form.windowTitle(), u"Underlay Image");
    ASSERT_EQ(list.count(), 4);
    EXPECT_EQ(list.item(3)->text(), u"last");
    EXPECT_EQ(form.GetAmount(), 0);
    list.setCurrentRow(1);
    form.reject();
    EXPECT_FALSE(form.UserResult());
    emit list.itemDoubleClicked(list.item(1));
    EXPECT_TRUE(form.UserResult());
    EXPECT_EQ(form.GetAmount(), 1);
}

TEST(GetEffectForm, EveryEntryCarriesItsCode) {
    GetEffect form;
    EXPECT_EQ(form.windowTitle(), u"Paint Effects");
    auto& list = part<QListWidget>(form, "FilterBox");
    ASSERT_EQ(list.count(), 555);
    std::map<QString, int> codes;
    for (int row = 0; row < list.count(); ++row) {
        list.setCurrentRow(row);
        EXPECT_EQ(form.GetAmount(), 2000 + row);
        codes[list.item(row)->text()] = form.GetAmount();
    }
    EXPECT_EQ(codes.size(), 555U);
    EXPECT_EQ(codes[QStringLiteral("WIPE4_B_B_B_B")], 2298);
    EXPECT_EQ(codes[QStringLiteral("WIPE4_RB_RB_RB_RB")], 2554);
    EXPECT_FALSE(form.UserResult());
}

TEST(GetEffectForm, TypingFindsAnEffectAndKeepsItsCode) {
    GetEffect form;
    auto& search = part<QLineEdit>(form, "SearchBox");
    auto& ok = part<QPushButton>(form, "OK");
    ASSERT_EQ(form.focusWidget(), &search) << "what is typed at once is a search";
    search.setText(QStringLiteral("b b b b"));
    EXPECT_EQ(form.GetAmount(), 2298);
    search.setText(QStringLiteral("no such effect"));
    EXPECT_FALSE(ok.isEnabled());
    form.accept();
    EXPECT_FALSE(form.UserResult());
    search.setText(QStringLiteral("lt_lt"));
    QTest::keyClick(&search, Qt::Key_Down);
    ok.click();
    EXPECT_TRUE(form.UserResult());
    EXPECT_EQ(form.GetAmount(), 2300);
}

}  // namespace
}  // namespace quillmark::operations
