// The mouse on the image: selecting, moving a selection, dropping text.
//
// Positions are device pixels throughout (see ImageView); ScaleMode is set to pixels wherever one of them
// meets a member of the engine.
#include <QPointer>
#include <algorithm>
#include <array>

#include "engine/pointers.h"
#include "program/status_bar.h"
#include "program/tool_face.h"
#include "text/numbers.h"
#include "viewer/viewer.h"

namespace quillmark::viewer {
namespace {

// What each RegionTool draws.
constexpr std::array<int, 5> kTrackingShapes{engine::kTrackNone, engine::kTrackRectangle,
                                             engine::kTrackEllipse, engine::kTrackRoundedRectangle,
                                             engine::kTrackFreehand};
constexpr int kShown = 2, kNotShown = 0;  // RgnFrameType
constexpr int kLeft = 1, kRight = 2;      // buttons
constexpr int kShiftOrCtrl = 1 | 2;

int rounded(double value) { return static_cast<int>(text::round_half_even(value)); }

}  // namespace

void Viewer::LEAD1_MouseDown(int button, int shift, double x, double y) {
    if (button == kRight) {
        const QPointer<Viewer> self{this};  // a command of the menu may close this window
        frame_.tools().show_popup(u"ID_RightClick", QCursor::pos());
        if (!self) return;
    }
    lead1_.SetScaleMode(engine::kPixels);
    if (lead1_.DstHeight() == 0) return;
    StartX = text::to_int16(x);
    StartY = text::to_int16(y);
    if (frame_.state().LastTool == u"ID_Rectangle") AnchorX = StartX, AnchorY = StartY;
    lead1_.SetScaleMode(engine::kTwips);
    if (lead1_.RgnTracking() != engine::kTrackNone) lead1_.SetMousePointer(engine::kPointerSize);
    if (button != kLeft) return;
    const QPointF at = lead1_.bitmap_point({x, y});
    if (lead1_.HasRgn() && lead1_.IsPtInRgn(at.x(), at.y()) && !(shift & kShiftOrCtrl)) return lift_region();
    // Without a shape the mouse draws nothing, also after one was used.
    const bool has_shape = RegionTool >= 0 && static_cast<std::size_t>(RegionTool) < kTrackingShapes.size();
    lead1_.SetRgnTracking(has_shape ? kTrackingShapes[static_cast<std::size_t>(RegionTool)]
                                    : engine::kTrackNone);
    lead2_.SetBitmap({});
}

void Viewer::LEAD1_MouseMove(int button, int, double x, double y) {
    lead1_.SetScaleMode(engine::kPixels);
    if (!RegionDragging) return;
    // The release was lost: work was going on when it came.
    if (!(button & kLeft)) return drop_region();
    lead1_.MoveFloater(lead1_.FloaterLeft() + x - StartX, lead1_.FloaterTop() + y - StartY);
    StartX = text::to_int16(x);
    StartY = text::to_int16(y);
    pixels_moved();
}

void Viewer::LEAD1_MouseUp(int button, int, double x, double y) {
    lead1_.SetScaleMode(engine::kPixels);
    program::ProgramState& state = frame_.state();
    const std::int16_t px = text::to_int16(x), py = text::to_int16(y);
    if (state.LastTool == u"ID_Rectangle") {
        state.RectLeft = AnchorX, state.RectTop = AnchorY;
        state.RectRight = px, state.RectBottom = py;
    }
    if (button == kLeft) {
        if (lead1_.RgnTracking() != engine::kTrackNone)
            lead1_.SetRgnFrameType(kShown);
        else if (RegionDragging)
            drop_region();
    }
    state.ImageChanged = true;
    lead1_.SetMousePointer(engine::kPointerArrow);
    frame_.InsertText(px, py);
    lead1_.SetDisplaySwitch(4, false);
    lead1_.SetDisplaySwitch(1, true);
}

// The rectangle is exact, not rounded to the next pixels outside: a press and release without a move between
// must leave the pixels where they are.
void Viewer::lift_region() {
    lead1_.SetScaleMode(engine::kPixels);
    lead1_.SetRgnTracking(engine::kTrackNone);
    lead1_.SetRgnFrameType(kNotShown);
    lead1_.SetFloaterVisible(false);
    lead1_.SetFloater(lead1_.Bitmap());
    const imaging::Rect lifted = lead1_.Rgn().bounds();
    const double scale_x = lead1_.DstWidth() / lead1_.BitmapWidth(),
                 scale_y = lead1_.DstHeight() / lead1_.BitmapHeight();
    lead1_.SetFloaterRect(lead1_.DstLeft() + lifted.x * scale_x, lead1_.DstTop() + lifted.y * scale_y,
                          lifted.width * scale_x, lifted.height * scale_y);
    put_back_pixels();
    lead1_.SetFloaterVisible(true);
    RegionDragging = true;
}

void Viewer::drop_region() {
    lead1_.SetRgnFrameType(kNotShown);
    const QPointF at = lead1_.bitmap_point(lead1_.floater_rectangle().topLeft());
    drop_region_at(rounded(at.x()), rounded(at.y()));
}

// LEAD2 keeps what the drop covers.
void Viewer::drop_region_at(int left, int top) {
    RegionDragging = false;
    if (!lead1_.FloaterVisible()) return;  // another image has come since
    const imaging::Rect lifted = lead1_.FloaterRgn().bounds();
    lead1_.SetRgn(lead1_.FloaterRgn().moved(left - lifted.x, top - lifted.y));
    lead2_.SetBitmap(lead1_.RgnPixels());
    lead1_.DropFloater(left, top);
}

void Viewer::put_back_pixels() {
    if (lead2_.Bitmap().empty() || !lead1_.HasRgn()) return;
    const imaging::Rect place = lead1_.Rgn().bounds();
    lead1_.PutPixels(lead2_.Bitmap(), place.x, place.y);
}

void Viewer::pixels_moved() {
    frame_.state().NonRectRegion = true;
    frame_.state().LastTool.clear();
}

void Viewer::CancelRegion() {
    RegionDragging = false;
    lead1_.SetFloaterVisible(false);
    put_back_pixels();
    lead2_.SetBitmap({});
    lead1_.FreeRgn();
    lead1_.SetRgnFrameType(kNotShown);
}

// Arrow keys place an outline exactly: they move the outline alone, which destroys nothing. Once the pixels
// have been dragged they are afloat, with what they cover kept in LEAD2, and go with it.
void Viewer::nudge_region(int dx, int dy) {
    const imaging::Rect place = lead1_.Rgn().bounds();
    dx = std::clamp(dx, -place.x, lead1_.BitmapWidth() - place.right());
    dy = std::clamp(dy, -place.y, lead1_.BitmapHeight() - place.bottom());
    if (dx == 0 && dy == 0) return;
    if (lead2_.Bitmap().empty()) {
        lead1_.SetRgn(lead1_.Rgn().moved(dx, dy));
        return record_nudged_rectangle();
    }
    const int frame_type = lead1_.RgnFrameType();
    const int tracking = lead1_.RgnTracking();
    lift_region();
    drop_region_at(place.x + dx, place.y + dy);
    lead1_.SetRgnFrameType(frame_type);
    lead1_.SetRgnTracking(tracking);
    pixels_moved();
    frame_.state().ImageChanged = true;
}

// A crop takes the rectangle where its outline stands.
void Viewer::record_nudged_rectangle() {
    program::ProgramState& state = frame_.state();
    if (state.LastTool != u"ID_Rectangle" || state.NonRectRegion) return;
    lead1_.SetScaleMode(engine::kPixels);
    const imaging::Rect place = lead1_.Rgn().bounds();
    const double scale_x = lead1_.DstWidth() / lead1_.BitmapWidth(),
                 scale_y = lead1_.DstHeight() / lead1_.BitmapHeight();
    state.RectLeft = text::to_int16(lead1_.DstLeft() + place.x * scale_x);
    state.RectTop = text::to_int16(lead1_.DstTop() + place.y * scale_y);
    state.RectRight = text::to_int16(lead1_.DstLeft() + place.right() * scale_x);
    state.RectBottom = text::to_int16(lead1_.DstTop() + place.bottom() * scale_y);
}

// A drag that is given up: the pixels return to where they were lifted.
bool Viewer::abandon_drag() {
    if (!RegionDragging) return false;
    const imaging::Rect lifted = lead1_.FloaterRgn().bounds();
    drop_region_at(lifted.x, lifted.y);
    lead1_.SetMousePointer(engine::kPointerArrow);
    return true;
}

void Viewer::show_selection() {
    if (frame_.active_window() != this) return;
    imaging::Rect shown = view_->tracked_bounds();
    if (shown.empty()) shown = lead1_.Rgn().bounds();
    if (lead1_.FloaterVisible()) {
        const QPointF at = lead1_.bitmap_point(lead1_.floater_rectangle().topLeft());
        shown.x = rounded(at.x());
        shown.y = rounded(at.y());
    }
    frame_.status_bar().show_selection(shown);
}

// What a drop covered lies under an outline that is no more: it stays dropped.
engine::Code Viewer::RotateRegion(int angle, bool) {
    const engine::Code code = lead1_.RotateRgn(angle, Qt::white);
    if (code == 0) lead2_.SetBitmap({});
    return code;
}

engine::Code Viewer::ShearRegion(int angle, bool option) {
    const engine::Code code = lead1_.ShearRgn(angle, option, Qt::white);
    if (code == 0) lead2_.SetBitmap({});
    return code;
}

void Viewer::show_text_pointer(bool on) {
    lead1_.SetMousePointer(on ? engine::kPointerText : engine::kPointerArrow);
}

imaging::Rect Viewer::visible_part() const { return view_->visible_pixels(); }

}  // namespace quillmark::viewer
