// The commands on the image: the order of their steps, their flags, what they say when they
// fail.
#include <QComboBox>
#include <QLineEdit>
#include <QListWidget>
#include <QMouseEvent>
#include <QPushButton>
#include <QRadioButton>
#include <set>

#include "frame/dispatch.h"
#include "operations/histogram.h"
#include "operations/operations.h"
#include "support/desk.h"
#include "support/fixtures.h"
#include "support/form_parts.h"

namespace quillmark::operations {
namespace {

using engine::CommonDialog;
using engine::DialogKind;
using imaging::Bitmap;
using settings::keys::kEditor;
using test::part;
using tests::pattern;
using tests::same;

// --- Commands in a frame ---

class Operations : public test::Desk {
  protected:
    void SetUp() override {
        Desk::SetUp();
        start();
    }
    viewer::Viewer& add_window(const Bitmap& bitmap, const QString& title) {
        program::ImageWindow* window = frame_->new_image_window();
        window->InitTheForm(title, nullptr);
        window->setWindowTitle(title);
        window->LEAD1().SetBitmap(bitmap);
        window->show_window();
        window->ViewSnap();
        return active();
    }
    void select_ellipse() { active().LEAD1().SetRgn(imaging::Region::ellipse({4, 3, 20, 12})); }
    void expect_idle() {
        EXPECT_FALSE(state().OperationBusy);
        EXPECT_FALSE(state().CommandBusy);
        EXPECT_EQ(QGuiApplication::overrideCursor(), nullptr);
        EXPECT_TRUE(frame_->LEADDlg1().Bitmap.empty());
        EXPECT_TRUE(frame_->LEAD1().Bitmap().empty());
    }
    // A rectangle as the mouse would have drawn it on the display, in bitmap pixels at 100 %.
    void select(int left, int top, int right, int bottom) {
        const QPointF corner = active().LEAD1().display_rectangle().topLeft();
        const auto x = static_cast<std::int16_t>(corner.x()), y = static_cast<std::int16_t>(corner.y());
        state().RectLeft = static_cast<std::int16_t>(x + left);
        state().RectTop = static_cast<std::int16_t>(y + top);
        state().RectRight = static_cast<std::int16_t>(x + right);
        state().RectBottom = static_cast<std::int16_t>(y + bottom);
    }
    QStringList titles() { return frame_->kids().BuildKidList().split(u';'); }

