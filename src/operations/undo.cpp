// The one level of undo.
#include "operations/command.h"

namespace quillmark::operations {

void undo(FrameFace& frame, ImageWindow& window) {
    program::ProgramState& state = frame.state();
    if (state.LastTool == u"ID_UnDo") return;
    // A window in which nothing has happened yet has no copy: emptying it would lose the image.
    if (window.LEAD3().Bitmap().empty()) return;
    window.LEAD1().SetBitmap(window.LEAD3().Bitmap());
    window.LEAD2().SetBitmap({});        // what a dropped selection covered belongs to the image that goes
    window.LEAD1().SetAutoScroll(true);  // a crop had switched it off
    refresh_status(frame, window);
    if (state.LastTool.isEmpty() || state.LastTool == u"ID_Rectangle" || state.LastTool == u"ID_Crop") return;
    window.ViewNormal();
    if (!state.UndoPending) return;
    window.LEAD1().ForceRepaint();
    state.UndoPending = false;
}

}  // namespace quillmark::operations
