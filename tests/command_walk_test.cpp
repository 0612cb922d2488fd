// Every command on the image, run as a click would run it, on the depths people have, with and without a
// selection, and undone.
#include <QScrollBar>
#include <bit>
#include <set>

#include "frame/dispatch.h"
#include "imaging/ops/operation.h"
#include "imaging/ops/relief.h"
#include "support/desk.h"
#include "support/fixtures.h"

namespace quillmark::frame {
namespace {

using engine::CommonDialog;
using engine::DialogKind;
using imaging::Bitmap;
using tests::same;

enum class Copy { kept, made };          // the undo copy
enum class Image { stays, may_change };  // the image, on a colour picture

struct Row {
    const char16_t* id;
    Copy copy;
    bool pending;
    bool changed;
    Image image = Image::may_change;
    bool whole = false;  ///< changes the whole image, selection or not
};

constexpr Row kRows[] = {
    {u"ID_MoreBrightness", Copy::made, false, true},
    {u"ID_LessBrightness", Copy::made, false, true},
    {u"ID_MoreContrast", Copy::made, false, true},
    {u"ID_LessContrast", Copy::made, false, true},
    {u"ID_MoreHue", Copy::made, false, true},
    {u"ID_LessHue", Copy::made, false, true},
    {u"ID_Grayscale", Copy::made, true, true, Image::may_change, true},
    {u"ID_Grayscale12", Copy::made, true, true, Image::may_change, true},
    {u"ID_Grayscale16", Copy::made, true, true, Image::may_change, true},
    {u"ID_Invert", Copy::made, true, true},
    {u"ID_HistogramEqualize", Copy::made, true, true},
    {u"ID_StretchIntensity", Copy::made, true, true},
    {u"ID_HistogramContrast", Copy::made, true, true},
    {u"ID_GammaCorrection", Copy::made, true, true},
    {u"ID_IntensityDetect", Copy::made, true, true},
    {u"ID_Saturation", Copy::made, true, true},
    {u"ID_FlipHorizontal", Copy::made, true, false},
    {u"ID_FlipVertical", Copy::made, true, false},
    {u"ID_RotateLeft", Copy::made, false, true, Image::may_change, true},
    {u"ID_RotateRight", Copy::made, false, true, Image::may_change, true},
    {u"ID_FreeRotate", Copy::made, true, true},
    {u"ID_Shear", Copy::made, false, true},
    {u"ID_Resize", Copy::made, false, true, Image::may_change, true},
    {u"ID_Crop", Copy::made, false, true, Image::may_change, true},
    {u"ID_EffectPosterize", Copy::made, true, true},
    {u"ID_EffectMosaic", Copy::made, true, true},
    {u"ID_EffectAverage", Copy::made, true, true},
    {u"ID_EffectMedian", Copy::made, true, true},
    {u"ID_EffectSharpen", Copy::made, true, true},
    {u"ID_EffectAddNoise", Copy::made, true, true},
    {u"ID_EffectEmboss", Copy::made, true, true},
    {u"ID_EffectEdgeEnhance", Copy::made, true, true},
    {u"ID_EffectUnderlay", Copy::made, true, true},
    {u"ID_SFGradient", Copy::made, true, true},
    {u"ID_SFLaplacian", Copy::made, true, true},
    {u"ID_SFSobel", Copy::made, true, true},
    {u"ID_SFPrewitt", Copy::made, true, true},
    {u"ID_SFShiftAndDifference", Copy::made, true, true},
    {u"ID_SFLineSegment", Copy::made, true, true},
    {u"ID_PaintEffects", Copy::made, false, false, Image::stays},
    {u"ID_Resolution", Copy::made, true, true, Image::may_change, true},
    {u"ID_HalfToneView", Copy::made, false, true, Image::may_change, true},
    {u"ID_HalfTonePrint", Copy::made, false, true, Image::may_change, true},
    {u"ID_SeparateRGB", Copy::made, false, true, Image::stays},
    {u"ID_SeparateCMYK", Copy::made, false, true, Image::stays},
    {u"ID_SeparateHSV", Copy::made, false, true, Image::stays},
    {u"ID_SeparateHLS", Copy::made, false, true, Image::stays},
    {u"ID_SeparateCMY", Copy::made, false, true, Image::stays},
    {u"ID_CountUniqueColors", Copy::kept, false, false, Image::stays},
    {u"ID_ViewHistogram", Copy::kept, false, true, Image::stays},
    {u"ID_AddText", Copy::made, false, true},
    {u"ID_InsertText", Copy::kept, false, true},
    {u"ID_TextFont", Copy::kept, false, false, Image::stays},
    {u"ID_FontType", Copy::kept, false, false, Image::stays},
    {u"ID_TextAngle", Copy::kept, false, false, Image::stays},
    {u"ID_TextOffset", Copy::kept, false, false, Image::stays},
    {u"ID_None", Copy::kept, false, false, Image::stays},
    {u"ID_Rectangle", Copy::made, false, true, Image::stays},
    {u"ID_Ellipse", Copy::made, false, true, Image::stays},
    {u"ID_RoundRectangle", Copy::made, false, true, Image::stays},
    {u"ID_Freehand", Copy::made, false, true, Image::stays},
    {u"ID_CancelRegion", Copy::kept, false, false, Image::stays},
};

// Commands of other rooms: files, the world outside, views, windows, preferences, help.
const QStringList kElsewhere =
    QString{
        "ID_Open ID_SaveFile ID_Convert ID_BatchConversion ID_Copy ID_Paste ID_ScreenCapture ID_Print "
        "ID_Scan ID_PrintSetup ID_ZoomIn ID_ZoomOut ID_ViewNormal ID_ViewFit ID_ViewStretch ID_ViewSnap "
        "ID_BrightnessIncrement ID_ContrastIncrement ID_HueIncrement ID_GammaIncrement ID_ImageFile1 "
        "ID_ImageFile2 ID_ImageFile3 ID_ImageFile4 ID_Cascade ID_TileHorizontally ID_TileVertically "
        "ID_ArrangeIcons ID_CloseAll ID_ShowProgess ID_FileAssociation ID_CustomizeToolbars "
        "ID_DefaultToolbars ID_About ID_SelectTWAINSource ID_ShowOpenOptions ID_PaintWhileLoad "
        "ID_DitheringOrdered ID_DitheringErrorDiffusion ID_BSNormal ID_BSFavoredBlack ID_BSScaleToGray "
        "ID_Help ID_Contents ID_Exit"}
        .split(u' ');

// A photograph-like picture: smooth, in colour, with an edge.
Bitmap picture(int bits) {
    auto bitmap = Bitmap::create(45, 31, bits, {});
    if (!bitmap) return {};
    if (bits <= 8) return tests::pattern(45, 31, bits);
    const std::size_t samples = bits / 8;
    for (int y = 0; y < 31; ++y) {
        const auto row = bitmap->writable_row(y);
        for (std::size_t x = 0; x < 45; ++x) {
            row[x * samples] = static_cast<std::uint8_t>(40 + x * 3);
            row[x * samples + 1] = static_cast<std::uint8_t>(x < 20 ? 60 + y : 200 - y);
            row[x * samples + 2] =
                static_cast<std::uint8_t>(90 + (x * 7 + static_cast<std::size_t>(y) * 13) % 60);
            if (samples == 4) row[x * samples + 3] = static_cast<std::uint8_t>(255 - x);
        }
    }
    return *bitmap;
}

// A value that changes the picture: what the dialog would begin with, or the far end where that does nothing.
int value_for(const CommonDialog& dialog, std::size_t index) {
    const imaging::Operation* operation = imaging::find_operation(dialog.Operation);
    if (!operation || index >= operation->parameters.size()) return 0;
    const imaging::Parameter& parameter = operation->parameters[index];
    return parameter.identity == parameter.initial ? parameter.high : parameter.initial;
}

// The code of the last filter of the family that the flags ask for.
int filter_code(std::uint32_t flags) {
    const auto family = static_cast<std::size_t>(std::countr_zero(flags));
    const auto families = imaging::filter_families();
    return family < families.size() ? families[family].choices.back().value : -1;
}

engine::Code answer(CommonDialog& dialog, DialogKind kind) {
    switch (kind) {
        case DialogKind::effect_value:
            dialog.Value = value_for(dialog, dialog.Operation == "Halftone" ? 1 : 0);
            break;
        case DialogKind::gamma: dialog.Gamma = value_for(dialog, 0); break;
        case DialogKind::intensity_detect: dialog.Low = 100, dialog.High = 180; break;
        case DialogKind::colour_resolution:
            dialog.Bits = 4;
            dialog.PaletteOption = value_for(dialog, 1);
            dialog.DitherOption = value_for(dialog, 2);
            break;
        case DialogKind::spatial_filter: dialog.Filter = filter_code(dialog.Flags); break;
        case DialogKind::rotate:
        case DialogKind::shear: dialog.Angle = 1234, dialog.Option = true; break;
    }
    return 0;
}

class CommandWalk : public test::Desk, public testing::WithParamInterface<std::tuple<int, bool>> {
  protected:
    void SetUp() override {
        Desk::SetUp();
        start();
        prompts_.on_common = answer;
        prompts_.on_font = [](QFont&, QColor&) { return true; };
        prompts_.on_dialog = [](QDialog& form) {
            // Resize to anything else; the lists' first entries.
            if (auto* width = form.findChild<QScrollBar*>(QStringLiteral("Value1Bar"))) width->setValue(60);
            form.accept();
            return form.result();
        };
    }

