// The saved layout ("Image Processing.atb"): a line-oriented text that a person can read and edit.
//
//   quillmark-layout 1
//   tool ID_ViewFit caption="&Fit Image To Window" checked=1
//   tool ID_None kind=button caption="None" category="Edit"      a tool of the file's own
//   menu ID_mnuHelp                                              followed by its tools, "-" is a separator
//     ID_Contents
//   bar "Standard" dock=top line=new visible=1
//     ID_Open
//   end
//
// Texts are quoted; \" \\ and \n stand for quote, backslash and line break. "#" starts a comment line.
#pragma once

#include <QByteArray>
#include <optional>

#include "frame/layout.h"

namespace quillmark::frame {

/// What a layout file may hold at most; more is an error.
inline constexpr qsizetype kMaxLayoutBytes = 1 << 20;
inline constexpr qsizetype kMaxText = 8192;  ///< characters of a caption or edit text; captions hold paths
inline constexpr qsizetype kMaxName = 64;    ///< characters of an ID or bar name
inline constexpr qsizetype kMaxOwnTools = 256;
inline constexpr qsizetype kMaxStripTools = 256;
inline constexpr qsizetype kMaxBars = 32;

struct ParsedLayout {
    std::optional<Layout> layout;
    int line = 0;   ///< where it failed, from 1; 0: not a matter of one line
    QString error;  ///< empty when `layout` is set
};

/// Strict: every line must be understood, a truncated text is an error. Tools and menus that the text does
/// not name stay as designed; bars that it does not name are gone.
ParsedLayout parse_layout(const QByteArray& text);
QByteArray format_layout(const Layout& layout);

/// Reads a layout file. A file that exists but is no sound layout is kept aside as `path` + ".broken"
/// (copied; renamed when it is too large).
ParsedLayout load_layout(const QString& path);
/// Writes atomically; the old file stays whole on failure. Returns the reason of a failure, else an empty
/// text.
QString save_layout(const QString& path, const Layout& layout);

}  // namespace quillmark::frame
