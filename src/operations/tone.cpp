// Brightness, contrast, hue, greys and the colour operations with a dialog.
#include <algorithm>

#include "operations/command.h"

namespace quillmark::operations {
namespace {

using engine::CommonDialog;
using engine::DialogKind;
using engine::Engine;

void step(FrameFace& frame, ImageWindow& window, engine::Code (Engine::*member)(int), const char* name,
          int change) {
    check((window.LEAD1().*member)(change), name);
    window.LEAD1().ForceRepaint();
    refresh_status(frame, window);
}

void direct(FrameFace& frame, ImageWindow& window, engine::Code (Engine::*member)(), const char* name) {
    begin_undoable(frame, window);
    const BusyBracket busy{frame};
    check((window.LEAD1().*member)(), name);
}

constexpr DialogOperation kColourOperations[] = {
    {8, "Saturation", DialogKind::effect_value, 0x40000008,
     [](Engine& image, const CommonDialog& d) { return image.Saturation(d.Value); }},
    {16, "HistoContrast", DialogKind::effect_value, 0x40000010,
     [](Engine& image, const CommonDialog& d) { return image.HistoContrast(d.Value); }},
    {29, "GammaCorrect", DialogKind::gamma, 0x40000000,
     [](Engine& image, const CommonDialog& d) { return image.GammaCorrect(d.Gamma); }},
    {31, "IntensityDetect", DialogKind::intensity_detect, 0x40000000,
     [](Engine& image, const CommonDialog& d) { return image.IntensityDetect(d.Low, d.High); }},
    {16380, "ColorRes", DialogKind::colour_resolution, 0x0FFFFFFD,
     [](Engine& image, const CommonDialog& d) {
         return image.ColorRes(d.Bits, d.PaletteOption, d.DitherOption, 0);
     }},
};

void preset(CommonDialog& dialog, DialogKind kind) {
    switch (kind) {
        case DialogKind::effect_value: dialog.Value = 0; break;
        case DialogKind::gamma: dialog.Gamma = 0; break;
        case DialogKind::intensity_detect: dialog.Low = 0, dialog.High = 255; break;
        default: break;
    }
}

}  // namespace

void step_intensity(FrameFace& frame, ImageWindow& window, int sign) {
    step(frame, window, &Engine::Intensity, "Intensity", sign * frame.state().BrightnessInc * 10);
}

void step_contrast(FrameFace& frame, ImageWindow& window, int sign) {
    step(frame, window, &Engine::Contrast, "Contrast", sign * frame.state().ContrastInc * 10);
}

void step_hue(FrameFace& frame, ImageWindow& window, int sign) {
    step(frame, window, &Engine::Hue, "Hue", sign * frame.state().HueInc * 10);
}

void grayscale(FrameFace& frame, ImageWindow& window, int bits) {
    begin_undoable(frame, window);
    {
        const BusyBracket busy{frame};
        check(window.LEAD1().Grayscale(bits), "Grayscale");
    }
    frame.state().ImageChanged = true;
}

void invert(FrameFace& frame, ImageWindow& window) { direct(frame, window, &Engine::Invert, "Invert"); }

void equalize(FrameFace& frame, ImageWindow& window) {
    direct(frame, window, &Engine::HistoEqualize, "HistoEqualize");
}

void stretch_intensity(FrameFace& frame, ImageWindow& window) {
    direct(frame, window, &Engine::StretchIntensity, "StretchIntensity");
}

void adjust_colour(FrameFace& frame, ImageWindow& window, int ColorAdjustKind) {
    begin_undoable(frame, window);
    const auto row = std::ranges::find(kColourOperations, ColorAdjustKind, &DialogOperation::kind);
    if (row == std::end(kColourOperations)) return frame.StatusTerm();
    with_report(frame, [&] {
        CommonDialog& dialog = frame.LEADDlg1();
        preset(dialog, row->dialog);
        dialog.Flags = row->flags;
        show_dialog(frame, window, row->dialog, row->member);
        const BusyBracket busy{frame};
        check(row->run(window.LEAD1(), dialog), row->member);
        if (row->dialog == DialogKind::colour_resolution) window.ViewNormal();
    });
}

}  // namespace quillmark::operations
