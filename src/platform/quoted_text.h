// Any text on one readable line: quoted, with escapes only where they are needed.
#pragma once

#include <QString>
#include <QStringView>
#include <optional>

namespace quillmark::platform {

/// The text between double quotes. Quote and backslash are preceded by a backslash, line ends and tabs are
/// \n, \r, \t, other control characters and surrogates without a partner \uXXXX; the result is at most six
/// times as long.
QString quoted(QStringView text);

/// Reads a quoted text at `at` and moves `at` behind its closing quote; nothing when it is not well formed.
std::optional<QString> unquoted(QStringView line, qsizetype& at);

}  // namespace quillmark::platform
