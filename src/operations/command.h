// What the commands have in common: undo copy, busy bracket, common dialogs, errors.
#pragma once

#include "operations/operations.h"
#include "program/run_time_error.h"

namespace quillmark::operations {

/// A failure of an engine member.
class EngineError final : public program::RunTimeError {
  public:
    EngineError(engine::Code code, const char* member);
    const QString& source() const { return source_; }

  private:
    QString source_;
};

/// Throws EngineError unless code is 0.
void check(engine::Code code, const char* member);

/// Makes the undo copy.
void copy_for_undo(ImageWindow& window);
/// Makes the undo copy and says so.
void begin_undoable(FrameFace& frame, ImageWindow& window);

/// The busy bracket for a scope: closed where close() stands, else at the end of the scope, also after a
/// failure.
class BusyBracket {
  public:
    explicit BusyBracket(FrameFace& frame) : frame_{frame} { frame_.StatusInit(); }
    ~BusyBracket() { close(); }
    BusyBracket(const BusyBracket&) = delete;
    BusyBracket& operator=(const BusyBracket&) = delete;
    void close();

  private:
    FrameFace& frame_;
    bool open_ = true;
};

/// Brings size, depth and memory in the status bar up to date with the image; the zoom field stays.
void refresh_status(FrameFace& frame, ImageWindow& window);

/// The error handler of the operations that have one: nothing for a cancelled dialog or a stop by Esc, else a
/// box with source, number and description.
void report(FrameFace& frame, const EngineError& error);

/// Runs body under that handler.
template <typename Body>
void with_report(FrameFace& frame, Body body) {
    try {
        body();
    } catch (const EngineError& error) {
        report(frame, error);
    }
}

/// Shows a common dialog over the image of window, for the engine member operation; presets and flags have
/// been written. Throws EngineError when it was cancelled.
void show_dialog(FrameFace& frame, ImageWindow& window, engine::DialogKind kind, const char* operation);

/// An engine member whose values come from a common dialog.
struct DialogOperation {
    int kind;  ///< the selector of its command
    const char* member;
    engine::DialogKind dialog;
    std::uint32_t flags;
    engine::Code (*run)(engine::Engine& image, const engine::CommonDialog& results);
};

}  // namespace quillmark::operations
