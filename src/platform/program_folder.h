// Where the program's own files live: beside the program, or in a per-user folder when that is read-only; and
// where a file stands whose name is known without its letter case.
#pragma once

#include <QString>

namespace quillmark::platform {

/// The folder, ending in the separator. QUILLMARK_PROGRAM_DIR overrides it. The program's own folder when its
/// user may write there and it is not a system folder; else the user's data folder. Created if need be.
QString program_folder();
/// That choice, between the folder of the program and one of its user.
QString choose_program_folder(const QString& own, const QString& user);
/// The folder of the registry hives, ending in the separator (the user's configuration folder;
/// QUILLMARK_SETTINGS_DIR overrides it). Not created here.
QString settings_folder();

/// The name as a file system without case would resolve it: the exact spelling first, then the spelling last
/// remembered for it, then component by component the exact or else the only match without regard to case.
/// Unchanged when nothing, or more than one name, matches.
QString resolve_without_case(const QString& path);
/// Remembers the true spelling of a path that is stored lower-cased elsewhere: the last 200, in the file
/// "spellings.txt" of the settings folder. Best effort: a spelling that cannot be stored is only not
/// remembered.
void remember_spelling(const QString& path);

}  // namespace quillmark::platform
