// The designed command surface as data: every tool, and what stands in which menu and on which bar.
#pragma once

#include <QStringView>
#include <span>

namespace quillmark::frame {

enum class Kind { button, state, edit, menu };

/// One tool. Texts are the designed ones; the run-time state lives in CommandSurface.
struct Tool {
    const char16_t* id;        ///< u"ID_Open"
    const char16_t* caption;   ///< menu text, "&" marks the access key
    const char16_t* category;  ///< grouping in the customise dialog
    const char16_t* group;     ///< tools of one group; state tools of a group exclude each other
    const char16_t* tip;       ///< tool tip of the button
    Kind kind;
    bool checked;              ///< initial state of a state tool
    const char16_t* shortcut;  ///< "Ctrl+Z", or empty
    const char16_t* picture;   ///< name of the picture without path and ending, or empty
};

/// A menu or bar: its name and its tool IDs in order; an empty ID is a separator.
struct Strip {
    const char16_t* name;
    std::span<const char16_t* const> tools;
};

std::span<const Tool> all_tools();
const Tool* find_tool(QStringView id);
/// Menus by the ID of their menu tool.
std::span<const Strip> designed_menus();
/// "Menu", "Standard", "Image Processing".
std::span<const Strip> designed_bars();

}  // namespace quillmark::frame
