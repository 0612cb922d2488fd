// The image window: one image, shown and edited; registers with the frame, fills its status bar, closes with
// the save question.
#pragma once

#include <QMdiArea>
#include <QMdiSubWindow>
#include <QPointer>

#include "engine/image_view.h"
#include "program/frame_face.h"
#include "program/image_window.h"

namespace quillmark::viewer {

class Viewer final : public program::ImageWindow {
    Q_OBJECT

  public:
    /// Runs Form_Load: the window counts as open from here on.
    explicit Viewer(program::FrameFace& frame);
    ~Viewer() override;

    /// The sub-window that frames this window; set once by the frame.
    void set_frame_window(QMdiSubWindow* window);
    engine::ImageView& view() { return *view_; }

    std::int32_t handle() const override { return handle_; }
    engine::Engine& LEAD1() override { return lead1_; }
    engine::Engine& LEAD2() override { return lead2_; }
    engine::Engine& LEAD3() override { return lead3_; }

    std::int16_t InitTheForm(const QString& source, const program::FileArguments* file) override;
    void show_window() override;
    void unload() override;
    void DisplayStatusBar(const QString& caption) override;
    void PaintChange() override;
    void ViewNormal() override;
    void ViewFit() override;
    void ViewStretch() override;
    void ViewSnap() override;
    void ZoomIn() override;
    void ZoomOut() override;
    void SetRegionTool(std::int16_t shape) override { RegionTool = shape; }
    void CancelRegion() override;
    engine::Code RotateRegion(int angle, bool option) override;
    engine::Code ShearRegion(int angle, bool option) override;
    void size_control(int width, int height) override { size_client_to(width, height); }
    void step_aside(int steps) override;
    void show_text_pointer(bool on) override;
    imaging::Rect visible_part() const override;

    /// Shows the percentage that stands in the zoom box.
    void apply_zoom_box();
    /// The window became the active one.
    void Form_Activate();
    /// Whether the window may close.
    bool Form_QueryUnload() const;

    bool StopRequested = false;
    bool RegionDragging = false;
    bool ResizeSuppressed = false;
    std::int16_t RegionTool = 0;
    std::int16_t StartX = 0, StartY = 0, AnchorX = 0, AnchorY = 0;

  protected:
    void resizeEvent(QResizeEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

  private:
    void Form_Load();
    void Form_Resize();
    void Form_Unload();
    void Form_KeyPress(int key);
    void LEAD1_ProgressStatus(int percent);
    void LEAD1_MouseDown(int button, int shift, double x, double y);
    void LEAD1_MouseMove(int button, int shift, double x, double y);
    void LEAD1_MouseUp(int button, int shift, double x, double y);

    void lift_region();
    void drop_region();
    void drop_region_at(int left, int top);
    void put_back_pixels();
    void pixels_moved();
    void nudge_region(int dx, int dy);
    void record_nudged_rectangle();
    bool abandon_drag();
    void show_selection();

    void set_title(const QString& source);
    bool size_client_to(int width, int height);
    void check_view(const char16_t* id);
    void apply_zoom(int percent, const char16_t* tool);
    void show_zoom();
    Qt::WindowStates window_state() const;

    program::FrameFace& frame_;
    engine::Engine lead1_, lead2_, lead3_;
    engine::ImageView* view_;
    QPointer<QMdiSubWindow> window_;
    std::int32_t handle_;
    bool loaded_ = false;
};

}  // namespace quillmark::viewer
