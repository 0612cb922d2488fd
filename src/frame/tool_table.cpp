// The designed tools, menus and bars. Texts are given ones ("ID_ShowProgess" is spelled so): other code,
// saved layouts and users' habits depend on them.
#include "frame/tool_table.h"

#include <algorithm>

namespace quillmark::frame {
namespace {

using Id = const char16_t*;
constexpr Id kSeparator = u"";

// clang-format off
// ID, caption, category, group, tip, kind, checked, shortcut, picture
constexpr Tool kTools[] = {
    {u"ID_Open", u"&Open...", u"File", u"", u"Open Image File", Kind::button, false, u"", u"open"},
    {u"ID_SaveFile", u"&Save File...", u"File", u"", u"Save Image File", Kind::button, false, u"", u"save-file"},
    {u"ID_Convert", u"Convert...", u"File", u"", u"", Kind::button, false, u"", u"convert"},
    {u"ID_BatchConversion", u"&Batch Conversion", u"File", u"", u"", Kind::button, false, u"", u"batch-conversion"},
    {u"ID_SelectTWAINSource", u"Select &TWAIN Source", u"File", u"", u"", Kind::button, false, u"", u""},
    {u"ID_Scan", u"&Scan...", u"File", u"", u"Import Image From TWAIN device", Kind::button, false, u"", u"scan"},
    {u"ID_ScreenCapture", u"Screen &Capture...", u"File", u"", u"Screen Capture", Kind::button, false, u"", u"screen-capture"},
    {u"ID_Print", u"&Print...", u"File", u"", u"Print Image", Kind::button, false, u"", u"print"},
    {u"ID_PrintSetup", u"Print  &Setup...", u"File", u"", u"Print Setup", Kind::button, false, u"", u"print-setup"},
    {u"ID_FileAssociation", u"File &Association...", u"File", u"", u"", Kind::button, false, u"", u""},
    {u"ID_ImageFile1", u"Image File 1", u"File", u"", u"", Kind::button, false, u"", u""},
    {u"ID_ImageFile2", u"Image File 2", u"File", u"", u"", Kind::button, false, u"", u""},
    {u"ID_ImageFile3", u"Image File 3", u"File", u"", u"", Kind::button, false, u"", u""},
    {u"ID_ImageFile4", u"Image File 4", u"File", u"", u"", Kind::button, false, u"", u""},
    {u"ID_Exit", u"E&xit", u"File", u"", u"E&xit", Kind::button, false, u"", u"exit"},
    {u"ID_UnDo", u"&UnDo", u"Edit", u"", u"UnDo Last Operation", Kind::button, false, u"Ctrl+Z", u"undo"},
    {u"ID_Copy", u"&Copy", u"Edit", u"", u"Copy Image To Clipboard", Kind::button, false, u"Ctrl+C", u"copy"},
    {u"ID_Paste", u"&Paste", u"Edit", u"", u"Paste Image From Clipboard", Kind::button, false, u"Ctrl+V", u"paste"},
    {u"ID_AddText", u"Add &Text", u"Edit", u"", u"AddText", Kind::button, false, u"", u"add-text"},
    {u"ID_TextFont", u"Text &Font", u"Edit", u"", u"Text Font", Kind::button, false, u"", u"text-font"},
    {u"ID_TextAngle", u"Text &Angle", u"Edit", u"", u"Text Angle", Kind::button, false, u"", u"text-angle"},
    {u"ID_TextOffset", u"Text &Offset", u"Edit", u"", u"Text Offset", Kind::button, false, u"", u"text-offset"},
    {u"ID_Rectangle", u"&Rectangle", u"Edit", u"Region", u"Select Rectangle Area", Kind::button, false, u"", u"rectangle"},
    {u"ID_Ellipse", u"&Ellipse", u"Edit", u"Region", u"Select Ellipse Area", Kind::button, false, u"", u"ellipse"},
    {u"ID_RoundRectangle", u"R&ound Rectangle", u"Edit", u"Region", u"Select Round Rectangle Area", Kind::button, false, u"", u"round-rectangle"},
    {u"ID_Freehand", u"&Free Hand", u"Edit", u"Region", u"Select Freehand Area", Kind::button, false, u"", u"freehand"},
    {u"ID_CancelRegion", u"&Cancel Region", u"Edit", u"Region", u"", Kind::button, false, u"", u""},
    {u"ID_ViewNormal", u"View &Normal", u"View", u"View", u"View Normal", Kind::state, true, u"", u"view-normal"},
    {u"ID_ViewFit", u"&Fit Image To Window", u"View", u"View", u"Fit Image To Window", Kind::state, false, u"", u"view-fit"},
    {u"ID_ViewStretch", u"Stretch &Image To Window", u"View", u"View", u"Stretch Image To Window", Kind::state, false, u"", u"view-stretch"},
    {u"ID_ViewSnap", u"Snap &Window To Image", u"View", u"View", u"Snap Window To Image", Kind::state, false, u"", u"view-snap"},
    {u"ID_ZoomIn", u"Zoom &In", u"View", u"View", u"Zoom In", Kind::button, false, u"", u"zoom-in"},
    {u"ID_ZoomOut", u"Zoom &Out", u"View", u"", u"Zoom Out", Kind::button, false, u"", u"zoom-out"},
    {u"ID_ZoomPercentage", u"Zoom Percentage", u"General", u"", u"Zoom Percentage", Kind::edit, false, u"", u""},
    {u"ID_ZoomIncrement", u"&Zoom Increment", u"General", u"", u"Zoom Increment", Kind::edit, false, u"", u""},
    {u"ID_PaintEffects", u"Paint Effects...", u"View", u"", u"Paint Effects", Kind::button, false, u"", u"paint-effects"},
    {u"ID_Resolution", u"&Resolution", u"Color", u"", u"Resolution", Kind::button, false, u"", u"resolution"},
    {u"ID_Crop", u"&Crop", u"Image", u"", u"Crop Image", Kind::button, false, u"", u"crop"},
    {u"ID_FlipHorizontal", u"Flip &Horizontal", u"Image", u"", u"Flip Image Horizontally", Kind::button, false, u"", u"flip-horizontal"},
    {u"ID_FlipVertical", u"Flip &Vertical", u"Image", u"", u"Flip Image Vertically", Kind::button, false, u"", u"flip-vertical"},
    {u"ID_RotateLeft", u"Rotate &Left", u"Image", u"", u"Rotate Left", Kind::button, false, u"", u"rotate-left"},
    {u"ID_RotateRight", u"Rotate &Right", u"Image", u"", u"Rotate Right", Kind::button, false, u"", u"rotate-right"},
    {u"ID_FreeRotate", u"&Free Rotate", u"Image", u"", u"Free Rotate", Kind::button, false, u"", u"free-rotate"},
    {u"ID_Resize", u"&Resize...", u"Image", u"", u"Resize Image", Kind::button, false, u"", u"resize"},
    {u"ID_Shear", u"&Shear...", u"Image", u"", u"Shear...", Kind::button, false, u"", u"shear"},
    {u"ID_EffectPosterize", u"Posterize", u"Image", u"Effects", u"Posterize", Kind::button, false, u"", u"effect-posterize"},
    {u"ID_EffectMosaic", u"Mosaic", u"Image", u"Effects", u"Mosaic", Kind::button, false, u"", u"effect-mosaic"},
    {u"ID_EffectAverage", u"Average", u"Image", u"Effects", u"Average", Kind::button, false, u"", u"effect-average"},
    {u"ID_EffectMedian", u"Median", u"Image", u"Effects", u"Median", Kind::button, false, u"", u"effect-median"},
    {u"ID_EffectSharpen", u"Sharpen", u"Image", u"Effects", u"Sharpen", Kind::button, false, u"", u"effect-sharpen"},
    {u"ID_EffectAddNoise", u"Add Noise", u"Image", u"Effects", u"Add Noise", Kind::button, false, u"", u"effect-add-noise"},
    {u"ID_EffectEmboss", u"Emboss", u"Image", u"Effects", u"Emboss", Kind::button, false, u"", u"effect-emboss"},
    {u"ID_EffectUnderlay", u"Underlay", u"Image", u"Effects", u"Underlay", Kind::button, false, u"", u"effect-underlay"},
    {u"ID_EffectEdgeEnhance", u"Edge Enhance", u"Image", u"Effects", u"Edge Enhance", Kind::button, false, u"", u"effect-edge-enhance"},
    {u"ID_SFGradient", u"Gradient", u"Image", u"Spatial Filters", u"", Kind::button, false, u"", u""},
    {u"ID_SFLaplacian", u"Laplacian", u"Image", u"Spatial Filters", u"", Kind::button, false, u"", u""},
    {u"ID_SFSobel", u"Sobel", u"Image", u"Spatial Filters", u"", Kind::button, false, u"", u""},
    {u"ID_SFPrewitt", u"Prewitt", u"Image", u"Spatial Filters", u"", Kind::button, false, u"", u""},
    {u"ID_SFShiftAndDifference", u"Shift And Difference", u"Image", u"Spatial Filters", u"", Kind::button, false, u"", u""},
    {u"ID_SFLineSegment", u"Line Segment", u"Image", u"Spatial Filters", u"", Kind::button, false, u"", u""},
    {u"ID_MoreBrightness", u"More Brightness", u"Color", u"", u"More Brightness", Kind::button, false, u"", u"more-brightness"},
    {u"ID_LessBrightness", u"Less Brightness", u"Color", u"", u"Less Brightness", Kind::button, false, u"", u"less-brightness"},
    {u"ID_MoreContrast", u"More Contrast", u"Color", u"", u"More Contrast", Kind::button, false, u"", u"more-contrast"},
    {u"ID_LessContrast", u"Less Contrast", u"Color", u"", u"Less Contrast", Kind::button, false, u"", u"less-contrast"},
    {u"ID_MoreHue", u"More Hue", u"Color", u"", u"More Hue", Kind::button, false, u"", u"more-hue"},
    {u"ID_LessHue", u"Less Hue", u"Color", u"", u"Less Hue", Kind::button, false, u"", u"less-hue"},
    {u"ID_Grayscale", u"Grayscale", u"Color", u"", u"", Kind::button, false, u"", u""},
    {u"ID_Grayscale12", u"Grayscale 12", u"Color", u"", u"", Kind::button, false, u"", u""},
    {u"ID_Grayscale16", u"Grayscale 16", u"Color", u"", u"", Kind::button, false, u"", u""},
    {u"ID_HalfToneView", u"View", u"Color", u"Half Tone", u"", Kind::button, false, u"", u""},
    {u"ID_HalfTonePrint", u"Print", u"Color", u"Half Tone", u"", Kind::button, false, u"", u""},
    {u"ID_HistogramEqualize", u"Histogram Equalize", u"Color", u"", u"Histogram Equalize", Kind::button, false, u"", u"histogram-equalize"},
    {u"ID_HistogramContrast", u"Histogram Contrast", u"Color", u"", u"Histogram Contrast", Kind::button, false, u"", u"histogram-contrast"},
    {u"ID_ViewHistogram", u"View Histogram", u"Color", u"", u"", Kind::button, false, u"", u""},
    {u"ID_SeparateRGB", u"RGB", u"Color", u"Separate", u"", Kind::button, false, u"", u""},
    {u"ID_SeparateCMYK", u"CMYK", u"Color", u"Separate", u"", Kind::button, false, u"", u""},
    {u"ID_SeparateHSV", u"HSV", u"Color", u"Separate", u"", Kind::button, false, u"", u""},
    {u"ID_SeparateHLS", u"HLS", u"Color", u"Separate", u"", Kind::button, false, u"", u""},
    {u"ID_SeparateCMY", u"CMY", u"Color", u"Separate", u"", Kind::button, false, u"", u""},
    {u"ID_Invert", u"Invert", u"Color", u"", u"Invert", Kind::button, false, u"", u"invert"},
    {u"ID_Saturation", u"Saturation", u"Color", u"", u"Saturation", Kind::button, false, u"", u"saturation"},
    {u"ID_StretchIntensity", u"Stretch Intensity", u"Color", u"", u"Stretch Intensity", Kind::button, false, u"", u"stretch-intensity"},
    {u"ID_GammaCorrection", u"Gamma Correction", u"Color", u"", u"Gamma Correction", Kind::button, false, u"", u"gamma-correction"},
    {u"ID_IntensityDetect", u"Intensity Detect", u"Color", u"", u"Intensity Detect", Kind::button, false, u"", u"intensity-detect"},
    {u"ID_CountUniqueColors", u"Count Unique Colors", u"Color", u"", u"", Kind::button, false, u"", u""},
    {u"ID_CustomizeToolbars", u"&Customize Toolbars", u"Preferences", u"", u"Customize Toolbars", Kind::button, false, u"", u"customize-toolbars"},
    {u"ID_DefaultToolbars", u"&Default Toolbars", u"Preferences", u"", u"Default Toolbars", Kind::button, false, u"", u"default-toolbars"},
    {u"ID_BrightnessIncrement", u"Brightness Increment", u"Preferences", u"", u"", Kind::button, false, u"", u""},
    {u"ID_ContrastIncrement", u"Contrast Increment", u"Preferences", u"", u"", Kind::button, false, u"", u""},
    {u"ID_HueIncrement", u"Hue Increment", u"Preferences", u"", u"", Kind::button, false, u"", u""},
    {u"ID_GammaIncrement", u"Gamma Increment", u"Preferences", u"", u"", Kind::button, false, u"", u""},
    {u"ID_DitheringOrdered", u"Ordered", u"Preferences", u"Dithering", u"", Kind::state, false, u"", u""},
    {u"ID_DitheringErrorDiffusion", u"Error Diffusion", u"Preferences", u"Dithering", u"", Kind::state, false, u"", u""},
    {u"ID_BSNormal", u"Normal", u"Preferences", u"Bitonal Scaling", u"", Kind::state, false, u"", u""},
    {u"ID_BSFavoredBlack", u"Favored Black", u"Preferences", u"Bitonal Scaling", u"", Kind::state, false, u"", u""},
    {u"ID_BSScaleToGray", u"Scale To Gray", u"Preferences", u"Bitonal Scaling", u"", Kind::state, false, u"", u""},
    {u"ID_PPFixed", u"Fixed", u"Preferences", u"PaintPalette", u"", Kind::state, false, u"", u""},
    {u"ID_UseNetscape", u"Use Netscape", u"Preferences", u"PaintPalette", u"", Kind::state, false, u"", u""},
    {u"ID_PaintWhileLoad", u"Paint While Load", u"Preferences", u"", u"Paint While Load", Kind::state, false, u"", u"paint-while-load"},
    {u"ID_ShowOpenOptions", u"Show Open Options", u"Preferences", u"", u"Show Open Options", Kind::state, false, u"", u"show-open-options"},
    {u"ID_ShowProgess", u"Show Progess", u"Preferences", u"", u"Show Progess", Kind::state, false, u"", u"show-progress"},
    {u"ID_Cascade", u"&Cascade", u"Window", u"", u"", Kind::button, false, u"", u""},
    {u"ID_TileHorizontally", u"Tile &Horizontally", u"Window", u"", u"", Kind::button, false, u"", u""},
    {u"ID_TileVertically", u"Tile &Vertically", u"Window", u"", u"", Kind::button, false, u"", u""},
    {u"ID_ArrangeIcons", u"Arrange &Icons", u"Window", u"", u"", Kind::button, false, u"", u""},
    {u"ID_CloseAll", u"Close &All", u"Window", u"", u"", Kind::button, false, u"", u""},
    {u"ID_Contents", u"&Contents", u"Help", u"", u"Contents", Kind::button, false, u"F1", u"contents"},
    {u"ID_About", u"&About Quillmark", u"Help", u"", u"About Quillmark", Kind::button, false, u"Ctrl+A", u"about"},

    {u"ID_mnuFile", u"&File", u"File", u"", u"", Kind::menu, false, u"", u""},
    {u"ID_mnuEdit", u"&Edit", u"Edit", u"", u"", Kind::menu, false, u"", u""},
    {u"ID_mnuView", u"&View", u"View", u"", u"", Kind::menu, false, u"", u""},
    {u"ID_mnuImage", u"&Image", u"Image", u"", u"", Kind::menu, false, u"", u""},
    {u"ID_mnuColor", u"&Color", u"Color", u"", u"", Kind::menu, false, u"", u""},
    {u"ID_mnuPreferences", u"&Preferences", u"Preferences", u"", u"", Kind::menu, false, u"", u""},
    {u"ID_mnuWindow", u"&Window", u"Window", u"", u"", Kind::menu, false, u"", u""},
    {u"ID_mnuHelp", u"&Help", u"Help", u"", u"", Kind::menu, false, u"", u""},
    {u"ID_mnuSelectRegion", u"Select &Region", u"Edit", u"", u"", Kind::menu, false, u"", u""},
    {u"ID_mnuEffects", u"Effects", u"Image", u"", u"", Kind::menu, false, u"", u""},
    {u"ID_mnuSpatialFilters", u"Spatial Filters", u"Image", u"", u"", Kind::menu, false, u"", u""},
    {u"ID_mnuGrayScale", u"&Gray Scale", u"Color", u"", u"", Kind::menu, false, u"", u""},
    {u"ID_mnuHalfTone", u"Half Tone", u"Color", u"", u"", Kind::menu, false, u"", u""},
    {u"ID_mnuHistogram", u"Histogram", u"Edit", u"", u"", Kind::menu, false, u"", u""},
    {u"ID_mnuSeparate", u"Separate", u"Color", u"", u"", Kind::menu, false, u"", u""},
    {u"ID_mnuEnhancementIncrements", u"Enhancement Increments", u"Preferences", u"", u"", Kind::menu, false, u"", u""},
    {u"ID_mnuDithering", u"Dithering", u"Preferences", u"", u"", Kind::menu, false, u"", u""},
    {u"ID_BitonalScaling", u"Bitonal Scaling", u"Preferences", u"", u"", Kind::menu, false, u"", u""},
    {u"ID_PaintPalette", u"Paint Palette", u"Preferences", u"", u"", Kind::menu, false, u"", u""},
    {u"ID_RightClick", u"Right Click", u"General", u"", u"", Kind::menu, false, u"", u""},
};
// clang-format on

constexpr Id kFileMenu[] = {u"ID_Open",       u"ID_SaveFile",
                            u"ID_Convert",    u"ID_BatchConversion",
                            kSeparator,       u"ID_SelectTWAINSource",
                            u"ID_Scan",       u"ID_ScreenCapture",
                            u"ID_Print",      u"ID_PrintSetup",
                            kSeparator,       u"ID_FileAssociation",
                            kSeparator,       u"ID_ImageFile1",
                            u"ID_ImageFile2", u"ID_ImageFile3",
                            u"ID_ImageFile4", kSeparator,
                            u"ID_Exit"};
constexpr Id kEditMenu[] = {u"ID_UnDo",
                            kSeparator,
                            u"ID_Copy",
                            u"ID_Paste",
                            kSeparator,
                            u"ID_AddText",
                            u"ID_TextFont",
                            u"ID_TextAngle",
                            u"ID_TextOffset",
                            kSeparator,
                            u"ID_mnuSelectRegion",
                            u"ID_CancelRegion"};
constexpr Id kViewMenu[] = {u"ID_ViewNormal",    u"ID_ViewFit", u"ID_ViewStretch", u"ID_ViewSnap",
                            kSeparator,          u"ID_ZoomIn",  u"ID_ZoomOut",     u"ID_ZoomPercentage",
                            u"ID_ZoomIncrement", kSeparator,    u"ID_PaintEffects"};
constexpr Id kImageMenu[] = {
    u"ID_Resolution",     kSeparator,         u"ID_Crop",       kSeparator,
    u"ID_FlipHorizontal", u"ID_FlipVertical", u"ID_RotateLeft", u"ID_RotateRight",
    u"ID_FreeRotate",     kSeparator,         u"ID_Resize",     kSeparator,
    u"ID_Shear",          kSeparator,         u"ID_mnuEffects", u"ID_mnuSpatialFilters"};
constexpr Id kColorMenu[] = {u"ID_MoreBrightness",
                             u"ID_LessBrightness",
                             u"ID_MoreContrast",
                             u"ID_LessContrast",
                             u"ID_MoreHue",
                             u"ID_LessHue",
                             kSeparator,
                             u"ID_mnuGrayScale",
                             u"ID_mnuHalfTone",
                             kSeparator,
                             u"ID_mnuHistogram",
                             u"ID_mnuSeparate",
                             u"ID_Invert",
                             kSeparator,
                             u"ID_Saturation",
                             u"ID_StretchIntensity",
                             u"ID_GammaCorrection",
                             u"ID_IntensityDetect",
                             u"ID_CountUniqueColors"};
constexpr Id kPreferencesMenu[] = {u"ID_CustomizeToolbars",
                                   u"ID_DefaultToolbars",
                                   kSeparator,
                                   u"ID_mnuEnhancementIncrements",
                                   u"ID_mnuDithering",
                                   u"ID_BitonalScaling",
                                   kSeparator,
                                   u"ID_PaintPalette",
                                   u"ID_PaintWhileLoad",
                                   kSeparator,
                                   u"ID_ShowOpenOptions",
                                   u"ID_ShowProgess"};
constexpr Id kWindowMenu[] = {u"ID_Cascade", u"ID_TileHorizontally", u"ID_TileVertically", u"ID_ArrangeIcons",
                              kSeparator,    u"ID_CloseAll"};
constexpr Id kHelpMenu[] = {u"ID_Contents", u"ID_About"};
constexpr Id kSelectRegionMenu[] = {u"ID_Rectangle", u"ID_Ellipse", u"ID_RoundRectangle", u"ID_Freehand"};
constexpr Id kEffectsMenu[] = {u"ID_EffectPosterize", u"ID_EffectMosaic",   u"ID_EffectAverage",
                               u"ID_EffectMedian",    u"ID_EffectSharpen",  u"ID_EffectAddNoise",
                               u"ID_EffectEmboss",    u"ID_EffectUnderlay", u"ID_EffectEdgeEnhance"};
constexpr Id kSpatialFiltersMenu[] = {u"ID_SFGradient", u"ID_SFLaplacian",          u"ID_SFSobel",
                                      u"ID_SFPrewitt",  u"ID_SFShiftAndDifference", u"ID_SFLineSegment"};
constexpr Id kGrayScaleMenu[] = {u"ID_Grayscale", u"ID_Grayscale12", u"ID_Grayscale16"};
constexpr Id kHalfToneMenu[] = {u"ID_HalfToneView", u"ID_HalfTonePrint"};
constexpr Id kHistogramMenu[] = {u"ID_HistogramEqualize", u"ID_HistogramContrast", u"ID_ViewHistogram"};
constexpr Id kSeparateMenu[] = {u"ID_SeparateRGB", u"ID_SeparateCMYK", u"ID_SeparateHSV", u"ID_SeparateHLS",
                                u"ID_SeparateCMY"};
constexpr Id kEnhancementIncrementsMenu[] = {u"ID_BrightnessIncrement", u"ID_ContrastIncrement",
                                             u"ID_HueIncrement", u"ID_GammaIncrement"};
constexpr Id kDitheringMenu[] = {u"ID_DitheringOrdered", u"ID_DitheringErrorDiffusion"};
constexpr Id kBitonalScalingMenu[] = {u"ID_BSNormal", u"ID_BSFavoredBlack", u"ID_BSScaleToGray"};
constexpr Id kPaintPaletteMenu[] = {u"ID_PPFixed", u"ID_UseNetscape"};
constexpr Id kRightClickMenu[] = {
    u"ID_ViewNormal",   u"ID_ViewFit",      u"ID_ViewStretch", u"ID_ViewSnap",       kSeparator,
    u"ID_ZoomIn",       u"ID_ZoomOut",      kSeparator,        u"ID_MoreBrightness", u"ID_LessBrightness",
    u"ID_MoreContrast", u"ID_LessContrast", u"ID_MoreHue",     u"ID_LessHue"};
constexpr Id kMenuBar[] = {u"ID_mnuFile",  u"ID_mnuEdit",        u"ID_mnuView",   u"ID_mnuImage",
                           u"ID_mnuColor", u"ID_mnuPreferences", u"ID_mnuWindow", u"ID_mnuHelp"};
constexpr Id kStandardBar[] = {
    u"ID_Open",        u"ID_SaveFile", kSeparator,          u"ID_Convert", u"ID_BatchConversion",
    kSeparator,        u"ID_Scan",     u"ID_ScreenCapture", u"ID_Print",   u"ID_PrintSetup",
    kSeparator,        u"ID_Copy",     u"ID_Paste",         kSeparator,    u"ID_ViewNormal",
    u"ID_ViewStretch", u"ID_ViewSnap", u"ID_ViewFit",       kSeparator,    u"ID_ZoomIn",
    u"ID_ZoomOut",     kSeparator,     u"ID_UnDo",          kSeparator,    u"ID_Exit"};
constexpr Id kImageProcessingBar[] = {
    u"ID_MoreBrightness", u"ID_LessBrightness", u"ID_MoreContrast", u"ID_LessContrast", u"ID_MoreHue",
    u"ID_LessHue",        kSeparator,           u"ID_Resolution",   u"ID_Resize",       u"ID_Shear",
    kSeparator,           u"ID_FlipHorizontal", u"ID_FlipVertical", u"ID_RotateLeft",   u"ID_RotateRight",
    u"ID_FreeRotate",     kSeparator,           u"ID_Rectangle",    u"ID_Crop"};

constexpr Strip kMenus[] = {
    {u"ID_mnuFile", kFileMenu},
    {u"ID_mnuEdit", kEditMenu},
    {u"ID_mnuView", kViewMenu},
    {u"ID_mnuImage", kImageMenu},
    {u"ID_mnuColor", kColorMenu},
    {u"ID_mnuPreferences", kPreferencesMenu},
    {u"ID_mnuWindow", kWindowMenu},
    {u"ID_mnuHelp", kHelpMenu},
    {u"ID_mnuSelectRegion", kSelectRegionMenu},
    {u"ID_mnuEffects", kEffectsMenu},
    {u"ID_mnuSpatialFilters", kSpatialFiltersMenu},
    {u"ID_mnuGrayScale", kGrayScaleMenu},
    {u"ID_mnuHalfTone", kHalfToneMenu},
    {u"ID_mnuHistogram", kHistogramMenu},
    {u"ID_mnuSeparate", kSeparateMenu},
    {u"ID_mnuEnhancementIncrements", kEnhancementIncrementsMenu},
    {u"ID_mnuDithering", kDitheringMenu},
    {u"ID_BitonalScaling", kBitonalScalingMenu},
    {u"ID_PaintPalette", kPaintPaletteMenu},
    {u"ID_RightClick", kRightClickMenu},
};

constexpr Strip kBars[] = {
    {u"Menu", kMenuBar},
    {u"Standard", kStandardBar},
    {u"Image Processing", kImageProcessingBar},
};

}  // namespace

std::span<const Tool> all_tools() { return kTools; }

const Tool* find_tool(QStringView id) {
    const auto* found = std::ranges::find_if(kTools, [id](const Tool& tool) { return id == tool.id; });
    return found == std::end(kTools) ? nullptr : found;
}

std::span<const Strip> designed_menus() { return kMenus; }

std::span<const Strip> designed_bars() { return kBars; }

}  // namespace quillmark::frame
