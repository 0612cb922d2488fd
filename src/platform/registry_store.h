// A registry for a platform that has none: two hives of keys with string values, kept in one readable text
// file per hive, atomic, shared by several running instances.
#pragma once

#include <QString>
#include <QStringList>
#include <memory>
#include <optional>

namespace quillmark::platform {

/// Hives, keys and value names are compared without regard to letter case and shown as first written. Key
/// paths are names with backslashes. The empty value name is a key's default value.
class RegistryStore {
  public:
    enum class Hive { local_machine, classes_root };

    /// folder: where the hive files live; created when first written. Reads both hives.
    explicit RegistryStore(QString folder);
    ~RegistryStore();
    RegistryStore(const RegistryStore&) = delete;
    RegistryStore& operator=(const RegistryStore&) = delete;

    bool key_exists(Hive hive, const QString& key) const;
    /// Creates the key (and the keys above it); true also when it exists. False as for set_value.
    bool create_key(Hive hive, const QString& key);
    std::optional<QString> value(Hive hive, const QString& key, const QString& name) const;
    /// False when the store is known not to be writable (the folder cannot be created or written, the hive
    /// file is no file that can be read, the last flush failed and does so again), when the hive is full or
    /// the key's name is not printable; nothing has changed then.
    bool set_value(Hive hive, const QString& key, const QString& name, const QString& text);
    /// False when there is no such value, or as for set_value.
    bool delete_value(Hive hive, const QString& key, const QString& name);
    /// Deletes the key with its values; false when it has subkeys or does not exist, or as for set_value.
    bool delete_key(Hive hive, const QString& key);
    /// Names of the direct subkeys, in the order they were written.
    QStringList subkeys(Hive hive, const QString& key) const;

    /// Writes what is pending now (it otherwise happens 300 ms after the last change and at the end): lock,
    /// reload, replay our own changes, replace the file. False when that failed; the changes stay pending.
    /// When the timer writes and another instance holds the lock, it tries again 300 ms later; this call
    /// waits.
    bool flush();
    /// Reads again what other instances may have written.
    void reload();

    /// The hive files that could not be read, so that defaults apply; empty when all was well. Those with
    /// unreadable content were kept aside as *.broken.
    QStringList broken_files() const;

  private:
    struct Private;
    std::unique_ptr<Private> d_;
};

}  // namespace quillmark::platform
