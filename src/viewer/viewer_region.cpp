// The mouse on the image: selecting, moving a selection, dropping text.
#include "viewer/viewer.h"

namespace quillmark::viewer {

void Viewer::CancelRegion() {
    lead2_.SetBitmap({});
    lead1_.FreeRgn();
    lead1_.SetRgnFrameType(0);
}

engine::Code Viewer::RotateRegion(int, bool) { return engine::Engine::kNotAvailable; }
engine::Code Viewer::ShearRegion(int, bool) { return engine::Engine::kNotAvailable; }
void Viewer::show_text_pointer(bool) {}
imaging::Rect Viewer::visible_part() const { return {}; }

}  // namespace quillmark::viewer