    const Bitmap image_ = pattern(37, 23, 24);
};

struct DialogCase {
    const char16_t* id;
    DialogKind kind;
    std::uint32_t flags;
    const char* operation;
    bool pending;
    bool changed;  // also when cancelled: the dispatcher marks it
};

const DialogCase kDialogs[] = {
    {u"ID_EffectPosterize", DialogKind::effect_value, 0x40000080, "Posterize", true, false},
    {u"ID_EffectMosaic", DialogKind::effect_value, 0x40000100, "Mosaic", true, false},
    {u"ID_EffectAverage", DialogKind::effect_value, 0x40000200, "Average", true, false},
    {u"ID_EffectMedian", DialogKind::effect_value, 0x40000400, "Median", true, false},
    {u"ID_EffectSharpen", DialogKind::effect_value, 0x40000001, "Sharpen", true, false},
    {u"ID_EffectAddNoise", DialogKind::effect_value, 0x40000000, "AddNoise", true, false},
    {u"ID_EffectEmboss", DialogKind::effect_value, 0x40000000, "Emboss", true, false},
    {u"ID_SFGradient", DialogKind::spatial_filter, 0x40000001, "SpatialFilter", true, false},
    {u"ID_SFLaplacian", DialogKind::spatial_filter, 0x40000002, "SpatialFilter", true, false},
    {u"ID_SFSobel", DialogKind::spatial_filter, 0x40000004, "SpatialFilter", true, false},
    {u"ID_SFPrewitt", DialogKind::spatial_filter, 0x40000008, "SpatialFilter", true, false},
    {u"ID_SFShiftAndDifference", DialogKind::spatial_filter, 0x40000010, "SpatialFilter", true, false},
    {u"ID_SFLineSegment", DialogKind::spatial_filter, 0x40000020, "SpatialFilter", true, false},
    {u"ID_Saturation", DialogKind::effect_value, 0x40000008, "Saturation", true, true},
    {u"ID_HistogramContrast", DialogKind::effect_value, 0x40000010, "HistoContrast", true, true},
    {u"ID_GammaCorrection", DialogKind::gamma, 0x40000000, "GammaCorrect", true, true},
    {u"ID_IntensityDetect", DialogKind::intensity_detect, 0x40000000, "IntensityDetect", true, true},
    {u"ID_Resolution", DialogKind::colour_resolution, 0x0FFFFFFD, "ColorRes", true, true},
    {u"ID_HalfToneView", DialogKind::effect_value, 0x40000040, "Halftone", false, true},
    {u"ID_HalfTonePrint", DialogKind::effect_value, 0x40000040, "Halftone", false, true},
    {u"ID_FreeRotate", DialogKind::rotate, 0x40000003, "Rotate", true, true},
    {u"ID_Shear", DialogKind::shear, 0x40000004, "Shear", false, true},
};

TEST_F(Operations, DialogsAreShownOverACopyAndACancelledOneEndsSilently) {
    add_window(image_, QStringLiteral("a"));
    engine::Engine& image = active().LEAD1();
    for (const DialogCase& c : kDialogs) {
        SCOPED_TRACE(QString::fromUtf16(c.id).toStdString());
        frame_->LEADDlg1() = CommonDialog{};
        CommonDialog& left = frame_->LEADDlg1();
        left.Value = left.Gamma = left.Angle = left.Low = left.High = 77;  // of an earlier dialog
        image.SetBitmap(image_);
        active().LEAD3().SetBitmap({});
        state().UndoPending = state().ImageChanged = false;
        int shown = 0;
        prompts_.on_common = [&](CommonDialog& dialog, DialogKind kind) {
            ++shown;
            EXPECT_EQ(kind, c.kind);
            EXPECT_EQ(dialog.Flags, c.flags);
            EXPECT_EQ(dialog.Operation, c.operation);
            EXPECT_TRUE(same(dialog.Bitmap, image_));
            EXPECT_EQ(dialog.Rgn, nullptr);
            EXPECT_TRUE(same(active().LEAD3().Bitmap(), image_)) << "the copy comes before the dialog";
            EXPECT_FALSE(state().OperationBusy);
            if (kind == DialogKind::effect_value) {
                EXPECT_EQ(dialog.Value, 0);
            }
            if (kind == DialogKind::gamma) {
                EXPECT_EQ(dialog.Gamma, 0);
            }
            if (kind == DialogKind::intensity_detect) {
                EXPECT_EQ(dialog.High - dialog.Low, 255);
            }
            if (kind == DialogKind::rotate || kind == DialogKind::shear) {
                EXPECT_EQ(dialog.Angle, 0);
            }
            if (dialog.Operation == "Halftone") {
                EXPECT_EQ(dialog.Fixed, QStringView{c.id} == u"ID_HalfToneView" ? 1 : 0);
            }
            return engine::kDialogCancelled;
        };
        click(c.id);
        EXPECT_EQ(shown, 1);
        EXPECT_TRUE(prompts_.messages.empty());
        EXPECT_TRUE(same(image.Bitmap(), image_));
        EXPECT_EQ(state().UndoPending, c.pending);
        EXPECT_EQ(state().ImageChanged, c.changed);
        expect_idle();
    }
}

TEST_F(Operations, ARegionIsTurnedWithoutPreview) {
    add_window(image_, QStringLiteral("a"));
    select_ellipse();
    for (const auto& [id, flags] : {std::pair{u"ID_FreeRotate", 3U}, std::pair{u"ID_Shear", 4U}}) {
        int shown = 0;
        prompts_.on_common = [&, flags = flags](CommonDialog& dialog, DialogKind) {
            ++shown;
            EXPECT_EQ(dialog.Flags, flags);
            EXPECT_TRUE(dialog.Bitmap.empty());
            return engine::kDialogCancelled;
        };
        click(id);
        EXPECT_EQ(shown, 1);
    }
    prompts_.on_common = [&](CommonDialog& dialog, DialogKind) {
        EXPECT_NE(dialog.Rgn, nullptr) << "other previews show the selection";
        return engine::kDialogCancelled;
    };
    click(u"ID_EffectMedian");
    EXPECT_EQ(frame_->LEADDlg1().Rgn, nullptr);
}

TEST_F(Operations, FailuresOfHandledCommandsShowSourceNumberAndDescription) {
    add_window({}, QStringLiteral("empty"));
    int walked = 0;
    prompts_.on_common = [](CommonDialog&, DialogKind) { return engine::Code{0}; };
    for (const DialogCase& c : kDialogs) {
        prompts_.messages.clear();
        state().ImageChanged = false;
        click(c.id);
        ASSERT_EQ(prompts_.messages.size(), 1U) << c.operation;
        EXPECT_EQ(prompts_.messages[0].text,
                  QString::fromLatin1(c.operation) + QStringLiteral(" 20002\rInvalid bitmap handle"));
        EXPECT_EQ(prompts_.messages[0].title, u"Image Processing");
        EXPECT_EQ(prompts_.messages[0].icon, program::Icon::none);
        EXPECT_EQ(state().ImageChanged, c.changed);
        EXPECT_EQ(state().LastTool, QString::fromUtf16(c.id));
        expect_idle();
        ++walked;
    }
    EXPECT_EQ(walked, 22);
}

TEST_F(Operations, FailuresOfTheOthersEndTheCommand) {
    add_window({}, QStringLiteral("empty"));
    prompts_.on_dialog = [](QDialog& form) {
        form.accept();
        return form.result();
    };
    for (const char16_t* id :
         {u"ID_MoreHue", u"ID_Grayscale", u"ID_Invert", u"ID_FlipVertical", u"ID_RotateLeft", u"ID_Resize",
          u"ID_EffectEdgeEnhance", u"ID_EffectUnderlay"}) {
        prompts_.messages.clear();
        state().ImageChanged = false;
        click(id);
        const std::string name = QString::fromUtf16(id).toStdString();
        ASSERT_EQ(prompts_.messages.size(), 1U) << name;
        EXPECT_EQ(prompts_.messages[0].text, u"Invalid bitmap handle");
        EXPECT_EQ(prompts_.messages[0].title,
                  QStringLiteral("UNEXPECTED ERROR! (ImageProcess: %1)").arg(QString::fromUtf16(id)));
        EXPECT_EQ(prompts_.messages[0].icon, program::Icon::stop);
        EXPECT_FALSE(state().ImageChanged) << name;
        EXPECT_EQ(state().LastTool, QString::fromUtf16(id));
        expect_idle();
    }
}

TEST_F(Operations, EscEndsSilentlyAndLeavesTheImage) {
    state().ProgressEnabled = true;
    add_window(pattern(900, 700, 24), QStringLiteral("a"));
    engine::Engine& image = active().LEAD1();
    const Bitmap before = image.Bitmap();
    prompts_.on_common = [](CommonDialog& dialog, DialogKind) {
        dialog.Value = 5;
        return engine::Code{0};
    };
    // Where Esc leads to, at a moment that does not depend on the machine.
    const auto stop =
        QObject::connect(&image, &engine::Engine::ProgressStatus, &image, [&] { image.Abort(); });
    for (const char16_t* id : {u"ID_Invert", u"ID_EffectMedian", u"ID_RotateRight", u"ID_Grayscale"}) {
        state().ImageChanged = false;
        click(id);
        EXPECT_TRUE(prompts_.messages.empty()) << QString::fromUtf16(id).toStdString();
        EXPECT_TRUE(same(image.Bitmap(), before));
        EXPECT_FALSE(state().ImageChanged);
        expect_idle();
    }
    QObject::disconnect(stop);
    click(u"ID_Invert");
    EXPECT_FALSE(same(image.Bitmap(), before));
    EXPECT_TRUE(same(active().LEAD3().Bitmap(), before));
}

// --- Undo ---

TEST_F(Operations, UndoFollowsTheCommandBeforeIt) {
    add_window(image_, QStringLiteral("a"));
    engine::Engine& image = active().LEAD1();
    const Bitmap other = pattern(50, 40, 8);
    click(u"ID_UnDo");
    EXPECT_TRUE(same(image.Bitmap(), image_)) << "nothing to undo is no reason to lose the image";

    struct Case {
        const char16_t* last;
        bool restores, resets_view;
    };
    for (const Case& c :
         {Case{u"ID_UnDo", false, false}, Case{u"", true, false}, Case{u"ID_Rectangle", true, false},
          Case{u"ID_Crop", true, false}, Case{u"ID_Invert", true, true}}) {
        SCOPED_TRACE(QString::fromUtf16(c.last).toStdString());
        image.SetBitmap(other);
        active().LEAD3().SetBitmap(image_);
        image.SetPaintZoomFactor(300);
        active().LEAD2().SetBitmap(other);
        state().LastTool = QString::fromUtf16(c.last);
        state().UndoPending = true;
        state().ImageChanged = false;
        click(u"ID_UnDo");
        EXPECT_EQ(same(image.Bitmap(), image_), c.restores);
        EXPECT_EQ(active().LEAD2().Bitmap().empty(), c.restores) << "pixels under a drop that is undone";
        EXPECT_EQ(image.PaintZoomFactor() == 100, c.resets_view);
        EXPECT_EQ(state().UndoPending, !c.resets_view);
        EXPECT_FALSE(state().ImageChanged);
        if (c.restores) {
            EXPECT_EQ(frame_->status_bar().StatBPP->text(), u"24 BPP");
        }
    }
    image.SetBitmap(other);
    click(u"ID_ZoomIn");
    click(u"ID_UnDo");
    EXPECT_TRUE(same(image.Bitmap(), image_)) << "the copy stays";
}

TEST_F(Operations, RegionToolsCopyAndSetTheShape) {
    add_window(image_, QStringLiteral("a"));
    for (const auto& [id, shape] : {std::pair{u"ID_Ellipse", 2}, std::pair{u"ID_RoundRectangle", 3},
                                    std::pair{u"ID_Freehand", 4}, std::pair{u"ID_Rectangle", 1}}) {
        active().LEAD3().SetBitmap({});
        state().ImageChanged = false;
        click(id);
        EXPECT_EQ(active().RegionTool, shape);
        EXPECT_EQ(state().NonRectRegion, shape != 1);
        EXPECT_TRUE(state().ImageChanged);
        EXPECT_TRUE(same(active().LEAD3().Bitmap(), image_));
    }
    state().ImageChanged = false;
    click(u"ID_None");
    EXPECT_EQ(active().RegionTool, 0);
    EXPECT_FALSE(state().NonRectRegion);
    EXPECT_FALSE(state().ImageChanged);
}

// --- Steps, sizes, crop ---

TEST_F(Operations, StepsTakeTheIncrementTimesTen) {
    struct Case {
        const char16_t* id;
        std::int16_t program::ProgramState::*increment;
        engine::Code (engine::Engine::*member)(int);
        int change;
    };
    using program::ProgramState;
    add_window(image_, QStringLiteral("a"));
    for (const Case& c :
         {Case{u"ID_MoreBrightness", &ProgramState::BrightnessInc, &engine::Engine::Intensity, 70},
          Case{u"ID_LessBrightness", &ProgramState::BrightnessInc, &engine::Engine::Intensity, -70},
          Case{u"ID_MoreContrast", &ProgramState::ContrastInc, &engine::Engine::Contrast, 70},
          Case{u"ID_LessContrast", &ProgramState::ContrastInc, &engine::Engine::Contrast, -70},
          Case{u"ID_MoreHue", &ProgramState::HueInc, &engine::Engine::Hue, 70},
          Case{u"ID_LessHue", &ProgramState::HueInc, &engine::Engine::Hue, -70}}) {
        state().BrightnessInc = state().ContrastInc = state().HueInc = 99;
        state().*c.increment = 7;
        active().LEAD1().SetBitmap(image_);
        engine::Engine expected;
        expected.SetBitmap(image_);
        ASSERT_EQ((expected.*c.member)(c.change), 0);
        click(c.id);
        EXPECT_TRUE(same(active().LEAD1().Bitmap(), expected.Bitmap()))
            << QString::fromUtf16(c.id).toStdString();
        EXPECT_FALSE(same(active().LEAD1().Bitmap(), image_));
        EXPECT_TRUE(state().ImageChanged);
        EXPECT_FALSE(state().UndoPending);
    }
}

TEST_F(Operations, ResizeTakesTheFormsValues) {
    add_window(image_, QStringLiteral("a"));
    prompts_.on_dialog = [](QDialog& form) {
        part<QLineEdit>(form, "Value1Box").setText(QStringLiteral("90"));
        part<QLineEdit>(form, "Value2Box").setText(QStringLiteral("31"));
        part<QPushButton>(form, "OK").click();
        return form.result();
    };
    click(u"ID_Resize");
    EXPECT_TRUE(prompts_.messages.empty());
    EXPECT_EQ(active().LEAD1().BitmapWidth(), 90);
    EXPECT_EQ(active().LEAD1().BitmapHeight(), 31);
    EXPECT_EQ(frame_->status_bar().StatWidthHeight->text(), u"90x31");
    EXPECT_EQ(frame_->status_bar().StatSize->text(), u"8,370 bytes");
    EXPECT_EQ(active().view().size(), QSize(90, 31)) << "the window snaps to it";
    click(u"ID_UnDo");
    EXPECT_TRUE(same(active().LEAD1().Bitmap(), image_));
    prompts_.on_dialog = nullptr;
    state().ImageChanged = false;
    click(u"ID_Resize");
    EXPECT_TRUE(same(active().LEAD1().Bitmap(), image_));
    EXPECT_TRUE(state().ImageChanged) << "the dispatcher marks it also after Cancel";
}

TEST_F(Operations, CropFollowsTheToolAndTheCommandBeforeIt) {
    struct Case {
        bool other_shape;
        const char16_t* last;
        bool crops;
    };
    add_window(image_, QStringLiteral("a"));
    engine::Engine& image = active().LEAD1();
    for (const Case& c : {Case{false, u"ID_Rectangle", true}, Case{false, u"ID_Crop", false},
                          Case{false, u"", false}, Case{false, u"ID_Invert", false}, Case{true, u"", false},
                          Case{true, u"ID_Crop", false}, Case{true, u"ID_Ellipse", true}}) {
        SCOPED_TRACE(QString::fromUtf16(c.last).toStdString());
        image.SetBitmap(image_);
        active().LEAD3().SetBitmap(image_);
        active().ViewNormal();
        active().ViewSnap();
        if (c.other_shape)
            image.SetRgn(imaging::Region::ellipse({5, 4, 10, 8}));
        else
            select(5, 4, 15, 12);
        state().NonRectRegion = c.other_shape;
        state().LastTool = QString::fromUtf16(c.last);
        state().ImageChanged = false;
        click(u"ID_Crop");
        EXPECT_TRUE(prompts_.messages.empty());
        EXPECT_TRUE(state().ImageChanged);
        EXPECT_EQ(state().LastTool, u"ID_Crop");
        EXPECT_EQ(image.ScaleMode(), engine::kPixels);
        if (!c.crops) {
            EXPECT_TRUE(same(image.Bitmap(), image_));
            continue;
        }
        ASSERT_EQ(image.BitmapWidth(), 10);
        ASSERT_EQ(image.BitmapHeight(), 8);
        EXPECT_EQ(image.Bitmap().pixel(0, 0), image_.pixel(5, 4));
        EXPECT_EQ(image.Bitmap().pixel(9, 7), image_.pixel(14, 11));
        EXPECT_FALSE(image.AutoScroll());
        EXPECT_EQ(active().view().size(), QSize(10, 8));
        click(u"ID_UnDo");
        EXPECT_TRUE(same(image.Bitmap(), image_));
        EXPECT_TRUE(image.AutoScroll()) << "what is larger than its window again can be reached";
    }
}

// --- Planes, counts, other images ---

TEST_F(Operations, SeparationOpensAWindowForEachPlane) {
    struct Case {
        const char16_t* id;
        const char16_t* planes;
    };
    for (const Case& c : {Case{u"ID_SeparateRGB", u"Blue Plane;Green Plane;Red Plane"},
                          Case{u"ID_SeparateCMYK", u"Cyan Plane;Magenta Plane;Yellow Plane;Black Plane"},
                          Case{u"ID_SeparateHSV", u"Hue Plane;Saturation Plane;Value Plane"},
                          Case{u"ID_SeparateHLS", u"Hue Plane;Lightness Plane;Saturation Plane"},
                          Case{u"ID_SeparateCMY", u"Cyan Plane;Magenta Plane;Yellow Plane"}}) {
        start();
        add_window(pattern(9, 9, 24), QStringLiteral("other"));
        const std::int32_t source = add_window(image_, QStringLiteral("source")).handle();
        state().ImageChanged = false;
        click(c.id);
        EXPECT_EQ(titles().join(u';'), QStringLiteral("other;source;") + QString::fromUtf16(c.planes));
        EXPECT_EQ(active().handle(), source);
        EXPECT_TRUE(state().ImageChanged);
        EXPECT_TRUE(same(active().LEAD3().Bitmap(), image_));
        std::set<std::pair<int, int>> places;
        for (std::size_t i = 2; i < static_cast<std::size_t>(frame_->kids().KidCount); ++i) {
            program::ImageWindow* plane = frame_->image_window(frame_->kids().KidList()[i]);
            ASSERT_NE(plane, nullptr);
            EXPECT_TRUE(same(plane->LEAD1().Bitmap(), active().LEAD1().ColorPlanes(static_cast<int>(i) - 2)));
            EXPECT_EQ(plane->LEAD1().BitmapWidth(), 37);
            places.insert(std::pair{plane->parentWidget()->x(), plane->parentWidget()->y()});
            EXPECT_TRUE(plane->isVisible());
        }
        EXPECT_EQ(places.size(), static_cast<std::size_t>(frame_->kids().KidCount - 2))
            << "none hides another";
        expect_idle();
    }
}

TEST_F(Operations, AFailedSeparationLeavesItsEmptyWindows) {
    const std::int32_t source = add_window({}, QStringLiteral("source")).handle();
    click(u"ID_SeparateRGB");
    EXPECT_EQ(frame_->kids().KidCount, 4);
    EXPECT_TRUE(prompts_.messages.empty());
    EXPECT_EQ(active().handle(), source);
    expect_idle();
    click(u"ID_CloseAll");
    EXPECT_EQ(frame_->kids().KidCount, 0) << "they can be closed";
}

TEST_F(Operations, UniqueColoursAreCountedAndGrouped) {
    auto bitmap = Bitmap::create(60, 50, 24, {});
    ASSERT_TRUE(bitmap);
    for (int y = 0; y < 50; ++y) {
        for (int x = 0; x < 60; ++x) {
            bitmap->writable_row(y)[static_cast<std::size_t>(x) * 3] = static_cast<std::uint8_t>(x);
            bitmap->writable_row(y)[static_cast<std::size_t>(x) * 3 + 2] = static_cast<std::uint8_t>(y / 2);
        }
    }
    add_window(*bitmap, QStringLiteral("a"));
    click(u"ID_CountUniqueColors");
    ASSERT_EQ(prompts_.messages.size(), 1U);
    EXPECT_EQ(prompts_.messages[0].text, u"Bitmap contains 1,500 unique colors");
    EXPECT_EQ(prompts_.messages[0].title, u"UNIQUE COLORS");
    EXPECT_EQ(prompts_.messages[0].icon, program::Icon::information);
    EXPECT_FALSE(state().ImageChanged);
    EXPECT_TRUE(active().LEAD3().Bitmap().empty());
}

TEST_F(Operations, UnderlayPutsTheChosenImageBeneath) {
    const Bitmap texture = pattern(8, 8, 24);
    add_window(texture, QStringLiteral("texture"));
    const std::int32_t target = add_window(image_, QStringLiteral("target")).handle();
    add_window(pattern(5, 5, 24), QStringLiteral("third"));
    for (const int mode : {0, 1}) {
        frame_->kids().MakeKidActive(1);
        active().LEAD1().SetBitmap(image_);
        engine::Engine expected;
        expected.SetBitmap(image_);
        ASSERT_EQ(expected.Underlay(texture, mode), 0);
        QStringList shown;
        prompts_.on_dialog = [&](QDialog& form) {
            auto& list = part<QListWidget>(form, "FilterBox");
            shown += form.windowTitle();
            for (int i = 0; i < list.count(); ++i) shown += list.item(i)->text();
            list.setCurrentRow(shown.size() > 4 ? mode : 0);
            form.accept();
            return form.result();
        };
        click(u"ID_EffectUnderlay");
        EXPECT_EQ(shown.join(u';'),
                  u"Underlay Image;texture;target;third;Underlay Effect;UNDERLAY_TILE;UNDERLAY_STRETCH");
        EXPECT_EQ(active().handle(), target);
        EXPECT_TRUE(same(active().LEAD1().Bitmap(), expected.Bitmap())) << mode;
        expect_idle();
    }
    for (const int cancelled : {1, 2}) {
        active().LEAD1().SetBitmap(image_);
        int asked = 0;
        prompts_.on_dialog = [&](QDialog& form) {
            ++asked == cancelled ? form.reject() : form.accept();
            return form.result();
        };
        click(u"ID_EffectUnderlay");
        EXPECT_EQ(asked, cancelled);
        EXPECT_TRUE(same(active().LEAD1().Bitmap(), image_));
    }
}

TEST_F(Operations, PaintEffectsChangeNothingButTheView) {
    add_window(image_, QStringLiteral("a"));
    prompts_.on_dialog = [&](QDialog& form) {
        EXPECT_TRUE(same(active().LEAD3().Bitmap(), image_));
        part<QListWidget>(form, "FilterBox").setCurrentRow(7);
        part<QPushButton>(form, "OK").click();
        return form.result();
    };
    click(u"ID_PaintEffects");
    EXPECT_EQ(prompts_.dialogs, 1);
    EXPECT_FALSE(state().ImageChanged || state().UndoPending);
    EXPECT_TRUE(same(active().LEAD1().Bitmap(), image_));
    expect_idle();
}

// --- The histogram ---

TEST_F(Operations, TheHistogramShowsTheChosenWindowAndChannel) {
    auto two_levels = Bitmap::create(8, 4, 24, {});
    ASSERT_TRUE(two_levels);  // a quarter of the pixels is red 200, all else is 0
    for (int x = 0; x < 8; ++x) two_levels->writable_row(0)[static_cast<std::size_t>(x) * 3] = 200;
    add_window(*two_levels, QStringLiteral("first"));
    const std::int32_t first = active().handle();
    add_window(image_, QStringLiteral("second"));
    add_window({}, QStringLiteral("third"));
    frame_->kids().MakeKidActive(0);
    prompts_.on_dialog = [&](QDialog& dialog) {
        auto& form = dynamic_cast<Histogram&>(dialog);
        auto& windows = part<QComboBox>(form, "FilterBox");
        EXPECT_EQ(form.windowTitle(), u"Image Histogram");
        EXPECT_EQ(windows.count(), 3);
        EXPECT_EQ(windows.currentText(), u"first");
        const auto line = [&](int level) { return form.TheHist().TheLine(level); };
        EXPECT_TRUE(part<QRadioButton>(form, "Channel0").isChecked());
        EXPECT_EQ(line(0), QLineF(0, 98, 0, 4)) << "the master channel first";
        part<QRadioButton>(form, "Channel1").click();
        EXPECT_EQ(line(0), QLineF(0, 98, 0, 4));
        EXPECT_NEAR(line(200).y2(), 98 - 94.0 / 3, 1e-9);
        EXPECT_EQ(line(201), QLineF(201, 98, 201, 98));
        part<QRadioButton>(form, "Channel3").click();
        EXPECT_EQ(line(200), QLineF(200, 98, 200, 98));
        part<QRadioButton>(form, "Channel1").click();
        // What stands under the pointer.
        const QPointF at{205.0 * form.TheHist().width() / 270, 50};
        QMouseEvent move{QEvent::MouseMove, at, at, Qt::NoButton, Qt::NoButton, Qt::NoModifier};
        QCoreApplication::sendEvent(&form.TheHist(), &move);
        EXPECT_EQ(part<QLabel>(form, "Readout").text(), u"Level 200: 8 pixels, percentile 100.0");
        windows.setCurrentIndex(2);
        EXPECT_EQ(active().windowTitle(), u"third");
        for (int level = 0; level < 256; ++level) EXPECT_EQ(line(level).length(), 0) << "an empty window";
        windows.setCurrentIndex(1);
        EXPECT_EQ(active().windowTitle(), u"second");
        EXPECT_TRUE(part<QRadioButton>(form, "Channel1").isChecked());
        windows.setCurrentIndex(0);
        EXPECT_NEAR(line(200).y2(), 98 - 94.0 / 3, 1e-9);
        form.reject();
        return form.result();
    };
    click(u"ID_ViewHistogram");
    EXPECT_EQ(prompts_.dialogs, 1);
    EXPECT_EQ(active().handle(), first);
    EXPECT_TRUE(state().ImageChanged);
}

// --- Text ---

TEST_F(Operations, TextIsPendingUntilItIsDrawnOnce) {
    add_window(image_, QStringLiteral("a"));
    prompts_.answers = {QStringLiteral("Hi"), {}};
    click(u"ID_AddText");
    EXPECT_EQ(prompts_.inputs[0], u"Text to insert:|INSERT TEXT|");
    EXPECT_EQ(state().PendingText, u"Hi");
    EXPECT_EQ(setting(settings::keys::kImageProcessing, QStringLiteral("Text")), u"Hi");
    EXPECT_TRUE(same(active().LEAD3().Bitmap(), image_));
    EXPECT_TRUE(state().ImageChanged);
    click(u"ID_AddText");  // cancelled
    EXPECT_EQ(prompts_.inputs[1], u"Text to insert:|INSERT TEXT|Hi");
    EXPECT_EQ(state().PendingText, u"Hi");
    frame_->InsertText(2, 2);
    EXPECT_TRUE(prompts_.messages.empty());
    EXPECT_FALSE(same(active().LEAD1().Bitmap(), image_));
    EXPECT_EQ(state().PendingText, QString{});
    const Bitmap drawn = active().LEAD1().Bitmap();
    frame_->InsertText(12, 12);
    EXPECT_TRUE(same(active().LEAD1().Bitmap(), drawn));
    EXPECT_EQ(active().LEAD1().Font().family(), u"Arial");
    EXPECT_EQ(active().LEAD1().Font().pointSize(), 7);
}

TEST_F(Operations, TextForAWindowThatIsClosedGoesWithIt) {
    add_window(image_, QStringLiteral("stays"));
    add_window(image_, QStringLiteral("goes"));
    prompts_.answers = {QStringLiteral("lost")};
    click(u"ID_AddText");
    active().unload();
    ASSERT_EQ(frame_->kids().KidCount, 1);
    frame_->InsertText(2, 2);
    EXPECT_TRUE(same(active().LEAD1().Bitmap(), image_));
    EXPECT_EQ(state().PendingText, QString{});
}

TEST_F(Operations, InsertTextKeepsTheUndoCopyAndReportsFailures) {
    add_window({}, QStringLiteral("empty"));
    active().LEAD3().SetBitmap(image_);
    prompts_.answers = {QStringLiteral("x")};
    click(u"ID_InsertText");
    EXPECT_TRUE(same(active().LEAD3().Bitmap(), image_));
    frame_->InsertText(1, 1);
    ASSERT_EQ(prompts_.messages.size(), 1U);
    EXPECT_TRUE(prompts_.messages[0].text.startsWith(u"DrawText 200"))
        << prompts_.messages[0].text.toStdString();
    frame_->InsertText(1, 1);
    EXPECT_EQ(prompts_.messages.size(), 1U) << "a failed text does not stay pending";
}

TEST_F(Operations, FontAngleAndOffsetsAreKept) {
    add_window(image_, QStringLiteral("a"));
    const auto editor = [&](const char* name) { return setting(kEditor, QString::fromLatin1(name)); };
    click(u"ID_TextFont");
    EXPECT_EQ(editor("FontName"), QString{}) << "cancelled";
    prompts_.on_font = [](QFont& font, QColor& colour) {
        EXPECT_EQ(font.family(), u"Arial");
        EXPECT_EQ(font.pointSize(), 7);
        font = QFont{QStringLiteral("Courier"), 24, QFont::Bold, true};
        colour = QColor{1, 2, 3};
        return true;
    };
    click(u"ID_FontType");
    EXPECT_EQ(editor("FontName"), u"Courier");
    EXPECT_EQ(editor("FontSize"), u"24");
    EXPECT_NE(editor("FontBold").toInt(), 0);
    EXPECT_EQ(editor("FontColor"), QString::number(1 + 2 * 256 + 3 * 65536));
    EXPECT_EQ(state().TextColor, 1 + 2 * 256 + 3 * 65536);
    prompts_.on_font = [](QFont& font, QColor& colour) {
        EXPECT_TRUE(font.bold() && font.italic());
        EXPECT_EQ(colour, QColor(1, 2, 3));
        return false;
    };
    click(u"ID_TextFont");

    struct Angle {
        const char16_t* reply;
        const char16_t* stored;
        const char16_t* next;
    };
    for (const Angle& a :
         {Angle{u"45", u"450", u"45"}, Angle{u"400", u"3600", u"360"}, Angle{u"0.3", u"3", u"0.3"},
          Angle{u"", u"3", u"0.3"}, Angle{u"none", u"0", u"0"}}) {
        prompts_.answers = {QString::fromUtf16(a.reply), {}};
        click(u"ID_TextAngle");
        EXPECT_EQ(editor("TextAngle"), QString::fromUtf16(a.stored));
        click(u"ID_TextAngle");
        EXPECT_EQ(
            prompts_.inputs.last(),
            QStringLiteral("Text angle (0-360 degrees):|TEXT ANGLE|%1").arg(QString::fromUtf16(a.next)));
    }

    prompts_.answers = {QStringLiteral("10"), QStringLiteral("-5")};
    click(u"ID_TextOffset");
    EXPECT_EQ(editor("TextXOffset"), u"10");
    EXPECT_EQ(editor("TextYOffset"), u"-5");
    prompts_.inputs.clear();
    click(u"ID_TextOffset");
    ASSERT_EQ(prompts_.inputs.size(), 1) << "no second question after an empty answer";
    EXPECT_EQ(prompts_.inputs[0],
              u"Text horizontal offset:\r(use negative number for opposite direction)|TEXT OFFSET|10");
    EXPECT_FALSE(state().ImageChanged);
}

}  // namespace
}  // namespace quillmark::operations