    // A window of its own for every command, so that none sees what another left.
    void fresh(const Bitmap& bitmap, bool region) {
        click(u"ID_CloseAll");
        prompts_.messages.clear();
        program::ImageWindow* window = frame_->new_image_window();
        window->InitTheForm(QStringLiteral("Red"), nullptr);
        window->LEAD1().SetBitmap(bitmap);
        window->show_window();
        window->ViewSnap();
        engine::Engine& image = window->LEAD1();
        if (region) image.SetRgn(imaging::Region::ellipse({6, 5, 30, 20}));
        const QRectF shown = image.display_rectangle();
        state().RectLeft = static_cast<std::int16_t>(shown.left() + 4);
        state().RectTop = static_cast<std::int16_t>(shown.top() + 3);
        state().RectRight = static_cast<std::int16_t>(shown.left() + 33);
        state().RectBottom = static_cast<std::int16_t>(shown.top() + 25);
        state().LastTool = QStringLiteral("ID_Rectangle");
        state().UndoPending = state().ImageChanged = state().NonRectRegion = false;
        state().PendingText.clear();
        prompts_.answers = {QStringLiteral("12"), QStringLiteral("3")};
    }

    void walk(const Row& row, const Bitmap& before, bool region);
};

void CommandWalk::walk(const Row& row, const Bitmap& before, bool region) {
    SCOPED_TRACE(QString::fromUtf16(row.id).toStdString());
    fresh(before, region);
    click(row.id);
    EXPECT_EQ(state().LastTool, QString::fromUtf16(row.id));
    EXPECT_EQ(state().ImageChanged, row.changed);
    EXPECT_EQ(state().UndoPending, row.pending);
    EXPECT_FALSE(state().OperationBusy || state().CommandBusy);
    const bool tells = QStringView{row.id} == u"ID_CountUniqueColors";
    EXPECT_EQ(prompts_.messages.size(), tells ? 1U : 0U)
        << (prompts_.messages.empty() ? "" : prompts_.messages[0].text.toStdString());
    if (!state().PendingText.isEmpty()) frame_->InsertText(8, 6);

    engine::Engine& image = active().LEAD1();
    if (row.image == Image::stays) {
        EXPECT_TRUE(same(image.Bitmap(), before));
    } else if (before.bits() >= 24) {
        EXPECT_FALSE(same(image.Bitmap(), before));
    }
    if (region && !row.whole) {
        EXPECT_EQ(image.Bitmap().pixel(0, 0), before.pixel(0, 0));
        EXPECT_EQ(image.Bitmap().pixel(44, 30), before.pixel(44, 30));
    }
    if (row.copy == Copy::kept) {
        EXPECT_TRUE(active().LEAD3().Bitmap().empty());
        return;
    }
    const bool changed = state().ImageChanged;
    click(u"ID_UnDo");
    EXPECT_TRUE(same(image.Bitmap(), before)) << "not as it was after undo";
    EXPECT_FALSE(state().UndoPending);
    EXPECT_EQ(state().ImageChanged, changed);
}

TEST_P(CommandWalk, RunsAndUndoesEveryRow) {
    const auto [bits, region] = GetParam();
    const Bitmap before = picture(bits);
    ASSERT_EQ(before.bits(), bits);
    std::set<QString> walked{QStringLiteral("ID_UnDo")};
    for (const Row& row : kRows) {
        const Command* command = find_command(row.id);
        ASSERT_TRUE(command && command->run) << QString::fromUtf16(row.id).toStdString();
        walk(row, before, region);
        EXPECT_TRUE(walked.insert(QString::fromUtf16(row.id)).second);
    }
    std::set<QString> missed;
    for (const Command& command : all_commands()) {
        const QString id = QString::fromUtf16(command.id);
        if (!walked.contains(id) && !kElsewhere.contains(id)) missed.insert(id);
    }
    EXPECT_TRUE(missed.empty()) << missed.begin()->toStdString();
    EXPECT_EQ(walked.size(), all_commands().size() - static_cast<std::size_t>(kElsewhere.size()));
}

INSTANTIATE_TEST_SUITE_P(Depths, CommandWalk,
                         testing::Combine(testing::Values(1, 8, 24, 32), testing::Bool()),
                         [](const auto& made) {
                             return std::to_string(std::get<0>(made.param)) + "bits" +
                                    (std::get<1>(made.param) ? "Region" : "Whole");
                         });

}  // namespace
}  // namespace quillmark::frame
