// View modes and zoom of the image window.
#include <QCoreApplication>
#include <QResizeEvent>
#include <optional>

#include "program/prompts.h"
#include "program/tool_face.h"
#include "text/numbers.h"
#include "viewer/viewer.h"

namespace quillmark::viewer {
namespace {

constexpr auto kZoomBox = u"ID_ZoomPercentage";

// The whole number in a zoom box; nothing when it holds none, so that the view stays as it is.
std::optional<int> number_in(const QString& text) {
    const QString trimmed = text.trimmed();
    const bool has_number =
        !trimmed.isEmpty() && (trimmed[0].isDigit() || ((trimmed[0] == u'-' || trimmed[0] == u'+') &&
                                                        trimmed.size() > 1 && trimmed[1].isDigit()));
    if (!has_number) return std::nullopt;
    return static_cast<int>(text::int16_from_text(trimmed.toStdString()));
}

bool fits_16_bits(int value) { return value >= INT16_MIN && value <= INT16_MAX; }

}  // namespace

Qt::WindowStates Viewer::window_state() const {
    return window_ ? window_->windowState() : Qt::WindowStates{};
}

void Viewer::check_view(const char16_t* id) { frame_.tools().set_checked(id, true); }

void Viewer::ViewNormal() {
    if (window_state() & Qt::WindowMinimized) return;
    frame_.state().ZoomPercent = 100;
    lead1_.SetAutoScroll(true);  // a crop had switched it off
    lead1_.SetPaintSizeMode(engine::kPaintNormal);
    lead1_.ForceRepaint();
    check_view(u"ID_ViewNormal");
    frame_.tools().set_edit_text(kZoomBox, QStringLiteral("100"));
    show_zoom();
}

void Viewer::ViewFit() {
    lead1_.SetPaintSizeMode(engine::kPaintFit);
    lead1_.ForceRepaint();
    frame_.state().ZoomPercent = program::kViewFit;
    check_view(u"ID_ViewFit");
}

void Viewer::ViewStretch() {
    lead1_.SetPaintSizeMode(engine::kPaintStretch);
    lead1_.ForceRepaint();
    frame_.state().ZoomPercent = program::kViewStretch;
    check_view(u"ID_ViewStretch");
}

void Viewer::ViewSnap() {
    // Without an image there is nothing to snap to; that is no failure worth a message.
    if (lead1_.Bitmap().empty()) return;
    const bool normal_state = !(window_state() & (Qt::WindowMinimized | Qt::WindowMaximized));
    if (normal_state) {
        if (!size_client_to(lead1_.BitmapWidth(), lead1_.BitmapHeight())) {
            frame_.prompts().message(tr("The window has no frame to resize."),
                                     QStringLiteral("UNEXPECTED ERROR! (Viewer: ViewSnap)"),
                                     program::Icon::stop);
            return;
        }
        check_view(u"ID_ViewSnap");
    }
    frame_.state().ZoomPercent = program::kViewSnap;
}

void Viewer::apply_zoom(int percent, const char16_t* tool) {
    frame_.state().ZoomPercent = static_cast<std::int16_t>(percent);
    lead1_.SetAutoScroll(true);  // a crop had switched it off
    lead1_.SetPaintZoomFactor(percent);
    lead1_.ForceRepaint();
    frame_.tools().set_edit_text(kZoomBox, QString::number(percent));
    check_view(tool);
    check_view(u"ID_ViewNormal");
    show_zoom();
}

void Viewer::ZoomIn() {
    const auto box = number_in(frame_.tools().edit_text(kZoomBox));
    if (!box) return;
    const int percent = *box + frame_.state().ZoomIncrement;
    if (fits_16_bits(percent)) apply_zoom(percent, u"ID_ZoomIn");
}

void Viewer::ZoomOut() {
    const auto box = number_in(frame_.tools().edit_text(kZoomBox));
    if (!box) return;
    const int percent = *box - frame_.state().ZoomIncrement;
    if (!fits_16_bits(percent)) return;
    if (percent < 0) {
        frame_.state().ZoomPercent = 0;
        frame_.tools().set_edit_text(kZoomBox, QStringLiteral("0"));
        return;
    }
    apply_zoom(percent, u"ID_ZoomOut");
}

void Viewer::apply_zoom_box() {
    const auto box = number_in(frame_.tools().edit_text(kZoomBox));
    if (!box || *box < 1) return;
    apply_zoom(*box, u"ID_ViewNormal");
}

void Viewer::PaintChange() {
    lead1_.SetPaintDitherMethod(frame_.state().DitherMethod);
    lead1_.SetBitonalScaling(frame_.state().BitonalScalingMode);
    lead1_.SetBitonalDisplay(0);
    lead1_.ForceRepaint();
}

void Viewer::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    Form_Resize();
}

// Re-applies the start-up view mode, whatever mode was chosen for this window since.
void Viewer::Form_Resize() {
    if (ResizeSuppressed) return;
    const auto mode = frame_.state().DefaultViewMode;
    if (mode == program::kViewStretch) return ViewStretch();
    if (mode == program::kViewFit) return ViewFit();
    if (mode != program::kViewNormal) return;
    const auto box = number_in(frame_.tools().edit_text(kZoomBox));
    if (!box) return;
    if (*box == 100) return ViewNormal();
    // One step away and back again: the zoom commands themselves re-apply the display.
    const int step = frame_.state().ZoomIncrement;
    frame_.tools().set_edit_text(kZoomBox, QString::number(*box > 100 ? *box - step : *box + step));
    *box > 100 ? ZoomIn() : ZoomOut();
}

}  // namespace quillmark::viewer
