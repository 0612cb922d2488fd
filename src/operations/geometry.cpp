// Mirrors, turns, shear, resize and crop.
#include <cmath>
#include <cstdlib>

#include "operations/command.h"
#include "operations/resize_form.h"
#include "program/prompts.h"
#include "text/numbers.h"

namespace quillmark::operations {
namespace {

using engine::Engine;

constexpr std::uint32_t kWithPreview = 0x40000000;

void mirror(FrameFace& frame, ImageWindow& window, engine::Code (Engine::*member)(), const char* name) {
    begin_undoable(frame, window);
    {
        const BusyBracket busy{frame};
        check((window.LEAD1().*member)(), name);
    }
    window.LEAD1().ForceRepaint();
}

/// Rotation and shear differ only in this.
struct Turn {
    const char* member;
    engine::DialogKind dialog;
    std::uint32_t flags;
    engine::Code (Engine::*image)(int angle, bool option, const QColor& fill);
    const char* region_member;
    engine::Code (ImageWindow::*region)(int angle, bool option);
};

constexpr Turn kRotate{"Rotate",       engine::DialogKind::rotate, 3, &Engine::Rotate,
                       "RotateRegion", &ImageWindow::RotateRegion};
constexpr Turn kShear{"Shear",       engine::DialogKind::shear, 4, &Engine::Shear,
                      "ShearRegion", &ImageWindow::ShearRegion};

void turn_region(FrameFace& frame, ImageWindow& window, const Turn& turn) {
    engine::CommonDialog& dialog = frame.LEADDlg1();
    dialog.Angle = 0;
    dialog.Flags = turn.flags;
    dialog.Operation = turn.member;
    check(frame.prompts().show_common(dialog, turn.dialog), turn.member);
    check((window.*turn.region)(dialog.Angle, dialog.Option), turn.region_member);
    refresh_status(frame, window);
}

void turn_image(FrameFace& frame, ImageWindow& window, const Turn& turn) {
    engine::CommonDialog& dialog = frame.LEADDlg1();
    dialog.Angle = 0;
    dialog.Flags = kWithPreview | turn.flags;
    dialog.FillColor = Qt::white;
    show_dialog(frame, window, turn.dialog, turn.member);
    const BusyBracket busy{frame};
    check((window.LEAD1().*turn.image)(dialog.Angle, dialog.Option, dialog.FillColor), turn.member);
    window.ViewNormal();
    window.ViewSnap();
}

void turn(FrameFace& frame, ImageWindow& window, const Turn& turn) {
    window.LEAD1().HasRgn() ? turn_region(frame, window, turn) : turn_image(frame, window, turn);
}

int rounded(double value) { return static_cast<int>(text::round_half_even(value)); }

// The clip rectangle of the display in bitmap pixels.
imaging::Rect clipped_part(const Engine& image) {
    if (image.DstWidth() <= 0 || image.DstHeight() <= 0) return {};
    const double sx = image.BitmapWidth() / image.DstWidth();
    const double sy = image.BitmapHeight() / image.DstHeight();
    return {rounded((image.DstClipLeft() - image.DstLeft()) * sx),
            rounded((image.DstClipTop() - image.DstTop()) * sy), rounded(image.DstClipWidth() * sx),
            rounded(image.DstClipHeight() * sy)};
}

// What the last drag selected. The rectangle is kept as the mouse drew it, on the display; other shapes are
// known by their region.
imaging::Rect selected_part(const program::ProgramState& state, Engine& image) {
    if (state.NonRectRegion && image.HasRgn()) return image.Rgn().bounds();
    image.SetDstClipRect(std::min(state.RectLeft, state.RectRight), std::min(state.RectTop, state.RectBottom),
                         std::abs(state.RectRight - state.RectLeft),
                         std::abs(state.RectBottom - state.RectTop));
    return clipped_part(image);
}

}  // namespace

void mirror_horizontally(FrameFace& frame, ImageWindow& window) {
    mirror(frame, window, &Engine::Reverse, "Reverse");
}

void mirror_vertically(FrameFace& frame, ImageWindow& window) {
    mirror(frame, window, &Engine::Flip, "Flip");
}

void quarter_turn(FrameFace& frame, ImageWindow& window, int angle) {
    const BusyBracket busy{frame};
    check(window.LEAD1().Rotate(angle, true, Qt::white), "Rotate");
    window.ViewSnap();
}

void free_rotate(FrameFace& frame, ImageWindow& window) {
    begin_undoable(frame, window);
    with_report(frame, [&] {
        turn(frame, window, kRotate);
        frame.state().ImageChanged = true;
    });
}

void shear(FrameFace& frame, ImageWindow& window) {
    with_report(frame, [&] { turn(frame, window, kShear); });
}

void resize(FrameFace& frame, ImageWindow& window) {
    copy_for_undo(window);
    Engine& image = window.LEAD1();
    Resize form{image.BitmapWidth(), image.BitmapHeight()};
    form.InitTheForm(0);
    frame.prompts().show_modal(form);
    const Resize::Results results = form.GetResults();
    if (!results.ok) return;
    {
        const BusyBracket busy{frame};
        check(image.Size(results.width, results.height, results.resample ? 1 : 0), "Size");
        window.ViewNormal();
    }
    window.ViewSnap();
}

void crop(FrameFace& frame, ImageWindow& window) {
    const program::ProgramState& state = frame.state();
    if (state.NonRectRegion) {
        if (state.LastTool.isEmpty() || state.LastTool == u"ID_Crop") return;
        undo(frame, window);
    } else {
        if (state.LastTool != u"ID_Rectangle") return;
        copy_for_undo(window);
    }
    C_Crop(frame, window);
}

void C_Crop(FrameFace& frame, ImageWindow& window) {
    const program::WaitPointer wait;
    Engine& image = window.LEAD1();
    image.SetScaleMode(engine::kPixels);  // the unit in which the rectangle was kept
    const imaging::Rect part = selected_part(frame.state(), image);
    image.SetRgnFrameType(0);
    check(image.Trim(part.x, part.y, part.width, part.height), "Trim");
    // The control fits its image now: nothing is left to scroll.
    window.size_control(part.width, part.height);
    image.SetAutoScroll(false);
    refresh_status(frame, window);
    frame.state().LastTool = QStringLiteral("ID_Crop");
}

}  // namespace quillmark::operations
