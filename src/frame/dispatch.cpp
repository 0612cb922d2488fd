#include "frame/dispatch.h"

#include <QHash>
#include <QMdiArea>
#include <algorithm>
#include <type_traits>

#include "files/open.h"
#include "files/recent_files.h"
#include "files/save.h"
#include "frame/arrange.h"
#include "frame/image_process.h"
#include "frame/preferences.h"
#include "operations/operations.h"
#include "program/image_window.h"

namespace quillmark::frame {
namespace {

using program::ImageWindow;

template <void (ImageWindow::*Procedure)()>
void on_active(ImageProcess& frame, int) {
    if (ImageWindow* window = frame.active_window()) (window->*Procedure)();
}

template <void (*Command)(program::FrameFace&)>
void plain(ImageProcess& frame, int) {
    Command(frame);
}

/// A command of the active window, with or without an argument.
template <auto Command>
void on_image(ImageProcess& frame, int argument) {
    ImageWindow* window = frame.active_window();
    if (!window) return;
    if constexpr (std::is_invocable_v<decltype(Command), program::FrameFace&, ImageWindow&, int>)
        Command(frame, *window, argument);
    else
        Command(frame, *window);
}

void select_nothing(program::FrameFace&, ImageWindow& window) { window.SetRegionTool(0); }
void region_tool(program::FrameFace& frame, ImageWindow& window, int shape) {
    frame.state().NonRectRegion = shape != 1;
    window.SetRegionTool(static_cast<std::int16_t>(shape));
}

void increment(ImageProcess& frame, int which) { prompt_increment(frame, static_cast<Increment>(which)); }
void dithering(ImageProcess& frame, int method) { set_dithering(frame, static_cast<std::int16_t>(method)); }
void bitonal(ImageProcess& frame, int mode) { set_bitonal_scaling(frame, static_cast<std::int16_t>(mode)); }
void arrange_windows(ImageProcess& frame, int how) { arrange(frame.area(), static_cast<Arrangement>(how)); }
void close_all(ImageProcess& frame, int) { frame.close_all_windows(); }
void recent_file(ImageProcess& frame, int number) {
    files::open_recent_file(frame, QStringLiteral("ID_ImageFile%1").arg(number));
}
void customize(ImageProcess& frame, int) { frame.customize_toolbars(); }
void default_toolbars(ImageProcess& frame, int) { frame.default_toolbars(); }
void show_help(ImageProcess& frame, int) { frame.ShowHelpFile(); }
void exit_program(ImageProcess& frame, int) { frame.close(); }

constexpr auto kNone = UndoCopy::none;
constexpr auto kCopy = UndoCopy::dispatcher;

constexpr Command kCommands[] = {
    {u"ID_Open", kNone, false, plain<files::C_FileOpen>, 0},
    {u"ID_SaveFile", kNone, false, plain<files::C_FileSave>, 0},
    {u"ID_Convert", kNone, false, nullptr, 0},
    {u"ID_BatchConversion", kNone, false, nullptr, 0},
    {u"ID_Copy", kNone, false, nullptr, 0},
    {u"ID_Paste", kNone, false, nullptr, 0},
    {u"ID_ScreenCapture", kNone, false, nullptr, 0},
    {u"ID_Print", kNone, false, nullptr, 0},
    {u"ID_Scan", kNone, false, nullptr, 0},
    {u"ID_UnDo", kNone, false, on_image<operations::undo>, 0},
    {u"ID_PrintSetup", kNone, false, nullptr, 0},
    {u"ID_ZoomIn", kNone, false, on_active<&ImageWindow::ZoomIn>, 0},
    {u"ID_ZoomOut", kNone, false, on_active<&ImageWindow::ZoomOut>, 0},
    {u"ID_ViewNormal", kNone, false, on_active<&ImageWindow::ViewNormal>, 0},
    {u"ID_ViewFit", kNone, false, on_active<&ImageWindow::ViewFit>, 0},
    {u"ID_ViewStretch", kNone, false, on_active<&ImageWindow::ViewStretch>, 0},
    {u"ID_ViewSnap", kNone, false, on_active<&ImageWindow::ViewSnap>, 0},
    {u"ID_AddText", kCopy, true, on_image<operations::prompt_text>, 0},
    {u"ID_TextFont", kNone, false, plain<operations::choose_text_font>, 0},
    {u"ID_TextAngle", kNone, false, plain<operations::prompt_text_angle>, 0},
    {u"ID_TextOffset", kNone, false, plain<operations::prompt_text_offset>, 0},
    {u"ID_MoreBrightness", kCopy, true, on_image<operations::step_intensity>, +1},
    {u"ID_LessBrightness", kCopy, true, on_image<operations::step_intensity>, -1},
    {u"ID_MoreContrast", kCopy, true, on_image<operations::step_contrast>, +1},
    {u"ID_LessContrast", kCopy, true, on_image<operations::step_contrast>, -1},
    {u"ID_MoreHue", kCopy, true, on_image<operations::step_hue>, +1},
    {u"ID_LessHue", kCopy, true, on_image<operations::step_hue>, -1},
    {u"ID_FlipHorizontal", kCopy, false, on_image<operations::mirror_horizontally>, 0},
    {u"ID_FlipVertical", kCopy, false, on_image<operations::mirror_vertically>, 0},
    {u"ID_RotateLeft", kCopy, true, on_image<operations::quarter_turn>, 27000},
    {u"ID_RotateRight", kCopy, true, on_image<operations::quarter_turn>, 9000},
    {u"ID_FreeRotate", kCopy, true, on_image<operations::free_rotate>, 0},
    {u"ID_Shear", kCopy, true, on_image<operations::shear>, 0},
    {u"ID_Crop", kNone, true, on_image<operations::crop>, 0},
    {u"ID_PaintEffects", kCopy, false, on_image<operations::paint_effect>, 0},
    {u"ID_None", kNone, false, on_image<select_nothing>, 0},
    {u"ID_Rectangle", kCopy, true, on_image<region_tool>, 1},
    {u"ID_Ellipse", kCopy, true, on_image<region_tool>, 2},
    {u"ID_RoundRectangle", kCopy, true, on_image<region_tool>, 3},
    {u"ID_Freehand", kCopy, true, on_image<region_tool>, 4},
    {u"ID_CancelRegion", kNone, false, on_active<&ImageWindow::CancelRegion>, 0},
    {u"ID_EffectPosterize", kNone, false, on_image<operations::effect>, 0},
    {u"ID_EffectMosaic", kNone, false, on_image<operations::effect>, 1},
    {u"ID_EffectAverage", kNone, false, on_image<operations::effect>, 2},
    {u"ID_EffectMedian", kNone, false, on_image<operations::effect>, 3},
    {u"ID_EffectSharpen", kNone, false, on_image<operations::effect>, 4},
    {u"ID_EffectAddNoise", kNone, false, on_image<operations::effect>, 5},
    {u"ID_EffectEmboss", kNone, false, on_image<operations::effect>, 6},
    {u"ID_EffectUnderlay", kNone, true, on_image<operations::underlay>, 0},
    {u"ID_EffectEdgeEnhance", kNone, true, on_image<operations::edge_enhance>, 0},
    {u"ID_SFGradient", kNone, false, on_image<operations::spatial_filter>, 0},
    {u"ID_SFLaplacian", kNone, false, on_image<operations::spatial_filter>, 1},
    {u"ID_SFSobel", kNone, false, on_image<operations::spatial_filter>, 2},
    {u"ID_SFPrewitt", kNone, false, on_image<operations::spatial_filter>, 3},
    {u"ID_SFShiftAndDifference", kNone, false, on_image<operations::spatial_filter>, 4},
    {u"ID_SFLineSegment", kNone, false, on_image<operations::spatial_filter>, 5},
    {u"ID_Resize", kNone, true, on_image<operations::resize>, 0},
    {u"ID_HalfToneView", kNone, true, on_image<operations::halftone>, 1},
    {u"ID_HalfTonePrint", kNone, true, on_image<operations::halftone>, 0},
    {u"ID_SeparateRGB", kNone, false, on_image<operations::separate>, 0},
    {u"ID_SeparateCMYK", kNone, false, on_image<operations::separate>, 1},
    {u"ID_SeparateHSV", kNone, false, on_image<operations::separate>, 2},
    {u"ID_SeparateHLS", kNone, false, on_image<operations::separate>, 3},
    {u"ID_SeparateCMY", kNone, false, on_image<operations::separate>, 4},
    {u"ID_Grayscale", kNone, false, on_image<operations::grayscale>, 8},
    {u"ID_Grayscale12", kNone, false, on_image<operations::grayscale>, 12},
    {u"ID_Grayscale16", kNone, false, on_image<operations::grayscale>, 16},
    {u"ID_Invert", kCopy, true, on_image<operations::invert>, 0},
    {u"ID_HistogramContrast", kNone, true, on_image<operations::adjust_colour>, 16},
    {u"ID_HistogramEqualize", kNone, true, on_image<operations::equalize>, 0},
    {u"ID_ViewHistogram", kNone, true, on_image<operations::view_histogram>, 0},
    {u"ID_StretchIntensity", kCopy, true, on_image<operations::stretch_intensity>, 0},
    {u"ID_GammaCorrection", kCopy, true, on_image<operations::adjust_colour>, 29},
    {u"ID_IntensityDetect", kCopy, true, on_image<operations::adjust_colour>, 31},
    {u"ID_Saturation", kCopy, true, on_image<operations::adjust_colour>, 8},
    {u"ID_Resolution", kCopy, true, on_image<operations::adjust_colour>, 16380},
    {u"ID_CountUniqueColors", kNone, false, on_image<operations::count_unique_colours>, 0},
    {u"ID_BrightnessIncrement", kNone, false, increment, static_cast<int>(Increment::brightness)},
    {u"ID_ContrastIncrement", kNone, false, increment, static_cast<int>(Increment::contrast)},
    {u"ID_HueIncrement", kNone, false, increment, static_cast<int>(Increment::hue)},
    {u"ID_GammaIncrement", kNone, false, increment, static_cast<int>(Increment::gamma)},
    {u"ID_ImageFile1", kNone, false, recent_file, 1},
    {u"ID_ImageFile2", kNone, false, recent_file, 2},
    {u"ID_ImageFile3", kNone, false, recent_file, 3},
    {u"ID_ImageFile4", kNone, false, recent_file, 4},
    {u"ID_Cascade", kNone, false, arrange_windows, static_cast<int>(Arrangement::cascade)},
    {u"ID_TileHorizontally", kNone, false, arrange_windows, static_cast<int>(Arrangement::tile_horizontally)},
    {u"ID_TileVertically", kNone, false, arrange_windows, static_cast<int>(Arrangement::tile_vertically)},
    {u"ID_ArrangeIcons", kNone, false, arrange_windows, static_cast<int>(Arrangement::icons)},
    {u"ID_CloseAll", kNone, false, close_all, 0},
    {u"ID_ShowProgess", kNone, false, plain<toggle_show_progress>, 0},
    {u"ID_InsertText", kNone, true, on_image<operations::prompt_text>, 0},
    {u"ID_FontType", kNone, false, plain<operations::choose_text_font>, 0},
    {u"ID_FileAssociation", kNone, false, nullptr, 0},
    {u"ID_CustomizeToolbars", kNone, false, customize, 0},
    {u"ID_DefaultToolbars", kNone, false, default_toolbars, 0},
    {u"ID_About", kNone, false, nullptr, 0},
    {u"ID_SelectTWAINSource", kNone, false, nullptr, 0},
    {u"ID_ShowOpenOptions", kNone, false, plain<toggle_show_open_options>, 0},
    {u"ID_PaintWhileLoad", kNone, false, plain<toggle_paint_while_load>, 0},
    {u"ID_DitheringOrdered", kNone, false, dithering, 0},
    {u"ID_DitheringErrorDiffusion", kNone, false, dithering, 1},
    {u"ID_BSNormal", kNone, false, bitonal, 0},
    {u"ID_BSFavoredBlack", kNone, false, bitonal, 1},
    {u"ID_BSScaleToGray", kNone, false, bitonal, 2},
    {u"ID_Help", kNone, false, show_help, 0},
    {u"ID_Contents", kNone, false, show_help, 0},
    {u"ID_Exit", kNone, false, exit_program, 0},
};

// Commands that work while no image is open; IDs that only begin so count for the recent files.
constexpr const char16_t* kWithoutImage[] = {u"ID_Help",
                                             u"ID_Open",
                                             u"ID_Exit",
                                             u"ID_AboutQuillmark",
                                             u"ID_Contents",
                                             u"ID_FileAssociation",
                                             u"ID_DefaultToolbars",
                                             u"ID_ScreenCapture",
                                             u"ID_Paste",
                                             u"ID_Scan",
                                             u"ID_Convert",
                                             u"ID_About",
                                             u"ID_BatchConversion"};

}  // namespace

std::span<const Command> all_commands() { return kCommands; }

const Command* find_command(QStringView id) {
    static const QHash<QStringView, const Command*> rows = [] {
        QHash<QStringView, const Command*> index;
        for (const Command& command : kCommands) index.insert(command.id, &command);
        return index;
    }();
    return rows.value(id, nullptr);
}

bool allowed_without_image(QStringView id) {
    return id.startsWith(u"ID_ImageFile") ||
           std::ranges::any_of(kWithoutImage, [id](const char16_t* allowed) { return id == allowed; });
}

bool tool_available(QStringView id, bool image_open) {
    const Command* command = find_command(id);
    if (command && !command->run) return false;
    return image_open || allowed_without_image(id);
}

}  // namespace quillmark::frame
