// Command dispatch: one row per command, looked up by tool ID.
#pragma once

#include <QStringView>
#include <span>

namespace quillmark::frame {

class ImageProcess;

/// Who copies the image for undo before the command runs.
enum class UndoCopy { none, dispatcher };

struct Command {
    const char16_t* id;
    UndoCopy undo_copy;
    bool changed;  ///< marks the image changed afterwards
    /// What runs. A row without a function is a command that this version does not have: its tool stays
    /// disabled.
    void (*run)(ImageProcess& frame, int argument);
    int argument;
};

/// All commands, in the order of comparison; IDs are unique.
std::span<const Command> all_commands();
/// The row of a tool, or nullptr: such tools (menus, tools without an action) run only the common end.
const Command* find_command(QStringView id);
/// Whether a command does anything at all while no image window is open.
bool allowed_without_image(QStringView id);
/// Whether a tool can be clicked: its command exists in this version, and an image is open or not needed.
bool tool_available(QStringView id, bool image_open);

}  // namespace quillmark::frame
