// The narrow face of the frame: all that the rooms may ask of the main window.
#pragma once

#include <QString>

#include "engine/common_dialog.h"
#include "program/state.h"

namespace quillmark::settings {
class Settings;
}

namespace quillmark::program {

class DocumentList;
class ImageWindow;
class Prompts;
class StatusBar;
class ToolFace;

class FrameFace {
  public:
    virtual ~FrameFace() = default;

    virtual ProgramState& state() = 0;
    virtual ToolFace& tools() = 0;
    virtual Prompts& prompts() = 0;
    virtual settings::Settings& settings() = 0;
    virtual StatusBar& status_bar() = 0;
    virtual DocumentList& kids() = 0;

    /// Creates and loads an image window (it is listed then, and not yet visible).
    virtual ImageWindow* new_image_window() = 0;
    /// The active image window, or nullptr.
    virtual ImageWindow* active_window() = 0;
    /// The open image window with this handle, or nullptr.
    virtual ImageWindow* image_window(std::int32_t handle) = 0;
    /// Sends the active image window behind the others; the next one becomes active.
    virtual void send_active_to_back() = 0;
    /// The frame's hidden instance: a scratch image of operations.
    virtual engine::Engine& LEAD1() = 0;
    /// The common-dialog control.
    virtual engine::CommonDialog& LEADDlg1() = 0;
    virtual void set_caption(const QString& caption) = 0;

    virtual void StatusInit() = 0;
    virtual void StatusTerm() = 0;
    /// Saves the active image; asked by a closing window.
    virtual void C_FileSave() = 0;
    /// Draws pending text at a position of the active image, or does nothing.
    virtual void InsertText(int x, int y) = 0;
    /// The status panel is visible exactly while an image window is open.
    virtual void update_status_panel() = 0;
    /// The window's state changed: two tools depend on it.
    virtual void MainView_Click() = 0;
};

/// The hourglass for a scope.
class WaitPointer {
  public:
    WaitPointer();
    ~WaitPointer();
    WaitPointer(const WaitPointer&) = delete;
    WaitPointer& operator=(const WaitPointer&) = delete;
};

}  // namespace quillmark::program
