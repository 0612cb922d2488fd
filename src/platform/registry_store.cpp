#include "platform/registry_store.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTimer>
#include <array>
#include <functional>
#include <utility>
#include <vector>

#include "platform/registry_hive.h"
#include "platform/shared_file.h"

namespace quillmark::platform {

namespace {

constexpr int kWriteDelay = 300;     // milliseconds
constexpr int kLockPatience = 5000;  // milliseconds, where waiting is the only way to keep the changes

using Change = std::function<bool(RegistryHive&)>;

/// A hive as this instance sees it, and what it has changed since it was last written.
struct HiveFile {
    QString path;
    RegistryHive hive;
    std::vector<Change> pending;
    bool is_readable = true;  ///< false: something stands in the file's place that must not be replaced
};

enum class Flushed { yes, lock_taken, failed };

}  // namespace

struct RegistryStore::Private {
    QString folder;
    std::array<HiveFile, 2> files;
    QStringList broken;
    QTimer timer;
    bool last_flush_failed = false;

    HiveFile& file(Hive hive) { return files[hive == Hive::local_machine ? 0 : 1]; }
    QString lock_path() const { return folder + QStringLiteral("/registry.lock"); }
    bool has_pending() const { return !files[0].pending.empty() || !files[1].pending.empty(); }

    void read(HiveFile& file, bool is_locked);
    void put_aside(HiveFile& file);
    bool can_write(const HiveFile& file);
    bool change(Hive hive, Change change);
    bool write(HiveFile& file);
    Flushed flush(int patience);
    void on_timer();
};

/// Reads the file and replays what is pending over it. Broken content is only moved away under the lock:
/// another instance may just be doing the same.
void RegistryStore::Private::read(HiveFile& file, bool is_locked) {
    const auto [state, content] = read_whole(file.path, RegistryHive::kLargestText);
    file.is_readable = state != ReadState::unreadable;
    file.hive = {};
    if (state == ReadState::read || state == ReadState::too_large) {
        auto hive = state == ReadState::read ? RegistryHive::from_text(content) : std::nullopt;
        if (hive) {
            file.hive = std::move(*hive);
        } else if (is_locked) {
            put_aside(file);
        } else {
            QLockFile lock{lock_path()};
            if (take_lock(lock, kLockPatience)) return read(file, true);
            file.is_readable = false;
        }
    }
    if (!file.is_readable && !broken.contains(file.path)) broken += file.path;
    for (const Change& change : file.pending) change(file.hive);
}

/// An earlier broken file holds older, probably better settings: it keeps its name.
void RegistryStore::Private::put_aside(HiveFile& file) {
    constexpr int kMostKept = 9;
    QString name = file.path + QStringLiteral(".broken");
    for (int number = 1; QFile::exists(name) && number <= kMostKept; ++number) {
        name = QStringLiteral("%1.%2.broken").arg(file.path).arg(number);
    }
    QFile::remove(name);
    file.is_readable = QFile::rename(file.path, name);
    if (!broken.contains(file.path)) broken += file.path;
}

bool RegistryStore::Private::can_write(const HiveFile& file) {
    if (!file.is_readable || !is_writable_folder(folder)) return false;
    return !last_flush_failed || flush(0) != Flushed::failed;
}

bool RegistryStore::Private::change(Hive hive, Change change) {
    HiveFile& file = this->file(hive);
    if (!can_write(file) || !change(file.hive)) return false;
    file.pending.push_back(std::move(change));
    // Without an event loop there is no timer; the end writes.
    if (QCoreApplication::instance() && !timer.isActive()) timer.start();
    return true;
}

/// Under the lock.
bool RegistryStore::Private::write(HiveFile& file) {
    read(file, true);
    if (!file.is_readable) return false;
    const WholeFile now = read_whole(file.path, RegistryHive::kLargestText);
    const QByteArray text = file.hive.to_text();
    if (now.content != text && !replace_whole(file.path, text)) return false;
    file.pending.clear();
    return true;
}

Flushed RegistryStore::Private::flush(int patience) {
    if (!has_pending()) return Flushed::yes;
    if (!is_writable_folder(folder)) {
        last_flush_failed = true;
        return Flushed::failed;
    }
    QLockFile lock{lock_path()};
    if (!take_lock(lock, patience)) {
        if (lock.error() == QLockFile::LockFailedError) return Flushed::lock_taken;
        last_flush_failed = true;
        return Flushed::failed;
    }
    last_flush_failed = false;
    for (HiveFile& file : files) {
        if (!file.pending.empty() && !write(file)) last_flush_failed = true;
    }
    return last_flush_failed ? Flushed::failed : Flushed::yes;
}

void RegistryStore::Private::on_timer() {
    // After a failure the next change tries again, and reports.
    if (flush(0) == Flushed::lock_taken) timer.start();
}

RegistryStore::RegistryStore(QString folder) : d_{std::make_unique<Private>()} {
    d_->folder = QDir::cleanPath(folder);
    d_->files[0].path = d_->folder + QStringLiteral("/local_machine.registry");
    d_->files[1].path = d_->folder + QStringLiteral("/classes_root.registry");
    d_->timer.setSingleShot(true);
    d_->timer.setInterval(kWriteDelay);
    d_->timer.callOnTimeout([d = d_.get()] { d->on_timer(); });
    reload();
}

RegistryStore::~RegistryStore() { flush(); }

bool RegistryStore::key_exists(Hive hive, const QString& key) const {
    return d_->file(hive).hive.key_exists(key);
}

bool RegistryStore::create_key(Hive hive, const QString& key) {
    if (key_exists(hive, key)) return true;
    return d_->change(hive, [key](RegistryHive& to) { return to.create_key(key); });
}

std::optional<QString> RegistryStore::value(Hive hive, const QString& key, const QString& name) const {
    return d_->file(hive).hive.value(key, name);
}

bool RegistryStore::set_value(Hive hive, const QString& key, const QString& name, const QString& text) {
    return d_->change(hive, [=](RegistryHive& to) { return to.set_value(key, name, text); });
}

bool RegistryStore::delete_value(Hive hive, const QString& key, const QString& name) {
    return d_->change(hive, [=](RegistryHive& to) { return to.delete_value(key, name); });
}

bool RegistryStore::delete_key(Hive hive, const QString& key) {
    return d_->change(hive, [key](RegistryHive& to) { return to.delete_key(key); });
}

QStringList RegistryStore::subkeys(Hive hive, const QString& key) const {
    return d_->file(hive).hive.subkeys(key);
}

bool RegistryStore::flush() { return d_->flush(kLockPatience) == Flushed::yes; }

void RegistryStore::reload() {
    for (HiveFile& file : d_->files) d_->read(file, false);
}

QStringList RegistryStore::broken_files() const { return d_->broken; }

}  // namespace quillmark::platform
