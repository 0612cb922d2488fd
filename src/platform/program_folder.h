// Where the program's own files live: beside the program, or in a per-user folder when that is read-only.
#pragma once

#include <QString>

namespace quillmark::platform {

/// The folder, ending in the separator. QUILLMARK_PROGRAM_DIR overrides it. The program's own folder when its
/// user may write there and it is not a system folder; else the user's data folder, created if need be.
QString program_folder();
/// The folder of the registry hives (the user's configuration folder; QUILLMARK_SETTINGS_DIR overrides it).
QString settings_folder();
/// The name as a file system without case would resolve it: the exact spelling first, then the spelling last
/// remembered for it, then the only match without regard to case in its folder. Unchanged when nothing matches.
QString resolve_without_case(const QString& path);
/// Remembers the true spelling of a path that is stored lower-cased elsewhere.
void remember_spelling(const QString& path);

}  // namespace quillmark::platform
