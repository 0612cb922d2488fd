// Half-tones, separation into planes, and what is counted: colours and levels.
#include <array>
#include <vector>

#include "operations/command.h"
#include "operations/histogram.h"
#include "program/document_list.h"
#include "program/prompts.h"
#include "text/numbers.h"

namespace quillmark::operations {
namespace {

constexpr std::uint32_t kHalftoneFlags = 0x40000040;

// Captions of the plane windows by SeparationKind, in the order of the planes.
const std::array<QStringList, 5> kPlanes{{
    {QStringLiteral("Blue Plane"), QStringLiteral("Green Plane"), QStringLiteral("Red Plane")},
    {QStringLiteral("Cyan Plane"), QStringLiteral("Magenta Plane"), QStringLiteral("Yellow Plane"),
     QStringLiteral("Black Plane")},
    {QStringLiteral("Hue Plane"), QStringLiteral("Saturation Plane"), QStringLiteral("Value Plane")},
    {QStringLiteral("Hue Plane"), QStringLiteral("Lightness Plane"), QStringLiteral("Saturation Plane")},
    {QStringLiteral("Cyan Plane"), QStringLiteral("Magenta Plane"), QStringLiteral("Yellow Plane")},
}};

ImageWindow* plane_window(FrameFace& frame, const QString& caption) {
    ImageWindow* window = frame.new_image_window();
    window->InitTheForm(caption, nullptr);
    window->setWindowTitle(caption);  // also where the caption begins like no known source
    return window;
}

}  // namespace

void halftone(FrameFace& frame, ImageWindow& window, int type) {
    copy_for_undo(window);
    with_report(frame, [&] {
        engine::CommonDialog& dialog = frame.LEADDlg1();
        dialog.Flags = kHalftoneFlags;
        dialog.Value = 0;
        dialog.Fixed = type;
        show_dialog(frame, window, engine::DialogKind::effect_value, "Halftone");
        const BusyBracket busy{frame};
        check(window.LEAD1().Halftone(type, dialog.Value), "Halftone");
        window.ViewNormal();
    });
}

void separate(FrameFace& frame, ImageWindow& window, int SeparationKind) {
    copy_for_undo(window);
    {
        const BusyBracket busy{frame};
        std::vector<ImageWindow*> planes;
        for (const QString& caption : kPlanes.at(static_cast<std::size_t>(SeparationKind)))
            planes.push_back(plane_window(frame, caption));
        program::DocumentList& kids = frame.kids();
        const std::int16_t position = kids.FindKid(window.handle());
        const bool separated = window.LEAD1().ColorSeparate(SeparationKind) == 0;
        // After a failure the windows stay, empty: shown, so that they can be closed.
        for (std::size_t n = 0; n < planes.size(); ++n) {
            if (separated) planes[n]->LEAD1().SetBitmap(window.LEAD1().ColorPlanes(static_cast<int>(n)));
            planes[n]->show_window();
            planes[n]->ViewSnap();
            planes[n]->step_aside(static_cast<int>(n));  // the captions of those before it stay in sight
            frame.send_active_to_back();
            kids.MakeKidActive(position);
        }
    }
    frame.state().ImageChanged = true;
}

void count_unique_colours(FrameFace& frame, ImageWindow& window) {
    std::int64_t count = 0;
    {
        const BusyBracket busy{frame};
        count = window.LEAD1().GetColorCount();
    }
    if (count == 0) return;  // stopped: every image has a colour
    frame.prompts().message(
        QStringLiteral("Bitmap contains %1 unique colors").arg(QString::fromStdString(text::grouped(count))),
        QStringLiteral("UNIQUE COLORS"), program::Icon::information);
}

void view_histogram(FrameFace& frame, ImageWindow&) {
    Histogram form{frame};
    frame.prompts().show_modal(form);
}

}  // namespace quillmark::operations
