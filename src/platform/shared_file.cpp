#include "platform/shared_file.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFileInfo>
#include <QSaveFile>
#include <QThread>

namespace quillmark::platform {

WholeFile read_whole(const QString& path, qint64 largest) {
    const QFileInfo info{path};
    if (!info.exists()) return {};
    QFile file{path};
    // A pipe or device in the file's place must not be opened: it could block for ever.
    if (!info.isFile() || !file.open(QIODevice::ReadOnly)) return {ReadState::unreadable, {}};
    if (file.size() > largest) return {ReadState::too_large, {}};
    QByteArray content = file.read(largest);
    if (file.error() != QFileDevice::NoError) return {ReadState::unreadable, {}};
    return {ReadState::read, std::move(content)};
}

bool replace_whole(const QString& path, const QByteArray& content) {
    QSaveFile file{path};
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size() && file.commit();
}

bool is_writable_folder(const QString& folder) {
    if (!QDir{}.mkpath(folder)) return false;
    const QFileInfo info{folder};
    return info.isDir() && info.isWritable();
}

bool take_lock(QLockFile& lock, int milliseconds) {
    // QLockFile's own waiting sleeps 100 ms and more between attempts; a lock here is held for some 20 ms.
    constexpr int kPause = 5;
    // An owner who died is known by its process. One who died before writing down which it was left an empty
    // file: only age tells, and a living owner needs no second to fill it.
    constexpr int kStale = 30000, kStaleWithoutOwner = 1000;
    const QDeadlineTimer deadline{milliseconds};
    while (!lock.tryLock(0)) {
        if (lock.error() != QLockFile::LockFailedError || deadline.hasExpired()) return false;
        qint64 owner = 0;
        QString host, program;
        lock.setStaleLockTime(lock.getLockInfo(&owner, &host, &program) ? kStale : kStaleWithoutOwner);
        QThread::msleep(kPause);
    }
    return true;
}

}  // namespace quillmark::platform
