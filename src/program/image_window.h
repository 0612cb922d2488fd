// An open image window as the frame and the rooms see it; viewer::Viewer is the one implementation.
#pragma once

#include <QWidget>
#include <cstdint>

#include "engine/engine.h"

namespace quillmark::program {

/// What a window for a file is told beside its source text.
struct FileArguments {
    QString name;
    std::int16_t page = 1;
    bool paint_while_load = false;
    std::int16_t pcd_resolution = 0;
};

class ImageWindow : public QWidget {
    Q_OBJECT

  public:
    using QWidget::QWidget;

    /// The window's handle in the document list: unique and growing while the program runs.
    virtual std::int32_t handle() const = 0;
    virtual engine::Engine& LEAD1() = 0;  ///< the image
    virtual engine::Engine& LEAD2() = 0;  ///< a second work copy
    virtual engine::Engine& LEAD3() = 0;  ///< the undo copy

    /// Prepares the window for its source. Result 0: go on; 20000: the file could not be examined (reported).
    virtual std::int16_t InitTheForm(const QString& source, const FileArguments* file) = 0;
    /// Makes the prepared window visible in the frame.
    virtual void show_window() = 0;
    /// Closes and deletes the window; runs its own close handling.
    virtual void unload() = 0;

    virtual void DisplayStatusBar(const QString& caption) = 0;
    virtual void PaintChange() = 0;
    virtual void ViewNormal() = 0;
    virtual void ViewFit() = 0;
    virtual void ViewStretch() = 0;
    virtual void ViewSnap() = 0;
    virtual void ZoomIn() = 0;
    virtual void ZoomOut() = 0;
    virtual void SetRegionTool(std::int16_t shape) = 0;
    virtual void CancelRegion() = 0;
    /// Turns the selected pixels and their outline about the region's centre; what they leave takes the fill
    /// colour white. angle in hundredths of a degree. Returns the engine's code.
    virtual engine::Code RotateRegion(int angle, bool option) = 0;
    /// The same with a shear, horizontal where option says so.
    virtual engine::Code ShearRegion(int angle, bool option) = 0;
    /// Gives the control that shows the image a size in device pixels; its window follows.
    virtual void size_control(int width, int height) = 0;
    /// Moves the window down and to the right by that many heights of its caption.
    virtual void step_aside(int steps) = 0;
    /// Shows the text pointer over the image: the next release draws pending text.
    virtual void show_text_pointer(bool on) = 0;
    /// The part of the image that can be seen, in bitmap pixels.
    virtual imaging::Rect visible_part() const = 0;
};

}  // namespace quillmark::program
