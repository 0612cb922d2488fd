// What the interface shows of a tool's caption. The caption itself is kept as it was set.
#pragma once

#include <QString>

namespace quillmark::frame {

/// Menu text of a caption: the first "&" marks the access key, every other "&" is shown as such (file names
/// hold them). Long texts are shortened in the middle to `longest` characters.
QString menu_text(const QString& caption, int longest = 100);

/// The caption without its access mark, for lists, buttons and assistive technology.
QString plain_text(const QString& caption);

}  // namespace quillmark::frame
