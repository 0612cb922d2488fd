// Small text files that several running instances share: locked while they are changed, replaced as a whole.
#pragma once

#include <QByteArray>
#include <QLockFile>
#include <QString>

namespace quillmark::platform {

enum class ReadState { read, missing, too_large, unreadable };

struct WholeFile {
    ReadState state = ReadState::missing;
    QByteArray content;
};

/// The whole file, if it is a regular one of at most `largest` bytes.
WholeFile read_whole(const QString& path, qint64 largest);

/// Writes a new file beside the old one, syncs it and renames it over the old one: whoever reads, or starts
/// after a crash, sees one or the other. False when that failed; the old file is then untouched.
bool replace_whole(const QString& path, const QByteArray& content);

/// Whether files can be created in the folder, which is created if need be.
bool is_writable_folder(const QString& folder);

/// Takes the lock, trying for at most so many milliseconds. A lock whose owner has died is taken over.
bool take_lock(QLockFile& lock, int milliseconds);

}  // namespace quillmark::platform
